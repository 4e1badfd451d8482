// IMAPITable over any source of rows. The cursor is a place between two rows that survives their coming and going:
// after QueryRows it stands behind the last row returned, for a backward read too (so that a backward page leaves it
// where it began), with TBL_NOADVANCE before the first one. A bookmark keeps the row that was next when it was made.
// Every method may be called by any thread; they are serialised.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/notify/Advises.h"
#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/table/RowSource.h"

#include <map>
#include <memory>
#include <mutex>

namespace localmapi
{

// More bookmarks than this are MAPI_E_UNABLE_TO_COMPLETE.
inline constexpr std::size_t kBookmarkLimit = 1000;
// More columns than this are taken for a bad argument.
inline constexpr ULONG kColumnLimit = 0x10000;

class Table final : public ComObject<IMAPITable>
{
  public:
    // Advises end with the scope, if there is one.
    explicit Table(std::unique_ptr<RowSource> source, std::shared_ptr<AdviseScope> scope = {});

    STDMETHODIMP GetLastError(HRESULT hResult, ULONG ulFlags, LPMAPIERROR *lppMAPIError) override;
    STDMETHODIMP Advise(ULONG ulEventMask, LPMAPIADVISESINK lpAdviseSink, ULONG *lpulConnection) override;
    STDMETHODIMP Unadvise(ULONG ulConnection) override;
    STDMETHODIMP GetStatus(ULONG *lpulTableStatus, ULONG *lpulTableType) override;
    STDMETHODIMP SetColumns(LPSPropTagArray lpPropTagArray, ULONG ulFlags) override;
    STDMETHODIMP QueryColumns(ULONG ulFlags, LPSPropTagArray *lpPropTagArray) override;
    STDMETHODIMP GetRowCount(ULONG ulFlags, ULONG *lpulCount) override;
    STDMETHODIMP SeekRow(BOOKMARK bkOrigin, LONG lRowCount, LONG *lplRowsSought) override;
    STDMETHODIMP SeekRowApprox(ULONG ulNumerator, ULONG ulDenominator) override;
    STDMETHODIMP QueryPosition(ULONG *lpulRow, ULONG *lpulNumerator, ULONG *lpulDenominator) override;
    STDMETHODIMP FindRow(LPSRestriction lpRestriction, BOOKMARK bkOrigin, ULONG ulFlags) override;
    STDMETHODIMP Restrict(LPSRestriction lpRestriction, ULONG ulFlags) override;
    STDMETHODIMP CreateBookmark(BOOKMARK *lpbkPosition) override;
    STDMETHODIMP FreeBookmark(BOOKMARK bkPosition) override;
    STDMETHODIMP SortTable(LPSSortOrderSet lpSortCriteria, ULONG ulFlags) override;
    STDMETHODIMP QuerySortOrder(LPSSortOrderSet *lppSortCriteria) override;
    STDMETHODIMP QueryRows(LONG lRowCount, ULONG ulFlags, LPSRowSet *lppRows) override;
    STDMETHODIMP Abort() override;
    STDMETHODIMP ExpandRow(ULONG cbInstanceKey, LPBYTE pbInstanceKey, ULONG ulRowCount, ULONG ulFlags,
                           LPSRowSet *lppRows, ULONG *lpulMoreRows) override;
    STDMETHODIMP CollapseRow(ULONG cbInstanceKey, LPBYTE pbInstanceKey, ULONG ulFlags, ULONG *lpulRowCount) override;
    STDMETHODIMP WaitForCompletion(ULONG ulFlags, ULONG ulTimeout, ULONG *lpulTableStatus) override;
    STDMETHODIMP GetCollapseState(ULONG ulFlags, ULONG cbInstanceKey, LPBYTE lpbInstanceKey, ULONG *lpcbCollapseState,
                                  LPBYTE *lppbCollapseState) override;
    STDMETHODIMP SetCollapseState(ULONG ulFlags, ULONG cbCollapseState, LPBYTE pbCollapseState,
                                  BOOKMARK *lpbkLocation) override;

  protected:
    ~Table() override;

  private:
    // How one column of the client's is filled.
    struct Column {
        enum class Kind { Null, Missing, Stored, Constant, Derived, AnyType };
        ULONG tag = PR_NULL;
        Kind kind = Kind::Missing;
        std::size_t at = 0; // Stored and Derived: index of the (first) value read
        const storage::Value *constant = nullptr;
        const DerivedColumn *derived = nullptr;
    };
    struct Origin {
        storage::Place place;
        bool changed = false; // the bookmarked row is gone
    };

    // The body of a method, under the lock and behind the boundary.
    template <class Body> HRESULT Do(const char *method, Body &&body)
    {
        return Guarded(m_errors, method, [&] {
            std::lock_guard hold(m_lock);
            return body();
        });
    }
    HRESULT Unsupported(const char *method);
    Column MakeColumn(ULONG tag);
    std::size_t ColumnRead(storage::Tag tag);
    void SetColumnTags(std::vector<ULONG> tags);
    std::vector<ULONG> AvailableColumns() const;
    Origin OriginOf(BOOKMARK bookmark) const;
    void Rearrange(storage::Filter filter, std::vector<storage::SortKey> keys);
    SRowSet *ReadRows(std::int64_t count, storage::Place &first, storage::Place &last);
    Block<SPropValue> PackRow(const storage::Row &row);
    std::vector<TableNotice> CollectNotices(std::int64_t quietUpTo);
    TableNotice NoticeOf(storage::Notice &change);
    std::optional<storage::Bytes> InstanceKeyOfRow(storage::ObjectId row) const;

    ErrorTexts m_errors;
    std::mutex m_lock;
    const std::unique_ptr<RowSource> m_source;

    std::vector<Column> m_columns;
    std::vector<storage::Tag> m_read; // what the columns need
    bool m_anyType = false;
    RowPacker m_packer;
    std::vector<Cell> m_cells;
    std::vector<storage::Value> m_made;

    storage::Filter m_filter;
    std::vector<storage::SortKey> m_keys;
    std::vector<SSortOrder> m_order; // as the client gave it
    storage::Place m_cursor;
    std::map<BOOKMARK, storage::Place> m_bookmarks;
    BOOKMARK m_nextBookmark = BOOKMARK_END + 1;

    const std::shared_ptr<AdviseScope> m_scope;
    std::unique_ptr<storage::Watch> m_watch; // while somebody is advised
    bool m_missedNotices = false;
    std::shared_ptr<Advises> m_advises; // made with the first advise
};

// A table over a source, with one reference.
HRESULT CreateTable(std::unique_ptr<RowSource> source, IMAPITable **table, std::shared_ptr<AdviseScope> scope = {});

} // namespace localmapi
