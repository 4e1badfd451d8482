// Objects that threads wait for, and their handles. One lock of the process guards all of them: none is on a path
// where that is felt, and a wait for several objects and the message queue at once needs no order of locks.
#pragma once
#include "platform/locks/Mutex.h"
#include <memory>
#include <string>
#include <vector>
#include <windows.h>

namespace platform
{
class KernelObject;
class Mutex;
struct MessageQueue;

// What a thread holds. Ends with the thread, whoever started it: the mutexes that it still owns are abandoned, its
// message queue is gone.
struct ThreadRecord {
    std::vector<std::shared_ptr<Mutex>> owned;
    std::shared_ptr<MessageQueue> queue;
    ~ThreadRecord();
};
ThreadRecord &CurrentThread();

locks::Mutex &WaitLock();

// A thread that waits.
struct Waiter {
    locks::Condition wake;
};

// Something with waiters.
class Waitable
{
  public:
    virtual ~Waitable() = default;
    void Add(Waiter *waiter) REQUIRES(WaitLock()) { m_waiters.push_back(waiter); }
    void Remove(Waiter *waiter) REQUIRES(WaitLock());
    void WakeAll() REQUIRES(WaitLock());

  private:
    std::vector<Waiter *> m_waiters GUARDED_BY(WaitLock());
};

class KernelObject : public Waitable
{
  public:
    virtual bool IsSignalled(const ThreadRecord &self) const REQUIRES(WaitLock()) = 0;
    // What a successful wait does to the object. True when its owner had ended without releasing it.
    virtual bool Take(ThreadRecord &self) REQUIRES(WaitLock()) = 0;
    // True for what is signalled from outside this process, where no waiter is woken: it is looked at again and again,
    // and can be waited for alone only.
    virtual bool IsPolled() const { return false; }
};

// Handles: multiples of four that are never used twice.
HANDLE NewHandle(std::shared_ptr<KernelObject> object);
// Null, and ERROR_INVALID_HANDLE, for what is no open handle.
std::shared_ptr<KernelObject> FindObject(HANDLE handle);
template <class Object> std::shared_ptr<Object> FindObjectOf(HANDLE handle)
{
    auto object = std::dynamic_pointer_cast<Object>(FindObject(handle));
    if (!object)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}
// The handle of a new object, or of the one that has the name already (ERROR_ALREADY_EXISTS).
template <class Object> HANDLE NewNamedHandle(std::shared_ptr<Object> made, const std::string &name);
std::shared_ptr<KernelObject> FindOrAddName(const std::string &name, const std::shared_ptr<KernelObject> &made);

template <class Object> HANDLE NewNamedHandle(std::shared_ptr<Object> made, const std::string &name)
{
    if (name.empty()) {
        SetLastError(ERROR_SUCCESS);
        return NewHandle(std::move(made));
    }
    const std::shared_ptr<KernelObject> object = FindOrAddName(name, made);
    if (!std::dynamic_pointer_cast<Object>(object)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    SetLastError(object == made ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return NewHandle(object);
}

struct MessageQueue : Waitable {
    std::vector<MSG> messages GUARDED_BY(WaitLock());
    bool quit GUARDED_BY(WaitLock()) = false;
    WPARAM quitCode GUARDED_BY(WaitLock()) = 0;
    bool changed GUARDED_BY(WaitLock()) = false; // something came since the queue was last looked at

    bool IsEmpty() const REQUIRES(WaitLock()) { return messages.empty() && !quit; }
};

// Takes the queue of a thread out of reach of PostThreadMessageA.
void ForgetQueue(DWORD threadId) REQUIRES(WaitLock());

// WAIT_OBJECT_0 + i, with `queue` at the index after the handles; the results of the wait functions.
DWORD WaitFor(const HANDLE *handles, DWORD count, bool all, MessageQueue *queue, DWORD milliseconds);
} // namespace platform
