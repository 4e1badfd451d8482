// Events and mutexes.
#include "code_page.h"
#include "last_error.h"
#include "shared_mutex.h"
#include <algorithm>

namespace platform
{
class Event : public KernelObject
{
  public:
    Event(bool manualReset, bool signalled) : m_manualReset(manualReset), m_signalled(signalled) {}
    bool IsSignalled(const ThreadRecord &) const REQUIRES(WaitLock()) override { return m_signalled; }
    bool Take(ThreadRecord &) REQUIRES(WaitLock()) override
    {
        m_signalled = m_signalled && m_manualReset;
        return false;
    }
    void Set(bool signalled) REQUIRES(WaitLock())
    {
        m_signalled = signalled;
        if (signalled)
            WakeAll();
    }

  private:
    const bool m_manualReset;
    bool m_signalled GUARDED_BY(WaitLock());
};

bool Mutex::Take(ThreadRecord &self)
{
    const bool abandoned = m_abandoned;
    m_abandoned = false;
    if (!m_owner) {
        m_owner = &self;
        self.owned.push_back(shared_from_this());
    }
    ++m_count;
    return abandoned;
}

bool Mutex::Release(ThreadRecord &self)
{
    if (m_owner != &self)
        return false;
    if (--m_count > 0)
        return true;
    std::erase_if(self.owned, [this](const auto &mutex) { return mutex.get() == this; });
    m_owner = nullptr;
    Released();
    WakeAll();
    return true;
}

void Mutex::Abandon()
{
    m_owner = nullptr;
    m_count = 0;
    m_abandoned = true;
    Released();
    WakeAll();
}

namespace
{
BOOL SetState(HANDLE handle, bool signalled)
{
    const auto event = FindObjectOf<Event>(handle);
    if (!event)
        return FALSE;
    const locks::Hold held(WaitLock());
    event->Set(signalled);
    return TRUE;
}

std::string NarrowName(LPCWSTR name)
{
    return name ? Narrow(name, std::char_traits<WCHAR>::length(name)) : std::string();
}
} // namespace
} // namespace platform

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCSTR lpName)
{
    auto made = std::make_shared<platform::Event>(bManualReset != FALSE, bInitialState != FALSE);
    return platform::NewNamedHandle(std::move(made), lpName ? lpName : "");
}

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState, LPCWSTR lpName)
{
    return CreateEventA(lpEventAttributes, bManualReset, bInitialState, platform::NarrowName(lpName).c_str());
}

BOOL SetEvent(HANDLE hEvent)
{
    return platform::SetState(hEvent, true);
}

BOOL ResetEvent(HANDLE hEvent)
{
    return platform::SetState(hEvent, false);
}

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL bInitialOwner, LPCSTR lpName)
{
    std::string name = lpName ? lpName : "";
    std::shared_ptr<platform::Mutex> made;
    if (const auto shared = platform::SharedMutexOf(name)) {
        // Whether another process has it, too, is not to be seen: the first owner is who waits first.
        if (bInitialOwner)
            return Fail<HANDLE>(ERROR_NOT_SUPPORTED);
        if (!shared->Open())
            return nullptr;
        name += "\n" + shared->Path();
        made = shared;
    } else {
        made = std::make_shared<platform::Mutex>();
    }
    const HANDLE handle = platform::NewNamedHandle(made, name);
    // A mutex that existed already is not taken.
    if (handle && bInitialOwner && GetLastError() != ERROR_ALREADY_EXISTS) {
        const locks::Hold held(platform::WaitLock());
        made->Take(platform::CurrentThread());
    }
    return handle;
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner, LPCWSTR lpName)
{
    return CreateMutexA(lpMutexAttributes, bInitialOwner, platform::NarrowName(lpName).c_str());
}

BOOL ReleaseMutex(HANDLE hMutex)
{
    const auto mutex = platform::FindObjectOf<platform::Mutex>(hMutex);
    if (!mutex)
        return FALSE;
    const locks::Hold held(platform::WaitLock());
    if (mutex->Release(platform::CurrentThread()))
        return TRUE;
    SetLastError(ERROR_NOT_OWNER);
    return FALSE;
}
