// Deleting a message: it is moved from the folder in which it lies to the deleted items.
#include "common/mapi/MapiArguments.h"
#include "session/CMAPIImpl.h"
#include "session/OpenCounted.h"

namespace
{

constexpr char kOpenFolderSentence[] = "trying to access and open the containing folder for the message.";
constexpr char kOpenDeletedItemsSentence[] = "trying to access and open deleted items folder.";

// The folder in which a message lies.
HRESULT OpenParentFolder(const CountedOperation &operation, IMsgStore *pIMsgStore, IMessage *pMessage,
                         Counted<IMAPIFolder> &folder)
{
    MapiBuffer<SPropValue> parent;
    HRESULT hr = HrGetOneProp(pMessage, PR_PARENT_ENTRYID, parent.put());
    if (SUCCEEDED(hr) && (!parent || parent->ulPropTag != PR_PARENT_ENTRYID))
        hr = MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        // Without "trying to", as the contract has it.
        return operation.Failed("HrGetOneProp", "determining the ID for the folder where the message resides.",
                                pMessage, hr);
    return OpenCounted(operation, {pIMsgStore, parent->Value.bin}, &IID_IMAPIFolder, MAPI_BEST_ACCESS,
                       kOpenFolderSentence, folder);
}

HRESULT OpenDeletedItems(const CountedOperation &operation, IMsgStore *pIMsgStore, Counted<IMAPIFolder> &folder)
{
    ULONG cValues = 0;
    MapiBuffer<SPropValue> wastebasket;
    HRESULT hr = pIMsgStore->GetProps(PropTags<PR_IPM_WASTEBASKET_ENTRYID>(), 0, &cValues, wastebasket.put());
    if (SUCCEEDED(hr) && (!wastebasket || cValues == 0))
        hr = MAPI_E_NOT_FOUND;
    else if (SUCCEEDED(hr) && wastebasket->ulPropTag != PR_IPM_WASTEBASKET_ENTRYID)
        hr = PROP_TYPE(wastebasket->ulPropTag) == PT_ERROR && FAILED(wastebasket->Value.err) ? wastebasket->Value.err
                                                                                             : MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        return operation.Failed("GetProps", "trying to determine the ID of the deleted items folder.", pIMsgStore, hr);
    return OpenCounted(operation, {pIMsgStore, wastebasket->Value.bin}, nullptr, MAPI_MODIFY, kOpenDeletedItemsSentence,
                       folder);
}

} // namespace

HRESULT CMAPIImpl::DeleteEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID)
{
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(OpenObjects(), "CMAPIImpl::DeleteEmail", "pIMsgStore: %p, EntryID: \"%s\"",
                               static_cast<void *>(pIMsgStore), entry.Text().c_str());
    operation.ShowCounter(kAtEntry, kAtExitCapital);
    return operation.Stage([&]() -> HRESULT {
        if (!entry.pIMsgStore)
            return NoStore(operation);
        Counted<IMAPIFolder> source;
        {
            // The message is closed again before its folder is asked to move it.
            Counted<IMessage> message;
            HRESULT hr = OpenMessage(operation, entry, message);
            if (SUCCEEDED(hr))
                hr = OpenParentFolder(operation, entry.pIMsgStore, message.get(), source);
            if (FAILED(hr))
                return hr;
        }

        MapiBuffer<SBinary> moved;
        HRESULT hr = MAPIAllocateBuffer(sizeof(SBinary), reinterpret_cast<void **>(moved.put()));
        if (FAILED(hr))
            return operation.Failed("MAPIAllocateBuffer", nullptr, hr);
        *moved.get() = {entry.cbEntryID, MapiIn(entry.lpEntryID)};
        SBinaryArray entryList = {1, moved.get()};

        Counted<IMAPIFolder> deletedItems;
        hr = OpenDeletedItems(operation, entry.pIMsgStore, deletedItems);
        if (FAILED(hr))
            return hr;
        hr = source->CopyMessages(&entryList, nullptr, deletedItems.get(), 0, nullptr, MESSAGE_MOVE);
        if (FAILED(hr))
            return operation.Failed("CopyMessages", "trying to move messages to the deleted items folder.",
                                    source.get(), hr);
        return hr;
    });
}
