// The library's one mutual-exclusion primitive: a lock that knows its owner and who took it, and its guard.
#pragma once
#include "common/tstring.h"

class CriticalSection
{
  public:
    CriticalSection(bool bMutexMode, const char *szName, bool bReportLongHolds);
    virtual ~CriticalSection();
    CriticalSection(const CriticalSection &) = delete;
    CriticalSection &operator=(const CriticalSection &) = delete;

    // False when the calling thread already owns the lock (there is no recursion count) or waiting failed.
    bool Lock(const char *szFile, int nLine, bool bReport);
    // False when the calling thread is not the owner. The out values receive who had locked and may be null.
    bool Unlock(const char *szFile, int nLine, const char **pszLockerFile, int *pnLockerLine, bool bReport);
    bool IsLockedByCurrentThread() const;
    // Milliseconds since the lock was taken, modulo 2^32.
    DWORD LockedFor() const;
};

// Holds a lock for a scope (bLock true), or releases a held lock for a scope and takes it back in the name of its
// previous locker (bLock false). A null lock makes an inactive guard.
class LockCriticalSection
{
  public:
    LockCriticalSection(CriticalSection *pLock, bool bLock, const char *szFile, int nLine);
    virtual ~LockCriticalSection();
    LockCriticalSection(const LockCriticalSection &) = delete;
    LockCriticalSection &operator=(const LockCriticalSection &) = delete;
    bool IsActive() const;
};
