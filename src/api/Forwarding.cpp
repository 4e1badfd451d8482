// The exports that forward a message and answer it. Unlike all others they say S_OK whatever happened, also about an
// unknown connection and after an exception: what failed stands in the trace alone, as the contract has it.
#include "api/Frame.h"
#include "api/TextFlavour.h"

namespace
{

constexpr int kFirstLine = 8000;

// The frame, without its result.
template <class Work> HRESULT AlwaysOk(const Here &here, DWORD hConnection, Work &&work)
{
    WithSession(here, hConnection, work);
    return S_OK;
}

template <class Flavour>
HRESULT ForwardEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                     const typename Flavour::Char *szRecipients)
{
    return AlwaysOk(here, hConnection, [&](CMAPIImpl &session) -> HRESULT {
        auto *pIMsgStore = reinterpret_cast<IMsgStore *>(hMailbox);
        const tstring m_TargetAlias = Flavour::In(szRecipients);
        return pIMsgStore ? session.ForwardEmail(pIMsgStore, cbEntryID, pEntryID, m_TargetAlias)
                          : session.ForwardEmail(cbEntryID, pEntryID, m_TargetAlias);
    });
}

// Without a mailbox nothing is done, as the contract has it: the default store does not take its place.
template <class Flavour>
HRESULT RespondEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                     const typename Flavour::Char *szFile, const typename Flavour::Char *szFilename, ULONG ulUnused)
{
    return AlwaysOk(here, hConnection, [&](CMAPIImpl &session) -> HRESULT {
        auto *pIMsgStore = reinterpret_cast<IMsgStore *>(hMailbox);
        if (!pIMsgStore)
            return S_OK;
        return session.RespondEmail(pIMsgStore, cbEntryID, pEntryID, Flavour::In(szFile), Flavour::In(szFilename),
                                    ulUnused);
    });
}

} // namespace

HRESULT ORLAPI OrlForwardEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCSTR szRecipients)
{
    return ForwardEmail<Narrow>(ORL_HERE("OrlForwardEmailA"), hConnection, hMailbox, cbEntryID, pEntryID, szRecipients);
}

HRESULT ORLAPI OrlForwardEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCWSTR szRecipients)
{
    return ForwardEmail<Wide>(ORL_HERE("OrlForwardEmailW"), hConnection, hMailbox, cbEntryID, pEntryID, szRecipients);
}

HRESULT ORLAPI OrlRespondEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCSTR szFile, LPCSTR szFilename, ULONG ulUnused)
{
    return RespondEmail<Narrow>(ORL_HERE("OrlRespondEmailA"), hConnection, hMailbox, cbEntryID, pEntryID, szFile,
                                szFilename, ulUnused);
}

HRESULT ORLAPI OrlRespondEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCWSTR szFile, LPCWSTR szFilename, ULONG ulUnused)
{
    return RespondEmail<Wide>(ORL_HERE("OrlRespondEmailW"), hConnection, hMailbox, cbEntryID, pEntryID, szFile,
                              szFilename, ulUnused);
}
