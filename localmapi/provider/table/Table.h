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

#include "platform/locks/Mutex.h"
#include <map>
#include <memory>

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
            Enter();
            const locks::Hold hold(m_lock);
            return body();
        });
    }
    // At the beginning of each method, under no lock.
    void Enter() const
    {
        if (m_behaviour)
            m_behaviour->OnObjectCall();
    }
    HRESULT Unsupported(const char *method);
    Column MakeColumn(ULONG tag) REQUIRES(m_lock);
    std::size_t ColumnRead(storage::Tag tag) REQUIRES(m_lock);
    void SetColumnTags(std::vector<ULONG> tags) REQUIRES(m_lock);
    std::vector<ULONG> AvailableColumns() const REQUIRES(m_lock);
    Origin OriginOf(BOOKMARK bookmark) const REQUIRES(m_lock);
    bool IsAdvised() const REQUIRES(m_lock) { return m_watch && (m_advising > 0 || m_advises->Any()); }
    void Rearrange(storage::Filter filter, std::vector<storage::SortKey> keys) REQUIRES(m_lock);
    SRowSet *ReadRows(std::int64_t count, storage::Place &first, storage::Place &last) REQUIRES(m_lock);
    Block<SPropValue> PackRow(const storage::Row &row) REQUIRES(m_lock);
    std::vector<TableNotice> CollectNotices(std::int64_t quietUpTo);
    TableNotice NoticeOf(storage::Notice &change) REQUIRES(m_lock);
    std::optional<storage::Bytes> InstanceKeyOfRow(storage::ObjectId row) const REQUIRES(m_lock);

    ErrorTexts m_errors;
    locks::Mutex m_lock;
    const std::unique_ptr<RowSource> m_source PT_GUARDED_BY(m_lock);

    const BehaviourPtr m_behaviour;
    std::vector<Column> m_columns GUARDED_BY(m_lock);
    std::vector<storage::Tag> m_read GUARDED_BY(m_lock); // what the columns need
    bool m_anyType GUARDED_BY(m_lock) = false;
    RowPacker m_packer GUARDED_BY(m_lock);
    std::vector<Cell> m_cells GUARDED_BY(m_lock);
    std::vector<storage::Value> m_made GUARDED_BY(m_lock);
    std::vector<storage::Value> m_cut GUARDED_BY(m_lock); // empty unless rows are cut

    storage::Filter m_filter GUARDED_BY(m_lock);
    std::vector<storage::SortKey> m_keys GUARDED_BY(m_lock);
    std::vector<SSortOrder> m_order GUARDED_BY(m_lock); // as the client gave it
    storage::Place m_cursor GUARDED_BY(m_lock);
    std::map<BOOKMARK, storage::Place> m_bookmarks GUARDED_BY(m_lock);
    BOOKMARK m_nextBookmark GUARDED_BY(m_lock) = BOOKMARK_END + 1;

    const std::shared_ptr<AdviseScope> m_scope;
    std::unique_ptr<storage::Watch> m_watch GUARDED_BY(m_lock); // while somebody is advised
    int m_advising GUARDED_BY(m_lock) = 0;                      // calls of Advise that the advises do not know yet
    bool m_missedNotices GUARDED_BY(m_lock) = false;
    std::shared_ptr<Advises> m_advises GUARDED_BY(m_lock); // made with the first advise
};

// A table over a source, with one reference.
HRESULT CreateTable(std::unique_ptr<RowSource> source, IMAPITable **table, std::shared_ptr<AdviseScope> scope = {});

} // namespace localmapi
