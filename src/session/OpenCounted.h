// Opening entries of a store for an operation, which reports what fails and counts what it holds.
#pragma once
#include "common/mapi/Counted.h"
#include "common/mapi/Operation.h"
#include "session/StoreEntry.h"

// A failure is reported with the sentence.
template <class Interface>
HRESULT OpenCounted(const Operation &operation, const StoreEntry &entry, LPCIID lpInterface, ULONG ulFlags,
                    std::atomic<LONG> &counter, const char *sentence, Counted<Interface> &opened)
{
    const HRESULT hr = opened.Count(
        HrOpenEntry(entry.pIMsgStore, entry.cbEntryID, entry.lpEntryID, lpInterface, ulFlags, opened.object), counter);
    return FAILED(hr) ? operation.Failed("HrOpenEntry", sentence, entry.pIMsgStore, hr) : hr;
}

inline HRESULT OpenMessage(const Operation &operation, const StoreEntry &entry, std::atomic<LONG> &counter,
                           Counted<IMessage> &message)
{
    return OpenCounted(operation, entry, &IID_IMessage, MAPI_BEST_ACCESS, counter,
                       "trying to access and open the message.", message);
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
HRESULT WithMessage(const Operation &operation, const StoreEntry &entry, std::atomic<LONG> &counter, Work &&work,
                    int nLine = __builtin_LINE())
{
    return operation.Stage(
        [&]() -> HRESULT {
            if (!entry.pIMsgStore)
                return NoStore(operation);
            Counted<IMessage> message;
            const HRESULT hr = OpenMessage(operation, entry, counter, message);
            return FAILED(hr) ? hr : work(message);
        },
        nLine);
}
