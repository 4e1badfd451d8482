// The notifier's thread: waits for the signal, asks the tables that the entries concern, and calls their sinks.
#include "localmapi/provider/notify/Notifier.h"
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

NOTIFICATION NotificationOf(TableNotice &notice)
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
            std::vector<AdvisesPtr> tables;
            std::uint64_t generation = 0;
            {
                const locks::Hold hold(NotifierLock());
                if (m_stop || m_tables.empty()) {
                    m_alive = false;
                    return;
                }
                generation = m_generation;
                anyDue = std::exchange(m_anyDue, false) || anyDue;
                if (generation != arranged)
                    tables = m_tables;
            }
            if (generation != arranged) {
                Arrange(sites, tables);
                std::set<std::string> paths;
                for (const auto &[database, site] : sites)
                    paths.insert(site.site.Path());
                signal->Listen(paths);
                arranged = generation;
            }
            for (auto &[database, site] : sites)
                Look(site, anyDue);
            anyDue = false;
        } catch (...) {
            // Out of memory: what is due stays so.
        }
        signal->Wait(kLookAnyway);
    }
}

void Notifier::Arrange(Sites &sites, const std::vector<AdvisesPtr> &tables)
{
    for (auto &[database, site] : sites)
        site.tables.clear();
    for (const AdvisesPtr &advises : tables)
        sites.try_emplace(&advises->m_site.GetDatabase(), SiteState{advises->m_site, {}, -1, {}, {}})
            .first->second.tables.push_back(advises);
    std::erase_if(sites, [](const auto &site) { return site.second.tables.empty(); });
}

void Notifier::Look(SiteState &site, bool anyDue)
{
    site.due.clear();
    site.due.reserve(site.tables.size());
    std::optional<storage::EntrySummary> summary;
    try {
        if (site.reader)
            summary = site.reader->Next();
        else // everybody is asked, as of a later moment than this one
            site.reader.emplace(site.site);
    } catch (const storage::Error &) {
        // Everybody is asked, and each table says what it fails at.
    }
    if (summary && !anyDue && summary->upTo == site.upTo)
        return;
    site.upTo = summary ? summary->upTo : -1;
    {
        const locks::Hold hold(NotifierLock());
        for (const AdvisesPtr &advises : site.tables) {
            if (summary && summary->lost)
                advises->m_quietUpTo = 0;
            if (!summary || advises->m_due || summary->Concerns(advises->m_container)) {
                advises->m_due = false;
                site.due.emplace_back(advises.get(), advises->m_quietUpTo);
            } else {
                advises->m_quietUpTo = summary->upTo;
            }
        }
    }
    // What has been collected is told; the others are asked when the thread runs again.
    for (const auto &[advises, quietUpTo] : site.due) {
        if (IsStopping())
            return;
        Deliver(*advises, advises->Collect(quietUpTo));
    }
}

void Notifier::Deliver(Advises &advises, std::vector<TableNotice> notices) noexcept
{
    // One at a time: those that follow may be ended by the one that is called.
    SinkPtr advised;
    while (!notices.empty()) {
        {
            const locks::Hold hold(NotifierLock());
            const auto next = std::find_if(advises.m_sinks.begin(), advises.m_sinks.end(), [&](const SinkPtr &known) {
                return !advised || known->number > advised->number;
            });
            if (next == advises.m_sinks.end())
                return;
            advised = *next;
        }
        Call(advised, notices);
    }
}

void Notifier::Call(const SinkPtr &advised, std::vector<TableNotice> &notices) noexcept
{
    NOTIFICATION reload = NotificationOf(ULONG{TABLE_RELOAD});
    NOTIFICATION *first = &reload;
    std::size_t count = 1;
    std::vector<NOTIFICATION> notifications;
    try {
        for (TableNotice &notice : notices) {
            if (notice.event == TABLE_RELOAD)
                advised->from = -1; // numbers start again where an older copy has taken the file's place
            if (notice.entry > advised->from)
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
        const locks::Hold hold(NotifierLock());
        if (advised->ended)
            return;
        m_running = advised.get();
    }
    try {
        advised->sink->OnNotify(static_cast<ULONG>(count), first);
    } catch (...) {
        // A client's exception ends here.
    }
    bool release = false;
    {
        const locks::Hold hold(NotifierLock());
        release = advised->endedByItself;
    }
    if (release)
        advised->sink.reset();
    {
        const locks::Hold hold(NotifierLock());
        m_running = nullptr;
    }
    m_returned.NotifyAll();
}

} // namespace localmapi
