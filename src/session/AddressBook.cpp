#include "session/AddressBook.h"
#include "common/mapi/Operation.h"
#include <cstring>

namespace
{

template <class Value> HRESULT AllocateZeroed(const Operation &op, ULONG cb, MapiBuffer<Value> &block)
{
    const HRESULT hr = MAPIAllocateBuffer(cb, reinterpret_cast<void **>(block.put()));
    if (FAILED(hr))
        return op.Failed("MAPIAllocateBuffer", nullptr, hr);
    std::memset(block.get(), 0, cb);
    return hr;
}

} // namespace

HRESULT OpenAddressBook(const Operation &op, IMAPISession *pSession, ComPtr<IAddrBook> &addressBook)
{
    const HRESULT hr = Acquired(pSession->OpenAddressBook(0, nullptr, AB_NO_DIALOG, addressBook.put()), addressBook);
    if (FAILED(hr))
        return op.Failed("OpenAddressBook", "trying to open the MAPI integrated address book.", pSession, hr);
    return hr;
}

HRESULT AllocateAddressList(const Operation &op, ULONG cEntries, LPADRLIST *ppList)
{
    MapiBuffer<ADRLIST> list;
    const HRESULT hr = AllocateZeroed(op, static_cast<ULONG>(CbNewADRLIST(cEntries)), list);
    *ppList = list.release();
    return hr;
}

HRESULT AddAddress(const Operation &op, ADRLIST *pList, const char *szName, bool bRecipient)
{
    const ULONG cValues = bRecipient ? 2 : 1;
    MapiBuffer<SPropValue> values;
    HRESULT hr = AllocateZeroed(op, cValues * static_cast<ULONG>(sizeof(SPropValue)), values);
    if (FAILED(hr))
        return hr;
    SPropValue &name = values.get()[0];
    const auto cbName = static_cast<ULONG>(std::strlen(szName) + 1);
    hr = MAPIAllocateMore(cbName, values.get(), reinterpret_cast<void **>(&name.Value.lpszA));
    if (FAILED(hr))
        return op.Failed("MAPIAllocateMore", nullptr, hr);
    name.ulPropTag = PR_DISPLAY_NAME_A;
    std::memcpy(name.Value.lpszA, szName, cbName);
    if (bRecipient) {
        values.get()[1].ulPropTag = PR_RECIPIENT_TYPE;
        values.get()[1].Value.l = MAPI_TO;
    }
    ADRENTRY &entry = pList->aEntries[pList->cEntries++];
    entry.ulReserved1 = 0;
    entry.cValues = cValues;
    entry.rgPropVals = values.release();
    return hr;
}
