// One lock guards the sinks and the notifications that are at work; it is never held while MAPI or the host is called.
#include "notify/SinkRegistry.h"
#include "platform/lifetime/Lasting.h"
#include "session/CMAPIImpl.h"
#include <algorithm>

namespace
{

using Sinks = std::map<CAdviseSink *, CMAPIImpl *>;

struct State {
    locks::Mutex lock;
    Sinks sinks GUARDED_BY(lock);
    SinkRegistry::Notification *pNotifications GUARDED_BY(lock) = nullptr;
    locks::Condition notified;
};

// Lasts: sinks may still be notified while the process ends.
State &Registered()
{
    return lifetime::Lasting<State>();
}

// A session that has a sink here is alive: it cancels its sinks before it ends.
void Erase(Sinks &sinks, Sinks::iterator sink)
{
    if (sink->second)
        --sink->second->OpenObjects();
    sinks.erase(sink);
}

} // namespace

void SinkRegistry::Add(CAdviseSink *pSink)
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    state.sinks.emplace(pSink, nullptr);
}

void SinkRegistry::Enter(CAdviseSink *pSink, CMAPIImpl *pSession)
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    if (const auto found = state.sinks.find(pSink); found != state.sinks.end())
        found->second = pSession;
    for (Notification *pAtWork = state.pNotifications; pAtWork; pAtWork = pAtWork->m_pNext)
        if (pAtWork->m_pSink == pSink)
            pAtWork->m_pSession = pSession;
}

bool SinkRegistry::Remove(CAdviseSink *pSink)
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    const auto found = state.sinks.find(pSink);
    if (found == state.sinks.end())
        return false;
    Erase(state.sinks, found);
    return true;
}

CAdviseSink *SinkRegistry::RemoveFirstOf(const CMAPIImpl *pSession)
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    const auto found = std::find_if(state.sinks.begin(), state.sinks.end(),
                                    [pSession](const auto &sink) { return sink.second == pSession; });
    if (found == state.sinks.end())
        return nullptr;
    CAdviseSink *const pSink = found->first;
    Erase(state.sinks, found);
    return pSink;
}

SinkRegistry::Notification::Notification(CAdviseSink *pSink) : m_pSink(pSink)
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    const auto found = state.sinks.find(pSink);
    m_pSession = found != state.sinks.end() ? found->second : nullptr;
    m_pNext = std::exchange(state.pNotifications, this);
}

SinkRegistry::Notification::~Notification()
{
    State &state = Registered();
    const locks::Hold lock(state.lock);
    Notification **ppLink = &state.pNotifications;
    while (*ppLink != this)
        ppLink = &(*ppLink)->m_pNext;
    *ppLink = m_pNext;
    state.notified.NotifyAll();
}

void SinkRegistry::AwaitNotifications(const CMAPIImpl *pSession)
{
    State &state = Registered();
    const auto isOver = [&]() REQUIRES(state.lock) {
        for (const Notification *pAtWork = state.pNotifications; pAtWork; pAtWork = pAtWork->m_pNext)
            if (pAtWork->m_pSession == pSession && pAtWork->m_thread != std::this_thread::get_id())
                return false;
        return true;
    };
    const locks::Hold lock(state.lock);
    while (!isOver())
        state.notified.Wait(state.lock);
}
