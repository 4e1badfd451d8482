// Names to addresses: recipients of a message, and the identity behind a mailbox name.
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Operation.h"
#include "common/mapi/Restriction.h"
#include "common/text/Multibyte.h"
#include "session/CMAPIImpl.h"
#include "session/OpenEntry.h"
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace
{

using CText = std::unique_ptr<char, decltype(&std::free)>;

HRESULT OpenAddressBook(const Operation &op, IMAPISession *pSession, ComPtr<IAddrBook> &addressBook)
{
    const HRESULT hr = Acquired(pSession->OpenAddressBook(0, nullptr, AB_NO_DIALOG, addressBook.put()), addressBook);
    if (FAILED(hr))
        return op.Failed("OpenAddressBook", "trying to open the MAPI integrated address book.", pSession, hr);
    return hr;
}

// An entry of the address book, opened through the book or one of its containers.
template <class Container, class Interface>
HRESULT OpenAddressEntry(Container *pContainer, ULONG cbEntryID, const void *pEntryID, ComPtr<Interface> &entry)
{
    ULONG ulObjType = 0;
    IUnknown *opened = nullptr;
    const HRESULT hr = OpenBypassingCache(
        MAPI_BEST_ACCESS, OpenOptions::UseNoCache(), &opened, [&](ULONG ulFlags, IUnknown **ppObject) {
            return pContainer->OpenEntry(cbEntryID, MapiEntryID(pEntryID), nullptr, ulFlags, &ulObjType, ppObject);
        });
    entry.reset(static_cast<Interface *>(opened));
    return Acquired(hr, entry);
}

template <class Value> HRESULT AllocateZeroed(const Operation &op, ULONG cb, MapiBuffer<Value> &block)
{
    const HRESULT hr = MAPIAllocateBuffer(cb, reinterpret_cast<void **>(block.put()));
    if (FAILED(hr))
        return op.Failed("MAPIAllocateBuffer", nullptr, hr);
    std::memset(block.get(), 0, cb);
    return hr;
}

HRESULT AllocateList(const Operation &op, ULONG cEntries, LPADRLIST *ppList)
{
    MapiBuffer<ADRLIST> list;
    const HRESULT hr = AllocateZeroed(op, static_cast<ULONG>(CbNewADRLIST(cEntries)), list);
    *ppList = list.release();
    return hr;
}

// Adds an entry with a display name and, unless it is to be looked up only, the recipient type. An entry counts from
// then on, so that freeing the list frees it.
HRESULT AddEntry(const Operation &op, ADRLIST *pList, const char *szName, bool bRecipient)
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

HRESULT UpdateAddressList(const tstring &szName, AddressList &list)
{
    const Operation op("CMAPIImpl::UpdateAddressList", "szName: \"%s\"", szName.c_str());
    const HRESULT hr = AllocateList(op, 1, list.put());
    return SUCCEEDED(hr) ? AddEntry(op, list.get(), szName.c_str(), false) : hr;
}

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

// One text property of an address-book entry, or nothing and a report.
std::optional<tstring> ReadText(const Operation &op, IMAPIProp *pEntry, ULONG ulPropTag, const char *sentence,
                                const tstring &szMailbox, HRESULT &hr)
{
    MapiBuffer<SPropValue> value;
    hr = Acquired(HrGetOneProp(pEntry, ulPropTag, value.put()), value);
    if (SUCCEEDED(hr) && !TextOf(*value.get()))
        hr = MAPI_E_NOT_FOUND;
    if (FAILED(hr)) {
        op.Failed("HrGetOneProp", sentence, pEntry, hr, szMailbox.c_str());
        return std::nullopt;
    }
    return tstring(TextOf(*value.get()));
}

// What the walk reads of an entry. The sentences differ from those of the fallback.
struct AddressEntry {
    std::optional<tstring> addressType;
    std::optional<tstring> emailAddress;
    std::optional<tstring> displayName;

    AddressEntry(const Operation &op, IMAPIProp *pEntry, const tstring &szMailbox)
    {
        HRESULT hr;
        addressType = ReadText(op, pEntry, PR_ADDRTYPE_A,
                               "trying to get the email address type for the mailbox entry for %s.", szMailbox, hr);
        emailAddress =
            ReadText(op, pEntry, PR_EMAIL_ADDRESS_A,
                     "trying to get the email address property for the mailbox entry for %s.", szMailbox, hr);
        displayName = ReadText(op, pEntry, PR_DISPLAY_NAME_A,
                               "trying to get the display name property for the mailbox entry for %s.", szMailbox, hr);
    }
    tstring Description() const
    {
        tstring text;
        const auto add = [&](const char *format, const std::optional<tstring> &part) {
            if (!part)
                return;
            if (!text.empty())
                text += ", ";
            text.AppendFormat(format, part->c_str());
        };
        add("Address Type=%s", addressType);
        add("Email=%s", emailAddress);
        add("DisplayName=%s", displayName);
        return text;
    }
};

// The container of the global address list.
HRESULT OpenGlobalAddressList(const Operation &op, IAddrBook *pAddressBook, const tstring &szMailbox,
                              ComPtr<IABContainer> &globalList)
{
    ComPtr<IABContainer> root;
    HRESULT hr = OpenAddressEntry(pAddressBook, 0, nullptr, root);
    if (FAILED(hr))
        return op.Failed("OpenEntry", "trying to open the root address book entry for %s.", pAddressBook, hr,
                         szMailbox.c_str());
    ComPtr<IMAPITable> table;
    hr = Acquired(root->GetHierarchyTable(0, table.put()), table);
    if (FAILED(hr))
        return op.Failed("GetHierarchyTable", "trying to get the hierarchy table for the address book for %s.",
                         root.get(), hr, szMailbox.c_str());

    const Restriction isGlobal =
        Is({PR_DISPLAY_TYPE, "PR_DISPLAY_TYPE"}, Constant{static_cast<LONG>(DT_GLOBAL), "DT_GLOBAL"});
    RowSet rows;
    hr = Acquired(HrQueryAllRows(table.get(), PropTags<PR_ENTRYID>(), isGlobal.Get(), nullptr, 0, rows.put()), rows);
    if (FAILED(hr))
        return op.Failed("HrQueryAllRows", "trying to get the row for the global address book.", table.get(), hr);
    const SBinary *pEntryID = FirstBinary(rows.get(), 0);
    if (!pEntryID)
        return op.Failed("HrQueryAllRows", "no rows retrieved from the global address book.", table.get(),
                         MAPI_E_NOT_FOUND);
    hr = OpenAddressEntry(pAddressBook, pEntryID->cb, pEntryID->lpb, globalList);
    if (FAILED(hr))
        return op.Failed("OpenEntry", "trying to open the global address book for %s.", pAddressBook, hr,
                         szMailbox.c_str());
    return hr;
}

// S_OK for an accepted entry, S_FALSE for one that is passed over.
HRESULT TryEntry(const Operation &op, IABContainer *pGlobalList, const SRow &row, const tstring &szMailbox,
                 MailboxIdentity &identity)
{
    const SBinary *pEntryID = row.cValues ? BinaryOf(row.lpProps[0]) : nullptr;
    ComPtr<IMAPIProp> opened;
    const HRESULT hr = pEntryID ? OpenAddressEntry(pGlobalList, pEntryID->cb, pEntryID->lpb, opened) : MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        return op.Failed("OpenEntry", "trying to open the mailbox entry for %s.", pGlobalList, hr, szMailbox.c_str());

    const AddressEntry entry(op, opened.get(), szMailbox);
    DebugOutputA(kTraceCall, "Processing [%s] - %s", szMailbox.c_str(), entry.Description().c_str());
    if (!entry.addressType)
        return S_FALSE;
    if (!EqualIgnoringCase(entry.addressType->c_str(), "EX")) {
        op.State("Ignoring address entry type %s for %s.", entry.addressType->c_str(), szMailbox.c_str());
        return S_FALSE;
    }
    if (!entry.emailAddress)
        return S_FALSE;
    identity.strAddressType = *entry.addressType;
    identity.strEmailAddress = *entry.emailAddress;
    if (entry.displayName)
        identity.strDisplayName = *entry.displayName;
    return S_OK;
}

// A resolved entry, as MAPI's own name resolution gives it.
HRESULT OpenResolved(const Operation &op, IAddrBook *pAddressBook, const ADRLIST *pList, const tstring &szMailbox,
                     ComPtr<IMAPIProp> &entry)
{
    const ADRENTRY &resolved = pList->aEntries[0];
    const SPropValue *pEntryID =
        resolved.rgPropVals ? PpropFindProp(resolved.rgPropVals, resolved.cValues, PR_ENTRYID) : nullptr;
    const HRESULT hr = pEntryID ? OpenAddressEntry(pAddressBook, pEntryID->Value.bin.cb, pEntryID->Value.bin.lpb, entry)
                                : MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        return op.Failed("OpenEntry", "trying to open the mailbox entry for %s.", pAddressBook, hr, szMailbox.c_str());
    return hr;
}

} // namespace

HRESULT CMAPIImpl::CreateAddressList(LPADRLIST *ppAddressList, const char *szRecipientList)
{
    const Operation op("CMAPIImpl::CreateAddressList", "pAddressList: %p, szRecpientList: \"%s\"", ppAddressList,
                       szRecipientList);
    *ppAddressList = nullptr;
    const ComPtr<IMAPISession> session = MapiSession();
    if (!session)
        return NotConnected();
    if (!szRecipientList)
        return E_POINTER;
    if (!*szRecipientList)
        return E_INVALIDARG;

    const CText duplicate(_strdup(szRecipientList), &std::free);
    if (!duplicate)
        return op.Failed("_tcsdup", "trying to duplicate recipient list", E_OUTOFMEMORY);
    const ULONG cRecipients = CountTokens(duplicate.get());
    if (cRecipients == 0) {
        op.State("No recipients.");
        return E_ABORT;
    }
    HRESULT hr = AllocateList(op, cRecipients, ppAddressList);
    if (FAILED(hr))
        return hr;
    // The walk steps over whole texts from the first byte, so a delimiter that no token precedes belongs to the next
    // recipient: ";a;b" gives ";a" and "b".
    const char *szRecipient = duplicate.get();
    for (ULONG i = 0; i < cRecipients; ++i) {
        hr = AddEntry(op, *ppAddressList, szRecipient, true);
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

HRESULT CMAPIImpl::FindAddressBookEntry(const tstring &szMailbox, MailboxIdentity &identity)
{
    const Operation op("FindAddressBookEntry", "szMailbox: \"%s\"", szMailbox.c_str());
    const ComPtr<IMAPISession> session = MapiSession();
    if (!session)
        return NotConnected();
    ComPtr<IAddrBook> addressBook;
    HRESULT hr = OpenAddressBook(op, session.get(), addressBook);
    if (FAILED(hr))
        return hr;
    ComPtr<IABContainer> globalList;
    hr = OpenGlobalAddressList(op, addressBook.get(), szMailbox, globalList);
    if (FAILED(hr))
        return hr;
    ComPtr<IMAPITable> table;
    hr = Acquired(globalList->GetContentsTable(0, table.put()), table);
    if (FAILED(hr))
        return op.Failed("GetContentsTable", "trying to get the contents table for the address book for %s.",
                         globalList.get(), hr, szMailbox.c_str());

    const Restriction resembles = Is({PR_ANR_A, "PR_ANR"}, szMailbox);
    RowSet rows;
    hr = Acquired(HrQueryAllRows(table.get(), PropTags<PR_ENTRYID>(), resembles.Get(), nullptr, 0, rows.put()), rows);
    if (FAILED(hr))
        return op.Failed("HrQueryAllRows", "trying to get the rows from the global address book.", table.get(), hr);
    for (ULONG i = 0; i < rows->cRows; ++i) {
        hr = TryEntry(op, globalList.get(), rows.get()->aRow[i], szMailbox, identity);
        if (hr != S_FALSE)
            return hr;
    }
    return S_FALSE;
}

HRESULT CMAPIImpl::ObtainMailboxName(const tstring &szMailbox, MailboxIdentity &identity)
{
    const Operation op("CMAPIImpl::ObtainMailboxName", "szMailbox: \"%s\"", szMailbox.c_str());
    const ComPtr<IMAPISession> session = MapiSession();
    if (!session)
        return NotConnected();
    if (FindAddressBookEntry(szMailbox, identity) == S_OK)
        return S_OK;

    ComPtr<IAddrBook> addressBook;
    HRESULT hr = OpenAddressBook(op, session.get(), addressBook);
    if (FAILED(hr))
        return hr;
    AddressList list;
    hr = UpdateAddressList(szMailbox, list);
    if (FAILED(hr))
        return hr;
    hr = addressBook->ResolveName(0, 0, nullptr, list.get());
    if (FAILED(hr)) // reported under the name of the call that would have come next
        return op.Failed("PpropFindProp", "trying to get the entry ID for the mailbox %s.", addressBook.get(), hr,
                         szMailbox.c_str());
    ComPtr<IMAPIProp> entry;
    hr = OpenResolved(op, addressBook.get(), list.get(), szMailbox, entry);
    if (FAILED(hr))
        return hr;

    const auto read = [&](ULONG ulPropTag, const char *sentence, tstring &target) {
        if (const auto text = ReadText(op, entry.get(), ulPropTag, sentence, szMailbox, hr))
            target = *text;
    };
    read(PR_ADDRTYPE_A, "trying to get the address type property for the mailbox entry for %s.",
         identity.strAddressType);
    read(PR_EMAIL_ADDRESS_A, "trying to get the email address property for the mailbox entry for %s.",
         identity.strEmailAddress);
    read(PR_DISPLAY_NAME_A, "trying to get the display name property for the mailbox entry for %s.",
         identity.strDisplayName);
    return hr;
}
