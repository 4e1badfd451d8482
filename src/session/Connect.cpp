// Logon to a profile and opening of its default store.
#include "ExchangeMapi.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Operation.h"
#include "common/mapi/Restriction.h"
#include "session/CMAPIImpl.h"
#include "session/EndLogon.h"
#include "session/OpenOptions.h"
#include "session/ProfileTurn.h"
#include "session/SessionDependent.h"

namespace
{

constexpr char kServiceProfile[] = "MAPIImpl";

// The profile that the library makes for itself exists during a Connect without a profile name only, whether or not
// that came to making it.
class ServiceProfile
{
  public:
    explicit ServiceProfile(bool bUsed) : m_bUsed(bUsed) {}
    ~ServiceProfile()
    {
        if (m_bUsed)
            Contained({"CMAPIImpl::Connect", __LINE__}, Delete);
    }
    ServiceProfile(const ServiceProfile &) = delete;
    ServiceProfile &operator=(const ServiceProfile &) = delete;

  private:
    static void Delete()
    {
        ComPtr<IProfAdmin> profAdmin;
        if (SUCCEEDED(Acquired(MAPIAdminProfiles(0, profAdmin.put()), profAdmin)))
            profAdmin->DeleteProfile(MapiIn(kServiceProfile), 0);
    }
    const bool m_bUsed;
};

HRESULT OpenMapiSession(const Operation &op, const char *szProfile, ULONG ulFlags, ComPtr<IMAPISession> &session)
{
    const HRESULT hr = MAPILogonEx(0, MapiIn(szProfile), nullptr, ulFlags, session.put());
    if (FAILED(hr))
        return op.Failed("MAPILogonEx", nullptr, hr);
    if (!session)
        return op.Failed("MAPILogonEx", "Call succeeded but default session is NULL.", E_FAIL);
    return hr;
}

HRESULT OpenDefaultStore(const Operation &op, IMAPISession *pSession, ComPtr<IMsgStore> &store)
{
    ComPtr<IMAPITable> table;
    HRESULT hr = Acquired(pSession->GetMsgStoresTable(0, table.put()), table);
    if (FAILED(hr))
        return op.Failed("GetMsgStoresTable", "trying to get the message stores table.", pSession, hr);

    const Restriction isDefault = Is({PR_DEFAULT_STORE, "PR_DEFAULT_STORE"}, true);
    RowSet rows;
    hr = Acquired(
        HrQueryAllRows(table.get(), PropTags<PR_ENTRYID, PR_DEFAULT_STORE>(), isDefault.Get(), nullptr, 0, rows.put()),
        rows);
    const SBinary *pEntryID = nullptr;
    if (SUCCEEDED(hr)) {
        pEntryID = FirstBinary(rows.get(), 0);
        hr = pEntryID ? hr : MAPI_E_NOT_FOUND;
    }
    if (FAILED(hr))
        return op.Failed("HrQueryAllRows", "trying to query default store property.", table.get(), hr);

    const auto open = [&](ULONG ulFlags) {
        return Acquired(
            pSession->OpenMsgStore(0, pEntryID->cb, MapiEntryID(pEntryID->lpb), nullptr, ulFlags, store.put()), store);
    };
    constexpr ULONG kFlags = MAPI_BEST_ACCESS | MDB_NO_DIALOG;
    hr = OpenOptions::UseOnlineStore() ? open(kFlags | MDB_ONLINE) : E_FAIL;
    if (FAILED(hr))
        hr = open(kFlags);
    if (FAILED(hr))
        return op.Failed("OpenMsgStore", "trying to open message store for default session.", pSession, hr);
    return hr;
}

// Leaves what the failing step left: a session without a default store is still a session.
HRESULT LogonToProfile(CMAPIImpl &session, const Operation &op, const tstring &szProfile)
{
    if (!CMAPIImpl::IsMapiInitialised())
        // Nothing was called; no full stop: as the contract has it.
        return op.Failed("MAPIInitialize", "trying to initialize MAPI support", E_FAIL);

    ULONG ulFlags = MAPI_TIMEOUT_SHORT | MAPI_NO_MAIL | MAPI_EXTENDED | MAPI_NEW_SESSION;
    if (CMAPIImpl::IsService()) {
        DebugOutputA(kTraceState, "Configuring for service.");
        ulFlags |= MAPI_NT_SERVICE;
    }

    // Also where it comes to the default profile: the service profile is deleted then, too.
    ProfileTurn turn;
    HRESULT hr = szProfile.empty() ? turn.Take(op) : S_OK;
    if (FAILED(hr))
        return hr;
    const ServiceProfile serviceProfile(szProfile.empty());
    ComPtr<IMAPISession> mapiSession;
    if (!szProfile.empty()) {
        // "to logon", here and twice below, as the contract has it.
        DebugOutputA(kTraceState, "Attempting to logon to MAPI using profile %s.", szProfile.c_str());
        hr = OpenMapiSession(op, szProfile.c_str(), ulFlags | MAPI_EXPLICIT_PROFILE, mapiSession);
    } else if (SUCCEEDED(session.CreateMailboxProfile(kServiceProfile))) {
        DebugOutputA(kTraceState, "Attempting to logon to MAPI using profile MAPIImpl.");
        hr = OpenMapiSession(op, kServiceProfile, ulFlags | MAPI_EXPLICIT_PROFILE, mapiSession);
    } else {
        DebugOutputA(kTraceState, "Attempting to logon to MAPI using default profile.");
        hr = OpenMapiSession(op, nullptr, ulFlags | MAPI_USE_DEFAULT, mapiSession);
    }
    if (FAILED(hr))
        return hr;

    ComPtr<IMsgStore> store;
    hr = OpenDefaultStore(op, mapiSession.get(), store);
    session.State().Exchange(mapiSession, store);
    return hr;
}

} // namespace

HRESULT CMAPIImpl::Connect(const tstring &szServer, const tstring &szDefaultMailbox, const tstring &szProfile)
{
    const Operation op("CMAPIImpl::Connect", "Exchange Server: <%s>, Default Mailbox: <%s>, Profile: <%s>",
                       szServer.c_str(), szDefaultMailbox.c_str(), szProfile.c_str());
    Disconnect();
    m_state.SetServer(szServer);
    m_state.SetDefaultMailbox(szDefaultMailbox);
    m_state.SetProfile(szProfile);

    const HRESULT hr = LogonToProfile(*this, op, szProfile);
    m_state.SetResult(hr);
    return hr;
}

HRESULT CMAPIImpl::Disconnect()
{
    const Operation op("CMAPIImpl::Disconnect");
    EndLogon(*this);
    return S_OK;
}

void EndLogon(CMAPIImpl &session)
{
    EndDependentsOf(session);
    ComPtr<IMAPISession> mapiSession;
    ComPtr<IMsgStore> store;
    session.State().Exchange(mapiSession, store);
    store.reset();
    if (mapiSession)
        mapiSession->Logoff(0, 0, 0);
}
