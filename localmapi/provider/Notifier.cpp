#include "Notifier.h"

#include "ErrorText.h"
#include "StorageErrors.h"

#include <algorithm>
#include <condition_variable>
#include <limits>
#include <map>
#include <thread>

namespace localmapi
{

namespace
{

// How often the thread looks without having been told to.
constexpr std::chrono::milliseconds kLookAnyway{500};

thread_local bool t_isNotifier = false;

SPropValue KeyProp(std::optional<storage::Bytes> &key)
{
    SPropValue value{};
    value.ulPropTag = PR_NULL;
    if (key) {
        value.ulPropTag = PR_INSTANCE_KEY;
        value.Value.bin.cb = static_cast<ULONG>(key->size());
        value.Value.bin.lpb = key->data();
    }
    return value;
}

NOTIFICATION NotificationOf(ULONG event)
{
    NOTIFICATION notification{};
    notification.ulEventType = fnevTableModified;
    notification.info.tab.ulTableEvent = event;
    notification.info.tab.propIndex.ulPropTag = PR_NULL;
    notification.info.tab.propPrior.ulPropTag = PR_NULL;
    return notification;
}

NOTIFICATION NotificationOf(Notice &notice)
{
    NOTIFICATION notification = NotificationOf(notice.event);
    TABLE_NOTIFICATION &table = notification.info.tab;
    table.hResult = notice.result;
    table.propIndex = KeyProp(notice.index);
    table.propPrior = KeyProp(notice.prior);
    table.row.cValues = notice.columns;
    table.row.lpProps = notice.row.get();
    return notification;
}

} // namespace

struct Feed::Connection {
    Connection(ULONG connection, IMAPIAdviseSink *called, std::int64_t after)
        : number(connection), sink(Ref<IMAPIAdviseSink>::Share(called)), from(after)
    {
    }
    const ULONG number;
    Ref<IMAPIAdviseSink> sink;
    const std::int64_t from;
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
    void Stop() noexcept;

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

ULONG Notifier::Advise(const FeedPtr &feed, IMAPIAdviseSink *sink, std::int64_t from)
{
    std::unique_lock starting(m_startStop, std::defer_lock);
    if (!t_isNotifier)
        starting.lock();
    std::unique_lock hold(m_lock);
    const auto connection = std::make_shared<Feed::Connection>(m_next, sink, from);
    feed->m_connections.reserve(feed->m_connections.size() + 1);
    if (feed->m_connections.empty()) {
        m_feeds.push_back(feed);
        feed->m_quietUpTo = 0;
    }
    feed->m_connections.push_back(connection);
    feed->m_due = m_anyDue = true;
    ++m_generation;
    m_next = m_next == std::numeric_limits<ULONG>::max() ? 1 : m_next + 1;
    if (!t_isNotifier && !m_alive) {
        try {
            hold.unlock();
            Start();
            hold.lock();
        } catch (...) {
            hold.lock();
            std::erase(feed->m_connections, connection);
            Drop(*feed);
            throw;
        }
    }
    if (m_signal)
        m_signal->wake();
    return connection->number;
}

// Under m_startStop; the thread that ran before has come to its end.
void Notifier::Start()
{
    if (m_thread.joinable())
        m_thread.join();
    auto signal = std::make_shared<storage::ChangeSignal>();
    {
        std::lock_guard hold(m_lock);
        m_signal = signal;
        m_alive = true;
        m_stop = false;
    }
    try {
        m_thread = std::thread([this, signal] { Run(signal); });
    } catch (...) {
        std::lock_guard hold(m_lock);
        m_alive = false;
        throw;
    }
}

// Takes a feed without connections out of those that are served.
void Notifier::Drop(Feed &feed)
{
    if (!feed.m_connections.empty())
        return;
    std::erase_if(m_feeds, [&](const FeedPtr &known) { return known.get() == &feed; });
    ++m_generation;
    if (m_signal)
        m_signal->wake(); // it may be holding the last connection to a site
}

// Ends a connection that is in no list any more.
void Notifier::Finish(std::unique_lock<std::mutex> &hold, const ConnectionPtr &connection) noexcept
{
    connection->ended = true;
    if (m_running == connection.get()) {
        if (t_isNotifier) {
            connection->endedByItself = true;
            return;
        }
        m_returned.wait(hold, [&] { return m_running != connection.get(); });
    }
    Ref<IMAPIAdviseSink> sink = std::move(connection->sink);
    hold.unlock();
    sink.reset();
    hold.lock();
}

bool Notifier::Unadvise(Feed &feed, ULONG number)
{
    {
        std::unique_lock hold(m_lock);
        const auto found = std::find_if(feed.m_connections.begin(), feed.m_connections.end(),
                                        [&](const ConnectionPtr &known) { return known->number == number; });
        if (found == feed.m_connections.end())
            return false;
        const ConnectionPtr connection = *found;
        feed.m_connections.erase(found);
        Drop(feed);
        Finish(hold, connection);
    }
    StopIfNobodyListens();
    return true;
}

void Notifier::End(Feed &feed) noexcept
{
    {
        std::unique_lock hold(m_lock);
        while (!feed.m_connections.empty()) {
            const ConnectionPtr connection = feed.m_connections.back();
            feed.m_connections.pop_back();
            Drop(feed);
            Finish(hold, connection);
        }
    }
    StopIfNobodyListens();
}

void Notifier::StopIfNobodyListens() noexcept
{
    if (t_isNotifier)
        return; // it ends when the sink has returned
    std::lock_guard stopping(m_startStop);
    {
        std::lock_guard hold(m_lock);
        // While a sink is still on its way out of its own end, the thread is left to itself.
        if (!m_feeds.empty() || m_running || !m_thread.joinable())
            return;
        m_signal->wake();
    }
    m_thread.join();
}

void Notifier::Stop() noexcept
{
    if (t_isNotifier)
        return;
    std::lock_guard stopping(m_startStop);
    {
        std::lock_guard hold(m_lock);
        if (!m_thread.joinable())
            return;
        m_stop = true;
        m_signal->wake();
    }
    m_thread.join();
}

// --- the thread ---

void Notifier::Run(const std::shared_ptr<storage::ChangeSignal> &signal) noexcept
{
    t_isNotifier = true;
    Sites sites;
    std::uint64_t arranged = 0;
    bool anyDue = true;
    for (;;) {
        try {
            std::vector<FeedPtr> feeds;
            std::uint64_t generation = 0;
            {
                std::lock_guard hold(m_lock);
                if (m_stop || m_feeds.empty()) {
                    m_alive = false;
                    return;
                }
                generation = m_generation;
                anyDue = std::exchange(m_anyDue, false) || anyDue;
                if (generation != arranged)
                    feeds = m_feeds;
            }
            if (generation != arranged) {
                Arrange(sites, feeds);
                std::set<std::string> paths;
                for (const auto &[database, site] : sites)
                    paths.insert(site.site.path());
                signal->listen(paths);
                arranged = generation;
            }
            for (auto &[database, site] : sites)
                Look(site, anyDue);
            anyDue = false;
        } catch (...) {
            // Out of memory: what is due stays so.
        }
        signal->wait(kLookAnyway);
    }
}

void Notifier::Arrange(Sites &sites, const std::vector<FeedPtr> &feeds)
{
    for (auto &[database, site] : sites)
        site.feeds.clear();
    for (const FeedPtr &feed : feeds)
        sites.try_emplace(&feed->m_site.database(), SiteState{feed->m_site, {}, -1, {}, {}})
            .first->second.feeds.push_back(feed);
    std::erase_if(sites, [](const auto &site) { return site.second.feeds.empty(); });
}

void Notifier::Look(SiteState &site, bool anyDue)
{
    site.due.clear();
    site.due.reserve(site.feeds.size());
    std::optional<storage::News> news;
    try {
        if (site.log)
            news = site.log->next();
        else // everybody is asked, as of a later moment than this one
            site.log.emplace(site.site);
    } catch (const storage::Error &) {
        // Everybody is asked, and each table says what it fails at.
    }
    if (news && !anyDue && news->upTo == site.upTo)
        return;
    site.upTo = news ? news->upTo : -1;
    {
        std::lock_guard hold(m_lock);
        for (const FeedPtr &feed : site.feeds) {
            if (!news || feed->m_due || news->concerns(feed->m_container)) {
                feed->m_due = false;
                site.due.emplace_back(feed.get(), feed->m_quietUpTo);
            } else {
                feed->m_quietUpTo = news->upTo;
            }
        }
    }
    for (const auto &[feed, quietUpTo] : site.due)
        Deliver(*feed, feed->Collect(quietUpTo));
}

void Notifier::Deliver(Feed &feed, std::vector<Notice> notices) noexcept
{
    // One at a time: those that follow may be ended by the one that is called.
    ConnectionPtr connection;
    while (!notices.empty()) {
        {
            std::lock_guard hold(m_lock);
            const auto next =
                std::find_if(feed.m_connections.begin(), feed.m_connections.end(), [&](const ConnectionPtr &known) {
                    return !connection || known->number > connection->number;
                });
            if (next == feed.m_connections.end())
                return;
            connection = *next;
        }
        Call(connection, notices);
    }
}

void Notifier::Call(const ConnectionPtr &connection, std::vector<Notice> &notices) noexcept
{
    NOTIFICATION reload = NotificationOf(ULONG{TABLE_RELOAD});
    NOTIFICATION *first = &reload;
    std::size_t count = 1;
    std::vector<NOTIFICATION> notifications;
    try {
        for (Notice &notice : notices)
            if (notice.entry > connection->from)
                notifications.push_back(NotificationOf(notice));
        first = notifications.data();
        count = notifications.size();
    } catch (const std::bad_alloc &) {
        // Then the client reads the table.
    }
    if (count == 0)
        return;
    {
        std::lock_guard hold(m_lock);
        if (connection->ended || m_stop)
            return;
        m_running = connection.get();
    }
    try {
        connection->sink->OnNotify(static_cast<ULONG>(count), first);
    } catch (...) {
        // A client's exception ends here.
    }
    bool release = false;
    {
        std::lock_guard hold(m_lock);
        release = connection->endedByItself;
    }
    if (release)
        connection->sink.reset();
    {
        std::lock_guard hold(m_lock);
        m_running = nullptr;
    }
    m_returned.notify_all();
}

// --- feeds ---

Feed::Feed(Source source, storage::Site site, storage::Container container)
    : m_source(std::move(source)), m_site(std::move(site)), m_container(container)
{
}

Feed::~Feed() = default;

bool Feed::Any() const
{
    return Notifier::Get().Any(*this);
}

ULONG Feed::Advise(IMAPIAdviseSink *sink, std::int64_t from)
{
    return Notifier::Get().Advise(shared_from_this(), sink, from);
}

bool Feed::Unadvise(ULONG number)
{
    return Notifier::Get().Unadvise(*this, number);
}

void Feed::End() noexcept
{
    Notifier::Get().End(*this);
}

void Feed::Close() noexcept
{
    End();
    std::lock_guard hold(m_collecting);
    m_source = nullptr;
}

std::vector<Notice> Feed::Collect(std::int64_t quietUpTo) noexcept
{
    std::vector<Notice> notices;
    try {
        std::lock_guard hold(m_collecting);
        if (m_source)
            notices = m_source(quietUpTo);
        m_failed = false;
    } catch (...) {
        // Told once; then tried again until it works.
        Notifier::Get().SetDue(*this);
        notices.clear();
        HRESULT code = MAPI_E_NOT_ENOUGH_MEMORY;
        try {
            code = CurrentFailure().code();
            if (!m_failed) {
                notices.emplace_back();
                notices.back().entry = std::numeric_limits<std::int64_t>::max();
                notices.back().event = TABLE_ERROR;
                notices.back().result = code;
            }
            m_failed = true;
        } catch (...) {
            notices.clear();
        }
    }
    return notices;
}

void AdviseScope::Add(const std::shared_ptr<Feed> &feed)
{
    std::lock_guard hold(m_lock);
    std::erase_if(m_feeds, [](const std::weak_ptr<Feed> &known) { return known.expired(); });
    m_feeds.push_back(feed);
}

void AdviseScope::End()
{
    std::vector<std::weak_ptr<Feed>> feeds;
    {
        std::lock_guard hold(m_lock);
        feeds = m_feeds;
    }
    for (const std::weak_ptr<Feed> &known : feeds)
        if (const auto feed = known.lock())
            feed->End();
}

void StopNotifier() noexcept
{
    Notifier::Get().Stop();
}

} // namespace localmapi
