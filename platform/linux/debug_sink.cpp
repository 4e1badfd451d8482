// OutputDebugString to what ORLMAPI_DEBUG names.
#include "code_page.h"
#include "memory_access.h"
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <syslog.h>
#include <unistd.h>
#include <windows.h>

namespace
{
struct Sink {
    bool syslog = false;
    int file = -1;
};

const Sink &DebugSink()
{
    static const Sink sink = [] {
        Sink chosen;
        const char *name = std::getenv("ORLMAPI_DEBUG");
        const std::string_view text = name ? name : "";
        if (text == "stderr")
            chosen.file = STDERR_FILENO;
        else if (text == "syslog")
            chosen.syslog = true;
        else if (!text.empty())
            // A trace names people and messages: for its owner only.
            chosen.file = open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        return chosen;
    }();
    return sink;
}

void WriteToSink(std::string_view text)
{
    const Sink &sink = DebugSink();
    const int savedErrno = errno;
    if (sink.syslog) {
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
            text.remove_suffix(1);
        syslog(LOG_USER | LOG_DEBUG, "%.*s", static_cast<int>(text.size()), text.data());
    } else if (sink.file >= 0) {
        // One write a text, so that lines of several threads and processes stay whole.
        (void)!write(sink.file, text.data(), text.size());
    }
    errno = savedErrno;
}

bool HasSink()
{
    return DebugSink().syslog || DebugSink().file >= 0;
}
} // namespace

void OutputDebugStringA(LPCSTR lpOutputString)
{
    std::size_t length;
    if (HasSink() && lpOutputString && platform::ReadableLength(lpOutputString, INT_MAX, &length))
        WriteToSink({lpOutputString, length});
}

void OutputDebugStringW(LPCWSTR lpOutputString)
{
    std::size_t length;
    if (HasSink() && lpOutputString && platform::ReadableLength(lpOutputString, INT_MAX, &length))
        WriteToSink(platform::Narrow(lpOutputString, length));
}
