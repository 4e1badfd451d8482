#include "session/OpenOptions.h"
#include "ExchangeMapi.h"
#include "common/trace/debug.h"
#include "session/CMAPIImpl.h"
#include <atomic>

namespace
{

constexpr ULONG kStoreFlags = OPENSTORE_HOME_LOGON | OPENSTORE_TAKE_OWNERSHIP;

std::atomic<bool> g_bUseOnlineStore{true};
std::atomic<bool> g_bUseNoCache{true};
std::atomic<ULONG> g_ulStoreFlags{kStoreFlags};

const char *Word(bool flag)
{
    return flag ? "true" : "false";
}

} // namespace

bool OpenOptions::UseOnlineStore()
{
    return g_bUseOnlineStore;
}

bool OpenOptions::UseNoCache()
{
    return g_bUseNoCache;
}

ULONG OpenOptions::StoreEntryIDFlags()
{
    return g_ulStoreFlags;
}

void OrlInitialise(bool fService, bool bUseMDBOnline, bool bUseNoCache, ULONG ulOpenStoreFlags)
{
    DebugOutputA(kTraceState,
                 "OrlInitialise(fService=<%s>, bUseMDBOnline=<%s>, bUseNoCache=<%s>, ulOpenStoreFlags=<%08lx>)",
                 Word(fService), Word(bUseMDBOnline), Word(bUseNoCache), ulOpenStoreFlags);
    g_bUseOnlineStore = bUseMDBOnline;
    g_bUseNoCache = bUseNoCache;
    g_ulStoreFlags = ulOpenStoreFlags ? ulOpenStoreFlags : kStoreFlags;
    if (!ulOpenStoreFlags)
        DebugOutputA(kTraceState, "OrlInitialise - ulOpenStoreFlags=<%08lx>", kStoreFlags);
    CMAPIImpl::Initialise(fService);
}

void OrlUninitialise()
{
    CMAPIImpl::Uninitialise();
}
