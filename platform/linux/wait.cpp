// Handles, and the one wait behind all wait functions.
#include "wait.h"
#include "platform_test.h"
#include <algorithm>
#include <chrono>
#include <map>
#include <unordered_map>

namespace platform
{
namespace
{
constexpr std::chrono::milliseconds kPollInterval(5);

// Never destroyed: threads may still end while the process does.
struct Handles {
    locks::Mutex wait;
    locks::Mutex lock; // of the tables
    std::unordered_map<HANDLE, std::shared_ptr<KernelObject>> open GUARDED_BY(lock);
    std::map<std::string, std::weak_ptr<KernelObject>> names GUARDED_BY(lock);
    ULONG_PTR last GUARDED_BY(lock) = 0;
};
Handles &All()
{
    static Handles &handles = *new Handles;
    return handles;
}

using Objects = std::vector<std::shared_ptr<KernelObject>>;

// The wait's result when it can end now, else WAIT_TIMEOUT.
DWORD TryTake(const Objects &objects, bool all, MessageQueue *queue, ThreadRecord &self) REQUIRES(WaitLock())
{
    const bool messages = queue && queue->changed;
    const auto signalled = [&](const auto &object) REQUIRES(WaitLock()) { return object->IsSignalled(self); };
    if (all) {
        if ((queue && !messages) || !std::all_of(objects.begin(), objects.end(), signalled))
            return WAIT_TIMEOUT;
        bool abandoned = false;
        for (const auto &object : objects)
            abandoned = object->Take(self) || abandoned;
        if (queue)
            queue->changed = false;
        return abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
    }
    const auto found = std::find_if(objects.begin(), objects.end(), signalled);
    const auto index = static_cast<DWORD>(found - objects.begin());
    if (found != objects.end())
        return ((*found)->Take(self) ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + index;
    if (!messages)
        return WAIT_TIMEOUT;
    queue->changed = false;
    return WAIT_OBJECT_0 + index;
}
} // namespace

locks::Mutex &WaitLock()
{
    return All().wait;
}

void Waitable::Remove(Waiter *waiter)
{
    m_waiters.erase(std::find(m_waiters.begin(), m_waiters.end(), waiter));
}

void Waitable::WakeAll()
{
    for (Waiter *waiter : m_waiters)
        waiter->wake.NotifyOne();
}

ThreadRecord &CurrentThread()
{
    thread_local ThreadRecord record;
    return record;
}

HANDLE NewHandle(std::shared_ptr<KernelObject> object)
{
    const locks::Hold held(All().lock);
    const auto handle = reinterpret_cast<HANDLE>(All().last += 4);
    All().open.emplace(handle, std::move(object));
    return handle;
}

std::shared_ptr<KernelObject> FindObject(HANDLE handle)
{
    const locks::Hold held(All().lock);
    const auto found = All().open.find(handle);
    if (found != All().open.end())
        return found->second;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

std::shared_ptr<KernelObject> FindOrAddName(const std::string &name, const std::shared_ptr<KernelObject> &made)
{
    const locks::Hold held(All().lock);
    std::erase_if(All().names, [](const auto &entry) { return entry.second.expired(); });
    auto &known = All().names[name];
    if (auto object = known.lock())
        return object;
    known = made;
    return made;
}

DWORD WaitFor(const HANDLE *handles, DWORD count, bool all, MessageQueue *queue, DWORD milliseconds)
{
    if (count + (queue ? 1 : 0) > MAXIMUM_WAIT_OBJECTS || (count == 0 && !queue) || (count > 0 && !handles)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    Objects objects(count);
    for (DWORD i = 0; i < count; ++i)
        if (!(objects[i] = FindObject(handles[i])))
            return WAIT_FAILED;

    const bool polled =
        std::any_of(objects.begin(), objects.end(), [](const auto &object) { return object->IsPolled(); });
    if (polled && count + (queue ? 1 : 0) > 1) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return WAIT_FAILED;
    }

    ThreadRecord &self = CurrentThread();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    Waiter waiter;
    const locks::Hold held(WaitLock());
    DWORD result = TryTake(objects, all, queue, self);
    if (result != WAIT_TIMEOUT || milliseconds == 0)
        return result;
    for (const auto &object : objects)
        object->Add(&waiter);
    if (queue)
        queue->Add(&waiter);
    bool inTime = true;
    while (result == WAIT_TIMEOUT && inTime) {
        const auto next = std::chrono::steady_clock::now() + kPollInterval;
        if (polled && (milliseconds == INFINITE || next < deadline))
            waiter.wake.WaitUntil(WaitLock(), next);
        else if (milliseconds == INFINITE)
            waiter.wake.Wait(WaitLock());
        else
            inTime = waiter.wake.WaitUntil(WaitLock(), deadline);
        result = TryTake(objects, all, queue, self);
    }
    for (const auto &object : objects)
        object->Remove(&waiter);
    if (queue)
        queue->Remove(&waiter);
    return result;
}
} // namespace platform

std::size_t PlatformLiveHandles()
{
    const locks::Hold held(platform::All().lock);
    return platform::All().open.size();
}

BOOL CloseHandle(HANDLE hObject)
{
    std::shared_ptr<platform::KernelObject> closed; // dies outside the lock
    const locks::Hold held(platform::All().lock);
    const auto found = platform::All().open.find(hObject);
    if (found == platform::All().open.end()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    closed = std::move(found->second);
    platform::All().open.erase(found);
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return platform::WaitFor(&hHandle, 1, false, nullptr, dwMilliseconds);
}

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE *lpHandles, BOOL bWaitAll, DWORD dwMilliseconds)
{
    return platform::WaitFor(lpHandles, nCount, bWaitAll != FALSE, nullptr, dwMilliseconds);
}
