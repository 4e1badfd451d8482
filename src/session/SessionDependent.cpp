#include "session/SessionDependent.h"
#include <atomic>

namespace
{

// Grows only, at its head; so it is walked without a lock.
constinit std::atomic<SessionDependent *> g_pFirst{nullptr};

} // namespace

void RegisterDependent(SessionDependent &dependent) noexcept
{
    dependent.m_pNext = g_pFirst.load();
    while (!g_pFirst.compare_exchange_weak(dependent.m_pNext, &dependent)) {
    }
}

void EndDependentsOf(const CMAPIImpl &session)
{
    for (SessionDependent *pDependent = g_pFirst.load(); pDependent; pDependent = pDependent->m_pNext)
        pDependent->EndFor(session);
}
