// A finished line that is read a second time as a format: whatever it holds, it comes out as one line.
#include "Fuzz.h"
#include "common/trace/DebugTrace.h"
#include "common/trace/debug.h"
#include <string>

namespace
{

int g_lines;

void Collect(const char *szText, int nLength)
{
    ++g_lines;
    Confirm(nLength > 0 && nLength < 1024 && szText[nLength - 1] == '\n', "a line ends in its line feed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string line(reinterpret_cast<const char *>(data), size);
    g_lines = 0;
    SetOutputHooks(&Collect, nullptr);
    DebugOutputLine(kTraceAlways, line.c_str());
    SetOutputHooks(nullptr, nullptr);
    Confirm(g_lines == 1, "no argument of a line was bad");
    return 0;
}
