#include "common/text/TextReports.h"
#include "common/text/tstring.h"
#include "common/trace/debug.h"
#include <cerrno>
#include <cstdio>
#include <exception>

namespace
{

constexpr const char *kFormatV = "tstring::FormatV";
constexpr std::size_t kFirstSize = 512;
constexpr std::size_t kGrowth = 256;

// Formats into text, enlarging it until the result fits. The runtime's result, -1 for a format that it refuses, with
// its errno.
int FormatInto(std::string &text, const char *format, va_list arguments, int &error)
{
    for (std::size_t size = kFirstSize;; size += kGrowth) {
        text.resize(size);
        va_list attempt;
        va_copy(attempt, arguments);
        errno = 0;
        const int result = _vsnprintf_s(text.data(), size, _TRUNCATE, format, attempt);
        error = errno;
        va_end(attempt);
        if (result != -1)
            return result;
        // A runtime that refuses a format empties the text, or leaves what it had written until then and says EINVAL.
        if (text[0] == '\0' || error == EINVAL) {
            DebugOutputA(kTraceText, "%s: Format error in [%s]\n", kFormatV, format);
            return result;
        }
    }
}

} // namespace

void tstring::FormatV(const char *format, va_list arguments)
{
    if (!format)
        return;
    if (!IsReadableText(format)) {
        DebugOutputA(kTraceText, "%s: Invalid format string\n", kFormatV);
        return;
    }
    try {
        std::string text; // the arguments may point into this string
        int error = 0;
        const int result = FormatInto(text, format, arguments, error);
        if (result >= 0 && static_cast<size_type>(result) < text.size()) {
            text.resize(static_cast<size_type>(result));
        } else {
            // Another function's name, as the contract has it.
            DebugOutputA(kTraceText, "%s: The following error %d was returned from _vsntprintf (errno=%d) for [%s]\n",
                         kFormatV, result, error, format);
            text.clear();
        }
        swap(text);
    } catch (const std::exception &exception) {
        DebugOutputA(kTraceText, "%s: STL Exception %s processing [%s]\n", kFormatV, exception.what(), format);
    }
}

void tstring::Format(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

void tstring::AppendFormat(const char *format, ...)
{
    tstring text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    append(text);
}
