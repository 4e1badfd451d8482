// Where a table's cursor and bookmarks stand, and the rows that are read from there.
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/table/Restriction.h"
#include "localmapi/provider/table/Table.h"

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

Table::Origin Table::OriginOf(BOOKMARK bookmark) const
{
    switch (bookmark) {
    case BOOKMARK_BEGINNING:
        return {Place::Beginning(), false};
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
    return Do("IMAPITable::GetRowCount", [&]() REQUIRES(m_lock) {
        Require(lpulCount != nullptr, "where the count goes");
        RequireFlags(ulFlags, TBL_NOWAIT);
        *lpulCount = Clamped(m_source->Count());
        return S_OK;
    });
}

STDMETHODIMP Table::SeekRow(BOOKMARK bkOrigin, LONG lRowCount, LONG *lplRowsSought)
{
    return Do("IMAPITable::SeekRow", [&]() REQUIRES(m_lock) {
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
    return Do("IMAPITable::SeekRowApprox", [&]() REQUIRES(m_lock) {
        Require(ulDenominator != 0, "a fraction of nothing");
        if (ulNumerator == 0)
            m_cursor = Place::Beginning();
        else if (ulNumerator >= ulDenominator)
            m_cursor = Place::end();
        else
            m_cursor = m_source
                           ->Move(Place::Beginning(),
                                  static_cast<std::int64_t>(m_source->Count() * ulNumerator / ulDenominator))
                           .place;
        return S_OK;
    });
}

STDMETHODIMP Table::QueryPosition(ULONG *lpulRow, ULONG *lpulNumerator, ULONG *lpulDenominator)
{
    return Do("IMAPITable::QueryPosition", [&]() REQUIRES(m_lock) {
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
    return Do("IMAPITable::FindRow", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, DIR_BACKWARD);
        Require(lpRestriction != nullptr, "the restriction");
        const storage::Filter filter = TranslateRestriction(*lpRestriction, m_source->Schema());
        const Origin origin = OriginOf(bkOrigin);
        const auto row =
            m_source->Find(origin.place, ulFlags & DIR_BACKWARD ? Direction::Backward : Direction::Forward, filter);
        if (!row)
            throw Failure(MAPI_E_NOT_FOUND, "No row satisfies the restriction.");
        m_cursor = row->Before();
        return origin.changed ? MAPI_W_POSITION_CHANGED : S_OK;
    });
}

STDMETHODIMP Table::CreateBookmark(BOOKMARK *lpbkPosition)
{
    return Do("IMAPITable::CreateBookmark", [&]() REQUIRES(m_lock) {
        if (!m_source->Schema().bookmarks)
            NoSupport("bookmarks in this table");
        Require(lpbkPosition != nullptr, "where the bookmark goes");
        if (m_bookmarks.size() >= kBookmarkLimit)
            throw Failure(MAPI_E_UNABLE_TO_COMPLETE, "The table has as many bookmarks as it can hold.");
        const auto next = m_source->Read(m_cursor, Direction::Forward, 1, {});
        BOOKMARK bookmark = m_nextBookmark;
        while (bookmark <= BOOKMARK_END || m_bookmarks.count(bookmark))
            ++bookmark;
        m_bookmarks.emplace(bookmark, next.empty() ? m_cursor : next.front().Before());
        m_nextBookmark = bookmark + 1;
        *lpbkPosition = bookmark;
        return S_OK;
    });
}

STDMETHODIMP Table::FreeBookmark(BOOKMARK bkPosition)
{
    return Do("IMAPITable::FreeBookmark", [&]() REQUIRES(m_lock) {
        if (!m_source->Schema().bookmarks)
            NoSupport("bookmarks in this table");
        if (bkPosition > BOOKMARK_END && m_bookmarks.erase(bkPosition) == 0)
            throw Failure(MAPI_E_INVALID_BOOKMARK, "The bookmark " + HexText(bkPosition) + " is not known.");
        return S_OK;
    });
}

SRowSet *Table::ReadRows(std::int64_t count, Place &first, Place &last)
{
    // Rows are read some at a time, so that what the storage gave of a great many is not held beside what the client
    // gets; a backward read begins where the client's page begins.
    constexpr std::int64_t kPiece = 2000;
    std::vector<Block<SPropValue>> rows;
    const auto take = [&](const std::vector<storage::Row> &read) REQUIRES(m_lock) {
        for (const storage::Row &row : read)
            rows.push_back(PackRow(row));
        if (!read.empty()) {
            if (rows.size() == read.size())
                first = read.front().Before();
            last = read.back().After();
        }
    };
    const std::int64_t most = m_behaviour ? m_behaviour->MostRows() : std::numeric_limits<std::int64_t>::max();
    if (count < 0 && -count <= std::min(kPiece, most)) {
        take(m_source->Read(m_cursor, Direction::Backward, static_cast<std::size_t>(-count), m_read));
    } else {
        Place from = m_cursor;
        if (count < 0) {
            const storage::Moved moved = m_source->Move(m_cursor, count);
            from = moved.place;
            count = -moved.rows;
        }
        count = std::min(count, most);
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
    return Do("IMAPITable::QueryRows", [&]() REQUIRES(m_lock) {
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

} // namespace localmapi
