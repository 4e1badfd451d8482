#include "common/CommandLine.h"
#include "common/Program.h"
#include "common/Text.h"
#include <algorithm>
#include <cstdio>

namespace tool
{

namespace
{

int Complain(const std::string &name, const std::string &what, int status)
{
    std::fprintf(stderr, "%s: %s\n", name.c_str(), what.c_str());
    return status;
}

// A word that means nothing says more about what is wrong than what is missing because of it.
std::string Reason(const CLI::App &app, const CLI::ParseError &error)
{
    const std::vector<std::string> unknown = app.remaining(true);
    if (unknown.empty())
        return error.what();
    return "\"" + unknown.front() + "\" is not known here";
}

int Parse(CLI::App &app, std::vector<std::string> words)
{
    for (const std::string &word : words)
        if (!IsUtf8(word))
            return Complain(app.get_name(), "an argument is not UTF-8: " + Clean(word), 2);
    try {
        std::reverse(words.begin(), words.end()); // CLI11 takes them from the back
        app.parse(std::move(words));
    } catch (const CLI::Success &request) {
        app.exit(request); // --help, --version
    } catch (const CLI::ParseError &error) {
        return Complain(app.get_name(),
                        Reason(app, error) + "\nRun " + app.get_name() + " --help for what can be asked.", 2);
    } catch (const Misuse &misuse) {
        return Complain(app.get_name(), misuse.what(), 2);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return Complain(app.get_name(), "standard output could not be written", 1);
    return 0;
}

} // namespace

CLI::Option *Repeatable(CLI::Option *option)
{
    return option->expected(1)->take_all()->allow_extra_args(false);
}

int RunCommandLine(const ProgramName &program, const std::function<void(CLI::App &)> &describe, int argc, char **argv)
{
    try {
        std::vector<std::string> words = StartProgram(argc, argv);
        CLI::App app(program.description + "\nExit status: 0 done, 1 failed, 2 used wrongly.", program.name);
        app.set_version_flag("--version", program.name + " " + program.version, "Which version this is");
        app.require_subcommand(1);
        app.fallthrough();
        describe(app);
        return Parse(app, std::move(words));
    } catch (const std::exception &failure) {
        return Complain(program.name, failure.what(), 1);
    }
}

} // namespace tool
