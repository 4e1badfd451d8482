// How the command-line tools read their arguments, run the command that is asked for, and end.
#pragma once
#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace tool
{

// What was asked for makes no sense: exit status 2.
class Misuse : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

// An option that may be given again, with one value each time; the word after the value is not taken for another one.
CLI::Option *Repeatable(CLI::Option *option);

// What a program says that it is.
struct ProgramName {
    std::string name;
    std::string description;
    std::string version; // what --version prints after the name
};

// Runs a program whose commands and options `describe` adds, each command with a callback that does it. What goes wrong
// is said on standard error, after the program's name. The exit status: 0 done, 1 failed, 2 used wrongly.
int RunCommandLine(const ProgramName &program, const std::function<void(CLI::App &)> &describe, int argc, char **argv);

} // namespace tool
