// The notifier's thread: waits for changes, asks the tables that they concern, and calls their sinks.
#include "localmapi/provider/notify/NotifierThread.h"
#include "localmapi/storage/Error.h"

#include <algorithm>

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

bool Notifier::IsThisThread() noexcept
{
    return t_isNotifier;
}

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
            if (news && news->lost)
                feed->m_quietUpTo = 0;
            if (!news || feed->m_due || news->concerns(feed->m_container)) {
                feed->m_due = false;
                site.due.emplace_back(feed.get(), feed->m_quietUpTo);
            } else {
                feed->m_quietUpTo = news->upTo;
            }
        }
    }
    // What has been collected is told; the others are asked when the thread runs again.
    for (const auto &[feed, quietUpTo] : site.due) {
        if (IsStopping())
            return;
        Deliver(*feed, feed->Collect(quietUpTo));
    }
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
        for (Notice &notice : notices) {
            if (notice.event == TABLE_RELOAD)
                connection->from = -1; // numbers start again where an older copy has taken the file's place
            if (notice.entry > connection->from)
                notifications.push_back(NotificationOf(notice));
        }
        first = notifications.data();
        count = notifications.size();
    } catch (const std::bad_alloc &) {
        // Then the client reads the table.
    }
    if (count == 0)
        return;
    {
        std::lock_guard hold(m_lock);
        if (connection->ended)
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

} // namespace localmapi
