// A page of headers. A new listing is a table over the Inbox with columns, filter and order; a kept one goes on where
// its last page ended. The page's place is sought, its rows are read and decoded, and what is left is kept for the next
// page.
#include "messages/listing/FaxSettings.h"
#include "messages/listing/HeaderColumns.h"
#include "messages/listing/KeptListing.h"
#include "messages/listing/ListingFilter.h"
#include "session/CMAPIImpl.h"
#include "session/OpenCounted.h"
#include "session/ReceiveFolder.h"

namespace
{

// A page as it is asked for.
struct ListingRequest {
    IMsgStore *pIMsgStore;
    DWORD hContentsTable; // of a kept listing; unknown handles and 0 begin a new one
    DWORD hOrigin;
    LONG lRowCount;
    BYTE bForward;
    BOOKMARK bkAbsBkmark;
    bool bWithAttachments;
    ListingFlags flags;
    std::span<const tstring> faxServers;

    // Any value but 1 goes backwards, although the trace calls only 0 so, as the contract has it.
    bool IsForward() const { return bForward == 1; }
    // Rows before a place have a negative count; that of the most negative one is itself.
    LONG RowsBackward() const { return static_cast<LONG>(0u - static_cast<ULONG>(lRowCount)); }
    LONG Rows() const { return IsForward() ? lRowCount : RowsBackward(); }
};

HRESULT ShapeTable(const Operation &operation, IMAPITable *pTable, const Restriction &filter)
{
    HRESULT hr = SetTableColumns(operation, pTable, HeaderTags());
    if (FAILED(hr))
        return hr;
    operation.State("Applying filter <%s>", filter.Description().c_str());
    hr = FilterTable(operation, pTable, filter);
    return FAILED(hr) ? hr : SortOldestFirst(operation, pTable);
}

// The table of a new listing. The folder is held until its table has columns, filter and order.
HRESULT OpenInboxTable(const CountedOperation &operation, IMsgStore *pIMsgStore, const Restriction &filter,
                       Counted<IMAPITable> &table)
{
    ReceiveFolder inbox;
    HRESULT hr = OpenReceiveFolder(operation, pIMsgStore, inbox);
    if (FAILED(hr))
        return hr;
    hr = table.Count(GetFolderTable(operation, inbox.get(), table.object), operation.OpenObjects());
    return FAILED(hr) ? hr : ShapeTable(operation, table.get(), filter);
}

// One page on its way, in stages that each have to be run as an operation's stage.
class Page
{
  public:
    Page(CMAPIImpl &session, const CountedOperation &operation, const ListingRequest &request)
        : m_session(session), m_operation(operation), m_request(request), m_listing(session, operation)
    {
    }
    // Takes the kept listing back or opens a new one.
    HRESULT Open(std::vector<Header> &headers);
    // Moves to where the page begins and reads its rows.
    HRESULT Read(ULONG *pulTotalRows);
    // The result of the last row that was read; hrRead where there is none.
    HRESULT Decode(HRESULT hrRead, std::vector<Header> &headers);
    // What a page that failed has read is out of its caller's reach, so the table ends with it.
    HRESULT Keep(HRESULT hrPage, DWORD &hContentsTable, DWORD &hOrigin);

  private:
    // A new table stands at its beginning, a kept one where its last page left it.
    HRESULT Seek(IMAPITable *pTable);
    // The attachments of a listed message that can be read and are not empty; the result is the last call's.
    HRESULT ReadAttachments(Header &header);
    // A row's header, with what a summary learns from it.
    Header HeaderOf(const SRow &row);
    ULONG Rows() const { return m_rows ? m_rows->cRows : 0; }

    CMAPIImpl &m_session;
    const CountedOperation &m_operation;
    const ListingRequest &m_request;
    KeptListing m_listing;
    RowSet m_rows;
    ScopedCount m_rowsCounted;
};

HRESULT Page::Open(std::vector<Header> &headers)
{
    if (m_request.hContentsTable)
        m_listing.TakeBack(m_request.hContentsTable, m_request.hOrigin);
    if (m_listing.Table())
        return S_OK;
    headers.clear();
    SessionState &state = m_session.State();
    if (m_request.flags.bSummary && state.FaxCreatorName().empty())
        state.SetFaxCreatorName(" ");
    const Restriction filter =
        ListingFilter(m_request.flags, m_request.faxServers, {state.FaxCreatorName(), FaxServerSeen});
    return OpenInboxTable(m_operation, m_request.pIMsgStore, filter, m_listing.Table());
}

// "Seeked", as the contract has it.
HRESULT Page::Seek(IMAPITable *pTable)
{
    const BOOKMARK takenBack = m_listing.Bookmark();
    HRESULT hr = S_OK;
    if (m_request.bkAbsBkmark == BOOKMARK_BEGINNING) {
        hr = pTable->SeekRow(BOOKMARK_BEGINNING, 0, nullptr);
        if (SUCCEEDED(hr))
            m_operation.State("Seeked to beginning of table");
    } else if (m_request.bkAbsBkmark == BOOKMARK_END) {
        hr = pTable->SeekRow(BOOKMARK_END, 0, nullptr);
        if (SUCCEEDED(hr))
            m_operation.State("Seeked to end of table");
    } else if (takenBack && m_request.IsForward()) {
        hr = pTable->SeekRow(takenBack, 0, nullptr);
        if (SUCCEEDED(hr))
            m_operation.State("Seeked to specified bookmark (%lu)", static_cast<ULONG>(takenBack));
    } else if (takenBack) {
        hr = pTable->SeekRow(takenBack, m_request.RowsBackward(), nullptr);
        if (SUCCEEDED(hr))
            m_operation.State("Seeked to position %ld from specified bookmark (%lu)", m_request.RowsBackward(),
                              static_cast<ULONG>(takenBack));
    }
    if (FAILED(hr))
        return m_operation.Failed("SeekRow", "trying to move the cursor to a specific position in the table.", pTable,
                                  hr);
    return hr;
}

HRESULT Page::Read(ULONG *pulTotalRows)
{
    IMAPITable *const pTable = m_listing.Table().get();
    HRESULT hr = Seek(pTable);
    if (FAILED(hr))
        return hr;
    // The result is not looked at, as the contract has it: a table that can't count its rows can still be read.
    pTable->GetRowCount(0, pulTotalRows);
    hr = pTable->QueryRows(m_request.Rows(), 0, m_rows.put());
    if (FAILED(hr))
        return m_operation.Failed("QueryRows", "trying to query one or more rows from the table.", pTable, hr);
    m_rowsCounted = ScopedCount(m_operation.OpenObjects());
    return hr;
}

Header Page::HeaderOf(const SRow &row)
{
    Header header;
    LearnedFax learned;
    HeaderFromRow(row.lpProps, row.cValues, m_request.flags.bSummary ? &learned : nullptr, header);
    if (learned.bServerSeen)
        FaxServerSeen = true;
    if (learned.strCreatorName)
        m_session.State().SetFaxCreatorName(*learned.strCreatorName);
    return header;
}

HRESULT Page::ReadAttachments(Header &header)
{
    const StoreEntry entry(m_request.pIMsgStore, static_cast<ULONG>(header.entryID.size()), header.entryID.data());
    Counted<IMessage> message;
    HRESULT hr = OpenMessage(m_operation, entry, message);
    if (FAILED(hr))
        return hr;
    std::vector<ULONG> attachNums;
    hr = m_session.HrPopulateAttachList(message.get(), attachNums);
    if (FAILED(hr))
        return hr;
    for (ULONG ulAttachNum : attachNums) {
        Attachment attachment;
        hr = m_session.HrProcessAttachment(message.get(), ulAttachNum, attachment);
        if (FAILED(hr) || attachment.ulSize == 0)
            continue;
        attachment.ulAttachNum = ulAttachNum;
        header.attachments.push_back(std::move(attachment));
    }
    return hr;
}

HRESULT Page::Decode(HRESULT hrRead, std::vector<Header> &headers)
{
    const ULONG cRows = Rows();
    HRESULT hr = hrRead;
    headers.reserve(cRows);
    for (ULONG i = 0; i < cRows && SUCCEEDED(hr); ++i) {
        // The first one is message 0, as the contract has it.
        m_operation.Detail("Processing message %d of %d", static_cast<int>(i), static_cast<int>(cRows));
        Header header = HeaderOf(m_rows->aRow[i]);
        if (m_request.bWithAttachments && !header.entryID.empty())
            hr = ReadAttachments(header);
        // "cEntryID", as the contract has it.
        if (header.entryID.empty())
            m_operation.State("Message not added to list because of invalid cEntryID and/or pEntryID");
        else
            headers.push_back(std::move(header));
    }
    return hr;
}

HRESULT Page::Keep(HRESULT hrPage, DWORD &hContentsTable, DWORD &hOrigin)
{
    m_listing.FreeBookmark();
    const ULONG cRows = Rows();
    const bool full = static_cast<LONGLONG>(cRows) == m_request.lRowCount;
    const HRESULT marked = full && SUCCEEDED(hrPage) ? m_listing.CreateBookmark() : S_OK;
    m_rowsCounted.Uncount();
    m_rows.reset();
    if (cRows == 0 || FAILED(hrPage) || FAILED(marked))
        return marked;
    return m_listing.HandOver(hContentsTable, hOrigin);
}

} // namespace

HRESULT CMAPIImpl::GetEmailHeaders(IMsgStore *pIMsgStore, DWORD *phContentsTable, std::vector<Header> &headers,
                                   DWORD *phOrigin, LONG lRowCount, ULONG *pulTotalRows, BYTE bRead, BYTE bForward,
                                   BOOKMARK bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority, BYTE bFax,
                                   BYTE bSummary, const tstring *faxServers, ULONG cFaxServers, BYTE bUM)
{
    const ListingRequest request = {pIMsgStore,
                                    *phContentsTable,
                                    *phOrigin,
                                    lRowCount,
                                    bForward,
                                    bkAbsBkmark,
                                    bWithAttachments != 0,
                                    {bRead != 0, bPriority != 0, bFax != 0, bSummary != 0, bUM != 0},
                                    {faxServers, cFaxServers}};
    const ListingFlags &flags = request.flags;
    // The closing parenthesis at the end of the format has no opening one, as the contract has it.
    CountedOperation operation(
        OpenObjects(), "CMAPIImpl::GetEmailHeaders",
        "pIMsgStore: %p, hContentsTable: %p, hOrigin: %p, lRowCount: %ld, bkAbsBkmark: %lu, getting "
        "%s%s%s%s messages%s, direction %s%s)",
        static_cast<void *>(request.pIMsgStore), AsPointer(request.hContentsTable), AsPointer(request.hOrigin),
        request.lRowCount, static_cast<ULONG>(request.bkAbsBkmark), flags.bRead ? "READ" : "UNREAD",
        flags.bPriority ? " PRIORITY" : "", flags.bFax ? " FAX" : "", flags.bUM ? " UM" : "",
        request.bWithAttachments ? " with attachments" : "", request.bForward ? "FORWARD" : "REVERSE",
        flags.bSummary ? " [SUMMARY]" : "");
    operation.ShowCounter(kAtEntry, kAtExitCapital);
    if (!request.pIMsgStore)
        return NoStore(operation);

    Page page(*this, operation, request);
    HRESULT hr = operation.Stage([&] { return page.Open(headers); });
    if (FAILED(hr))
        return hr;
    hr = operation.Stage([&] { return page.Read(pulTotalRows); });
    if (FAILED(hr))
        return hr;
    hr = operation.Stage([&] { return page.Decode(hr, headers); });
    const HRESULT kept = operation.Stage([&] { return page.Keep(hr, *phContentsTable, *phOrigin); });
    return FAILED(kept) ? kept : hr;
}
