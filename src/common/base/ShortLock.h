// A lock for a few instructions, ready before any constructor has run and after every destructor. Never held across a
// call into other code.
#pragma once
#include "platform/locks/Mutex.h"
#include <atomic>
#include <windows.h>

class CAPABILITY("lock") ShortLock
{
  public:
    constexpr ShortLock() = default;
    void Lock() ACQUIRE()
    {
        while (m_held.test_and_set(std::memory_order_acquire))
            Sleep(0);
    }
    void Unlock() RELEASE() { m_held.clear(std::memory_order_release); }

  private:
    std::atomic_flag m_held;
};
