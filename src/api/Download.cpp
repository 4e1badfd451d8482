// The exports that fetch a message's text and save its recordings.
#include "api/Frame.h"
#include "api/ResultBlock.h"
#include "messages/reading/DownloadedText.h"

namespace
{

constexpr int kFirstLine = 5000;

template <class Flavour>
HRESULT DownloadEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                      typename Flavour::EmailText **ppText)
{
    return WithMailbox(here, hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) -> HRESULT {
        DownloadedText text;
        const HRESULT hr = session.DownloadEmail(pIMsgStore, cbEntryID, pEntryID, text);
        if (FAILED(hr))
            return hr;
        ResultBlock<typename Flavour::EmailText> block(here, 1);
        auto *body = block.template Text<Flavour>(text.strBody);
        auto *subject = block.template Text<Flavour>(text.strSubject);
        if (block.Failed())
            return block.Result();
        block[0] = {body, subject};
        *ppText = block.Release();
        return block.Result();
    });
}

template <class Flavour>
HRESULT DownloadAttachment(const Here &here, DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID,
                           const BYTE *pEntryID, ULONG ulAttachNum, const typename Flavour::Char *szFile)
{
    return WithMailbox(here, hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) {
        return session.DownloadAttachment(pIMsgStore, cbEntryID, pEntryID, ulAttachNum, Flavour::In(szFile));
    });
}

} // namespace

HRESULT ORLAPI OrlDownloadEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                 EmailTextA **ppText)
{
    return DownloadEmail<Narrow>(ORL_HERE("OrlDownloadEmailA"), hConnection, hMailbox, cbEntryID, pEntryID, ppText);
}

HRESULT ORLAPI OrlDownloadEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                 EmailTextW **ppText)
{
    return DownloadEmail<Wide>(ORL_HERE("OrlDownloadEmailW"), hConnection, hMailbox, cbEntryID, pEntryID, ppText);
}

HRESULT ORLAPI OrlDownloadAttachmentA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                      ULONG ulAttachNum, LPCSTR szFile)
{
    return DownloadAttachment<Narrow>(ORL_HERE("OrlDownloadAttachmentA"), hConnection, hMailbox, cbEntryID, pEntryID,
                                      ulAttachNum, szFile);
}

HRESULT ORLAPI OrlDownloadAttachmentW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                      ULONG ulAttachNum, LPCWSTR szFile)
{
    return DownloadAttachment<Wide>(ORL_HERE("OrlDownloadAttachmentW"), hConnection, hMailbox, cbEntryID, pEntryID,
                                    ulAttachNum, szFile);
}
