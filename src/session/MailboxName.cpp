// The identity behind a mailbox name: a walk of the global address list for an Exchange entry that resembles the name,
// and MAPI's own name resolution where there is none.
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Operation.h"
#include "common/mapi/Restriction.h"
#include "common/text/Multibyte.h"
#include "session/AddressBook.h"
#include "session/CMAPIImpl.h"
#include "session/MailboxIdentity.h"
#include "session/OpenEntry.h"
#include <optional>

namespace
{

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

HRESULT UpdateAddressList(const tstring &szName, AddressList &list)
{
    const Operation op("CMAPIImpl::UpdateAddressList", "szName: \"%s\"", szName.c_str());
    const HRESULT hr = AllocateAddressList(op, 1, list.put());
    return SUCCEEDED(hr) ? AddAddress(op, list.get(), szName.c_str(), false) : hr;
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
                               // In other words than in the fallback, as the contract has it.
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
        // Without "trying to", as the contract has it.
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
        // Also where the entry ID is missing, as the contract has it.
        return op.Failed("OpenEntry", "trying to open the mailbox entry for %s.", pAddressBook, hr, szMailbox.c_str());
    return hr;
}

} // namespace

HRESULT CMAPIImpl::FindAddressBookEntry(const tstring &szMailbox, MailboxIdentity &identity)
{
    // A name without its class, as the contract has it.
    const Operation op("FindAddressBookEntry", "szMailbox: \"%s\"", szMailbox.c_str());
    const ComPtr<IMAPISession> session = m_state.MapiSession();
    if (!session)
        return m_state.NotConnected();
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
    const ComPtr<IMAPISession> session = m_state.MapiSession();
    if (!session)
        return m_state.NotConnected();
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
    if (FAILED(hr))
        // The name of the next call, as the contract has it.
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
    // Another sentence for the address type than in the walk, as the contract has it.
    read(PR_ADDRTYPE_A, "trying to get the address type property for the mailbox entry for %s.",
         identity.strAddressType);
    read(PR_EMAIL_ADDRESS_A, "trying to get the email address property for the mailbox entry for %s.",
         identity.strEmailAddress);
    read(PR_DISPLAY_NAME_A, "trying to get the display name property for the mailbox entry for %s.",
         identity.strDisplayName);
    return hr;
}
