// Mailboxes: opening a user's store by his name, and closing it.
#include "ExchangeMapi.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Operation.h"
#include "session/CMAPIImpl.h"
#include "session/MailboxIdentity.h"
#include "session/OpenOptions.h"

namespace
{

constexpr HRESULT kMapiNotInitialised = static_cast<HRESULT>(0x8001011F);

// The text that names the server in its distinguished name; asked for once where the host gave none.
tstring ServerName(CMAPIImpl &session)
{
    tstring strServer = session.State().Server();
    if (strServer.empty()) {
        tstring strUser;
        bool bMatched = false;
        session.GetExchangeServerName(strServer, session.State().Profile(), strUser, bMatched);
        session.State().SetServer(strServer);
    }
    return strServer;
}

// The server's distinguished name carries no organisation and no site, as the contract has it, whatever the mailbox's
// one has.
HRESULT OpenMailbox(CMAPIImpl &session, const Operation &op, IMAPISession *pSession, const tstring &strMailboxDN,
                    IMsgStore **ppMailboxMDB)
{
    const tstring strServer = ServerName(session);
    const ComPtr<IMsgStore> defaultStore = session.State().DefaultStore();
    if (!defaultStore) {
        // Without a colon, as the contract has it.
        op.Error("Error m_lpMDB is NULL.");
        return E_UNEXPECTED;
    }

    std::atomic<LONG> &counter = session.OpenObjects();
    ComPtr<IExchangeManageStore> manageStore;
    HRESULT hr =
        Acquired(defaultStore->QueryInterface(IID_IExchangeManageStore, reinterpret_cast<void **>(manageStore.put())),
                 manageStore);
    if (FAILED(hr))
        // "to managing", and no full stop, as the contract has it.
        return op.Failed("QueryInterface(IID_IExchangeManageStore)",
                         "trying to query the interface to managing Exchange message stores", defaultStore.get(), hr);
    const ScopedCount countedManageStore(counter);

    const tstring strServerDN = "/cn=Configuration/cn=Servers/cn=" + strServer + "/cn=Microsoft Private MDB";
    OwnedEntryID entryID;
    hr =
        Acquired(manageStore->CreateStoreEntryID(MapiIn(strServerDN), MapiIn(strMailboxDN),
                                                 OpenOptions::StoreEntryIDFlags(), &entryID.cb, entryID.pEntryID.put()),
                 entryID.pEntryID);
    // Counted whatever came of it, and uncounted only with an entry ID to free, as the contract has it.
    ScopedCount countedEntryID(counter);
    if (!entryID.pEntryID)
        countedEntryID.Keep();
    if (FAILED(hr))
        // No full stop, as the contract has it.
        return op.Failed("CreateStoreEntryID", "trying to create a store entry ID (Server=%s, Mailbox=%s)",
                         defaultStore.get(), hr, strServer.c_str(), strMailboxDN.c_str());

    ComPtr<IMsgStore> store;
    const auto open = [&](ULONG ulFlags) {
        return Acquired(pSession->OpenMsgStore(0, entryID.cb, entryID.pEntryID.get(), nullptr, ulFlags, store.put()),
                        store);
    };
    constexpr ULONG kFlags = MAPI_BEST_ACCESS | MDB_TEMPORARY | MDB_NO_DIALOG;
    hr = OpenOptions::UseOnlineStore() ? open(kFlags | MDB_ONLINE) : E_FAIL;
    if (FAILED(hr))
        hr = open(kFlags);
    if (FAILED(hr))
        return op.Failed("OpenMsgStore", "trying to open the message store (Server=%s, Mailbox=%s).", pSession, hr,
                         strServer.c_str(), strMailboxDN.c_str());
    ScopedCount(counter).Keep();
    // No equals sign, as the contract has it.
    op.State("Successfully opened the message store (ServerDN=%s, MailboxDN=%s). FolderCount[%ld]", strServerDN.c_str(),
             strMailboxDN.c_str(), counter.load());
    *ppMailboxMDB = store.release();
    return hr;
}

} // namespace

HRESULT CMAPIImpl::Logon(const tstring &szMailbox, IMsgStore **ppMailboxMDB)
{
    // Open objects are called folders, and the mailbox has another name than in Logoff, as the contract has it.
    const Operation op("CMAPIImpl::Logon", "szMailbox: \"%s\", pMailboxMDB: %p, FolderCounter=[%ld]", szMailbox.c_str(),
                       ppMailboxMDB, m_lOpenObjects.load());
    if (!IsMapiInitialised())
        return kMapiNotInitialised;
    const ComPtr<IMAPISession> session = m_state.MapiSession();
    if (!session)
        return m_state.NotConnected();

    MailboxIdentity identity;
    const HRESULT hr = ObtainMailboxName(szMailbox, identity);
    if (FAILED(hr))
        return hr;
    DebugOutputA(kTraceState, "%s - DisplayName=%s, Email=%s, Address Type=%s", szMailbox.c_str(),
                 identity.strDisplayName.c_str(), identity.strEmailAddress.c_str(), identity.strAddressType.c_str());
    return OpenMailbox(*this, op, session.get(), identity.strEmailAddress, ppMailboxMDB);
}

HRESULT CMAPIImpl::Logoff(IMsgStore *pMailboxMDB)
{
    // Folders, and another name of the mailbox than in Logon, as the contract has it.
    const Operation op("CMAPIImpl::Logoff", "lpMailboxMDB: %p, FolderCount=[%ld]", pMailboxMDB, m_lOpenObjects.load());
    if (!pMailboxMDB)
        return S_OK;
    const ScopedCount countedMailbox = ScopedCount::Adopt(m_lOpenObjects);
    const ComPtr<IMsgStore> store(pMailboxMDB);
    store->StoreLogoff(nullptr);
    return S_OK;
}
