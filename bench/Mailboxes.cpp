// orlmapi_mailboxes COUNT MESSAGES: one process that watches so many mailboxes of so many messages each through the
// exports. Prints how long that takes, what it costs and how soon it hears of a new message that another process sends
// to one of them. The working folder keeps the sites.
#include "Watching.h"
#include "localmapi/delivery/Fill.h"
#include "localmapi/storage/Time.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace bench
{

namespace
{

constexpr int kDeliveries = 500, kOpenings = 1000;
constexpr std::chrono::seconds kIdle{10};

std::string AliasOf(std::size_t number)
{
    char alias[32];
    std::snprintf(alias, sizeof alias, "u%06zu", number);
    return alias;
}

// Which mailbox a round is about: all over the site, in an order that both processes know.
std::size_t MailboxOf(std::size_t round, std::size_t mailboxes)
{
    return round * 7919 % mailboxes;
}

void Require(HRESULT hr, const char *what)
{
    if (hr < 0)
        throw std::runtime_error(what);
}

std::string SiteOf(std::size_t mailboxes, std::size_t messages)
{
    const std::string path = "site-" + std::to_string(mailboxes) + "x" + std::to_string(messages) + ".db";
    if (std::filesystem::exists(path))
        return path;
    std::fprintf(stderr, "making %s\n", path.c_str());
    const std::string making = MakeSite(path + ".new");
    {
        const auto site = localmapi::storage::Site::Open(making);
        localmapi::storage::Directory directory(site);
        for (std::size_t i = 0; i < mailboxes; ++i) {
            const auto user = directory.AddUser(AliasOf(i), "Person " + std::to_string(i));
            localmapi::delivery::Fill(site, user, messages, {}, localmapi::storage::CurrentTime());
        }
    }
    PutInPlace(making, path);
    return path;
}

class Watched
{
  public:
    static BOOL ORLAPI Called(const WCHAR *, ULONG, ULONG, ULONG, ULONG_PTR context)
    {
        const std::int64_t now = Nanoseconds();
        auto &self = *reinterpret_cast<Watched *>(context);
        const std::lock_guard hold(s_lock);
        ++self.m_calls;
        self.m_when = now;
        s_called.notify_all();
        return TRUE;
    }
    std::uint64_t Calls() const
    {
        const std::lock_guard hold(s_lock);
        return m_calls;
    }
    // When it was called for the first time after `calls` calls.
    std::int64_t Await(std::uint64_t calls)
    {
        std::unique_lock hold(s_lock);
        if (!s_called.wait_for(hold, std::chrono::minutes(1), [&] { return m_calls > calls; }))
            throw std::runtime_error("nobody was told of a message");
        return m_when;
    }
    OrlSink sink = 0;

  private:
    static inline std::mutex s_lock;
    static inline std::condition_variable s_called;
    std::uint64_t m_calls = 0;
    std::int64_t m_when = 0;
};

void Print(const char *what, double value, const char *unit, const char *aim)
{
    std::printf("%-58s %10.3g %-4s %s\n", what, value, unit, aim);
    std::fflush(stdout);
}

double Milliseconds(std::int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e6;
}

// Median and the 99th of a hundred.
void PrintTimes(const std::string &what, std::vector<std::int64_t> times, const char *aim)
{
    std::sort(times.begin(), times.end());
    Print((what + ", median").c_str(), Milliseconds(times[times.size() / 2]), "ms", "");
    Print((what + ", 99 in 100").c_str(), Milliseconds(times[times.size() * 99 / 100]), "ms", aim);
}

// What the process holds of memory that is its own, in MB.
double OwnMemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("RssAnon:"))
            return std::strtod(line.c_str() + 8, nullptr) / 1024;
    return 0;
}

std::int64_t ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

void MeasureOpening(const HostSession &host, std::size_t mailboxes)
{
    std::vector<std::int64_t> times;
    for (int i = 0; i < kOpenings; ++i) {
        const std::string alias = AliasOf(MailboxOf(static_cast<std::size_t>(i), mailboxes));
        OrlMailbox mailbox = 0;
        const std::int64_t began = Nanoseconds();
        Require(OrlMapiConnectToMailboxA(host.GetConnection(), &mailbox, alias.c_str()), "opening a mailbox");
        times.push_back(Nanoseconds() - began);
        Require(OrlMapiDisconnectFromMailbox(host.GetConnection(), mailbox), "closing a mailbox");
    }
    PrintTimes("a mailbox is opened", std::move(times), "(under 1)");
}

void Measure(std::size_t mailboxes, std::size_t messages)
{
    const std::string site = SiteOf(mailboxes, messages);
    std::printf("%zu mailboxes of %zu messages, %.1f GB\n\n", mailboxes, messages,
                static_cast<double>(std::filesystem::file_size(site)) / 1e9);
    const HostSession host(site);
    const double before = OwnMemory();
    MeasureOpening(host, mailboxes);

    std::vector<Watched> watched(mailboxes);
    const std::int64_t began = Nanoseconds(), used = ProcessorTime();
    for (std::size_t i = 0; i < mailboxes; ++i) {
        OrlMailbox mailbox = 0;
        Require(OrlAdviseA(host.GetConnection(), &watched[i].sink, AliasOf(i).c_str(), &Watched::Called,
                           reinterpret_cast<ULONG_PTR>(&watched[i]), &mailbox),
                "watching a mailbox");
    }
    Print("the counts of all have been told", Milliseconds(Nanoseconds() - began) / 1000, "s", "(under 30)");
    Print("  processor time of it", Milliseconds(ProcessorTime() - used) / 1000, "s", "");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    Print("memory of the process", OwnMemory(), "MB", "(under 300)");
    Print("  of it before the first mailbox", before, "MB", "");

    const std::int64_t idle = ProcessorTime();
    std::this_thread::sleep_for(kIdle);
    Print("share of a core while nothing happens",
          100 * Milliseconds(ProcessorTime() - idle) / (kIdle.count() * 1000.0), "%", "(under 1)");

    OtherProcess other(site, "--send-to-" + std::to_string(mailboxes));
    std::vector<std::int64_t> times;
    for (std::size_t i = 0; i < kDeliveries; ++i) {
        Watched &one = watched[MailboxOf(i, mailboxes)];
        const std::uint64_t calls = one.Calls();
        const std::int64_t called = other.Save().first;
        times.push_back(one.Await(calls) - called);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    PrintTimes("from sending a message to the callback", std::move(times), "(under 25)");
    Print("memory of the process then", OwnMemory(), "MB", "(under 300)");

    const std::int64_t ending = Nanoseconds();
    for (const Watched &one : watched)
        Require(OrlUnadvise(host.GetConnection(), one.sink, nullptr), "ending a watch");
    Print("all watches are ended", Milliseconds(Nanoseconds() - ending) / 1000, "s", "");
}

int SendWhenTold(const std::string &site, std::size_t mailboxes)
{
    const HostSession host(site);
    std::size_t round = 0;
    return AnswerSaves([&] {
        const std::string to = AliasOf(MailboxOf(round++, mailboxes));
        const std::int64_t called = Nanoseconds();
        Require(OrlSendUMEmailA(host.GetConnection(), host.GetMailbox(), to.c_str(), "Voice Mail", "Text", 0, 0, "", "",
                                17, "+15550100", "Carla Costa", "", 0, 1795000000),
                "sending");
        return std::pair(called, Nanoseconds());
    });
}

int Run(int argc, char **argv)
{
    constexpr std::string_view kSend = "--send-to-";
    if (argc != 3)
        throw std::runtime_error("COUNT MESSAGES");
    if (std::string_view(argv[1]).starts_with(kSend))
        return SendWhenTold(argv[2], std::stoul(argv[1] + kSend.size()));
    const std::size_t mailboxes = std::stoul(argv[1]), messages = std::stoul(argv[2]);
    if (mailboxes == 0)
        throw std::runtime_error("no mailbox");
    Measure(mailboxes, messages);
    return 0;
}

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    try {
        return bench::Run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "orlmapi_mailboxes: %s\n", error.what());
        return 1;
    }
}
