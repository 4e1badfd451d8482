// Many senders of one process at once, until each message is durable in the mailbox of who gets it: how many messages a
// second, and how many syncs each of them takes.
#include "Sites.h"
#include <atomic>
#include <benchmark/benchmark.h>
#include <fstream>
#include <memory>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace
{
std::atomic<std::int64_t> g_syncs{0};
}

// In the place of the C library's, for everything in this process: counted, and done.
extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    ++g_syncs;
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

extern "C" __attribute__((visibility("default"))) int fsync(int file)
{
    ++g_syncs;
    return static_cast<int>(syscall(SYS_fsync, file));
}

namespace bench
{

namespace
{

constexpr int kMostSenders = 16;

std::vector<std::unique_ptr<HostSession>> g_hosts;
std::string g_file;

void LogOn(const benchmark::State &state)
{
    const std::string site = SiteForSending();
    for (int i = 0; i < state.threads(); ++i)
        g_hosts.push_back(std::make_unique<HostSession>(site));
    std::string bytes(static_cast<std::size_t>(state.range(0)) * 1024, '\0');
    std::uint32_t noise = 1;
    for (char &byte : bytes) {
        noise = noise * 1664525 + 1013904223;
        byte = static_cast<char>(noise >> 24);
    }
    g_file = "sent-" + std::to_string(state.range(0)) + "k.wav";
    std::ofstream(g_file, std::ios::binary) << bytes;
    g_syncs = 0;
}

void LogOff(const benchmark::State &)
{
    g_hosts.clear();
}

void Senders(benchmark::State &state)
{
    const HostSession &host = *g_hosts.at(static_cast<std::size_t>(state.thread_index()));
    for (auto _ : state)
        if (OrlSendUMEmailA(host.GetConnection(), host.GetMailbox(), "bob", "Voice Mail from Carla Costa (17 seconds)",
                            "You received a voice mail.\r\n", 0, 0, g_file.c_str(), "message.wav", 17, "+15550100",
                            "Carla Costa", "message.wav", 0, 1795000000) < 0)
            state.SkipWithError("sending failed");
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0)
        state.counters["syncs_a_message"] =
            static_cast<double>(g_syncs) / static_cast<double>(state.iterations() * state.threads());
}

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

} // namespace bench
