// The reference count of a session. It outlives the session for those who have found it in the registry and have not
// taken their reference yet.
#pragma once
#include <atomic>
#include <windows.h>

class SessionReferences
{
  public:
    void Add() { ++m_count; }
    // False when the last reference is gone: the session is being destroyed or is no more.
    bool AddToLiving()
    {
        LONG count = m_count.load();
        while (count > 0)
            if (m_count.compare_exchange_weak(count, count + 1))
                return true;
        return false;
    }
    // True for the last one.
    bool Remove() { return --m_count == 0; }

  private:
    std::atomic<LONG> m_count{1};
};
