// The exports that watch mailboxes.
#include "api/Frame.h"
#include "api/TextFlavour.h"
#include "notify/AdviseSink.h"

namespace
{

constexpr int kFirstLine = 9000;

template <class Flavour>
HRESULT Advise(const Here &here, DWORD hConnection, OrlSink *phSink, const typename Flavour::Char *szMailbox,
               MailboxCountCallback pfnCallback, ULONG_PTR ulContext, OrlMailbox *phMailbox)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) {
        CAdviseSink *pSink = nullptr;
        IMsgStore *pMailboxMDB = nullptr;
        const HRESULT hr = session.Advise(Flavour::In(szMailbox), &pSink, pfnCallback, ulContext, &pMailboxMDB);
        if (SUCCEEDED(hr)) {
            *phSink = reinterpret_cast<OrlSink>(pSink);
            *phMailbox = reinterpret_cast<OrlMailbox>(pMailboxMDB);
        }
        return hr;
    });
}

} // namespace

HRESULT ORLAPI OrlAdviseA(DWORD hConnection, OrlSink *phSink, LPCSTR szMailbox, MailboxCountCallback pfnCallback,
                          ULONG_PTR ulContext, OrlMailbox *phMailbox)
{
    return Advise<Narrow>(ORL_HERE("OrlAdviseA"), hConnection, phSink, szMailbox, pfnCallback, ulContext, phMailbox);
}

HRESULT ORLAPI OrlAdviseW(DWORD hConnection, OrlSink *phSink, LPCWSTR szMailbox, MailboxCountCallback pfnCallback,
                          ULONG_PTR ulContext, OrlMailbox *phMailbox)
{
    return Advise<Wide>(ORL_HERE("OrlAdviseW"), hConnection, phSink, szMailbox, pfnCallback, ulContext, phMailbox);
}

// The references that are left are counted and forgotten: the third parameter is not touched, as the contract has it.
HRESULT ORLAPI OrlUnadvise(DWORD hConnection, OrlSink hSink, ULONG *)
{
    return WithSession(ORL_HERE("OrlUnadvise"), hConnection, [&](CMAPIImpl &session) {
        ULONG ulCount = 0;
        return session.Unadvise(reinterpret_cast<CAdviseSink *>(hSink), &ulCount);
    });
}
