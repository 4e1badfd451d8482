// A mutex, its guard and its condition variable, known to Clang's analysis of thread safety. Any thread.
#pragma once
#include "platform/locks/Annotations.h"
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace locks
{

class CAPABILITY("mutex") Mutex
{
  public:
    Mutex() noexcept = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void Lock() ACQUIRE() { m_mutex.lock(); }
    void Unlock() RELEASE() { m_mutex.unlock(); }

  private:
    friend class Condition;
    std::mutex m_mutex;
};

// Holds a mutex, or anything else with Lock and Unlock, for a scope.
template <class Lockable> class SCOPED_CAPABILITY Hold
{
  public:
    explicit Hold(Lockable &lock) ACQUIRE(lock) : m_lock(lock) { m_lock.Lock(); }
    ~Hold() RELEASE() { m_lock.Unlock(); }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;

  private:
    Lockable &m_lock;
};

// Gives a held mutex back for a scope.
template <class Lockable> class SCOPED_CAPABILITY Released
{
  public:
    explicit Released(Lockable &lock) RELEASE(lock) : m_lock(lock) { m_lock.Unlock(); }
    ~Released() RELEASE() { m_lock.Lock(); } // the analysis counts this guard's end, not the lock's
    Released(const Released &) = delete;
    Released &operator=(const Released &) = delete;

  private:
    Lockable &m_lock;
};

class Condition
{
  public:
    // Gives the mutex back while it waits. Returns without a reason too: callers look again.
    void Wait(Mutex &mutex) REQUIRES(mutex)
    {
        Adopted held(mutex);
        m_condition.wait(held.lock);
    }
    // False when the time was over.
    bool WaitUntil(Mutex &mutex, std::chrono::steady_clock::time_point until) REQUIRES(mutex)
    {
        Adopted held(mutex);
        return m_condition.wait_until(held.lock, until) == std::cv_status::no_timeout;
    }
    void NotifyOne() noexcept { m_condition.notify_one(); }
    void NotifyAll() noexcept { m_condition.notify_all(); }

  private:
    // The caller's hold, as the standard library wants it.
    struct Adopted {
        explicit Adopted(Mutex &mutex) : lock(mutex.m_mutex, std::adopt_lock) {}
        ~Adopted() { lock.release(); }
        std::unique_lock<std::mutex> lock;
    };
    std::condition_variable m_condition;
};

} // namespace locks
