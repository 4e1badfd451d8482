// The standard's mutex, lock guard and condition, with the annotations of Annotations.h, which the standard library's
// own lack.
#pragma once
#include "sync/Annotations.h"
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace sync
{

class SYNC_LOCK Mutex
{
  public:
    constexpr Mutex() = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;
    void lock() ACQUIRES_LOCK() { m_mutex.lock(); }
    void unlock() RELEASES_LOCK() { m_mutex.unlock(); }
    bool try_lock() TRIES_LOCK(true) { return m_mutex.try_lock(); }

  private:
    friend class Condition;
    std::mutex m_mutex;
};

// Holds a mutex for a scope. It may be let go in between, and is then taken again or not.
class SYNC_SCOPED_LOCK Lock
{
  public:
    explicit Lock(Mutex &mutex) ACQUIRES_LOCK(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~Lock() RELEASES_LOCK()
    {
        if (m_held)
            m_mutex.unlock();
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
    void lock() ACQUIRES_LOCK()
    {
        m_mutex.lock();
        m_held = true;
    }
    void unlock() RELEASES_LOCK()
    {
        m_held = false;
        m_mutex.unlock();
    }

  private:
    Mutex &m_mutex;
    bool m_held = true;
};

// What threads wait for that hold a mutex. A wait may end for no reason: it stands in a loop that looks again.
class Condition
{
  public:
    void Wait(Mutex &mutex) REQUIRES_LOCK(mutex)
    {
        std::unique_lock held(mutex.m_mutex, std::adopt_lock);
        m_condition.wait(held);
        held.release();
    }
    // False when the time has come.
    template <class Clock, class Duration>
    bool WaitUntil(Mutex &mutex, const std::chrono::time_point<Clock, Duration> &time) REQUIRES_LOCK(mutex)
    {
        std::unique_lock held(mutex.m_mutex, std::adopt_lock);
        const bool woken = m_condition.wait_until(held, time) == std::cv_status::no_timeout;
        held.release();
        return woken;
    }
    void NotifyOne() noexcept { m_condition.notify_one(); }
    void NotifyAll() noexcept { m_condition.notify_all(); }

  private:
    std::condition_variable m_condition;
};

} // namespace sync
