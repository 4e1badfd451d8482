#include "common/mapi/Counted.h"
#include "messages/listing/FaxSettings.h"
#include "messages/listing/HeaderColumns.h"
#include "messages/listing/KeptListing.h"
#include "messages/listing/ListingFilter.h"
#include "session/CMAPIImpl.h"
#include "session/ReceiveFolder.h"

namespace
{

constexpr char kEntryCounter[] = "%s[%d]: At entry, counter=[%ld]";
constexpr char kExitCounter[] = "%s[%d]: At Exit, counter=[%ld]";

void *AsPointer(DWORD handle)
{
    return reinterpret_cast<void *>(static_cast<ULONG_PTR>(handle));
}

// The negative of a row count, which for the most negative one is itself.
LONG Negative(LONG count)
{
    return static_cast<LONG>(0u - static_cast<ULONG>(count));
}

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
HRESULT OpenInboxTable(const Operation &operation, IMsgStore *pIMsgStore, const Restriction &filter,
                       std::atomic<LONG> &counter, Counted<IMAPITable> &table)
{
    ReceiveFolder inbox;
    HRESULT hr = OpenReceiveFolder(operation, pIMsgStore, counter, inbox);
    if (FAILED(hr))
        return hr;
    hr = table.Count(GetFolderTable(operation, inbox.get(), table.object), counter);
    return FAILED(hr) ? hr : ShapeTable(operation, table.get(), filter);
}

// Moves to where the page begins. A new table stands at its beginning, a kept one where its last page left it.
HRESULT SeekPage(const Operation &operation, IMAPITable *pTable, BOOKMARK bkAbsBkmark, BOOKMARK takenBack, bool forward,
                 LONG lRowCount)
{
    HRESULT hr = S_OK;
    if (bkAbsBkmark == BOOKMARK_BEGINNING) {
        hr = pTable->SeekRow(BOOKMARK_BEGINNING, 0, nullptr);
        if (SUCCEEDED(hr))
            operation.State("Seeked to beginning of table");
    } else if (bkAbsBkmark == BOOKMARK_END) {
        hr = pTable->SeekRow(BOOKMARK_END, 0, nullptr);
        if (SUCCEEDED(hr))
            operation.State("Seeked to end of table");
    } else if (takenBack && forward) {
        hr = pTable->SeekRow(takenBack, 0, nullptr);
        if (SUCCEEDED(hr))
            operation.State("Seeked to specified bookmark (%lu)", static_cast<ULONG>(takenBack));
    } else if (takenBack) {
        hr = pTable->SeekRow(takenBack, Negative(lRowCount), nullptr);
        if (SUCCEEDED(hr))
            operation.State("Seeked to position %ld from specified bookmark (%lu)", Negative(lRowCount),
                            static_cast<ULONG>(takenBack));
    }
    if (FAILED(hr))
        return operation.Failed("SeekRow", "trying to move the cursor to a specific position in the table.", pTable,
                                hr);
    return hr;
}

// The attachments of a listed message that can be read and are not empty; the result is the last call's.
HRESULT ReadAttachments(CMAPIImpl &session, const Operation &operation, IMsgStore *pIMsgStore, Header &header)
{
    Counted<IMessage> message;
    HRESULT hr = OpenMessage(operation, pIMsgStore, static_cast<ULONG>(header.entryID.size()), header.entryID.data(),
                             session.OpenObjects(), message);
    if (FAILED(hr))
        return hr;
    std::vector<ULONG> attachNums;
    hr = session.HrPopulateAttachList(message.get(), attachNums);
    if (FAILED(hr))
        return hr;
    for (ULONG ulAttachNum : attachNums) {
        Attachment attachment;
        hr = session.HrProcessAttachment(message.get(), ulAttachNum, attachment);
        if (FAILED(hr) || attachment.ulSize == 0)
            continue;
        attachment.ulAttachNum = ulAttachNum;
        header.attachments.push_back(std::move(attachment));
    }
    return hr;
}

} // namespace

HRESULT CMAPIImpl::GetEmailHeaders(IMsgStore *pIMsgStore, DWORD *phContentsTable, std::vector<Header> &headers,
                                   DWORD *phOrigin, LONG lRowCount, ULONG *pulTotalRows, BYTE bRead, BYTE bForward,
                                   BOOKMARK bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority, BYTE bFax,
                                   BYTE bSummary, const tstring *faxServers, ULONG cFaxServers, BYTE bUM)
{
    // The closing parenthesis at the end of the format has no opening one.
    Operation operation("CMAPIImpl::GetEmailHeaders",
                        "pIMsgStore: %p, hContentsTable: %p, hOrigin: %p, lRowCount: %ld, bkAbsBkmark: %lu, getting "
                        "%s%s%s%s messages%s, direction %s%s)",
                        static_cast<void *>(pIMsgStore), AsPointer(*phContentsTable), AsPointer(*phOrigin), lRowCount,
                        static_cast<ULONG>(bkAbsBkmark), bRead ? "READ" : "UNREAD", bPriority ? " PRIORITY" : "",
                        bFax ? " FAX" : "", bUM ? " UM" : "", bWithAttachments ? " with attachments" : "",
                        bForward ? "FORWARD" : "REVERSE", bSummary ? " [SUMMARY]" : "");
    operation.ShowCounter(m_lOpenObjects, kEntryCounter, kExitCounter);
    if (!pIMsgStore)
        return NoStore(operation);

    const bool forward = bForward == 1;
    KeptListing listing(*this, operation);
    HRESULT hr = operation.Stage([&]() -> HRESULT {
        if (*phContentsTable)
            listing.TakeBack(*phContentsTable, *phOrigin);
        if (listing.Table())
            return S_OK;
        headers.clear();
        if (bSummary && FaxCreatorName().empty())
            SetFaxCreatorName(" ");
        const ListingFlags flags = {bRead != 0, bPriority != 0, bFax != 0, bSummary != 0, bUM != 0};
        const std::vector<tstring> servers(faxServers, faxServers + cFaxServers);
        const Restriction filter = ListingFilter(flags, servers, {FaxCreatorName(), FaxServerSeen});
        return OpenInboxTable(operation, pIMsgStore, filter, m_lOpenObjects, listing.Table());
    });
    if (FAILED(hr))
        return hr;

    RowSet rows;
    ScopedCount rowsCounted;
    hr = operation.Stage([&]() -> HRESULT {
        IMAPITable *const pTable = listing.Table().get();
        const HRESULT sought = SeekPage(operation, pTable, bkAbsBkmark, listing.Bookmark(), forward, lRowCount);
        if (FAILED(sought))
            return sought;
        // A table that can't count its rows can still be read.
        pTable->GetRowCount(0, pulTotalRows);
        const HRESULT queried = pTable->QueryRows(forward ? lRowCount : Negative(lRowCount), 0, rows.put());
        if (FAILED(queried))
            return operation.Failed("QueryRows", "trying to query one or more rows from the table.", pTable, queried);
        rowsCounted = ScopedCount(m_lOpenObjects);
        return queried;
    });
    if (FAILED(hr))
        return hr;

    const ULONG cRows = rows ? rows->cRows : 0;
    hr = operation.Stage([&]() -> HRESULT {
        HRESULT running = hr;
        headers.reserve(cRows);
        for (ULONG i = 0; i < cRows && SUCCEEDED(running); ++i) {
            operation.Detail("Processing message %d of %d", static_cast<int>(i), static_cast<int>(cRows));
            Header header;
            LearnedFax learned;
            HeaderFromRow(rows->aRow[i].lpProps, rows->aRow[i].cValues, bSummary ? &learned : nullptr, header);
            if (learned.bServerSeen)
                FaxServerSeen = true;
            if (learned.strCreatorName)
                SetFaxCreatorName(*learned.strCreatorName);
            if (bWithAttachments && !header.entryID.empty())
                running = ReadAttachments(*this, operation, pIMsgStore, header);
            if (header.entryID.empty())
                operation.State("Message not added to list because of invalid cEntryID and/or pEntryID");
            else
                headers.push_back(std::move(header));
        }
        return running;
    });

    // What a failed call has read is out of its caller's reach, so the table ends with it.
    const HRESULT handedBack = operation.Stage([&]() -> HRESULT {
        listing.FreeBookmark();
        const bool full = static_cast<LONGLONG>(cRows) == lRowCount;
        const HRESULT marked = full && SUCCEEDED(hr) ? listing.CreateBookmark() : S_OK;
        rowsCounted.Uncount();
        rows.reset();
        if (cRows == 0 || FAILED(hr) || FAILED(marked))
            return marked;
        return listing.HandOver(*phContentsTable, *phOrigin);
    });
    return FAILED(handedBack) ? handedBack : hr;
}

HRESULT CMAPIImpl::ReleaseHandles(DWORD hTable, DWORD hBookmark)
{
    Operation operation("CMAPIImpl::ReleaseHandles", "hTable: %p, hBookmark: %p", AsPointer(hTable),
                        AsPointer(hBookmark));
    operation.ShowCounter(m_lOpenObjects, kEntryCounter, kExitCounter);

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
