// A table's advises: what its sinks are told of the rows that it shows.
#include "localmapi/provider/table/Table.h"

namespace localmapi
{

using storage::Notice;

Table::~Table()
{
    if (m_advises)
        m_advises->Close();
}

STDMETHODIMP Table::Advise(ULONG ulEventMask, LPMAPIADVISESINK lpAdviseSink, ULONG *lpulConnection)
{
    return Guarded(m_errors, "IMAPITable::Advise", [&]() -> HRESULT {
        Enter();
        Require(lpulConnection != nullptr, "where the connection goes");
        *lpulConnection = 0;
        Require(lpAdviseSink != nullptr, "the sink");
        if (!(ulEventMask & fnevTableModified))
            NoSupport("events that are none of a table's");
        std::shared_ptr<Advises> advises;
        std::int64_t from = 0;
        {
            const locks::Hold hold(m_lock);
            if (IsAdvised()) {
                from = m_watch->Newest();
            } else {
                auto watch = m_source->MakeWatch();
                if (!watch)
                    NoSupport("notifications of a table whose rows never change");
                if (!m_advises) {
                    m_advises =
                        std::make_shared<Advises>([this](std::int64_t quietUpTo) { return CollectNotices(quietUpTo); },
                                                  watch->GetSite(), watch->GetContainer());
                    if (m_scope)
                        m_scope->Add(m_advises);
                }
                from = watch->Position();
                m_watch = std::move(watch);
            }
            advises = m_advises;
            ++m_advising;
        }
        struct Advising {
            Table &table;
            ~Advising()
            {
                const locks::Hold hold(table.m_lock);
                --table.m_advising;
            }
        } const advising{*this};
        // Not under the lock, which the notifier's thread may be waiting for. What calls the table meanwhile finds it
        // advised.
        *lpulConnection = advises->Advise(lpAdviseSink, from);
        return S_OK;
    });
}

STDMETHODIMP Table::Unadvise(ULONG ulConnection)
{
    return Guarded(m_errors, "IMAPITable::Unadvise", [&]() -> HRESULT {
        std::shared_ptr<Advises> advises;
        {
            const locks::Hold hold(m_lock);
            advises = m_advises;
        }
        // Nor here: the sink that is waited for may be calling the table.
        if (!advises || !advises->Unadvise(ulConnection))
            throw Failure(MAPI_E_NOT_FOUND, "The table has no such advise connection.");
        Enter(); // last: where the session was dropped the advise has ended none the less
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

TableNotice Table::NoticeOf(storage::Notice &found)
{
    TableNotice notice;
    notice.entry = found.entry;
    switch (found.kind) {
    case storage::Notice::Kind::Several:
        notice.event = TABLE_CHANGED;
        return notice;
    case storage::Notice::Kind::Lost:
        notice.event = TABLE_RELOAD;
        return notice;
    case storage::Notice::Kind::Removed:
        notice.event = TABLE_ROW_DELETED;
        notice.index = InstanceKeyOfRow(found.row.id);
        return notice;
    case storage::Notice::Kind::Added:
        notice.event = TABLE_ROW_ADDED;
        break;
    case storage::Notice::Kind::Modified:
        notice.event = TABLE_ROW_MODIFIED;
        break;
    }
    notice.index = InstanceKeyOfRow(found.row.id);
    if (found.prior)
        notice.prior = InstanceKeyOfRow(*found.prior);
    notice.row = PackRow(found.row);
    notice.columns = static_cast<ULONG>(m_columns.size());
    return notice;
}

std::vector<TableNotice> Table::CollectNotices(std::int64_t quietUpTo)
{
    if (m_behaviour)
        m_behaviour->RequireConnected();
    const locks::Hold hold(m_lock);
    std::vector<TableNotice> notices;
    if (m_missedNotices) {
        notices.emplace_back();
        notices.back().event = TABLE_RELOAD;
    }
    std::vector<storage::Notice> found = m_watch->Next(m_read, quietUpTo);
    const bool missedBefore = std::exchange(m_missedNotices, !found.empty() || m_missedNotices);
    for (storage::Notice &one : found)
        notices.push_back(NoticeOf(one));
    if (missedBefore)
        notices.front().entry = m_watch->Position();
    m_missedNotices = false;
    return notices;
}

} // namespace localmapi
