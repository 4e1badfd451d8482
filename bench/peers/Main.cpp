// orlmapi_peers SIZE[,SIZE...] [NAME=PORT...]: measures localmapi and the IMAP servers at these ports, one after the
// other in each line, and prints a table. The working folder keeps the sites.
#include "Peer.h"
#include "Watching.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace bench
{

namespace
{

struct Named {
    std::string name;
    std::unique_ptr<Peer> peer;
};

// Median and the 99th of a hundred, in milliseconds.
std::string Shown(std::vector<std::int64_t> times)
{
    std::sort(times.begin(), times.end());
    char text[64];
    std::snprintf(text, sizeof text, "%.3g (%.3g)", static_cast<double>(times[times.size() / 2]) / 1e6,
                  static_cast<double>(times[times.size() * 99 / 100]) / 1e6);
    return text;
}

std::int64_t Timed(const auto &what)
{
    const std::int64_t began = Nanoseconds();
    what();
    return Nanoseconds() - began;
}

std::vector<std::int64_t> Repeated(int rounds, const std::function<void(int)> &what)
{
    what(0);
    what(1);
    std::vector<std::int64_t> times;
    for (int i = 0; i < rounds; ++i)
        times.push_back(Timed([&] { what(i); }));
    return times;
}

void RequireRows(std::size_t got, std::size_t wanted)
{
    if (got != wanted)
        throw std::runtime_error(std::to_string(got) + " rows came, not " + std::to_string(wanted));
}

// Median and 99th of one message, and how many there were in a second.
std::string Sent(Peer &peer, int clients, int each)
{
    std::vector<std::unique_ptr<Sender>> senders;
    for (int i = 0; i < clients; ++i)
        senders.push_back(peer.NewSender(i));
    for (const auto &sender : senders)
        sender->Send();
    std::vector<std::vector<std::int64_t>> times(senders.size());
    std::vector<std::string> failures(senders.size());
    const std::int64_t took = Timed([&] {
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < senders.size(); ++i)
            threads.emplace_back([&, i] {
                try {
                    for (int n = 0; n < each; ++n)
                        times[i].push_back(Timed([&] { senders[i]->Send(); }));
                } catch (const std::exception &error) {
                    failures[i] = error.what();
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    });
    std::vector<std::int64_t> all;
    for (std::size_t i = 0; i < senders.size(); ++i) {
        if (!failures[i].empty())
            throw std::runtime_error(failures[i]);
        all.insert(all.end(), times[i].begin(), times[i].end());
    }
    char rate[32];
    std::snprintf(rate, sizeof rate, ", %.0f/s", static_cast<double>(all.size()) * 1e9 / static_cast<double>(took));
    return Shown(all) + rate;
}

struct Line {
    const char *what;
    std::function<std::string(Peer &)> measure;
};

const Line kLines[] = {
    {"what a question costs (`OrlIsConnected`, `NOOP`)",
     [](Peer &peer) { return Shown(Repeated(500, [&](int) { peer.Nothing(); })); }},
    {"a page of 10 unread urgent voice mails, by time of sending",
     [](Peer &peer) { return Shown(Repeated(200, [&](int) { RequireRows(peer.Page(Order::Sent), kPage); })); }},
    {"the same in the order of arrival",
     [](Peer &peer) { return Shown(Repeated(200, [&](int) { RequireRows(peer.Page(Order::Arrived), kPage); })); }},
    {"three counts: unread, unread urgent, read voice mails",
     [](Peer &peer) { return Shown(Repeated(200, [&](int) { peer.Count(); })); }},
    {"1,000 headers",
     [](Peer &peer) { return Shown(Repeated(50, [&](int) { RequireRows(peer.Headers(), kHeaders); })); }},
    {"mark one read, and unread again",
     [](Peer &peer) { return Shown(Repeated(200, [&](int i) { peer.Mark(i % 2 == 0); })); }},
    {"append 200 KB durably, 1 client", [](Peer &peer) { return Sent(peer, 1, 200); }},
    {"append 200 KB durably, 16 clients", [](Peer &peer) { return Sent(peer, kSenders, 25); }},
    {"from sending a short message until a watcher hears",
     [](Peer &peer) {
         std::vector<std::int64_t> times;
         for (int i = 0; i < 60; ++i)
             times.push_back(peer.Notice());
         return Shown(times);
     }},
};

std::string SyncTime()
{
    const int file = open("sync", O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0)
        throw std::runtime_error("the working folder can't be written to");
    const std::string page(4096, 's');
    const auto times = Repeated(100, [&](int i) {
        if (pwrite(file, page.data(), page.size(), static_cast<off_t>(i) * 4096) < 0 || fdatasync(file) != 0)
            throw std::runtime_error("syncing failed");
    });
    close(file);
    unlink("sync");
    return Shown(times);
}

void PrintRow(const std::string &first, const std::vector<std::string> &cells)
{
    std::printf("| %s |", first.c_str());
    for (const std::string &cell : cells)
        std::printf(" %s |", cell.c_str());
    std::printf("\n");
    std::fflush(stdout);
}

void Measure(std::uint64_t messages, const std::vector<std::pair<std::string, std::uint16_t>> &servers)
{
    std::vector<Named> peers;
    peers.push_back({"localmapi", MakeOurs(messages)});
    const VoiceCounts counts = peers.front().peer->Count();
    for (const auto &[name, port] : servers) {
        std::fprintf(stderr, "giving %s %llu messages, unless it has them\n", name.c_str(),
                     static_cast<unsigned long long>(messages));
        peers.push_back({name, MakeImapPeer(port, messages)});
        if (peers.back().peer->Count() != counts)
            throw std::runtime_error(name + " does not hold the messages that localmapi holds");
    }
    std::vector<std::string> names, rules;
    for (const Named &one : peers) {
        names.push_back(one.name);
        rules.emplace_back("---");
    }
    PrintRow(std::to_string(messages) + " messages, ms: median (99 in 100)", names);
    PrintRow("---", rules);
    for (const Line &line : kLines) {
        std::vector<std::string> cells;
        for (const Named &one : peers)
            cells.push_back(line.measure(*one.peer));
        PrintRow(line.what, cells);
    }
    std::printf("\n");
}

} // namespace

int Run(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--send") == 0)
        return SendWhenTold(argv[2]);
    if (argc < 2)
        throw std::runtime_error("SIZE[,SIZE...] [NAME=PORT...]");
    std::vector<std::pair<std::string, std::uint16_t>> servers;
    for (int i = 2; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::size_t equals = argument.find('=');
        if (equals == argument.npos)
            throw std::runtime_error(argument + " is no NAME=PORT");
        servers.emplace_back(argument.substr(0, equals),
                             static_cast<std::uint16_t>(std::stoul(argument.substr(equals + 1))));
    }
    std::printf("4 KB written and synced (`fdatasync`): %s ms\n\n", SyncTime().c_str());
    std::string sizes = std::string(argv[1]) + ",";
    for (std::size_t comma; (comma = sizes.find(',')) != sizes.npos; sizes.erase(0, comma + 1))
        Measure(std::stoull(sizes.substr(0, comma)), servers);
    return 0;
}

} // namespace bench

int main(int argc, char **argv)
{
    try {
        return bench::Run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "orlmapi_peers: %s\n", error.what());
        return 1;
    }
}
