// A MAPI object that a running operation holds, counted in the session's open-object counter while it does.
#pragma once
#include "common/base/Owners.h"
#include "common/mapi/Operation.h"
#include "session/OpenEntry.h"

template <class Interface> struct Counted {
    ComPtr<Interface> object;
    ScopedCount count;

    Interface *operator->() const { return object.get(); }
    Interface *get() const { return object.get(); }
    explicit operator bool() const { return static_cast<bool>(object); }

    // Counts what a successful call has put into object. A call that succeeds and gives nothing has failed.
    HRESULT Count(HRESULT hr, std::atomic<LONG> &counter)
    {
        if (FAILED(hr)) {
            object.reset();
            return hr;
        }
        if (!object)
            return E_FAIL;
        count = ScopedCount(counter);
        return hr;
    }

    // What is held lives on in a registry and stays counted, until it is taken back with Adopt.
    Interface *Keep()
    {
        count.Keep();
        return object.release();
    }
    void Adopt(Interface *kept, std::atomic<LONG> &counter)
    {
        object.reset(kept);
        count = kept ? ScopedCount::Adopt(counter) : ScopedCount();
    }
};

// Opens an entry and counts it; a failure is reported with the sentence.
template <class Interface>
HRESULT OpenCounted(const Operation &operation, IMsgStore *pIMsgStore, ULONG cbEntryID, const void *lpEntryID,
                    LPCIID lpInterface, ULONG ulFlags, std::atomic<LONG> &counter, const char *sentence,
                    Counted<Interface> &opened)
{
    const HRESULT hr =
        opened.Count(HrOpenEntry(pIMsgStore, cbEntryID, lpEntryID, lpInterface, ulFlags, opened.object), counter);
    return FAILED(hr) ? operation.Failed("HrOpenEntry", sentence, pIMsgStore, hr) : hr;
}

inline HRESULT OpenMessage(const Operation &operation, IMsgStore *pIMsgStore, ULONG cbEntryID, const void *lpEntryID,
                           std::atomic<LONG> &counter, Counted<IMessage> &message)
{
    return OpenCounted(operation, pIMsgStore, cbEntryID, lpEntryID, &IID_IMessage, MAPI_BEST_ACCESS, counter,
                       "trying to access and open the message.", message);
}

// The refusal of every operation on a message without a store.
inline HRESULT NoStore(const Operation &operation)
{
    operation.Error("Error pIMsgStore is NULL.");
    return E_POINTER;
}
