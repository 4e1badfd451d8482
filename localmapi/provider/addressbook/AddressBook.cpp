// IAddrBook: opening what an entry ID names, comparing entries, resolving names. It has no lock: what it answers it
// reads from the directory at that moment.
#include "localmapi/provider/addressbook/AddressBook.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/addressbook/Recipients.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropObject.h"
#include "localmapi/provider/site/NameMatch.h"

namespace localmapi
{

namespace
{

class AddressBook final : public PropObject<IAddrBook>
{
  public:
    explicit AddressBook(Session session) : m_session(std::move(session)) {}

    STDMETHODIMP OpenEntry(ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, ULONG *type,
                           LPUNKNOWN *object) override
    {
        return Run("IAddrBook::OpenEntry",
                   [&] { return OpenAddressEntry(m_session, size, entry, iid, flags, type, object); });
    }
    STDMETHODIMP CompareEntryIDs(ULONG leftSize, LPENTRYID left, ULONG rightSize, LPENTRYID right, ULONG flags,
                                 ULONG *same) override
    {
        return Run("IAddrBook::CompareEntryIDs",
                   [&] { return CompareEntries(m_session, leftSize, left, rightSize, right, flags, same); });
    }
    STDMETHODIMP Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *) override
    {
        return Unsupported("IAddrBook::Advise");
    }
    STDMETHODIMP Unadvise(ULONG) override { return Unsupported("IAddrBook::Unadvise"); }
    STDMETHODIMP CreateOneOff(LPTSTR name, LPTSTR type, LPTSTR address, ULONG flags, ULONG *size,
                              LPENTRYID *entry) override;
    STDMETHODIMP NewEntry(ULONG_PTR, ULONG, ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG *, LPENTRYID *) override
    {
        return Unsupported("IAddrBook::NewEntry");
    }
    STDMETHODIMP ResolveName(ULONG_PTR, ULONG flags, LPTSTR title, LPADRLIST list) override;
    STDMETHODIMP Address(ULONG_PTR *, LPADRPARM, LPADRLIST *) override { return Unsupported("IAddrBook::Address"); }
    STDMETHODIMP Details(ULONG *, LPFNDISMISS, LPVOID, ULONG, LPENTRYID, LPFNBUTTON, LPVOID, LPTSTR, ULONG) override
    {
        return Unsupported("IAddrBook::Details");
    }
    STDMETHODIMP RecipOptions(ULONG_PTR, ULONG, LPADRENTRY) override { return Unsupported("IAddrBook::RecipOptions"); }
    STDMETHODIMP QueryDefaultRecipOpt(LPTSTR, ULONG, ULONG *, LPSPropValue *) override
    {
        return Unsupported("IAddrBook::QueryDefaultRecipOpt");
    }
    STDMETHODIMP GetPAB(ULONG *size, LPENTRYID *entry) override
    {
        return Run("IAddrBook::GetPAB", [&]() -> HRESULT {
            Require(size != nullptr && entry != nullptr, "where the entry identifier goes");
            // There is no personal address book, which is said by an empty identifier.
            *size = 0;
            *entry = nullptr;
            return S_OK;
        });
    }
    STDMETHODIMP SetPAB(ULONG, LPENTRYID) override { return Unsupported("IAddrBook::SetPAB"); }
    STDMETHODIMP GetDefaultDir(ULONG *size, LPENTRYID *entry) override
    {
        return Run("IAddrBook::GetDefaultDir", [&]() -> HRESULT {
            Require(size != nullptr && entry != nullptr, "where the entry identifier goes");
            EntryIdForClient(MakeEntryId(m_session->uid, EntryKind::GlobalAddressList), size, entry);
            return S_OK;
        });
    }
    STDMETHODIMP SetDefaultDir(ULONG, LPENTRYID) override { return Unsupported("IAddrBook::SetDefaultDir"); }
    STDMETHODIMP GetSearchPath(ULONG flags, LPSRowSet *path) override;
    STDMETHODIMP SetSearchPath(ULONG, LPSRowSet) override { return Unsupported("IAddrBook::SetSearchPath"); }
    STDMETHODIMP PrepareRecips(ULONG flags, LPSPropTagArray tags, LPADRLIST list) override;

  protected:
    void Enter() override { m_session->OnCall(); }
    storage::PropertyBag Load() override
    {
        storage::PropertyBag bag;
        bag.Set(PR_OBJECT_TYPE, std::int32_t{MAPI_ADDRBOOK});
        return bag;
    }

  private:
    const Session m_session;
};

STDMETHODIMP AddressBook::CreateOneOff(LPTSTR name, LPTSTR type, LPTSTR address, ULONG flags, ULONG *size,
                                       LPENTRYID *entry)
{
    return Run("IAddrBook::CreateOneOff", [&]() -> HRESULT {
        Require(size != nullptr && entry != nullptr, "where the entry identifier goes");
        *size = 0;
        *entry = nullptr;
        Require(type != nullptr && address != nullptr, "the address");
        RequireFlags(flags, MAPI_UNICODE | MAPI_SEND_NO_RICH_INFO);
        const std::string addressType = Utf8FromClient(type, flags), addressText = Utf8FromClient(address, flags);
        Require(!addressType.empty() && !addressText.empty(), "an empty address");
        // Without a name the address serves as one.
        const std::string shown = name ? Utf8FromClient(name, flags) : addressText;
        EntryIdForClient(
            MakeOneOff(shown, addressType, addressText, (flags & MAPI_UNICODE) != 0, !(flags & MAPI_SEND_NO_RICH_INFO)),
            size, entry);
        return S_OK;
    });
}

STDMETHODIMP AddressBook::ResolveName(ULONG_PTR, ULONG flags, LPTSTR, LPADRLIST list)
{
    return Run("IAddrBook::ResolveName", [&]() -> HRESULT {
        Require(list != nullptr, "the address list");
        // There are no dialogs to help with what is not resolved, so the flag that allows them changes nothing.
        RequireFlags(flags, MAPI_UNICODE | MAPI_DIALOG | 0x4000 /* MAPI_CACHE_ONLY */);
        RequireLoggedOn(m_session);
        HRESULT first = S_OK;
        std::string why;
        const auto fail = [&](HRESULT code, const std::string &text) {
            if (first == S_OK) {
                first = code;
                why = text;
            }
        };
        for (ULONG i = 0; i < list->cEntries; ++i) {
            ADRENTRY &entry = list->aEntries[i];
            // An entry without properties is an empty place in the list.
            if (entry.cValues == 0 || !entry.rgPropVals || IsResolved(entry))
                continue;
            const auto name = DisplayNameOf(entry);
            if (!name) {
                fail(MAPI_E_INVALID_PARAMETER, "A recipient has no name.");
                continue;
            }
            storage::PropertyBag found;
            switch (ResolveOne(*m_session, *name, true, found)) {
            case Resolution::Resolved:
                ReplaceEntry(entry, found, nullptr, (flags & MAPI_UNICODE) != 0);
                break;
            case Resolution::Ambiguous:
                fail(MAPI_E_AMBIGUOUS_RECIP, "The name \"" + *name + "\" fits several entries of the address book.");
                break;
            case Resolution::NotFound:
                fail(MAPI_E_NOT_FOUND, "The name \"" + *name + "\" is not in the address book.");
                break;
            }
        }
        if (first != S_OK)
            throw Failure(first, why);
        return S_OK;
    });
}

STDMETHODIMP AddressBook::GetSearchPath(ULONG flags, LPSRowSet *path)
{
    return Run("IAddrBook::GetSearchPath", [&]() -> HRESULT {
        Require(path != nullptr, "where the search path goes");
        *path = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        RequireLoggedOn(m_session);
        const storage::PropertyBag properties = GlobalListProperties(m_session->uid);
        PropArray row(properties.size());
        for (const storage::Property &property : properties)
            row.Value(ClientTag(property.tag, (flags & MAPI_UNICODE) != 0), property.value);
        RowSetBuilder rows(1);
        const ULONG count = row.Count();
        rows.Add(Block<SPropValue>(row.Release()), count);
        *path = rows.Release();
        return S_OK;
    });
}

STDMETHODIMP AddressBook::PrepareRecips(ULONG flags, LPSPropTagArray tags, LPADRLIST list)
{
    return Run("IAddrBook::PrepareRecips", [&]() -> HRESULT {
        Require(list != nullptr, "the address list");
        RequireFlags(flags, 0x4000 /* MAPI_CACHE_ONLY */);
        RequireLoggedOn(m_session);
        if (!tags)
            return S_OK;
        for (ULONG i = 0; i < list->cEntries; ++i) {
            ADRENTRY &entry = list->aEntries[i];
            if (!IsResolved(entry))
                continue;
            const SBinary *id = nullptr;
            for (ULONG v = 0; v < entry.cValues && !id; ++v)
                if (entry.rgPropVals[v].ulPropTag == PR_ENTRYID)
                    id = &entry.rgPropVals[v].Value.bin;
            const auto found = RecipientProperties(*m_session, id->cb, reinterpret_cast<const ENTRYID *>(id->lpb));
            ReplaceEntry(entry, found, tags, false);
        }
        return S_OK;
    });
}

} // namespace

IAddrBook *MakeAddressBook(const Session &session)
{
    return MakeObject<AddressBook>(session).release();
}

} // namespace localmapi
