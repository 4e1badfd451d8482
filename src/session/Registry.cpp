// The maps from handle to object: connections for the process, contents tables and bookmarks in each session. One lock
// serialises all of it.
#include "common/mapi/Contained.h"
#include "common/trace/debug.h"
#include "platform/lifetime/Lasting.h"
#include "session/RegistryLock.h"
#include "session/SessionDependent.h"
#include "session/SessionGuard.h"
#include "session/SessionReferences.h"
#include <cstdlib>
#include <new>

CriticalSection &CMAPIImpl::m_CS =
    lifetime::LastingFrom([] { return CriticalSection(false, "CMAPIImpl::m_CS", false); });

namespace
{

std::map<DWORD, CMAPIImpl *> &
    g_connections GUARDED_BY(CMAPIImpl::m_CS) = lifetime::Lasting<std::map<DWORD, CMAPIImpl *>>();

// A handle that the map does not hold: 1 to 32768, whatever the range of this runtime's generator. With 32768 live
// entries there is none, and the search does not end, as the contract has it.
template <class Map> DWORD DrawHandle(const Map &map)
{
    DWORD handle = 0;
    do
        handle = (static_cast<DWORD>(std::rand()) & 0x7FFF) + 1;
    while (map.count(handle) != 0);
    return handle;
}

template <class Value> Value Find(const std::map<DWORD, Value> &map, DWORD handle)
{
    const auto found = handle ? map.find(handle) : map.end();
    return found != map.end() ? found->second : Value{};
}

template <class Map> bool Erase(Map &map, DWORD handle)
{
    return handle && map.erase(handle) != 0;
}

// Null, and not an exception, where there is no memory for the session itself.
CMAPIImpl *CreateSession(bool fService)
{
    try {
        return new CMAPIImpl(fService);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

} // namespace

DWORD CMAPIImpl::Allocate(bool fService)
{
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::Allocate", "Service: <%s>", fService ? "true" : "false");
    DWORD handle = 0;
    Contained({"CMAPIImpl::Allocate", __LINE__}, [&] {
        SessionGuard created; // one that can't be entered ends when the lock has been given back
        const RegistryLock lock(__LINE__);
        handle = DrawHandle(g_connections);
        // The first session waits here for the MAPI thread, and lookups on other connections wait behind it.
        created = SessionGuard(CreateSession(fService));
        if (!created) {
            handle = 0;
            return;
        }
        g_connections.emplace(handle, &*created);
        created.Keep(); // the registry's reference
    });
    return handle;
}

// The reference is taken after the lock was left. A session that ended in between is not found: its count, which the
// token keeps alive, refuses another reference.
SessionGuard CMAPIImpl::Locate(DWORD hConnection)
{
    CMAPIImpl *pSession = nullptr;
    std::shared_ptr<SessionReferences> token;
    Contained({"CMAPIImpl::Locate", __LINE__}, [&] {
        const RegistryLock lock(__LINE__);
        pSession = Find(g_connections, hConnection);
        if (pSession)
            token = pSession->m_references;
    });
    return SessionGuard(token && token->AddToLiving() ? pSession : nullptr);
}

// The session itself ends outside the lock: what it cancels and logs off may wait for a callback of the host's that is
// running, and that may be waiting for the lock. What depends on it ends here, on the closing thread, also
// where another thread is still inside a call and will let the session go.
bool CMAPIImpl::Free(DWORD hConnection)
{
    SessionGuard freed;
    const bool bRemoved = Contained({"CMAPIImpl::Free", __LINE__}, false, [&] {
        const RegistryLock lock(__LINE__);
        freed = SessionGuard(Find(g_connections, hConnection)); // the registry's reference
        return Erase(g_connections, hConnection);
    });
    if (freed)
        Contained({"CMAPIImpl::Free", __LINE__}, [&] { EndDependentsOf(*freed); });
    return bRemoved;
}

DWORD CMAPIImpl::StoreObject(IMAPITable *pTable)
{
    DWORD handle = 0;
    Contained({"CMAPIImpl::StoreObject", __LINE__}, [&] {
        const RegistryLock lock(__LINE__);
        handle = DrawHandle(m_contentsTables);
        m_contentsTables.emplace(handle, pTable);
    });
    return handle;
}

DWORD CMAPIImpl::StoreObject(BOOKMARK bookmark)
{
    DWORD handle = 0;
    Contained({"CMAPIImpl::StoreObject", __LINE__}, [&] {
        const RegistryLock lock(__LINE__);
        handle = DrawHandle(m_bookmarks);
        m_bookmarks.emplace(handle, bookmark);
    });
    return handle;
}

IMAPITable *CMAPIImpl::LocateContentsTable(DWORD hTable)
{
    return Contained({"CMAPIImpl::LocateContentsTable", __LINE__}, static_cast<IMAPITable *>(nullptr), [&] {
        const RegistryLock lock(__LINE__);
        return Find(m_contentsTables, hTable);
    });
}

BOOKMARK CMAPIImpl::LocateBookmark(DWORD hBookmark)
{
    return Contained({"CMAPIImpl::LocateBookmark", __LINE__}, BOOKMARK{}, [&] {
        const RegistryLock lock(__LINE__);
        return Find(m_bookmarks, hBookmark);
    });
}

bool CMAPIImpl::FreeContentsTableObject(DWORD hTable)
{
    return Contained({"CMAPIImpl::FreeContentsTableObject", __LINE__}, false, [&] {
        const RegistryLock lock(__LINE__);
        return Erase(m_contentsTables, hTable);
    });
}

bool CMAPIImpl::FreeBookmarkObject(DWORD hBookmark)
{
    return Contained({"CMAPIImpl::FreeBookmarkObject", __LINE__}, false, [&] {
        const RegistryLock lock(__LINE__);
        return Erase(m_bookmarks, hBookmark);
    });
}
