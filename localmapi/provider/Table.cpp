#include "Table.h"

#include "Memory.h"
#include "Restriction.h"
#include "Text.h"

#include <algorithm>
#include <limits>

namespace localmapi
{

using storage::Direction;
using storage::Place;

namespace
{

ULONG Clamped(std::uint64_t count)
{
    return static_cast<ULONG>(std::min<std::uint64_t>(count, std::numeric_limits<LONG>::max()));
}

} // namespace

Table::Table(std::unique_ptr<RowSource> source) : m_source(std::move(source))
{
    const TableSchema &schema = m_source->Schema();
    std::vector<ULONG> tags;
    for (const storage::Tag tag : schema.columns)
        tags.push_back(ClientTag(tag, schema.unicode));
    SetColumnTags(std::move(tags));
}

HRESULT Table::Unsupported(const char *method)
{
    return Guarded(m_errors, method, [&]() -> HRESULT { NoSupport(method); });
}

STDMETHODIMP Table::GetLastError(HRESULT hResult, ULONG ulFlags, LPMAPIERROR *lppMAPIError)
{
    return m_errors.GetLastError(hResult, ulFlags, lppMAPIError);
}

STDMETHODIMP Table::Advise(ULONG, LPMAPIADVISESINK, ULONG *)
{
    return Unsupported("IMAPITable::Advise");
}

STDMETHODIMP Table::Unadvise(ULONG)
{
    return Unsupported("IMAPITable::Unadvise");
}

STDMETHODIMP Table::GetStatus(ULONG *lpulTableStatus, ULONG *lpulTableType)
{
    return Do("IMAPITable::GetStatus", [&] {
        Require(lpulTableStatus && lpulTableType, "where the status goes");
        *lpulTableStatus = TBLSTAT_COMPLETE;
        *lpulTableType = m_source->Type();
        return S_OK;
    });
}

// --- columns ---

std::size_t Table::ColumnRead(storage::Tag tag)
{
    const auto found = std::find(m_read.begin(), m_read.end(), tag);
    if (found != m_read.end())
        return static_cast<std::size_t>(found - m_read.begin());
    m_read.push_back(tag);
    return m_read.size() - 1;
}

Table::Column Table::MakeColumn(ULONG tag)
{
    using Kind = Column::Kind;
    const TableSchema &schema = m_source->Schema();
    Column column;
    column.tag = tag;
    if (tag == PR_NULL) {
        column.kind = Kind::Null;
        return column;
    }
    const ULONG id = PROP_ID(tag);
    const bool open = PROP_TYPE(tag) == PT_UNSPECIFIED;
    const storage::Tag stored = StorageTag(tag);
    if (const auto *constant = schema.constants.findId(static_cast<std::uint16_t>(id))) {
        if (open)
            column.tag = ClientTag(constant->tag, true);
        if (open || constant->tag == stored) {
            column.kind = Kind::Constant;
            column.constant = &constant->value;
        }
        return column;
    }
    for (const DerivedColumn &derived : schema.derived) {
        if (storage::tagId(derived.tag) != id)
            continue;
        if (open)
            column.tag = ClientTag(derived.tag, true);
        if (open || derived.tag == stored) {
            column.kind = Kind::Derived;
            column.derived = &derived;
            // The values it is made of stand side by side.
            column.at = m_read.size();
            m_read.insert(m_read.end(), derived.from.begin(), derived.from.end());
        }
        return column;
    }
    if (open) {
        column.kind = Kind::AnyType;
        m_anyType = true;
    } else if (IsValueType(PROP_TYPE(tag))) {
        column.kind = Kind::Stored;
        column.at = ColumnRead(stored);
    }
    return column;
}

void Table::SetColumnTags(std::vector<ULONG> tags)
{
    m_read.clear();
    m_anyType = false;
    m_columns.clear();
    for (const ULONG tag : tags)
        m_columns.push_back(MakeColumn(tag));
    m_cells.resize(m_columns.size());
    m_made.resize(m_columns.size());
}

STDMETHODIMP Table::SetColumns(LPSPropTagArray lpPropTagArray, ULONG ulFlags)
{
    return Do("IMAPITable::SetColumns", [&] {
        RequireFlags(ulFlags, TBL_ASYNC | TBL_BATCH);
        Require(lpPropTagArray && lpPropTagArray->cValues > 0 && lpPropTagArray->cValues <= kColumnLimit,
                "the columns");
        std::vector<ULONG> tags(lpPropTagArray->aulPropTag, lpPropTagArray->aulPropTag + lpPropTagArray->cValues);
        for (const ULONG tag : tags)
            if ((tag & MVI_FLAG) == MVI_FLAG)
                NoSupport("a row for each value of a multi-valued column");
        SetColumnTags(std::move(tags));
        return S_OK;
    });
}

std::vector<ULONG> Table::AvailableColumns() const
{
    const TableSchema &schema = m_source->Schema();
    std::vector<ULONG> tags;
    const auto add = [&](storage::Tag tag) {
        const ULONG clientTag = ClientTag(tag, schema.unicode);
        if (std::find(tags.begin(), tags.end(), clientTag) == tags.end())
            tags.push_back(clientTag);
    };
    for (const storage::Tag tag : schema.columns)
        add(tag);
    for (const DerivedColumn &derived : schema.derived)
        add(derived.tag);
    for (const storage::Property &constant : schema.constants)
        add(constant.tag);
    for (const storage::Tag tag : schema.furtherColumns)
        add(tag);
    return tags;
}

STDMETHODIMP Table::QueryColumns(ULONG ulFlags, LPSPropTagArray *lpPropTagArray)
{
    return Do("IMAPITable::QueryColumns", [&] {
        Require(lpPropTagArray != nullptr, "where the columns go");
        *lpPropTagArray = nullptr;
        RequireFlags(ulFlags, TBL_ALL_COLUMNS);
        std::vector<ULONG> tags;
        if (ulFlags & TBL_ALL_COLUMNS)
            tags = AvailableColumns();
        else
            for (const Column &column : m_columns)
                tags.push_back(column.tag);
        Block<SPropTagArray> block(static_cast<SPropTagArray *>(AllocateRootBytes(CbNewSPropTagArray(tags.size()))));
        block->cValues = static_cast<ULONG>(tags.size());
        std::copy(tags.begin(), tags.end(), block->aulPropTag);
        *lpPropTagArray = block.release();
        return S_OK;
    });
}

// --- filter and order ---

void Table::Rearrange(storage::Filter filter, std::vector<storage::SortKey> keys)
{
    m_source->Arrange(filter, keys);
    m_filter = std::move(filter);
    m_keys = std::move(keys);
    m_bookmarks.clear();
    m_cursor = Place::beginning();
}

STDMETHODIMP Table::Restrict(LPSRestriction lpRestriction, ULONG ulFlags)
{
    return Do("IMAPITable::Restrict", [&] {
        RequireFlags(ulFlags, TBL_ASYNC | TBL_BATCH);
        Rearrange(lpRestriction ? TranslateRestriction(*lpRestriction, m_source->Schema()) : storage::Filter{}, m_keys);
        return S_OK;
    });
}

STDMETHODIMP Table::SortTable(LPSSortOrderSet lpSortCriteria, ULONG ulFlags)
{
    return Do("IMAPITable::SortTable", [&] {
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
    return Do("IMAPITable::QuerySortOrder", [&] {
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
    // Nothing is ever under way.
    return S_OK;
}

STDMETHODIMP Table::WaitForCompletion(ULONG ulFlags, ULONG, ULONG *lpulTableStatus)
{
    return Do("IMAPITable::WaitForCompletion", [&] {
        RequireFlags(ulFlags, 0);
        if (lpulTableStatus)
            *lpulTableStatus = TBLSTAT_COMPLETE;
        return S_OK;
    });
}

// --- cursor and bookmarks ---

Table::Origin Table::OriginOf(BOOKMARK bookmark) const
{
    switch (bookmark) {
    case BOOKMARK_BEGINNING:
        return {Place::beginning(), false};
    case BOOKMARK_CURRENT:
        return {m_cursor, false};
    case BOOKMARK_END:
        return {Place::end(), false};
    default:
        break;
    }
    const auto found = m_bookmarks.find(bookmark);
    if (found == m_bookmarks.end())
        throw Failure(MAPI_E_INVALID_BOOKMARK, "The bookmark " + HexText(bookmark) + " is not known.");
    const Place &place = found->second;
    return {place, place.where == Place::Where::Before && !m_source->Holds(place)};
}

STDMETHODIMP Table::GetRowCount(ULONG ulFlags, ULONG *lpulCount)
{
    return Do("IMAPITable::GetRowCount", [&] {
        Require(lpulCount != nullptr, "where the count goes");
        RequireFlags(ulFlags, TBL_NOWAIT);
        *lpulCount = Clamped(m_source->Count());
        return S_OK;
    });
}

STDMETHODIMP Table::SeekRow(BOOKMARK bkOrigin, LONG lRowCount, LONG *lplRowsSought)
{
    return Do("IMAPITable::SeekRow", [&] {
        const Origin origin = OriginOf(bkOrigin);
        storage::Moved moved{origin.place, 0};
        if (lRowCount != 0)
            moved = m_source->Move(origin.place, lRowCount);
        m_cursor = std::move(moved.place);
        if (lplRowsSought)
            *lplRowsSought = static_cast<LONG>(moved.rows);
        return origin.changed ? MAPI_W_POSITION_CHANGED : S_OK;
    });
}

STDMETHODIMP Table::SeekRowApprox(ULONG ulNumerator, ULONG ulDenominator)
{
    return Do("IMAPITable::SeekRowApprox", [&] {
        Require(ulDenominator != 0, "a fraction of nothing");
        if (ulNumerator == 0)
            m_cursor = Place::beginning();
        else if (ulNumerator >= ulDenominator)
            m_cursor = Place::end();
        else
            m_cursor = m_source
                           ->Move(Place::beginning(),
                                  static_cast<std::int64_t>(m_source->Count() * ulNumerator / ulDenominator))
                           .place;
        return S_OK;
    });
}

STDMETHODIMP Table::QueryPosition(ULONG *lpulRow, ULONG *lpulNumerator, ULONG *lpulDenominator)
{
    return Do("IMAPITable::QueryPosition", [&] {
        Require(lpulRow && lpulNumerator && lpulDenominator, "where the position goes");
        const std::uint64_t count = m_source->Count();
        const std::uint64_t row = std::min(count, m_source->CountBefore(m_cursor));
        *lpulRow = *lpulNumerator = Clamped(row);
        // A fraction that SeekRowApprox takes, for an empty table too.
        *lpulDenominator = std::max<ULONG>(1, Clamped(count));
        return S_OK;
    });
}

STDMETHODIMP Table::FindRow(LPSRestriction lpRestriction, BOOKMARK bkOrigin, ULONG ulFlags)
{
    return Do("IMAPITable::FindRow", [&]() -> HRESULT {
        RequireFlags(ulFlags, DIR_BACKWARD);
        Require(lpRestriction != nullptr, "the restriction");
        const storage::Filter filter = TranslateRestriction(*lpRestriction, m_source->Schema());
        const Origin origin = OriginOf(bkOrigin);
        const auto row =
            m_source->Find(origin.place, ulFlags & DIR_BACKWARD ? Direction::Backward : Direction::Forward, filter);
        if (!row)
            throw Failure(MAPI_E_NOT_FOUND, "No row satisfies the restriction.");
        m_cursor = row->before();
        return origin.changed ? MAPI_W_POSITION_CHANGED : S_OK;
    });
}

STDMETHODIMP Table::CreateBookmark(BOOKMARK *lpbkPosition)
{
    return Do("IMAPITable::CreateBookmark", [&] {
        if (!m_source->Schema().bookmarks)
            NoSupport("bookmarks in this table");
        Require(lpbkPosition != nullptr, "where the bookmark goes");
        if (m_bookmarks.size() >= kBookmarkLimit)
            throw Failure(MAPI_E_UNABLE_TO_COMPLETE, "The table has as many bookmarks as it can hold.");
        const auto next = m_source->Read(m_cursor, Direction::Forward, 1, {});
        BOOKMARK bookmark = m_nextBookmark;
        while (bookmark <= BOOKMARK_END || m_bookmarks.count(bookmark))
            ++bookmark;
        m_bookmarks.emplace(bookmark, next.empty() ? m_cursor : next.front().before());
        m_nextBookmark = bookmark + 1;
        *lpbkPosition = bookmark;
        return S_OK;
    });
}

STDMETHODIMP Table::FreeBookmark(BOOKMARK bkPosition)
{
    return Do("IMAPITable::FreeBookmark", [&] {
        if (!m_source->Schema().bookmarks)
            NoSupport("bookmarks in this table");
        if (bkPosition > BOOKMARK_END && m_bookmarks.erase(bkPosition) == 0)
            throw Failure(MAPI_E_INVALID_BOOKMARK, "The bookmark " + HexText(bkPosition) + " is not known.");
        return S_OK;
    });
}

// --- rows ---

Block<SPropValue> Table::PackRow(const storage::Row &row)
{
    using Kind = Column::Kind;
    const storage::PropertyBag whole = m_anyType ? m_source->ReadWhole(row.id) : storage::PropertyBag{};
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const Column &column = m_columns[i];
        Cell &cell = m_cells[i];
        cell = {column.tag, nullptr};
        switch (column.kind) {
        case Kind::Null:
        case Kind::Missing:
            break;
        case Kind::Stored:
            cell.value = &row.values[column.at];
            break;
        case Kind::Constant:
            cell.value = column.constant;
            break;
        case Kind::Derived:
            m_made[i] = column.derived->make(std::span(row.values).subspan(column.at, column.derived->from.size()));
            cell.value = &m_made[i];
            break;
        case Kind::AnyType:
            if (const auto *property = whole.findId(static_cast<std::uint16_t>(PROP_ID(column.tag))))
                cell = {ClientTag(property->tag, true), &property->value};
            break;
        }
    }
    return m_packer.Pack(m_cells);
}

SRowSet *Table::ReadRows(std::int64_t count, Place &first, Place &last)
{
    // Rows are read some at a time, so that what the storage gave of a great many is not held beside what the client
    // gets; a backward read begins where the client's page begins.
    constexpr std::int64_t kPiece = 1000;
    std::vector<Block<SPropValue>> rows;
    const auto take = [&](const std::vector<storage::Row> &read) {
        for (const storage::Row &row : read)
            rows.push_back(PackRow(row));
        if (!read.empty()) {
            if (rows.size() == read.size())
                first = read.front().before();
            last = read.back().after();
        }
    };
    if (count < 0 && -count <= kPiece) {
        take(m_source->Read(m_cursor, Direction::Backward, static_cast<std::size_t>(-count), m_read));
    } else {
        Place from = m_cursor;
        if (count < 0) {
            const storage::Moved moved = m_source->Move(m_cursor, count);
            from = moved.place;
            count = -moved.rows;
        }
        while (count > 0) {
            const auto piece = static_cast<std::size_t>(std::min(count, kPiece));
            const auto read = m_source->Read(from, Direction::Forward, piece, m_read);
            take(read);
            if (read.size() < piece)
                break;
            from = last;
            count -= static_cast<std::int64_t>(piece);
        }
    }
    RowSetBuilder set(rows.size());
    for (Block<SPropValue> &row : rows)
        set.Add(std::move(row), static_cast<ULONG>(m_columns.size()));
    return set.Release();
}

STDMETHODIMP Table::QueryRows(LONG lRowCount, ULONG ulFlags, LPSRowSet *lppRows)
{
    return Do("IMAPITable::QueryRows", [&] {
        Require(lppRows != nullptr, "where the rows go");
        *lppRows = nullptr;
        RequireFlags(ulFlags, TBL_NOADVANCE);
        Require(lRowCount != 0, "a read of no rows");
        Place first = m_cursor;
        Place last = m_cursor;
        *lppRows = ReadRows(lRowCount, first, last);
        if (!(ulFlags & TBL_NOADVANCE))
            m_cursor = std::move(last);
        else if (lRowCount < 0)
            m_cursor = std::move(first);
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

HRESULT CreateTable(std::unique_ptr<RowSource> source, IMAPITable **table)
{
    return Guarded([&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = MakeObject<Table>(std::move(source)).release();
        return S_OK;
    });
}

} // namespace localmapi
