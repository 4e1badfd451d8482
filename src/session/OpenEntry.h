// Entry IDs as text, and the one way in which objects are opened by entry ID and large properties are read.
#pragma once
#include "ExchangeMapi.h"
#include "common/base/Owners.h"
#include "common/text/tstring.h"
#include "session/OpenOptions.h"
#include <mapix.h>

// For trace lines: the bytes after the four flag bytes as upper-case hexadecimal digits, two for each of the cbEntryID
// bytes, as the contract has it: the last four bytes asked for lie beyond the entry ID, and are shown as zeros.
tstring GetEntryIDString(ULONG cbEntryID, const void *lpEntryID);

// The rule for every interface that opens entries: open(flags, ppObject) is tried with MAPI_NO_CACHE first where
// bNoCache is set, and without where the provider does not know it. No object is left with a failure.
template <class Open> HRESULT OpenBypassingCache(ULONG ulFlags, bool bNoCache, IUnknown **ppObject, Open &&open)
{
    const auto drop = [&] {
        if (IUnknown *object = std::exchange(*ppObject, nullptr))
            object->Release();
    };
    *ppObject = nullptr;
    HRESULT hr = open(bNoCache ? ulFlags | MAPI_NO_CACHE : ulFlags, ppObject);
    if (bNoCache && hr == MAPI_E_UNKNOWN_FLAGS) {
        drop();
        hr = open(ulFlags, ppObject);
    }
    if (FAILED(hr))
        drop();
    return hr;
}

// Opens an entry of a store. With bNoCache the provider is asked to bypass its cache, and asked again without if it
// does not know that flag. No object is given with a failure. E_POINTER for a null store.
HRESULT HrOpenEntry(IMsgStore *pIMsgStore, ULONG cbEntryID, const void *lpEntryID, LPCIID lpInterface, ULONG ulFlags,
                    ULONG *pulObjType, IUnknown **ppObject, bool bNoCache);

// The same for a known interface, with the process's no-cache option.
template <class Interface>
HRESULT HrOpenEntry(IMsgStore *pIMsgStore, ULONG cbEntryID, const void *lpEntryID, LPCIID lpInterface, ULONG ulFlags,
                    ComPtr<Interface> &object)
{
    ULONG ulObjType = 0;
    IUnknown *opened = nullptr;
    const HRESULT hr = HrOpenEntry(pIMsgStore, cbEntryID, lpEntryID, lpInterface, ulFlags, &ulObjType, &opened,
                                   OpenOptions::UseNoCache());
    object.reset(static_cast<Interface *>(opened));
    return Acquired(hr, object);
}

// Reads a property through its stream, at most 64 KiB of it. The value is one MAPI block. E_POINTER for a null object
// or output; E_FAIL where the stream did not give what it promised.
HRESULT HrOpenProperty(IMAPIProp *pMAPIProp, ULONG ulPropTag, LPSPropValue *lppProp);
