// Holds one of Windows' locks for a scope.
#pragma once
#include <windows.h>

namespace windows
{

class Exclusive
{
  public:
    explicit Exclusive(SRWLOCK &lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
    ~Exclusive() { ReleaseSRWLockExclusive(&m_lock); }
    Exclusive(const Exclusive &) = delete;
    Exclusive &operator=(const Exclusive &) = delete;

  private:
    SRWLOCK &m_lock;
};

} // namespace windows
