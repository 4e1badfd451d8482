// A contents table and the bookmark at which its next page begins, while a call owns them. Between calls they stand
// in the session's registries, where the table stays counted as an open object.
#pragma once
#include "common/mapi/Counted.h"
#include "session/CMAPIImpl.h"

class KeptListing
{
  public:
    KeptListing(CMAPIImpl &session, const Operation &operation) : m_session(session), m_operation(operation) {}
    // Frees the bookmark, then releases and uncounts the table.
    ~KeptListing();
    KeptListing(const KeptListing &) = delete;
    KeptListing &operator=(const KeptListing &) = delete;

    // Takes both out of the registries; unknown handles give nothing.
    void TakeBack(DWORD hTable, DWORD hBookmark);
    // Puts them into the registries under new handles; 0 for a bookmark that there is not.
    HRESULT HandOver(DWORD &hTable, DWORD &hBookmark);

    // A bookmark that can't be freed is reported and goes with its table.
    void FreeBookmark();
    HRESULT CreateBookmark();

    Counted<IMAPITable> &Table() { return m_table; }
    BOOKMARK Bookmark() const { return m_bookmark; }

  private:
    CMAPIImpl &m_session;
    const Operation &m_operation;
    Counted<IMAPITable> m_table;
    BOOKMARK m_bookmark = 0;
};
