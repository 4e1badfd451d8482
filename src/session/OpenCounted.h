// Opening entries of a store for an operation, which reports what fails and counts what it holds.
#pragma once
#include "common/mapi/Counted.h"
#include "common/mapi/CountedOperation.h"
#include "session/StoreEntry.h"

// A failure is reported with the sentence.
template <class Interface>
HRESULT OpenCounted(const CountedOperation &operation, const StoreEntry &entry, LPCIID lpInterface, ULONG ulFlags,
                    const char *sentence, Counted<Interface> &opened)
{
    const HRESULT hr = opened.Count(
        HrOpenEntry(entry.pIMsgStore, entry.cbEntryID, entry.lpEntryID, lpInterface, ulFlags, opened.object),
        operation.OpenObjects());
    return FAILED(hr) ? operation.Failed("HrOpenEntry", sentence, entry.pIMsgStore, hr) : hr;
}

inline HRESULT OpenMessage(const CountedOperation &operation, const StoreEntry &entry, Counted<IMessage> &message)
{
    return OpenCounted(operation, entry, &IID_IMessage, MAPI_BEST_ACCESS, "trying to access and open the message.",
                       message);
}

// The refusal of every operation on a message without a store.
inline HRESULT NoStore(const Operation &operation)
{
    // Without a colon, as the contract has it.
    operation.Error("Error pIMsgStore is NULL.");
    return E_POINTER;
}

// The stage of an operation that works on one message: refused without a store, else what work gives of the open
// message.
template <class Work>
HRESULT WithMessage(const CountedOperation &operation, const StoreEntry &entry, Work &&work,
                    int nLine = __builtin_LINE())
{
    return operation.Stage(
        [&]() -> HRESULT {
            if (!entry.pIMsgStore)
                return NoStore(operation);
            Counted<IMessage> message;
            const HRESULT hr = OpenMessage(operation, entry, message);
            return FAILED(hr) ? hr : work(message);
        },
        nLine);
}
