#include "common/mapi/Counted.h"
#include "common/mapi/MapiArguments.h"
#include "messages/listing/HeaderColumns.h"
#include "session/CMAPIImpl.h"

namespace
{

constexpr char kEntryCounter[] = "%s[%d]: At entry, counter=[%ld]";
constexpr char kExitCounter[] = "%s[%d]: At Exit, counter=[%ld]";

constexpr char kOpenFolderSentence[] = "trying to access and open the containing folder for the message.";
constexpr char kOpenDeletedItemsSentence[] = "trying to access and open deleted items folder.";

// The properties of an opened message that tags names; they count as an open object while they are held.
HRESULT GetProperties(const Operation &operation, IMAPIProp *pObject, LPSPropTagArray tags, const char *sentence,
                      std::atomic<LONG> &counter, ULONG &cValues, MapiBuffer<SPropValue> &values, ScopedCount &counted)
{
    const HRESULT hr = pObject->GetProps(tags, 0, &cValues, values.put());
    if (FAILED(hr))
        return operation.Failed("GetProps", sentence, pObject, hr);
    counted = ScopedCount(counter);
    return hr;
}

// The folder in which a message lies.
HRESULT OpenParentFolder(const Operation &operation, IMsgStore *pIMsgStore, IMessage *pMessage,
                         std::atomic<LONG> &counter, Counted<IMAPIFolder> &folder)
{
    MapiBuffer<SPropValue> parent;
    HRESULT hr = HrGetOneProp(pMessage, PR_PARENT_ENTRYID, parent.put());
    if (SUCCEEDED(hr) && (!parent || parent->ulPropTag != PR_PARENT_ENTRYID))
        hr = MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        return operation.Failed("HrGetOneProp", "determining the ID for the folder where the message resides.",
                                pMessage, hr);
    return OpenCounted(operation, pIMsgStore, parent->Value.bin.cb, parent->Value.bin.lpb, &IID_IMAPIFolder,
                       MAPI_BEST_ACCESS, counter, kOpenFolderSentence, folder);
}

HRESULT OpenDeletedItems(const Operation &operation, IMsgStore *pIMsgStore, std::atomic<LONG> &counter,
                         Counted<IMAPIFolder> &folder)
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
    return OpenCounted(operation, pIMsgStore, wastebasket->Value.bin.cb, wastebasket->Value.bin.lpb, nullptr,
                       MAPI_MODIFY, counter, kOpenDeletedItemsSentence, folder);
}

} // namespace

HRESULT CMAPIImpl::GetEmailHeader(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, Header &header)
{
    Operation operation("CMAPIImpl::GetEmailHeader", "pIMsgStore: %p, EntryID: \"%s\", ...",
                        static_cast<void *>(pIMsgStore), GetEntryIDString(cbEntryID, lpEntryID).c_str());
    operation.ShowCounter(m_lOpenObjects, kEntryCounter, "%s[%d]: At ecit, counter=[%ld]");
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMessage> message;
        HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
        if (FAILED(hr))
            return hr;
        ULONG cValues = 0;
        MapiBuffer<SPropValue> values;
        ScopedCount counted;
        hr = GetProperties(operation, message.get(), HeaderTags(), "trying to retrieve properties for the message.",
                           m_lOpenObjects, cValues, values, counted);
        if (FAILED(hr))
            return hr;
        HeaderFromMessage(values.get(), cValues, header);
        return hr;
    });
}

HRESULT CMAPIImpl::GetEmailFlags(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE *pbPrivate,
                                 BYTE *pbHighPriority, BYTE *pbRead)
{
    Operation operation("CMAPIImpl::GetEmailFlags", "pIMsgStore: %p, EntryID: \"%s\", ...",
                        static_cast<void *>(pIMsgStore), GetEntryIDString(cbEntryID, lpEntryID).c_str());
    operation.ShowCounter(m_lOpenObjects, "%s[%d]: At Entry, counter=[%ld]", kExitCounter);
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMessage> message;
        HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
        if (FAILED(hr))
            return hr;
        ULONG cValues = 0;
        MapiBuffer<SPropValue> values;
        ScopedCount counted;
        hr = GetProperties(operation, message.get(), PropTags<PR_IMPORTANCE, PR_SENSITIVITY, PR_MESSAGE_FLAGS>(),
                           "trying to determine specific properties the message.", m_lOpenObjects, cValues, values,
                           counted);
        if (FAILED(hr))
            return hr;
        // Only 1 is ever written: what is not set is the caller's to clear.
        for (ULONG i = 0; values && i < cValues; ++i) {
            const SPropValue &value = values.get()[i];
            if (value.ulPropTag == PR_IMPORTANCE && value.Value.l == IMPORTANCE_HIGH)
                *pbHighPriority = 1;
            else if (value.ulPropTag == PR_SENSITIVITY && value.Value.l == SENSITIVITY_PRIVATE)
                *pbPrivate = 1;
            else if (value.ulPropTag == PR_MESSAGE_FLAGS && (value.Value.l & MSGFLAG_READ))
                *pbRead = 1;
        }
        return hr;
    });
}

HRESULT CMAPIImpl::SetEmailReadFlag(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE bRead)
{
    // Alone among its kind it writes the counter at its exit only.
    Operation operation("CMAPIImpl::SetEmailReadFlag", "pIMsgStore: %p, EntryID: \"%s\", %s",
                        static_cast<void *>(pIMsgStore), GetEntryIDString(cbEntryID, lpEntryID).c_str(),
                        bRead ? "READ" : "UNREAD");
    operation.ShowCounterAtExit(m_lOpenObjects, kExitCounter);
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMessage> message;
        HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
        if (FAILED(hr))
            return hr;
        hr = message->SetReadFlag(bRead ? 0 : CLEAR_READ_FLAG);
        if (FAILED(hr))
            return operation.Failed("SetReadFlag", "trying to change PR_MESSAGE_FLAGS property of the message.",
                                    message.get(), hr);
        return hr;
    });
}

HRESULT CMAPIImpl::DeleteEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID)
{
    Operation operation("CMAPIImpl::DeleteEmail", "pIMsgStore: %p, EntryID: \"%s\"", static_cast<void *>(pIMsgStore),
                        GetEntryIDString(cbEntryID, lpEntryID).c_str());
    operation.ShowCounter(m_lOpenObjects, kEntryCounter, kExitCounter);
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMAPIFolder> source;
        {
            // The message is closed again before its folder is asked to move it.
            Counted<IMessage> message;
            HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
            if (SUCCEEDED(hr))
                hr = OpenParentFolder(operation, pIMsgStore, message.get(), m_lOpenObjects, source);
            if (FAILED(hr))
                return hr;
        }

        MapiBuffer<SBinary> moved;
        HRESULT hr = MAPIAllocateBuffer(sizeof(SBinary), reinterpret_cast<void **>(moved.put()));
        if (FAILED(hr))
            return operation.Failed("MAPIAllocateBuffer", nullptr, hr);
        *moved.get() = {cbEntryID, MapiIn(lpEntryID)};
        SBinaryArray entryList = {1, moved.get()};

        Counted<IMAPIFolder> deletedItems;
        hr = OpenDeletedItems(operation, pIMsgStore, m_lOpenObjects, deletedItems);
        if (FAILED(hr))
            return hr;
        hr = source->CopyMessages(&entryList, nullptr, deletedItems.get(), 0, nullptr, MESSAGE_MOVE);
        if (FAILED(hr))
            return operation.Failed("CopyMessages", "trying to move messages to the deleted items folder.",
                                    source.get(), hr);
        return hr;
    });
}
