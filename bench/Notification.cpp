// How long after SaveChanges was called a sink hears of the message, in the same process and in another one, with the
// system's signal and without; and what a thousand sinks cost while nothing happens.
#include "Watching.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <ctime>
#include <stdexcept>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

namespace bench
{

namespace
{

constexpr int kMessages = 300;
constexpr std::chrono::milliseconds kPause{5}; // between messages, so that each finds everybody waiting

// A site of its own, of which nothing is kept.
std::string EmptySite()
{
    static const std::string site = MakeSite("site-notified.db");
    return site;
}

void Report(benchmark::State &state, std::vector<std::int64_t> &times)
{
    std::sort(times.begin(), times.end());
    const auto at = [&](double part) {
        return static_cast<double>(times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))]) / 1e6;
    };
    state.counters["median_ms"] = at(0.5);
    state.counters["p99_ms"] = at(0.99);
    state.counters["most_ms"] = at(1);
}

// From the call of SaveChanges to the sink, each message after a pause.
template <class Writer> void Notice(benchmark::State &state, Writer &writer, Advised &advised)
{
    std::vector<std::int64_t> times;
    advised.sink.Await(0); // of a message that was saved to warm up
    for (auto _ : state) {
        std::this_thread::sleep_for(kPause);
        const std::uint64_t calls = advised.sink.Calls();
        const auto [called, returned] = writer.Save();
        const std::int64_t heard = advised.sink.Await(calls);
        if (!heard)
            return state.SkipWithError("the sink heard nothing");
        times.push_back(heard - called);
        state.SetIterationTime(static_cast<double>(heard - called) / 1e9);
    }
    Report(state, times);
}

void NotifiedWithinTheProcess(benchmark::State &state)
{
    const HostSession host(EmptySite());
    Inbox inbox(host.GetMailbox());
    Advised advised(inbox, static_cast<std::size_t>(state.range(0)));
    inbox.Save();
    Notice(state, inbox, advised);
}

void NotifiedAcrossProcesses(benchmark::State &state)
{
    const HostSession host(EmptySite());
    Inbox inbox(host.GetMailbox());
    Advised advised(inbox, static_cast<std::size_t>(state.range(0)));
    OtherProcess other(EmptySite());
    other.Save();
    Notice(state, other, advised);
}

// Takes every watch that the system gives: then the notifier looks at the file's time every 10 ms.
class NoWatches
{
  public:
    NoWatches()
    {
        for (int watch = inotify_init1(IN_CLOEXEC); watch >= 0; watch = inotify_init1(IN_CLOEXEC))
            m_taken.push_back(watch);
    }
    ~NoWatches()
    {
        for (const int watch : m_taken)
            close(watch);
    }
    NoWatches(const NoWatches &) = delete;
    NoWatches &operator=(const NoWatches &) = delete;

  private:
    std::vector<int> m_taken;
};

void NotifiedByPolling(benchmark::State &state)
{
    const NoWatches none;
    NotifiedAcrossProcesses(state);
}

// The reference: until SaveChanges returns.
void SaveChangesAlone(benchmark::State &state)
{
    const HostSession host(EmptySite());
    Inbox inbox(host.GetMailbox());
    std::vector<std::int64_t> times;
    for (auto _ : state) {
        std::this_thread::sleep_for(kPause);
        const auto [called, returned] = inbox.Save();
        times.push_back(returned - called);
        state.SetIterationTime(static_cast<double>(returned - called) / 1e9);
    }
    Report(state, times);
}

std::int64_t ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

// The share of a core that the process takes in three seconds in which nothing happens.
void IdleWithSinks(benchmark::State &state)
{
    const HostSession host(EmptySite());
    Inbox inbox(host.GetMailbox());
    const Advised advised(inbox, static_cast<std::size_t>(state.range(0)));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (auto _ : state) {
        const std::int64_t began = Nanoseconds(), used = ProcessorTime();
        std::this_thread::sleep_for(std::chrono::seconds(3));
        const std::int64_t took = ProcessorTime() - used;
        state.counters["percent_of_a_core"] =
            100.0 * static_cast<double>(took) / static_cast<double>(Nanoseconds() - began);
        state.SetIterationTime(static_cast<double>(took) / 1e9);
    }
}

void IdleByPolling(benchmark::State &state)
{
    const NoWatches none;
    IdleWithSinks(state);
}

BENCHMARK(NotifiedWithinTheProcess)->Arg(1)->Arg(1000)->Iterations(kMessages)->UseManualTime();
BENCHMARK(NotifiedAcrossProcesses)->Arg(1)->Arg(1000)->Iterations(kMessages)->UseManualTime();
BENCHMARK(NotifiedByPolling)->Arg(1)->Iterations(kMessages)->UseManualTime();
BENCHMARK(SaveChangesAlone)->Arg(1)->Arg(1000)->Iterations(kMessages)->UseManualTime();
BENCHMARK(IdleWithSinks)->Arg(0)->Arg(1)->Arg(1000)->Iterations(1)->UseManualTime();
BENCHMARK(IdleByPolling)->Arg(1000)->Iterations(1)->UseManualTime();

} // namespace

} // namespace bench
