// The one owner of a listing's contents table and of the bookmark at which its next page begins. A call that has taken
// them back owns them until it hands them over again, or gives them up with this object. Between calls they belong to
// the caller's two handles: the session's registries record them, the table stays counted as an open object, and only a
// call that takes them back can give them back to MAPI. On the thread of that call: a handle is one call's at a time.
#pragma once
#include "common/mapi/Counted.h"

class CMAPIImpl;
class CountedOperation;

class KeptListing
{
  public:
    KeptListing(CMAPIImpl &session, const CountedOperation &operation) : m_session(session), m_operation(operation) {}
    // Frees the bookmark, then uncounts and releases the table.
    ~KeptListing();
    KeptListing(const KeptListing &) = delete;
    KeptListing &operator=(const KeptListing &) = delete;

    // Takes both out of the registries; unknown handles give nothing.
    void TakeBack(DWORD hTable, DWORD hBookmark);
    // Puts them into the registries under new handles; 0 where there is no bookmark.
    HRESULT HandOver(DWORD &hTable, DWORD &hBookmark);

    // A bookmark that can't be freed is reported and goes with its table.
    void FreeBookmark();
    HRESULT CreateBookmark();

    Counted<IMAPITable> &Table() { return m_table; }
    BOOKMARK Bookmark() const { return m_bookmark; }

  private:
    CMAPIImpl &m_session;
    const CountedOperation &m_operation;
    Counted<IMAPITable> m_table;
    BOOKMARK m_bookmark = 0;
};

// Handles are traced as pointers, as the contract has it.
inline void *AsPointer(DWORD handle)
{
    return reinterpret_cast<void *>(static_cast<ULONG_PTR>(handle));
}
