// Filter, order and state of a table, and the methods for categories, which no table here has. TableColumns.cpp,
// TableCursor.cpp and TableNotices.cpp have the rest.
#include "localmapi/provider/table/Table.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/table/Restriction.h"

#include <algorithm>

namespace localmapi
{

Table::Table(std::unique_ptr<RowSource> source, std::shared_ptr<AdviseScope> scope)
    : m_source(std::move(source)), m_behaviour(m_source->Schema().behaviour), m_scope(std::move(scope))
{
    const TableSchema &schema = m_source->Schema();
    std::vector<ULONG> tags;
    for (const storage::Tag tag : schema.columns)
        tags.push_back(ClientTag(tag, schema.unicode));
    SetColumnTags(std::move(tags));
}

HRESULT Table::Unsupported(const char *method)
{
    return Guarded(m_errors, method, [&]() -> HRESULT {
        Enter();
        NoSupport(method);
    });
}

STDMETHODIMP Table::GetLastError(HRESULT hResult, ULONG ulFlags, LPMAPIERROR *lppMAPIError)
{
    return m_errors.GetLastError(hResult, ulFlags, lppMAPIError);
}

STDMETHODIMP Table::GetStatus(ULONG *lpulTableStatus, ULONG *lpulTableType)
{
    return Do("IMAPITable::GetStatus", [&]() REQUIRES(m_lock) {
        Require(lpulTableStatus && lpulTableType, "where the status goes");
        *lpulTableStatus = TBLSTAT_COMPLETE;
        *lpulTableType = m_source->Type();
        return S_OK;
    });
}

// --- filter and order ---

void Table::Rearrange(storage::Filter filter, std::vector<storage::SortKey> keys)
{
    m_source->Arrange(filter, keys);
    if (IsAdvised()) {
        // What happened before concerned another view.
        try {
            m_watch = m_source->MakeWatch();
        } catch (...) {
            m_source->Arrange(m_filter, m_keys);
            throw;
        }
    }
    m_filter = std::move(filter);
    m_keys = std::move(keys);
    m_bookmarks.clear();
    m_cursor = storage::Place::Beginning();
}

STDMETHODIMP Table::Restrict(LPSRestriction lpRestriction, ULONG ulFlags)
{
    return Do("IMAPITable::Restrict", [&]() REQUIRES(m_lock) {
        RequireFlags(ulFlags, TBL_ASYNC | TBL_BATCH);
        Rearrange(lpRestriction ? TranslateRestriction(*lpRestriction, m_source->Schema()) : storage::Filter{}, m_keys);
        return S_OK;
    });
}

STDMETHODIMP Table::SortTable(LPSSortOrderSet lpSortCriteria, ULONG ulFlags)
{
    return Do("IMAPITable::SortTable", [&]() REQUIRES(m_lock) {
        RequireFlags(ulFlags, TBL_ASYNC | TBL_BATCH);
        Require(lpSortCriteria != nullptr, "the sort order");
        auto keys = TranslateSort(*lpSortCriteria, m_source->Schema());
        std::vector<SSortOrder> order(lpSortCriteria->aSort, lpSortCriteria->aSort + lpSortCriteria->cSorts);
        Rearrange(m_filter, std::move(keys));
        m_order = std::move(order);
        return S_OK;
    });
}

STDMETHODIMP Table::QuerySortOrder(LPSSortOrderSet *lppSortCriteria)
{
    return Do("IMAPITable::QuerySortOrder", [&]() REQUIRES(m_lock) {
        Require(lppSortCriteria != nullptr, "where the sort order goes");
        *lppSortCriteria = nullptr;
        Block<SSortOrderSet> block(static_cast<SSortOrderSet *>(AllocateRootBytes(CbNewSSortOrderSet(m_order.size()))));
        block->cSorts = static_cast<ULONG>(m_order.size());
        std::copy(m_order.begin(), m_order.end(), block->aSort);
        *lppSortCriteria = block.release();
        return S_OK;
    });
}

STDMETHODIMP Table::Abort()
{
    return Guarded(m_errors, "IMAPITable::Abort", [&]() -> HRESULT {
        Enter();
        return S_OK; // nothing is ever under way
    });
}

STDMETHODIMP Table::WaitForCompletion(ULONG ulFlags, ULONG, ULONG *lpulTableStatus)
{
    return Do("IMAPITable::WaitForCompletion", [&]() REQUIRES(m_lock) {
        RequireFlags(ulFlags, 0);
        if (lpulTableStatus)
            *lpulTableStatus = TBLSTAT_COMPLETE;
        return S_OK;
    });
}

// --- categories ---

STDMETHODIMP Table::ExpandRow(ULONG, LPBYTE, ULONG, ULONG, LPSRowSet *, ULONG *)
{
    return Unsupported("IMAPITable::ExpandRow");
}

STDMETHODIMP Table::CollapseRow(ULONG, LPBYTE, ULONG, ULONG *)
{
    return Unsupported("IMAPITable::CollapseRow");
}

STDMETHODIMP Table::GetCollapseState(ULONG, ULONG, LPBYTE, ULONG *, LPBYTE *)
{
    return Unsupported("IMAPITable::GetCollapseState");
}

STDMETHODIMP Table::SetCollapseState(ULONG, ULONG, LPBYTE, BOOKMARK *)
{
    return Unsupported("IMAPITable::SetCollapseState");
}

HRESULT CreateTable(std::unique_ptr<RowSource> source, IMAPITable **table, std::shared_ptr<AdviseScope> scope)
{
    return Guarded([&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = MakeObject<Table>(std::move(source), std::move(scope)).release();
        return S_OK;
    });
}

} // namespace localmapi
