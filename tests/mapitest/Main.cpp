// mapitest: random operations over MAPI's interfaces, each compared with a model; see scripts/mapitest. Seeds are
// worked off one after the other: most by one thread alone, some by a crowd of processes and threads.
#include "Crowd.h"
#include "CrowdWorker.h"
#include "Options.h"
#include "Run.h"
#include <chrono>
#include <cstdio>

namespace mapitest
{

namespace
{

struct Totals {
    std::uint64_t operations = 0;
    std::uint64_t crowdSteps = 0;
    int crowds = 0;
    int killed = 0;
};

bool RunAlone(const Options &options, std::uint64_t seed, Totals &totals)
{
    auto failure = RunSeed(options.folder, seed, options.each, totals.operations);
    if (!failure)
        return true;
    std::printf("seed %llu, operation %zu: %s\n", static_cast<unsigned long long>(seed), failure->history.size(),
                failure->what.c_str());
    std::fflush(stdout);
    if (!options.shrink)
        return false;
    const Failure shrunk = Shrink(options.folder, *std::move(failure));
    std::printf("the shortest history that shows it, of %zu operations:\n", shrunk.history.size());
    for (const Operation &operation : shrunk.history)
        std::printf("  %s\n", operation.Text().c_str());
    std::printf("%s\n", shrunk.what.c_str());
    return false;
}

bool RunTogether(const Options &options, std::uint64_t seed, Totals &totals)
{
    const CrowdResult result = RunCrowd(
        {options.program, options.folder, seed, options.processes, options.threads, options.steps, options.kills});
    ++totals.crowds;
    totals.crowdSteps += result.steps;
    totals.killed += result.killed;
    if (result.wrong.empty())
        return true;
    std::printf("seed %llu, %d processes of %d threads: %s\n", static_cast<unsigned long long>(seed), options.processes,
                options.threads, result.wrong.c_str());
    return false;
}

int Run(const Options &options)
{
    const auto began = std::chrono::steady_clock::now();
    const auto seconds = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    };
    Totals totals;
    const auto all = [&] { return totals.operations + totals.crowdSteps; };
    std::uint64_t seed = options.seed;
    bool good = true;
    for (; good && (options.operations ? all() < options.operations : seconds() < options.seconds); ++seed) {
        const bool together =
            options.crowds && (!options.alone || (seed - options.seed) % static_cast<unsigned>(options.alone + 1) ==
                                                     static_cast<unsigned>(options.alone));
        good = together ? RunTogether(options, seed, totals) : RunAlone(options, seed, totals);
    }
    std::printf(
        "seeds %llu to %llu: %llu operations alone, %llu in %d crowds with %d killed; %.1f s, %.0f a second: %s\n",
        static_cast<unsigned long long>(options.seed), static_cast<unsigned long long>(seed - 1),
        static_cast<unsigned long long>(totals.operations), static_cast<unsigned long long>(totals.crowdSteps),
        totals.crowds, totals.killed, seconds(), static_cast<double>(all()) / seconds(),
        good ? "no deviation" : "A DEVIATION");
    return good ? 0 : 1;
}

// What RunCrowd starts.
int RunCrew(char **arguments)
{
    Crew crew;
    crew.site = crew.log = arguments[0];
    crew.seed = std::stoull(arguments[1]);
    crew.firstThread = std::stoi(arguments[2]);
    crew.threads = std::stoi(arguments[3]);
    crew.steps = std::stoi(arguments[4]);
    Work(crew);
    return 0;
}

} // namespace

} // namespace mapitest

int main(int argc, char **argv)
{
    try {
        if (argc == 7 && std::string(argv[1]) == "--crew")
            return mapitest::RunCrew(argv + 2);
        return mapitest::Run(mapitest::ReadOptions(argc, argv));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "mapitest: %s\n", error.what());
        return 2;
    }
}
