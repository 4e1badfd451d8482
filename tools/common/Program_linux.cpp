#include "common/Program.h"
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool
{

std::vector<std::string> StartProgram(int argc, char **argv)
{
    return {argv + 1, argv + argc};
}

bool IsTerminal(int descriptor)
{
    return isatty(descriptor) != 0;
}

int TerminalWidth()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return 80;
    return size.ws_col;
}

} // namespace tool
