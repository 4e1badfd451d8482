// What a message is marked with: reading its flags, and setting whether it was read.
#include "common/mapi/MapiArguments.h"
#include "session/CMAPIImpl.h"
#include "session/OpenCounted.h"

HRESULT CMAPIImpl::GetEmailFlags(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE *pbPrivate,
                                 BYTE *pbHighPriority, BYTE *pbRead)
{
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(OpenObjects(), "CMAPIImpl::GetEmailFlags", "pIMsgStore: %p, EntryID: \"%s\", ...",
                               static_cast<void *>(entry.pIMsgStore), entry.Text().c_str());
    operation.ShowCounter(kAtEntryCapital, kAtExitCapital);
    return WithMessage(operation, entry, [&](Counted<IMessage> &message) -> HRESULT {
        CountedProperties properties;
        const HRESULT hr =
            properties.Get(message.get(), PropTags<PR_IMPORTANCE, PR_SENSITIVITY, PR_MESSAGE_FLAGS>(), OpenObjects());
        if (FAILED(hr))
            // A word is missing, as the contract has it.
            return operation.Failed("GetProps", "trying to determine specific properties the message.", message.get(),
                                    hr);
        // Only 1 is ever written: what is not set is the caller's to clear.
        for (const SPropValue &value : properties) {
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
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    // Alone among its kind it writes the counter at its exit only, as the contract has it.
    CountedOperation operation(OpenObjects(), "CMAPIImpl::SetEmailReadFlag", "pIMsgStore: %p, EntryID: \"%s\", %s",
                               static_cast<void *>(entry.pIMsgStore), entry.Text().c_str(), bRead ? "READ" : "UNREAD");
    operation.ShowCounterAtExit(kAtExitCapital);
    return WithMessage(operation, entry, [&](Counted<IMessage> &message) -> HRESULT {
        const HRESULT hr = message->SetReadFlag(bRead ? 0 : CLEAR_READ_FLAG);
        if (FAILED(hr))
            return operation.Failed("SetReadFlag", "trying to change PR_MESSAGE_FLAGS property of the message.",
                                    message.get(), hr);
        return hr;
    });
}
