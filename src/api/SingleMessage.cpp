// The exports that work on one message.
#include "api/Frame.h"
#include "api/HeaderRecord.h"

namespace
{

constexpr int kFirstLine = 4000;

template <class Flavour>
HRESULT GetEmailHeader(const Here &here, DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                       typename Flavour::EmailHeader **ppHeader)
{
    return WithMailbox(here, hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) -> HRESULT {
        Header header;
        const HRESULT hr = session.GetEmailHeader(pIMsgStore, cbEntryID, pEntryID, header);
        if (FAILED(hr))
            return hr;
        // The pointer to the attachments is never written, as the contract has it: callers must not read it when there
        // are none.
        ResultBlock<typename Flavour::EmailHeader> block(here, 1);
        if (!block.Failed())
            CopyHeader<Flavour>(block, 0, header);
        if (!block.Failed())
            *ppHeader = block.Release();
        return block.Result();
    });
}

} // namespace

HRESULT ORLAPI OrlGetEmailHeaderA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                  EmailHeaderA **ppHeader)
{
    return GetEmailHeader<Narrow>(ORL_HERE("OrlGetEmailHeaderA"), hConnection, hMailbox, cbEntryID, pEntryID, ppHeader);
}

HRESULT ORLAPI OrlGetEmailHeaderW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                  EmailHeaderW **ppHeader)
{
    return GetEmailHeader<Wide>(ORL_HERE("OrlGetEmailHeaderW"), hConnection, hMailbox, cbEntryID, pEntryID, ppHeader);
}

HRESULT ORLAPI OrlGetEmailFlags(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                BYTE *pbPrivate, BYTE *pbHighPriority, BYTE *pbRead)
{
    return WithMailbox(
        ORL_HERE("OrlGetEmailFlags"), hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) -> HRESULT {
            BYTE bPrivate = 0;
            BYTE bHighPriority = 0;
            BYTE bRead = 0;
            const HRESULT hr =
                session.GetEmailFlags(pIMsgStore, cbEntryID, pEntryID, &bPrivate, &bHighPriority, &bRead);
            if (FAILED(hr))
                return hr;
            *pbPrivate = bPrivate;
            *pbHighPriority = bHighPriority;
            *pbRead = bRead;
            return hr;
        });
}

HRESULT ORLAPI OrlSetEmailReadFlag(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                   BYTE bRead)
{
    return WithMailbox(ORL_HERE("OrlSetEmailReadFlag"), hConnection, hMailbox,
                       [&](CMAPIImpl &session, IMsgStore *pIMsgStore) {
                           return session.SetEmailReadFlag(pIMsgStore, cbEntryID, pEntryID, bRead);
                       });
}

HRESULT ORLAPI OrlDeleteEmail(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID)
{
    return WithMailbox(ORL_HERE("OrlDeleteEmail"), hConnection, hMailbox,
                       [&](CMAPIImpl &session, IMsgStore *pIMsgStore) {
                           return session.DeleteEmail(pIMsgStore, cbEntryID, pEntryID);
                       });
}
