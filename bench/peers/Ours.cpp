// localmapi, asked through the exports. Who sends the messages that are noticed is a process of its own.
#include "Peer.h"
#include "Watching.h"
#include "localmapi/delivery/Fill.h"
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench
{

namespace
{

// A fixed day, so that every run makes the same messages.
constexpr std::int64_t kLastMessage = 134'000'000'000'000'000;

void Require(HRESULT hr, const char *what)
{
    if (hr < 0)
        throw std::runtime_error(std::string("localmapi: ") + what);
}

void Send(DWORD connection, OrlMailbox mailbox, const std::string &to, const char *file)
{
    Require(OrlSendUMEmailA(connection, mailbox, to.c_str(), "Voice Mail from Carla Costa (17 seconds)",
                            "You received a voice mail.\r\n", 0, 0, file, *file ? "message.wav" : "", 17, "+15550100",
                            "Carla Costa", *file ? "message.wav" : "", 0, 1795000000),
            "sending");
}

class OurSender final : public Sender
{
  public:
    OurSender(const std::string &site, int number) : m_host(site), m_to("r" + std::to_string(number)) {}
    void Send() override { bench::Send(m_host.GetConnection(), m_host.GetMailbox(), m_to, "recording.wav"); }

  private:
    HostSession m_host;
    std::string m_to;
};

// Hears of the mailbox that messages are sent to.
class Watcher
{
  public:
    explicit Watcher(DWORD connection) : m_connection(connection)
    {
        OrlMailbox mailbox = 0;
        Require(OrlAdviseA(connection, &m_sink, "w", &Called, reinterpret_cast<ULONG_PTR>(this), &mailbox), "advising");
    }
    ~Watcher() { OrlUnadvise(m_connection, m_sink, nullptr); }
    Watcher(const Watcher &) = delete;
    Watcher &operator=(const Watcher &) = delete;

    ULONG Unread()
    {
        const std::lock_guard hold(m_lock);
        return m_unread;
    }
    std::int64_t Await(ULONG unread)
    {
        std::unique_lock hold(m_lock);
        if (!m_heard.wait_for(hold, std::chrono::minutes(1), [&] { return m_unread >= unread; }))
            throw std::runtime_error("localmapi: nobody was told of a message");
        return m_when;
    }

  private:
    static BOOL ORLAPI Called(const WCHAR *, ULONG unread, ULONG, ULONG, ULONG_PTR context)
    {
        const std::int64_t now = Nanoseconds();
        auto &self = *reinterpret_cast<Watcher *>(context);
        const std::lock_guard hold(self.m_lock);
        if (unread > self.m_unread)
            self.m_when = now;
        self.m_unread = unread;
        self.m_heard.notify_all();
        return TRUE;
    }

    const DWORD m_connection;
    OrlSink m_sink = 0;
    std::mutex m_lock;
    std::condition_variable m_heard;
    ULONG m_unread = 0;
    std::int64_t m_when = 0;
};

struct Listed {
    ULONG count = 0, total = 0;
    std::vector<BYTE> first;
};

class Ours final : public Peer
{
  public:
    explicit Ours(std::uint64_t messages)
        : m_site(SiteOfPeers(messages)), m_host(m_site), m_watcher(m_host.GetConnection()), m_other(m_site, "--send"),
          m_marked(List(1, 0, 0).first)
    {
    }

    void Nothing() override { OrlIsConnected(m_host.GetConnection()); }

    VoiceCounts Count() override
    {
        VoiceCounts counts;
        OrlSink sink = 0;
        OrlMailbox mailbox = 0;
        const MailboxCountCallback take = [](const WCHAR *, ULONG unread, ULONG urgent, ULONG read,
                                             ULONG_PTR context) -> BOOL {
            *reinterpret_cast<VoiceCounts *>(context) = {unread, urgent, read};
            return TRUE;
        };
        Require(
            OrlAdviseA(m_host.GetConnection(), &sink, "alice", take, reinterpret_cast<ULONG_PTR>(&counts), &mailbox),
            "counting");
        Require(OrlUnadvise(m_host.GetConnection(), sink, nullptr), "counting");
        return counts;
    }

    std::size_t Page(Order) override { return List(kPage, 1, 1).count; }
    std::size_t Headers() override { return List(kHeaders, 0, 0).count; }
    void Mark(bool read) override
    {
        Require(OrlSetEmailReadFlag(m_host.GetConnection(), m_host.GetMailbox(), static_cast<ULONG>(m_marked.size()),
                                    m_marked.data(), read),
                "marking");
    }
    std::unique_ptr<Sender> NewSender(int number) override { return std::make_unique<OurSender>(m_site, number); }

    std::int64_t Notice() override
    {
        const ULONG unread = m_watcher.Unread();
        const std::int64_t called = m_other.Save().first;
        return m_watcher.Await(unread + 1) - called;
    }

  private:
    Listed List(LONG rows, BYTE priority, BYTE um) const
    {
        DWORD table = 0, bookmark = 0;
        EmailHeaderA *headers = nullptr;
        Listed listed;
        Require(OrlGetEmailHeadersA(m_host.GetConnection(), m_host.GetMailbox(), &table, &bookmark, rows, &headers,
                                    &listed.count, &listed.total, 0, 1, ORL_BOOKMARK_BEGINNING, 0, priority, 0, 0,
                                    nullptr, 0, um),
                "listing");
        if (rows == 1 && listed.count == 1)
            listed.first.assign(headers->pEntryID, headers->pEntryID + headers->cbEntryID);
        OrlMapiFreeBuffer(headers);
        OrlMapiReleaseHandle(m_host.GetConnection(), &table, &bookmark);
        return listed;
    }

    const std::string m_site;
    HostSession m_host;
    Watcher m_watcher;
    OtherProcess m_other;
    const std::vector<BYTE> m_marked;
};

} // namespace

std::string SiteOfPeers(std::uint64_t messages)
{
    return "site-peers-" + std::to_string(messages) + ".db";
}

std::unique_ptr<Peer> MakeOurs(std::uint64_t messages)
{
    std::ofstream("recording.wav", std::ios::binary) << std::string(kRecording, 'w');
    const std::string path = MakeSite(SiteOfPeers(messages));
    {
        const auto site = localmapi::storage::Site::Open(path);
        localmapi::storage::Directory directory(site);
        for (int i = 0; i < kSenders; ++i)
            directory.AddUser("r" + std::to_string(i), "Recipient " + std::to_string(i));
        directory.AddUser("w", "Wanda Watched");
        localmapi::delivery::Fill(site, *directory.UserByAlias("alice"), messages, {}, kLastMessage);
    }
    return std::make_unique<Ours>(messages);
}

int SendWhenTold(const std::string &site)
{
    const HostSession host(site);
    return AnswerSaves([&] {
        const std::int64_t called = Nanoseconds();
        Send(host.GetConnection(), host.GetMailbox(), "w", "");
        return std::pair(called, Nanoseconds());
    });
}

} // namespace bench
