// The notifier's thread: waits for the signal, asks the tables that the entries concern, and calls their sinks.
#include "localmapi/provider/notify/Notifier.h"
#include "localmapi/storage/Error.h"

#include <algorithm>
#include <utility>

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
    {
        const locks::Hold hold(NotifierLock());
        for (const auto &[advises, table] : m_tables)
            List(*advises);
    }
    Pending pending;
    bool listening = false;
    for (;;) {
        try {
            if (!GoesOn(sites, pending))
                return;
            listening = !Arrange(sites, pending) && listening;
            if (!listening) {
                std::set<std::string> paths;
                for (const auto &[database, site] : sites)
                    paths.insert(site.site.Path());
                signal->Listen(paths);
                listening = true;
            }
            for (auto &[database, site] : sites)
                Look(site);
        } catch (...) {
            // Out of memory: what is due stays so.
        }
        signal->Wait(kLookAnyway);
    }
}

// Takes what is listed; false where the thread is to end, which cannot be taken back then.
bool Notifier::GoesOn(Sites &sites, Pending &pending)
{
    const locks::Hold hold(NotifierLock());
    TakeListed(pending);
    if (!m_stop && !m_tables.empty())
        return true;
    Leave(sites);
    m_alive = false;
    return false;
}

void Notifier::SiteState::Add(const AdvisesPtr &advises)
{
    const storage::Container &container = advises->m_container;
    const bool byFolder =
        container.kind == storage::Container::Kind::Contents || container.kind == storage::Container::Kind::Associated;
    (byFolder ? contents[container.of] : others).push_back(advises);
    advises->m_served = true;
    advises->m_lastAsked = 0;
    ++count;
}

void Notifier::SiteState::Remove(Advises &advises)
{
    const auto is = [&](const AdvisesPtr &known) { return known.get() == &advises; };
    if (const auto folder = contents.find(advises.m_container.of); folder != contents.end()) {
        count -= std::erase_if(folder->second, is);
        if (folder->second.empty())
            contents.erase(folder);
    }
    count -= std::erase_if(others, is);
    std::erase_if(due, is);
    advises.m_served = false;
}

// Sees to every table that came, went or is due. True where there are other sites now than before.
bool Notifier::Arrange(Sites &sites, Pending &pending)
{
    bool others = false;
    for (; !pending.empty(); pending.pop_front()) {
        const AdvisesPtr &advises = pending.front();
        bool serve = false, begun = false, due = false;
        {
            const locks::Hold hold(NotifierLock());
            serve = !advises->m_sinks.empty();
            begun = std::exchange(advises->m_begun, false);
            due = advises->m_due;
        }
        if (begun) {
            advises->m_behind = true;
            advises->m_quietUpTo = 0;
        }
        const std::size_t before = sites.size();
        See(sites, advises, serve, due);
        others = others || sites.size() != before;
    }
    return std::erase_if(sites, [](const auto &site) { return site.second.count == 0; }) > 0 || others;
}

void Notifier::See(Sites &sites, const AdvisesPtr &advises, bool serve, bool due)
{
    SiteState &site = sites.try_emplace(&advises->m_site.GetDatabase(), advises->m_site).first->second;
    if (!serve) {
        if (advises->m_served)
            site.Remove(*advises);
        return;
    }
    if (!advises->m_served)
        site.Add(advises);
    if (due)
        site.due.push_back(advises);
}

void Notifier::SiteState::Ask(Advises &advises)
{
    if (std::exchange(advises.m_lastAsked, look) != look)
        asked.emplace_back(&advises, advises.m_behind ? advises.m_quietUpTo : quietUpTo);
}

void Notifier::SiteState::AskConcerned(const storage::EntrySummary &summary)
{
    for (const storage::ObjectId folder : summary.contents)
        if (const auto found = contents.find(folder); found != contents.end())
            for (const AdvisesPtr &advises : found->second)
                Ask(*advises);
    for (const AdvisesPtr &advises : others)
        if (summary.Concerns(advises->m_container))
            Ask(*advises);
}

void Notifier::Look(SiteState &site)
{
    site.asked.clear();
    site.asked.reserve(site.count); // what the reader has given is given once
    std::optional<storage::EntrySummary> summary;
    try {
        if (site.reader)
            summary = site.reader->Next();
        else // everybody is asked, as of a later moment than this one
            site.reader.emplace(site.site);
    } catch (const storage::Error &) {
        // Everybody is asked, and each table says what it fails at.
    }
    if (summary && site.due.empty() && summary->upTo == site.upTo)
        return;
    site.upTo = summary ? summary->upTo : -1;
    ++site.look;
    if (summary && summary->lost) {
        site.quietUpTo = 0;
        site.ForAll([](Advises &advises) { advises.m_quietUpTo = 0; });
    }
    for (const AdvisesPtr &advises : site.due)
        site.Ask(*advises);
    if (summary && !summary->lost)
        site.AskConcerned(*summary);
    else
        site.ForAll([&](Advises &advises) { site.Ask(advises); });
    site.due.clear();
    if (summary)
        site.quietUpTo = summary->upTo;
    // What has been collected is told; the others are asked when the thread runs again.
    bool stopping = false;
    for (const auto &[advises, quietUpTo] : site.asked) {
        stopping = stopping || IsStopping();
        if (!stopping) {
            {
                const locks::Hold hold(NotifierLock());
                advises->m_due = false;
            }
            Deliver(*advises, advises->Collect(quietUpTo));
        }
        advises->m_behind = stopping || advises->m_failed;
        advises->m_quietUpTo = quietUpTo;
    }
}

// Each table remembers what is known of it, for the thread that comes after this one.
void Notifier::Leave(Sites &sites) noexcept
{
    for (auto &[database, site] : sites)
        site.ForAll([&, upTo = site.quietUpTo](Advises &advises) {
            if (!std::exchange(advises.m_behind, true))
                advises.m_quietUpTo = upTo;
            advises.m_served = false;
            advises.m_lastAsked = 0;
        });
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
