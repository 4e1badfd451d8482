#include "Options.h"
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>

namespace mapitest
{

namespace
{

[[noreturn]] void Misused(const std::string &why)
{
    std::fprintf(stderr, "mapitest: %s\n", why.c_str());
    std::exit(2);
}

} // namespace

Options ReadOptions(int argc, char **argv)
{
    Options options;
    options.program = std::filesystem::absolute(argv[0]).string();
    // On a RAM disk, where there is one, a commit costs no wait for the disk.
    options.folder = std::filesystem::is_directory("/dev/shm") ? std::string("/dev/shm")
                                                               : std::filesystem::temp_directory_path().string();
    const std::map<std::string, std::function<void(const std::string &)>> known = {
        {"--folder", [&](const std::string &value) { options.folder = value; }},
        {"--seed", [&](const std::string &value) { options.seed = std::stoull(value); }},
        {"--operations", [&](const std::string &value) { options.operations = std::stoull(value); }},
        {"--seconds", [&](const std::string &value) { options.seconds = std::stod(value); }},
        {"--each", [&](const std::string &value) { options.each = static_cast<std::uint32_t>(std::stoul(value)); }},
        {"--alone", [&](const std::string &value) { options.alone = std::stoi(value); }},
        {"--crowds", [&](const std::string &value) { options.crowds = value != "no"; }},
        {"--processes", [&](const std::string &value) { options.processes = std::stoi(value); }},
        {"--threads", [&](const std::string &value) { options.threads = std::stoi(value); }},
        {"--steps", [&](const std::string &value) { options.steps = std::stoi(value); }},
        {"--kills", [&](const std::string &value) { options.kills = std::stoi(value); }},
        {"--shrink", [&](const std::string &value) { options.shrink = value != "no"; }}};
    for (int i = 1; i < argc; i += 2) {
        const auto option = known.find(argv[i]);
        if (option == known.end() || i + 1 == argc)
            Misused(std::string(argv[i]) + " is no option, or lacks a value");
        try {
            option->second(argv[i + 1]);
        } catch (const std::exception &) {
            Misused(std::string(argv[i + 1]) + " is no value for " + argv[i]);
        }
    }
    if (!options.operations && options.seconds <= 0)
        Misused("--operations N or --seconds N says when to end");
    if (!options.alone && !options.crowds)
        Misused("there is nothing to do");
    return options;
}

} // namespace mapitest
