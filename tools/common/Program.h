// A command-line program's surroundings, alike on both targets: everything is UTF-8.
#pragma once
#include <string>
#include <vector>

namespace tool
{

// The program's arguments in UTF-8, without its own name. On Windows they are read anew, because main() gets them in
// the ANSI code page. Also makes standard output and error take bytes as they are (UTF-8, no carriage returns).
std::vector<std::string> StartProgram(int argc, char **argv);

bool IsTerminal(int descriptor); // 1 standard output, 2 standard error
int TerminalWidth();             // columns; 80 where there is no terminal

} // namespace tool
