// Connections and mailboxes: creating and closing, logging on and off, giving back handles and result blocks.
#include "api/Frame.h"
#include "api/TextFlavour.h"

namespace
{

constexpr int kFirstLine = 1000;

template <class Flavour>
HRESULT Connect(const Here &here, DWORD hConnection, const typename Flavour::Char *szServer,
                const typename Flavour::Char *szMailbox, const typename Flavour::Char *szProfile)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) {
        return session.Connect(Flavour::In(szServer), Flavour::In(szMailbox), Flavour::In(szProfile));
    });
}

template <class Flavour>
HRESULT ConnectToMailbox(const Here &here, DWORD hConnection, OrlMailbox *phMailbox,
                         const typename Flavour::Char *szMailbox)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) {
        IMsgStore *pMailboxMDB = nullptr;
        const HRESULT hr = session.Logon(Flavour::In(szMailbox), &pMailboxMDB);
        if (SUCCEEDED(hr))
            *phMailbox = reinterpret_cast<OrlMailbox>(pMailboxMDB);
        return hr;
    });
}

} // namespace

// These two have no session to work on, yet or any more: the frame without the guard. After an exception they give
// E_FAIL, as the contract has it.

HRESULT ORLAPI OrlCreateConnection(DWORD *phConnection, BYTE bService)
{
    return Contained(ORL_HERE("OrlCreateConnection"), HRESULT{E_FAIL}, [&]() -> HRESULT {
        *phConnection = CMAPIImpl::Allocate(bService != 0);
        return *phConnection ? S_OK : E_OUTOFMEMORY;
    });
}

HRESULT ORLAPI OrlCloseConnection(DWORD *phConnection)
{
    return Contained(ORL_HERE("OrlCloseConnection"), HRESULT{E_FAIL}, [&]() -> HRESULT {
        if (!CMAPIImpl::Free(*phConnection))
            return E_FAIL;
        *phConnection = 0;
        return S_OK;
    });
}

// Questions: for an unknown connection the answer is no, and not an error.

BOOL ORLAPI OrlIsMAPIAvailable(DWORD hConnection)
{
    return Contained(ORL_HERE("OrlIsMAPIAvailable"), BOOL{FALSE}, [&]() -> BOOL {
        const SessionGuard session = CMAPIImpl::Locate(hConnection);
        return session && CMAPIImpl::IsMapiInitialised();
    });
}

BOOL ORLAPI OrlIsConnected(DWORD hConnection)
{
    return Contained(ORL_HERE("OrlIsConnected"), BOOL{FALSE}, [&]() -> BOOL {
        const SessionGuard session = CMAPIImpl::Locate(hConnection);
        return session && session->IsConnected();
    });
}

// Does nothing, as the contract has it.
void ORLAPI OrlCrashRecovery(void)
{
}

HRESULT ORLAPI OrlMapiFreeBuffer(void *pBuffer)
{
    return Contained(ORL_HERE("OrlMapiFreeBuffer"), HRESULT{E_UNEXPECTED},
                     [&] { return static_cast<HRESULT>(MAPIFreeBuffer(pBuffer)); });
}

HRESULT ORLAPI OrlMapiConnectA(DWORD hConnection, LPCSTR szServer, LPCSTR szMailbox, LPCSTR szProfile)
{
    return Connect<Narrow>(ORL_HERE("OrlMapiConnectA"), hConnection, szServer, szMailbox, szProfile);
}

HRESULT ORLAPI OrlMapiConnectW(DWORD hConnection, LPCWSTR szServer, LPCWSTR szMailbox, LPCWSTR szProfile)
{
    return Connect<Wide>(ORL_HERE("OrlMapiConnectW"), hConnection, szServer, szMailbox, szProfile);
}

HRESULT ORLAPI OrlMapiDisconnect(DWORD hConnection)
{
    return WithSession(ORL_HERE("OrlMapiDisconnect"), hConnection,
                       [](CMAPIImpl &session) { return session.Disconnect(); });
}

HRESULT ORLAPI OrlMapiConnectToMailboxA(DWORD hConnection, OrlMailbox *phMailbox, LPCSTR szMailbox)
{
    return ConnectToMailbox<Narrow>(ORL_HERE("OrlMapiConnectToMailboxA"), hConnection, phMailbox, szMailbox);
}

HRESULT ORLAPI OrlMapiConnectToMailboxW(DWORD hConnection, OrlMailbox *phMailbox, LPCWSTR szMailbox)
{
    return ConnectToMailbox<Wide>(ORL_HERE("OrlMapiConnectToMailboxW"), hConnection, phMailbox, szMailbox);
}

HRESULT ORLAPI OrlMapiDisconnectFromMailbox(DWORD hConnection, OrlMailbox hMailbox)
{
    return WithSession(ORL_HERE("OrlMapiDisconnectFromMailbox"), hConnection,
                       [&](CMAPIImpl &session) { return session.Logoff(reinterpret_cast<IMsgStore *>(hMailbox)); });
}

HRESULT ORLAPI OrlMapiReleaseHandle(DWORD hConnection, const DWORD *phContentsTable, const DWORD *phBookmark)
{
    return WithSession(ORL_HERE("OrlMapiReleaseHandle"), hConnection, [&](CMAPIImpl &session) {
        return session.ReleaseHandles(phContentsTable ? *phContentsTable : 0, phBookmark ? *phBookmark : 0);
    });
}
