// A table's advises: what its sinks are told of the rows that it shows.
#include "localmapi/provider/table/Table.h"

namespace localmapi
{

using storage::RowChange;

Table::~Table()
{
    if (m_feed)
        m_feed->Close();
}

STDMETHODIMP Table::Advise(ULONG ulEventMask, LPMAPIADVISESINK lpAdviseSink, ULONG *lpulConnection)
{
    return Guarded(m_errors, "IMAPITable::Advise", [&]() -> HRESULT {
        Require(lpulConnection != nullptr, "where the connection goes");
        *lpulConnection = 0;
        Require(lpAdviseSink != nullptr, "the sink");
        if (!(ulEventMask & fnevTableModified))
            NoSupport("events that are none of a table's");
        std::shared_ptr<Feed> feed;
        std::int64_t from = 0;
        {
            std::lock_guard hold(m_lock);
            if (m_feed && m_feed->Any()) {
                from = m_watch->newest();
            } else {
                auto watch = m_source->MakeWatch();
                if (!watch)
                    NoSupport("notifications of a table whose rows never change");
                if (!m_feed) {
                    m_feed =
                        std::make_shared<Feed>([this](std::int64_t quietUpTo) { return CollectNotices(quietUpTo); },
                                               watch->site(), watch->container());
                    if (m_scope)
                        m_scope->Add(m_feed);
                }
                from = watch->position();
                m_watch = std::move(watch);
            }
            feed = m_feed;
        }
        // Not under the lock, which the notifier's thread may be waiting for.
        *lpulConnection = feed->Advise(lpAdviseSink, from);
        return S_OK;
    });
}

STDMETHODIMP Table::Unadvise(ULONG ulConnection)
{
    return Guarded(m_errors, "IMAPITable::Unadvise", [&]() -> HRESULT {
        std::shared_ptr<Feed> feed;
        {
            std::lock_guard hold(m_lock);
            feed = m_feed;
        }
        // Nor here: the sink that is waited for may be calling the table.
        if (!feed || !feed->Unadvise(ulConnection))
            throw Failure(MAPI_E_NOT_FOUND, "The table has no such advise connection.");
        return S_OK;
    });
}

std::optional<storage::Bytes> Table::InstanceKeyOfRow(storage::ObjectId row) const
{
    const storage::Value id{row};
    for (const DerivedColumn &derived : m_source->Schema().derived)
        if (derived.tag == PR_INSTANCE_KEY) {
            storage::Value key = derived.make(std::span(&id, 1));
            if (auto *bytes = std::get_if<storage::Bytes>(&key))
                return std::move(*bytes);
        }
    return {};
}

Notice Table::NoticeOf(RowChange &change)
{
    Notice notice;
    notice.entry = change.entry;
    switch (change.kind) {
    case RowChange::Kind::Several:
        notice.event = TABLE_CHANGED;
        return notice;
    case RowChange::Kind::Lost:
        notice.event = TABLE_RELOAD;
        return notice;
    case RowChange::Kind::Removed:
        notice.event = TABLE_ROW_DELETED;
        notice.index = InstanceKeyOfRow(change.row.id);
        return notice;
    case RowChange::Kind::Added:
        notice.event = TABLE_ROW_ADDED;
        break;
    case RowChange::Kind::Modified:
        notice.event = TABLE_ROW_MODIFIED;
        break;
    }
    notice.index = InstanceKeyOfRow(change.row.id);
    if (change.prior)
        notice.prior = InstanceKeyOfRow(*change.prior);
    notice.row = PackRow(change.row);
    notice.columns = static_cast<ULONG>(m_columns.size());
    return notice;
}

std::vector<Notice> Table::CollectNotices(std::int64_t quietUpTo)
{
    std::lock_guard hold(m_lock);
    std::vector<Notice> notices;
    if (m_missedNotices) {
        notices.emplace_back();
        notices.back().event = TABLE_RELOAD;
    }
    std::vector<RowChange> changes = m_watch->next(m_read, quietUpTo);
    const bool missedBefore = std::exchange(m_missedNotices, !changes.empty() || m_missedNotices);
    for (RowChange &change : changes)
        notices.push_back(NoticeOf(change));
    if (missedBefore)
        notices.front().entry = m_watch->position();
    m_missedNotices = false;
    return notices;
}

} // namespace localmapi
