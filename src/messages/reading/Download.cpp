// Saving what a message holds: its text, and its recordings as files.
#include "common/mapi/MapiArguments.h"
#include "messages/reading/DownloadedText.h"
#include "session/CMAPIImpl.h"
#include "session/OpenCounted.h"

namespace
{

// The text of a message's value. One that is too large to come at once is read through its stream.
tstring TextOrLargeText(const Operation &operation, IMessage *pMessage, const SPropValue &value, ULONG ulPropTag)
{
    if (value.ulPropTag == ulPropTag)
        return value.Value.lpszA;
    if (PROP_TYPE(value.ulPropTag) != PT_ERROR || value.Value.err != MAPI_E_NOT_ENOUGH_MEMORY)
        return {};
    MapiBuffer<SPropValue> large;
    const HRESULT hr = HrOpenProperty(pMessage, ulPropTag, large.put());
    if (FAILED(hr)) {
        operation.Failed("HrOpenProperty", "trying to read a large property of the message.", pMessage, hr);
        return {};
    }
    return large->Value.lpszA;
}

} // namespace

HRESULT CMAPIImpl::DownloadEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, DownloadedText &text)
{
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(OpenObjects(), "CMAPIImpl::DownloadEmail", "pIMsgStore: %p, EntryID: \"%s\", ...",
                               static_cast<void *>(entry.pIMsgStore), entry.Text().c_str());
    operation.ShowCounter(kAtEntryCapital, kAtExitCapital);
    return WithMessage(operation, entry, [&](Counted<IMessage> &message) -> HRESULT {
        CountedProperties properties;
        const HRESULT hr = properties.Get(message.get(), PropTags<PR_BODY_A, PR_SUBJECT_A>(), OpenObjects());
        if (FAILED(hr))
            // A word is missing, as the contract has it.
            return operation.Failed("GetProps", "trying to determine specific properties the message.", message.get(),
                                    hr);
        // Also those that are errors have their place.
        if (properties.size() > 0)
            text.strBody = TextOrLargeText(operation, message.get(), properties[0], PR_BODY_A);
        if (properties.size() > 1)
            text.strSubject = TextOrLargeText(operation, message.get(), properties[1], PR_SUBJECT_A);
        return hr;
    });
}

HRESULT CMAPIImpl::DownloadAttachment(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, ULONG ulAttachNum,
                                      const tstring &szFilename)
{
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(OpenObjects(), "CMAPIImpl::DownloadAttachment",
                               "pIMsgStore: %p, EntryID: \"%s\", ulAttachNum: %lu, szFilename: \"%s\"",
                               static_cast<void *>(entry.pIMsgStore), entry.Text().c_str(), ulAttachNum,
                               szFilename.c_str());
    operation.ShowCounter(kAtEntry, kAtExit);
    return WithMessage(operation, entry, [&](Counted<IMessage> &message) -> HRESULT {
        return HrStreamInAttachment(message.get(), ulAttachNum, szFilename);
    });
}
