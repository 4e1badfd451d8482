// The notifier itself: which feeds there are, and its thread. Only for what stands behind Notifier.h.
#pragma once
#include "localmapi/provider/notify/Notifier.h"

#include <condition_variable>
#include <map>
#include <thread>

namespace localmapi
{

struct Feed::Connection {
    Connection(ULONG connection, IMAPIAdviseSink *called, std::int64_t after)
        : number(connection), sink(Ref<IMAPIAdviseSink>::Share(called)), from(after)
    {
    }
    const ULONG number;
    Ref<IMAPIAdviseSink> sink;
    std::int64_t from; // on the notifier's thread only
    bool ended = false;
    bool endedByItself = false; // the notifier's thread lets go of the sink when it has returned
};

class Notifier
{
  public:
    // Never destroyed: its thread may outlive what the program destroys at its end.
    static Notifier &Get()
    {
        static auto *const notifier = new Notifier;
        return *notifier;
    }

    ULONG Advise(const std::shared_ptr<Feed> &feed, IMAPIAdviseSink *sink, std::int64_t from);
    bool Unadvise(Feed &feed, ULONG number);
    void End(Feed &feed) noexcept;
    bool Any(const Feed &feed)
    {
        std::lock_guard hold(m_lock);
        return !feed.m_connections.empty();
    }
    void SetDue(Feed &feed)
    {
        std::lock_guard hold(m_lock);
        feed.m_due = m_anyDue = true;
    }
    bool IsStopping()
    {
        std::lock_guard hold(m_lock);
        return m_stop;
    }
    void Stop() noexcept;
    void Resume() noexcept;

    static bool IsThisThread() noexcept;

  private:
    using ConnectionPtr = std::shared_ptr<Feed::Connection>;
    using FeedPtr = std::shared_ptr<Feed>;
    struct SiteState {
        storage::Site site;
        std::optional<storage::ChangeLog> log;
        std::int64_t upTo = -1; // the last news
        std::vector<FeedPtr> feeds;
        std::vector<std::pair<Feed *, std::int64_t>> due; // of the last look
    };
    using Sites = std::map<storage::Database *, SiteState>;

    void Start();
    void Finish(std::unique_lock<std::mutex> &hold, const ConnectionPtr &connection) noexcept;
    void Drop(Feed &feed);
    void StopIfNobodyListens() noexcept;
    void Run(const std::shared_ptr<storage::ChangeSignal> &signal) noexcept;
    void Arrange(Sites &sites, const std::vector<FeedPtr> &feeds);
    void Look(SiteState &site, bool anyDue);
    void Deliver(Feed &feed, std::vector<Notice> notices) noexcept;
    void Call(const ConnectionPtr &connection, std::vector<Notice> &notices) noexcept;

    // Held while the thread is started or waited for; before m_lock, and never on the notifier's own thread.
    std::mutex m_startStop;
    std::thread m_thread;

    std::mutex m_lock;
    std::condition_variable m_returned;
    std::vector<FeedPtr> m_feeds; // those with connections
    std::uint64_t m_generation = 0;
    bool m_anyDue = false;                       // some feed is
    const Feed::Connection *m_running = nullptr; // its sink is being called or released
    std::shared_ptr<storage::ChangeSignal> m_signal;
    bool m_alive = false;
    bool m_stop = false;
    ULONG m_next = 1;
};

} // namespace localmapi
