// A text of recipients, separated by semicolons, as an address list that MAPI has resolved.
#include "common/mapi/Operation.h"
#include "session/AddressBook.h"
#include "session/CMAPIImpl.h"
#include <cstdlib>
#include <cstring>
#include <mbstring.h>
#include <memory>

namespace
{

using CText = std::unique_ptr<char, decltype(&std::free)>;

// Ends each token with a zero in place; a delimiter that was skipped stays where it is.
ULONG CountTokens(char *text)
{
    const auto *delimiter = reinterpret_cast<const unsigned char *>(";");
    unsigned char *context = nullptr;
    ULONG count = 0;
    for (auto *token = _mbstok_s(reinterpret_cast<unsigned char *>(text), delimiter, &context); token;
         token = _mbstok_s(nullptr, delimiter, &context))
        ++count;
    return count;
}

} // namespace

HRESULT CMAPIImpl::CreateAddressList(LPADRLIST *ppAddressList, const char *szRecipientList)
{
    // "szRecpientList", as the contract has it.
    const Operation op("CMAPIImpl::CreateAddressList", "pAddressList: %p, szRecpientList: \"%s\"", ppAddressList,
                       szRecipientList);
    *ppAddressList = nullptr;
    const ComPtr<IMAPISession> session = State().MapiSession();
    if (!session)
        return State().NotConnected();
    if (!szRecipientList)
        return E_POINTER;
    if (!*szRecipientList)
        return E_INVALIDARG;

    const CText duplicate(_strdup(szRecipientList), &std::free);
    if (!duplicate)
        // The name of another function, and no full stop, as the contract has it.
        return op.Failed("_tcsdup", "trying to duplicate recipient list", E_OUTOFMEMORY);
    const ULONG cRecipients = CountTokens(duplicate.get());
    if (cRecipients == 0) {
        op.State("No recipients.");
        return E_ABORT;
    }
    HRESULT hr = AllocateAddressList(op, cRecipients, ppAddressList);
    if (FAILED(hr))
        return hr;
    // The walk steps over whole texts from the first byte, so a delimiter that no token precedes belongs to the next
    // recipient, as the contract has it: ";a;b" gives ";a" and "b".
    const char *szRecipient = duplicate.get();
    for (ULONG i = 0; i < cRecipients; ++i) {
        hr = AddAddress(op, *ppAddressList, szRecipient, true);
        if (FAILED(hr))
            return hr;
        szRecipient += std::strlen(szRecipient) + 1;
    }

    ComPtr<IAddrBook> addressBook;
    hr = OpenAddressBook(op, session.get(), addressBook);
    if (FAILED(hr))
        return hr;
    hr = addressBook->ResolveName(0, 0, nullptr, *ppAddressList);
    if (FAILED(hr))
        return op.Failed("ResolveName", "trying to resolve the recipients %s.", addressBook.get(), hr, szRecipientList);
    return hr;
}
