#include "messages/listing/KeptListing.h"
#include "common/mapi/CountedOperation.h"
#include "session/CMAPIImpl.h"

KeptListing::~KeptListing()
{
    m_operation.Stage([&] {
        FreeBookmark();
        return S_OK;
    });
}

void KeptListing::TakeBack(DWORD hTable, DWORD hBookmark)
{
    m_table.Adopt(m_session.LocateContentsTable(hTable), m_operation.OpenObjects());
    m_bookmark = m_session.LocateBookmark(hBookmark);
    m_session.FreeContentsTableObject(hTable);
    m_session.FreeBookmarkObject(hBookmark);
}

// A registry that has no room gives a handle under which nothing stands.
HRESULT KeptListing::HandOver(DWORD &hTable, DWORD &hBookmark)
{
    const DWORD hNewTable = m_session.StoreObject(m_table.get());
    if (m_session.LocateContentsTable(hNewTable) != m_table.get())
        return E_UNEXPECTED;
    const DWORD hNewBookmark = m_bookmark ? m_session.StoreObject(m_bookmark) : 0;
    if (m_session.LocateBookmark(hNewBookmark) != m_bookmark) {
        m_session.FreeContentsTableObject(hNewTable);
        return E_UNEXPECTED;
    }
    m_table.Keep();
    m_bookmark = 0;
    hTable = hNewTable;
    hBookmark = hNewBookmark;
    return S_OK;
}

void KeptListing::FreeBookmark()
{
    const BOOKMARK bookmark = std::exchange(m_bookmark, BOOKMARK{0});
    if (!bookmark || !m_table)
        return;
    const HRESULT hr = m_table->FreeBookmark(bookmark);
    if (FAILED(hr))
        m_operation.Failed("FreeBookmark", "trying to free a bookmark of the table.", m_table.get(), hr);
}

HRESULT KeptListing::CreateBookmark()
{
    const HRESULT hr = m_table->CreateBookmark(&m_bookmark);
    if (SUCCEEDED(hr))
        return hr;
    m_bookmark = 0;
    return m_operation.Failed("CreateBookmark", "trying to mark the position of the next page in the table.",
                              m_table.get(), hr);
}

HRESULT CMAPIImpl::ReleaseHandles(DWORD hTable, DWORD hBookmark)
{
    CountedOperation operation(OpenObjects(), "CMAPIImpl::ReleaseHandles", "hTable: %p, hBookmark: %p",
                               AsPointer(hTable), AsPointer(hBookmark));
    operation.ShowCounter(kAtEntry, kAtExitCapital);

    KeptListing listing(*this, operation);
    operation.Stage([&] {
        listing.TakeBack(hTable, hBookmark);
        return S_OK;
    });
    operation.Stage([&] {
        listing.FreeBookmark();
        return S_OK;
    });
    return S_OK;
}
