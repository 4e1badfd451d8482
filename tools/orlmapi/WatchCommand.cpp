// Watching mailboxes: a line whenever the counts of one have changed.
#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include "common/Interrupt.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace
{

// How often it is made sure that there is still something to be told of.
constexpr std::chrono::milliseconds kLook{5000};
constexpr int kMostFailures = 3;

// What is printed, from whatever thread the library calls, until so many lines are out.
class ChangeLines
{
  public:
    ChangeLines(tool::Interrupt &interrupt, bool json, unsigned long count)
        : m_interrupt(interrupt), m_json(json), m_count(count)
    {
    }

    void Print(const std::string &mailbox, ULONG unread, ULONG unreadHighPriority, ULONG read)
    {
        const locks::Hold lock(m_lock);
        if (m_count != 0 && m_printed == m_count)
            return;
        SYSTEMTIME now;
        GetSystemTime(&now);
        if (m_json)
            PrintLine(nlohmann::ordered_json{
                {"time", IsoTime(now)},
                {"mailbox", mailbox},
                {"unread", unread},
                {"unreadHighPriority", unreadHighPriority},
                {"read",
                 read}}.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
        else
            PrintLine(IsoTime(now) + "  " + tool::Clean(mailbox) + "  " + std::to_string(unread) + " unread, " +
                      std::to_string(unreadHighPriority) + " urgent, " + std::to_string(read) + " read");
        const bool broken = std::fflush(stdout) != 0;
        if (++m_printed == m_count || broken)
            m_interrupt.Request();
    }

  private:
    tool::Interrupt &m_interrupt;
    const bool m_json;
    const unsigned long m_count;
    locks::Mutex m_lock;
    unsigned long m_printed GUARDED_BY(m_lock) = 0;
};

// A mailbox that is watched. One change may be told several times; it is printed once. It outlives the connection,
// whose end ends every sink: a call may still be running when OrlUnadvise has returned.
class Watch
{
  public:
    Watch(std::string mailbox, ChangeLines &lines) : m_name(std::move(mailbox)), m_lines(lines) {}
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    void Begin(const Connection &connection)
    {
        const std::string tried = Tried();
        OrlMailbox mailbox = 0;
        Check(OrlAdviseW(connection.Handle(), &m_sink, tool::ToWide(m_name).c_str(), &Watch::Told,
                         reinterpret_cast<ULONG_PTR>(this), &mailbox),
              tried);
        if (m_sink == 0) {
            OrlMapiDisconnectFromMailbox(connection.Handle(), mailbox);
            throw Failure(tried, E_FAIL);
        }
    }
    // The library tells of changes only, not that there will be none any more.
    void Look(const Connection &connection) const
    {
        OrlMailbox mailbox = 0;
        Check(OrlMapiConnectToMailboxW(connection.Handle(), &mailbox, tool::ToWide(m_name).c_str()), Tried());
        OrlMapiDisconnectFromMailbox(connection.Handle(), mailbox);
    }
    void End(const Connection &connection) { OrlUnadvise(connection.Handle(), m_sink, nullptr); }

  private:
    std::string Tried() const { return "watching the mailbox " + m_name; }
    static BOOL ORLAPI Told(const WCHAR *, ULONG unread, ULONG unreadHighPriority, ULONG read, ULONG_PTR context)
    {
        auto &watch = *reinterpret_cast<Watch *>(context);
        const locks::Hold lock(watch.m_lock);
        const std::array<ULONG, 3> counts = {unread, unreadHighPriority, read};
        if (watch.m_first || counts != watch.m_last)
            watch.m_lines.Print(watch.m_name, unread, unreadHighPriority, read);
        watch.m_first = false;
        watch.m_last = counts;
        return TRUE;
    }

    const std::string m_name;
    ChangeLines &m_lines;
    OrlSink m_sink = 0;
    locks::Mutex m_lock;
    bool m_first GUARDED_BY(m_lock) = true;
    std::array<ULONG, 3> m_last GUARDED_BY(m_lock) = {};
};

} // namespace

void WatchMailboxes(const Common &common, const WatchOptions &options)
{
    tool::Interrupt interrupt;
    ChangeLines lines(interrupt, common.json, options.count);
    std::vector<std::unique_ptr<Watch>> watches;
    for (const std::string &mailbox : options.mailboxes)
        watches.push_back(std::make_unique<Watch>(mailbox, lines));
    Connection connection;
    connection.LogOn(common.logon);
    for (const auto &watch : watches)
        watch->Begin(connection);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.seconds);
    const auto left = [&] {
        using std::chrono::milliseconds;
        return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()));
    };
    // In turn: what ends them all is seen at any of them. A server may be away for a moment.
    int failures = 0;
    for (std::size_t i = 0; !interrupt.Wait(options.seconds ? std::min(kLook, left()) : kLook); ++i) {
        if (options.seconds && left().count() == 0)
            break;
        try {
            watches[i % watches.size()]->Look(connection);
            failures = 0;
        } catch (const Failure &) {
            if (++failures == kMostFailures)
                throw;
        }
    }
    for (const auto &watch : watches)
        watch->End(connection);
}
