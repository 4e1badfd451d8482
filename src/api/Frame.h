// The frame of the exports: find the session, run on it, contain exceptions, give the HRESULT.
#pragma once
#include "OrlMapi32.h"
#include "common/mapi/Contained.h"
#include "session/SessionGuard.h"

// An export's name and its own line. Every file of exports defines kFirstLine, the start of a range of a thousand, so
// that no two exports report an exception with the same line: kFirstLine + n is line n of that file.
#define ORL_HERE(name)                                                                                                 \
    Here                                                                                                               \
    {                                                                                                                  \
        name, kFirstLine + __LINE__                                                                                    \
    }

// Runs work(session) on the session of a connection. E_INVALIDARG, and no work, for an unknown one; E_UNEXPECTED after
// an exception. The session lives at least until the work is done, also when it is closed meanwhile.
template <class Work> HRESULT WithSession(const Here &here, DWORD hConnection, Work &&work) noexcept
{
    return Contained(here, HRESULT{E_UNEXPECTED}, [&]() -> HRESULT {
        SessionGuard session = CMAPIImpl::Locate(hConnection);
        if (!session)
            return E_INVALIDARG;
        return work(*session);
    });
}

// The same for an operation on a mailbox: work(session, store). E_INVALIDARG for mailbox 0 too.
template <class Work>
HRESULT WithMailbox(const Here &here, DWORD hConnection, OrlMailbox hMailbox, Work &&work) noexcept
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) -> HRESULT {
        auto *pIMsgStore = reinterpret_cast<IMsgStore *>(hMailbox);
        if (!pIMsgStore)
            return E_INVALIDARG;
        return work(session, pIMsgStore);
    });
}
