// IMAPITable over the rows of a test: a restriction leaves what the test says, and a sort changes nothing but the
// cursor.
#include "support/FakeTable.h"
#include "support/Memory.h"
#include "support/Notifications.h"
#include "support/Print.h"
#include <algorithm>
#include <map>

namespace mapi_double
{

namespace
{

class FakeTable : public ComObject<IMAPITable>
{
  public:
    explicit FakeTable(std::shared_ptr<TableData> data)
        : ComObject("Table", data->name), m_data(std::move(data)), m_rows(m_data->rows)
    {
    }

    STDMETHODIMP GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error) override
    {
        return GiveLastError(*this, hr, flags, error);
    }

    STDMETHODIMP SetColumns(LPSPropTagArray tags, ULONG flags) override
    {
        Call call(*this, "SetColumns", {Tags(tags), Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
        return call.Return(S_OK);
    }

    STDMETHODIMP Restrict(LPSRestriction restriction, ULONG flags) override
    {
        Call call(*this, "Restrict", {Restriction(restriction), Hex(flags)});
        if (!call.Proceed())
            return call.Return(MAPI_E_TOO_COMPLEX);
        m_rows = m_data->select ? m_data->select(m_data->rows, restriction) : m_data->rows;
        m_cursor = 0;
        m_bookmarks.clear();
        return call.Return(S_OK);
    }

    STDMETHODIMP SortTable(LPSSortOrderSet order, ULONG flags) override
    {
        Call call(*this, "SortTable", {SortOrder(order), Hex(flags)});
        m_cursor = 0;
        return call.Return(S_OK);
    }

    STDMETHODIMP GetRowCount(ULONG flags, ULONG *count) override
    {
        Call call(*this, "GetRowCount", {Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        if (!count)
            return call.Return(E_INVALIDARG);
        *count = m_data->claimedCount.value_or(static_cast<ULONG>(m_rows.size()));
        return call.Return(S_OK);
    }

    STDMETHODIMP SeekRow(BOOKMARK origin, LONG rows, LONG *sought) override
    {
        Call call(*this, "SeekRow", {Bookmark(origin), Number(rows), sought ? "out" : "NULL"});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        const auto start = PositionOf(origin);
        if (!start)
            return call.Return(MAPI_E_INVALID_BOOKMARK);
        const LONGLONG target = std::clamp<LONGLONG>(*start + rows, 0, static_cast<LONGLONG>(m_rows.size()));
        m_cursor = static_cast<size_t>(target);
        if (sought)
            *sought = static_cast<LONG>(target - *start);
        return call.Return(S_OK);
    }

    STDMETHODIMP CreateBookmark(BOOKMARK *bookmark) override
    {
        Call call(*this, "CreateBookmark", {});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        *bookmark = call.GivesNull() ? 0 : ++m_lastBookmark;
        if (*bookmark)
            m_bookmarks[*bookmark] = m_cursor;
        return call.Return(S_OK);
    }

    STDMETHODIMP FreeBookmark(BOOKMARK bookmark) override
    {
        Call call(*this, "FreeBookmark", {Bookmark(bookmark)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        return call.Return(bookmark <= BOOKMARK_END || m_bookmarks.erase(bookmark) ? S_OK : MAPI_E_INVALID_BOOKMARK);
    }

    STDMETHODIMP QueryRows(LONG rows, ULONG flags, LPSRowSet *set) override
    {
        Call call(*this, "QueryRows", {Number(rows), Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        if (call.GivesNull()) {
            *set = nullptr;
            return call.Return(S_OK);
        }
        if (rows == 0)
            return call.Return(E_INVALIDARG);
        const size_t wanted =
            std::min<size_t>(static_cast<size_t>(std::abs(static_cast<LONGLONG>(rows))), m_data->mostPerQuery);
        const size_t first = rows < 0 ? m_cursor - std::min(m_cursor, wanted) : m_cursor;
        const size_t last = rows < 0 ? m_cursor : std::min(m_rows.size(), m_cursor + wanted);
        std::vector<Row> given;
        for (size_t i = first; i < last; ++i)
            given.push_back(m_data->raw ? m_rows[i] : Shaped(m_rows[i]));
        m_cursor = flags & TBL_NOADVANCE ? first : last;
        *set = NewRowSet(m_data->name, given);
        return call.Return(S_OK);
    }

    STDMETHODIMP Advise(ULONG events, LPMAPIADVISESINK sink, ULONG *connection) override
    {
        Call call(*this, "Advise", {Hex(events), sink ? "sink" : "NULL"});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        if (!sink)
            return call.Return(E_INVALIDARG);
        *connection = EnterRegistration(this, Name(), events, sink);
        return call.Return(S_OK);
    }
    // What it waits for, and the sink's last release, come when the double's lock has been left.
    STDMETHODIMP Unadvise(ULONG connection) override
    {
        {
            Call call(*this, "Unadvise", {});
            if (!call.Proceed())
                return call.Return(E_FAIL);
            call.Return(S_OK);
        }
        if (EndRegistration(this, connection))
            return S_OK;
        Misuse(Name() + " was asked to end what is not registered on it");
        return MAPI_E_NOT_FOUND;
    }

    NOT_CALLED(GetStatus, (ULONG *, ULONG *))
    NOT_CALLED(QueryColumns, (ULONG, LPSPropTagArray *))
    NOT_CALLED(SeekRowApprox, (ULONG, ULONG))
    NOT_CALLED(QueryPosition, (ULONG *, ULONG *, ULONG *))
    NOT_CALLED(FindRow, (LPSRestriction, BOOKMARK, ULONG))
    NOT_CALLED(QuerySortOrder, (LPSSortOrderSet *))
    NOT_CALLED(Abort, ())
    NOT_CALLED(ExpandRow, (ULONG, LPBYTE, ULONG, ULONG, LPSRowSet *, ULONG *))
    NOT_CALLED(CollapseRow, (ULONG, LPBYTE, ULONG, ULONG *))
    NOT_CALLED(WaitForCompletion, (ULONG, ULONG, ULONG *))
    NOT_CALLED(GetCollapseState, (ULONG, ULONG, LPBYTE, ULONG *, LPBYTE *))
    NOT_CALLED(SetCollapseState, (ULONG, ULONG, LPBYTE, BOOKMARK *))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMAPITable; }

  private:
    static std::string Bookmark(BOOKMARK bookmark)
    {
        static const char *const names[] = {"BEGINNING", "CURRENT", "END"};
        return bookmark <= BOOKMARK_END ? names[bookmark] : "bookmark " + Number(bookmark);
    }

    std::optional<LONGLONG> PositionOf(BOOKMARK bookmark) const
    {
        if (bookmark <= BOOKMARK_END)
            return bookmark == BOOKMARK_BEGINNING ? 0
                   : bookmark == BOOKMARK_CURRENT ? static_cast<LONGLONG>(m_cursor)
                                                  : static_cast<LONGLONG>(m_rows.size());
        const auto found = m_bookmarks.find(bookmark);
        if (found == m_bookmarks.end())
            return std::nullopt;
        return static_cast<LONGLONG>(found->second);
    }

    Row Shaped(const Row &row) const
    {
        if (m_columns.empty())
            return row;
        std::vector<ULONG> tags{static_cast<ULONG>(m_columns.size())};
        tags.insert(tags.end(), m_columns.begin(), m_columns.end());
        return Project(row, reinterpret_cast<const SPropTagArray *>(tags.data()));
    }

    std::shared_ptr<TableData> m_data;
    std::vector<Row> m_rows; // as they were when the table was opened or last restricted
    std::vector<ULONG> m_columns;
    size_t m_cursor = 0;
    std::map<BOOKMARK, size_t> m_bookmarks;
    BOOKMARK m_lastBookmark = 100;
};

} // namespace

IMAPITable *NewTable(std::shared_ptr<TableData> data)
{
    return new FakeTable(std::move(data));
}

} // namespace mapi_double
