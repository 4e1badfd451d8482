#include "common/Program.h"
#include "common/Text.h"
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

namespace tool
{

std::vector<std::string> StartProgram(int, char **)
{
    _setmode(1, _O_BINARY);
    _setmode(2, _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
    int count = 0;
    LPWSTR *wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(ToUtf8(wide[i]));
    LocalFree(wide);
    return arguments;
}

bool IsTerminal(int descriptor)
{
    return _isatty(descriptor) != 0;
}

int TerminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return 80;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

} // namespace tool
