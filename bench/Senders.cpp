// Many senders of one process at once, until each message is durable in the mailbox of who gets it: how many messages a
// second, and how many syncs each of them takes.
#include "Sites.h"
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
std::atomic<std::int64_t> g_syncs{0};
}

namespace
{

// Counted, and done; where BENCH_SYNC_MS is set, none is faster than that: as on a disk that takes so long.
int Sync(long call, int file)
{
    static const char *least = std::getenv("BENCH_SYNC_MS");
    ++g_syncs;
    const auto until =
        std::chrono::steady_clock::now() + std::chrono::microseconds(least ? std::lround(std::atof(least) * 1000) : 0);
    const int result = static_cast<int>(syscall(call, file));
    std::this_thread::sleep_until(until);
    return result;
}

} // namespace

// In the place of the C library's, for everything in this process.
extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    return Sync(SYS_fdatasync, file);
}

extern "C" __attribute__((visibility("default"))) int fsync(int file)
{
    return Sync(SYS_fsync, file);
}

namespace bench
{

namespace
{

constexpr int kMostSenders = 16;

std::vector<std::unique_ptr<HostSession>> g_hosts;
std::string g_file;

void MakeRecording(std::int64_t kilobytes)
{
    std::string bytes(static_cast<std::size_t>(kilobytes) * 1024, '\0');
    std::uint32_t noise = 1;
    for (char &byte : bytes) {
        noise = noise * 1664525 + 1013904223;
        byte = static_cast<char>(noise >> 24);
    }
    g_file = "sent-" + std::to_string(kilobytes) + "k.wav";
    std::ofstream(g_file, std::ios::binary) << bytes;
}

void LogOn(const benchmark::State &state)
{
    const std::string site = SiteForSending();
    for (int i = 0; i < state.threads(); ++i)
        g_hosts.push_back(std::make_unique<HostSession>(site));
    MakeRecording(state.range(0));
    g_syncs = 0;
}

void LogOff(const benchmark::State &)
{
    g_hosts.clear();
}

bool Send(const HostSession &host, const std::string &file)
{
    return OrlSendUMEmailA(host.GetConnection(), host.GetMailbox(), "bob", "Voice Mail from Carla Costa (17 seconds)",
                           "You received a voice mail.\r\n", 0, 0, file.c_str(), "message.wav", 17, "+15550100",
                           "Carla Costa", "message.wav", 0, 1795000000) >= 0;
}

void Senders(benchmark::State &state)
{
    const HostSession &host = *g_hosts.at(static_cast<std::size_t>(state.thread_index()));
    for (auto _ : state)
        if (!Send(host, g_file))
            state.SkipWithError("sending failed");
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0)
        state.counters["syncs_a_message"] =
            static_cast<double>(g_syncs) / static_cast<double>(state.iterations() * state.threads());
}

// As many processes, each with one sender.
void SendersInProcesses(benchmark::State &state)
{
    constexpr int kSeconds = 4;
    const std::string site = SiteForSending();
    MakeRecording(state.range(0));
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = self + " --send " + site + " " + g_file + " " + std::to_string(kSeconds);
    long long messages = 0, syncs = 0;
    for (auto _ : state) {
        std::vector<FILE *> senders;
        for (std::int64_t i = 0; i < state.range(1); ++i)
            senders.push_back(popen(command.c_str(), "r"));
        for (FILE *sender : senders) {
            long long sent = 0, synced = 0;
            if (!sender || std::fscanf(sender, "%lld %lld", &sent, &synced) != 2)
                state.SkipWithError("a process failed");
            if (sender)
                pclose(sender);
            messages += sent;
            syncs += synced;
        }
        state.SetIterationTime(kSeconds);
    }
    state.SetItemsProcessed(messages);
    state.counters["syncs_a_message"] = static_cast<double>(syncs) / static_cast<double>(messages);
}

BENCHMARK(SendersInProcesses)
    ->ArgNames({"KB", "processes"})
    ->Args({2, 16})
    ->Args({200, 16})
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK(Senders)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime()
    ->ArgName("KB")
    ->Arg(2)
    ->Arg(200)
    ->Setup(LogOn)
    ->Teardown(LogOff)
    ->Threads(1)
    ->Threads(kMostSenders)
    ->MinTime(2);

} // namespace

int SendFor(const std::string &site, const std::string &file, int seconds)
{
    const HostSession host(site);
    g_syncs = 0;
    int messages = 0;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (; std::chrono::steady_clock::now() < until; ++messages)
        if (!Send(host, file))
            return 1;
    std::printf("%d %lld\n", messages, static_cast<long long>(g_syncs));
    return 0;
}

} // namespace bench
