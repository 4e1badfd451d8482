#include "notify/SinkRegistry.h"
#include <algorithm>

namespace
{

std::mutex g_lock;
std::map<CAdviseSink *, CMAPIImpl *> g_sinks;

// A session that has a sink here is alive: it cancels its sinks before it ends.
void Erase(std::map<CAdviseSink *, CMAPIImpl *>::iterator sink)
{
    --sink->second->OpenObjects();
    g_sinks.erase(sink);
}

} // namespace

void SinkRegistry::Enter(CAdviseSink *pSink, CMAPIImpl *pSession)
{
    const std::lock_guard lock(g_lock);
    g_sinks.emplace(pSink, pSession);
}

bool SinkRegistry::Remove(CAdviseSink *pSink)
{
    const std::lock_guard lock(g_lock);
    const auto found = g_sinks.find(pSink);
    if (found == g_sinks.end())
        return false;
    Erase(found);
    return true;
}

CAdviseSink *SinkRegistry::RemoveFirstOf(const CMAPIImpl *pSession)
{
    const std::lock_guard lock(g_lock);
    const auto found =
        std::find_if(g_sinks.begin(), g_sinks.end(), [pSession](const auto &sink) { return sink.second == pSession; });
    if (found == g_sinks.end())
        return nullptr;
    CAdviseSink *const pSink = found->first;
    Erase(found);
    return pSink;
}
