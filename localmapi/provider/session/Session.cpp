// IMAPISession: what was kept at logon, and the doors to stores, address book and profile sections. After Logoff each
// method says MAPI_E_END_OF_SESSION.
#include "localmapi/provider/session/Session.h"
#include "localmapi/provider/addressbook/AddressBook.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/ProfileSection.h"
#include "localmapi/provider/site/ServiceAdmin.h"
#include "localmapi/provider/site/SessionContext.h"
#include "localmapi/provider/store/StoreLogon.h"
#include "localmapi/provider/table/MemoryTable.h"

namespace localmapi
{

namespace
{

constexpr ULONG kStoreFlags =
    MAPI_BEST_ACCESS | MDB_NO_DIALOG | MDB_WRITE | MDB_TEMPORARY | MDB_NO_MAIL | MDB_ONLINE | MAPI_DEFERRED_ERRORS;

class MapiSession final : public ComObject<IMAPISession>
{
  public:
    explicit MapiSession(Session session) : m_session(std::move(session)) {}

    STDMETHODIMP GetLastError(HRESULT code, ULONG flags, LPMAPIERROR *error) override
    {
        return m_errors.GetLastError(code, flags, error);
    }
    STDMETHODIMP GetMsgStoresTable(ULONG flags, LPMAPITABLE *table) override;
    STDMETHODIMP OpenMsgStore(ULONG_PTR, ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, LPMDB *store) override;
    STDMETHODIMP OpenAddressBook(ULONG_PTR, LPCIID iid, ULONG flags, LPADRBOOK *book) override
    {
        return Run("IMAPISession::OpenAddressBook", [&]() -> HRESULT {
            Require(book != nullptr, "where the address book goes");
            *book = nullptr;
            RequireFlags(flags, AB_NO_DIALOG);
            if (!Implements<IAddrBook>(iid))
                return MAPI_E_INTERFACE_NOT_SUPPORTED;
            *book = MakeAddressBook(m_session);
            return S_OK;
        });
    }
    STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags, LPPROFSECT *section) override
    {
        return Run("IMAPISession::OpenProfileSection",
                   [&] { return OpenSection(m_session->profile, uid, iid, flags, section); });
    }
    STDMETHODIMP GetStatusTable(ULONG, LPMAPITABLE *table) override
    {
        if (table)
            *table = nullptr;
        return Unsupported("IMAPISession::GetStatusTable");
    }
    STDMETHODIMP OpenEntry(ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, ULONG *type,
                           LPUNKNOWN *object) override;
    STDMETHODIMP CompareEntryIDs(ULONG leftSize, LPENTRYID left, ULONG rightSize, LPENTRYID right, ULONG flags,
                                 ULONG *same) override
    {
        return Run("IMAPISession::CompareEntryIDs",
                   [&] { return CompareEntries(m_session, leftSize, left, rightSize, right, flags, same); });
    }
    STDMETHODIMP Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *) override
    {
        return Unsupported("IMAPISession::Advise");
    }
    STDMETHODIMP Unadvise(ULONG) override { return Unsupported("IMAPISession::Unadvise"); }
    STDMETHODIMP MessageOptions(ULONG_PTR, ULONG, LPTSTR, LPMESSAGE) override
    {
        return Unsupported("IMAPISession::MessageOptions");
    }
    STDMETHODIMP QueryDefaultMessageOpt(LPTSTR, ULONG, ULONG *, LPSPropValue *) override
    {
        return Unsupported("IMAPISession::QueryDefaultMessageOpt");
    }
    STDMETHODIMP EnumAdrTypes(ULONG flags, ULONG *count, LPTSTR **types) override;
    STDMETHODIMP QueryIdentity(ULONG *size, LPENTRYID *entry) override
    {
        return Run("IMAPISession::QueryIdentity", [&]() -> HRESULT {
            Require(size != nullptr && entry != nullptr, "where the entry identifier goes");
            EntryIdForClient(MakeEntryId(m_session->uid, EntryKind::MailUser, m_session->user.id), size, entry);
            return S_OK;
        });
    }
    STDMETHODIMP Logoff(ULONG_PTR, ULONG flags, ULONG reserved) override
    {
        return Guarded(m_errors, "IMAPISession::Logoff", [&]() -> HRESULT {
            RequireLoggedOn(m_session);
            RequireFlags(flags, MAPI_LOGOFF_SHARED | MAPI_LOGOFF_UI);
            Require(reserved == 0, "the reserved argument");
            m_session->loggedOff = true;
            return S_OK;
        });
    }
    STDMETHODIMP SetDefaultStore(ULONG, ULONG, LPENTRYID) override
    {
        return Unsupported("IMAPISession::SetDefaultStore");
    }
    STDMETHODIMP AdminServices(ULONG flags, LPSERVICEADMIN *admin) override
    {
        return Run("IMAPISession::AdminServices", [&]() -> HRESULT {
            Require(admin != nullptr, "where the service administration goes");
            *admin = nullptr;
            RequireFlags(flags, MAPI_UNICODE);
            *admin = MakeServiceAdmin(m_session->profile);
            return S_OK;
        });
    }
    STDMETHODIMP ShowForm(ULONG_PTR, LPMDB, LPMAPIFOLDER, LPCIID, ULONG, LPMESSAGE, ULONG, ULONG, ULONG, ULONG,
                          LPSTR) override
    {
        return Unsupported("IMAPISession::ShowForm");
    }
    STDMETHODIMP PrepareForm(LPCIID, LPMESSAGE, ULONG *) override { return Unsupported("IMAPISession::PrepareForm"); }

  private:
    // Every method but GetLastError and Logoff needs a session that is not logged off.
    template <class Body> HRESULT Run(const char *method, Body &&body)
    {
        return Guarded(m_errors, method, [&]() -> HRESULT {
            RequireLoggedOn(m_session);
            m_session->OnCall();
            return body();
        });
    }
    HRESULT Unsupported(const char *method)
    {
        return Run(method, [&]() -> HRESULT { NoSupport(method); });
    }
    HRESULT OpenStoreOf(storage::ObjectId mailbox, LPCIID iid, ULONG flags, IMsgStore **store)
    {
        return CreateStore({*m_session->site, mailbox, m_session->user.id, flags, mailbox == m_session->user.mailbox,
                            m_session->behaviour},
                           iid, store);
    }

    const Session m_session;
    ErrorTexts m_errors;
};

STDMETHODIMP MapiSession::GetMsgStoresTable(ULONG flags, LPMAPITABLE *table)
{
    return Run("IMAPISession::GetMsgStoresTable", [&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        const Bytes entryId =
            MakeStoreEntryId(m_session->uid, m_session->user.mailbox, OPENSTORE_HOME_LOGON | OPENSTORE_TAKE_OWNERSHIP);
        PropArray row(10);
        row.Binary(PR_ENTRYID, entryId)
            .Boolean(PR_DEFAULT_STORE, true)
            .Text(PR_DISPLAY_NAME_W, "Mailbox - " + m_session->user.name)
            .Long(PR_RESOURCE_TYPE, MAPI_STORE_PROVIDER)
            .Text(PR_PROVIDER_DISPLAY_W, "localmapi")
            .Binary(PR_MDB_PROVIDER, kStoreProvider.ab, sizeof(MAPIUID))
            .Long(PR_OBJECT_TYPE, MAPI_STORE)
            .Long(PR_RESOURCE_FLAGS, STATUS_DEFAULT_STORE | STATUS_PRIMARY_IDENTITY | STATUS_PRIMARY_STORE)
            .Binary(PR_INSTANCE_KEY, entryId)
            .Binary(PR_RECORD_KEY, entryId);
        MemoryRows rows;
        Check(rows.Add(row.Count(), row.Values()), "the row of a message store");
        MemoryTableSettings settings;
        settings.columns = {
            PR_ENTRYID,      PR_DEFAULT_STORE, PR_DISPLAY_NAME_W, PR_RESOURCE_TYPE, PR_PROVIDER_DISPLAY_W,
            PR_MDB_PROVIDER, PR_OBJECT_TYPE,   PR_RESOURCE_FLAGS, PR_INSTANCE_KEY,  PR_RECORD_KEY};
        settings.unicode = (flags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(settings), table);
    });
}

STDMETHODIMP MapiSession::OpenMsgStore(ULONG_PTR, ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, LPMDB *store)
{
    return Run("IMAPISession::OpenMsgStore", [&]() -> HRESULT {
        Require(store != nullptr, "where the message store goes");
        *store = nullptr;
        RequireFlags(flags, kStoreFlags);
        const EntryId id = ParseEntryId(m_session->uid, size, entry, EntryKind::Store);
        return OpenStoreOf(id.object, iid, flags, store);
    });
}

STDMETHODIMP MapiSession::OpenEntry(ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, ULONG *type,
                                    LPUNKNOWN *object)
{
    return Run("IMAPISession::OpenEntry", [&]() -> HRESULT {
        Require(object != nullptr, "where the object goes");
        *object = nullptr;
        if (type)
            *type = 0;
        const EntryId id = ParseEntryId(m_session->uid, size, entry);
        if (id.kind != EntryKind::Store && id.kind != EntryKind::Folder && id.kind != EntryKind::Message)
            return OpenAddressEntry(m_session, size, entry, iid, flags, type, object);
        RequireFlags(flags, MAPI_BEST_ACCESS | MAPI_MODIFY | MAPI_DEFERRED_ERRORS | MAPI_NO_CACHE);
        const ULONG storeFlags = flags & MAPI_MODIFY ? MDB_WRITE : MAPI_BEST_ACCESS;
        ComPtr<IMsgStore> store;
        if (id.kind == EntryKind::Store) {
            const HRESULT hr = OpenStoreOf(id.object, iid, storeFlags, store.put());
            if (FAILED(hr))
                return hr;
            if (type)
                *type = MAPI_STORE;
            *object = store.release();
            return S_OK;
        }
        const auto mailbox = storage::Directory(*m_session->site).MailboxOf(id.object);
        if (!mailbox)
            throw Failure(MAPI_E_NOT_FOUND, "The object is not there any more.");
        const HRESULT hr = OpenStoreOf(*mailbox, nullptr, storeFlags, store.put());
        return FAILED(hr) ? hr : store->OpenEntry(size, entry, iid, flags, type, object);
    });
}

STDMETHODIMP MapiSession::EnumAdrTypes(ULONG flags, ULONG *count, LPTSTR **types)
{
    return Run("IMAPISession::EnumAdrTypes", [&]() -> HRESULT {
        Require(count != nullptr && types != nullptr, "where the address types go");
        *count = 0;
        *types = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        auto block = NewRoot<LPTSTR>(2);
        block[0] = ClientCopy(block.get(), "EX", flags);
        block[1] = ClientCopy(block.get(), "SMTP", flags);
        *count = 2;
        *types = block.release();
        return S_OK;
    });
}

} // namespace

IMAPISession *MakeSession(const Session &session)
{
    return MakeObject<MapiSession>(session).release();
}

} // namespace localmapi
