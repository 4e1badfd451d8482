// Opening by entry ID, and the reading of large properties. The text of an entry ID and the ends of texts are as
// callers have always seen them.
#include "session/OpenEntry.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Operation.h"
#include <algorithm>
#include <cstring>
#include <objbase.h>

namespace
{

constexpr ULONG kFlagBytes = 4;         // an entry ID begins with its flags
constexpr ULONG kLargestRead = 0x10000; // of a property read through its stream

// Reads up to `cb` bytes; the count is of those that came, also with a failure.
HRESULT Read(IStream *pStream, void *target, ULONG cb, ULONG &cbRead)
{
    cbRead = 0;
    return pStream->Read(target, cb, &cbRead);
}

// Text of `cb` bytes: a zero goes after the bytes that came, or over the last one when all came. Its place is in
// characters although the count is in bytes, as the contract has it, which is why wide text has twice the room.
template <class Char> HRESULT ReadText(IStream *pStream, LPSPropValue pProp, ULONG cb, Char *&text)
{
    const ULONG cch = std::max<ULONG>(cb, 1);
    HRESULT hr = MAPIAllocateMore(cch * sizeof(Char), pProp, reinterpret_cast<void **>(&text));
    if (FAILED(hr))
        return hr;
    std::memset(text, 0, cch * sizeof(Char));
    ULONG cbRead = 0;
    hr = Read(pStream, text, cb, cbRead);
    if (SUCCEEDED(hr))
        text[std::min(cbRead, cch - 1)] = 0;
    return hr;
}

// Bytes count only when exactly as many came as the stream had promised.
HRESULT ReadBytes(IStream *pStream, LPSPropValue pProp, ULONG cb)
{
    SBinary &bin = pProp->Value.bin;
    HRESULT hr = MAPIAllocateMore(cb, pProp, reinterpret_cast<void **>(&bin.lpb));
    if (FAILED(hr))
        return hr;
    hr = Read(pStream, bin.lpb, cb, bin.cb);
    return SUCCEEDED(hr) && bin.cb != cb ? E_FAIL : hr;
}

HRESULT ReadValue(IStream *pStream, LPSPropValue pProp, ULONG cb)
{
    switch (PROP_TYPE(pProp->ulPropTag)) {
    case PT_STRING8:
        return ReadText(pStream, pProp, cb, pProp->Value.lpszA);
    case PT_UNICODE:
        return ReadText(pStream, pProp, cb, pProp->Value.lpszW);
    default:
        return ReadBytes(pStream, pProp, cb);
    }
}

} // namespace

// Called for every entry that is opened, whether or not its line is traced, so digits are written one by one.
tstring GetEntryIDString(ULONG cbEntryID, const void *lpEntryID)
{
    tstring text;
    Contained({"GetEntryIDString", __LINE__}, [&] {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const auto *bytes = static_cast<const BYTE *>(lpEntryID);
        text.reserve(std::size_t{cbEntryID} * 2);
        for (ULONG i = 0; i < cbEntryID; ++i) {
            const std::size_t position = std::size_t{kFlagBytes} + i;
            const BYTE octet = bytes && position < cbEntryID ? bytes[position] : 0;
            text += kDigits[octet >> 4];
            text += kDigits[octet & 15];
        }
    });
    return text;
}

HRESULT HrOpenEntry(IMsgStore *pIMsgStore, ULONG cbEntryID, const void *lpEntryID, LPCIID lpInterface, ULONG ulFlags,
                    ULONG *pulObjType, IUnknown **ppObject, bool bNoCache)
{
    const Operation op("HrOpenEntry", "pIMsgStore: %p, EntryID: \"%s\", Interface: \"%s\", Flags: %08x%s", pIMsgStore,
                       GetEntryIDString(cbEntryID, lpEntryID).c_str(),
                       (lpInterface ? tstring(*lpInterface) : tstring("NULL")).c_str(), ulFlags,
                       bNoCache ? " use MAPI_NO_CACHE" : "");
    if (!pIMsgStore) {
        // Without a colon, as the contract has it.
        op.Error("Error pIMsgStore is NULL.");
        return E_POINTER;
    }
    return OpenBypassingCache(ulFlags, bNoCache, ppObject, [&](ULONG flags, IUnknown **object) {
        return pIMsgStore->OpenEntry(cbEntryID, MapiEntryID(lpEntryID), lpInterface, flags, pulObjType, object);
    });
}

HRESULT HrOpenProperty(IMAPIProp *pMAPIProp, ULONG ulPropTag, LPSPropValue *lppProp)
{
    // A number in quotes, as the contract has it.
    const Operation op("HrOpenProperty", "pMAPIProp: %p, ulPropTag: \"%08x\", lppProp: %p", pMAPIProp, ulPropTag,
                       lppProp);
    if (!pMAPIProp || !lppProp)
        return E_POINTER;

    MapiBuffer<SPropValue> prop;
    ComPtr<IStream> stream;
    HRESULT hr = Acquired(
        pMAPIProp->OpenProperty(ulPropTag, &IID_IStream, 0, 0, reinterpret_cast<LPUNKNOWN *>(stream.put())), stream);
    if (FAILED(hr))
        return hr;
    STATSTG stat = {};
    hr = stream->Stat(&stat, STATFLAG_NONAME);
    if (FAILED(hr))
        return hr;
    const auto cb = static_cast<ULONG>(std::min<ULONGLONG>(stat.cbSize.QuadPart, kLargestRead));

    hr = MAPIAllocateBuffer(sizeof(SPropValue), reinterpret_cast<void **>(prop.put()));
    if (FAILED(hr))
        return hr;
    std::memset(prop.get(), 0, sizeof(SPropValue));
    prop->ulPropTag = ulPropTag;
    hr = ReadValue(stream.get(), prop.get(), cb);
    if (FAILED(hr))
        return hr;
    *lppProp = prop.release();
    return hr;
}
