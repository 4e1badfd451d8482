// The lock with a name, which the registries of handles use: it knows its owner and who took it, reports what goes
// wrong and what takes long, and may be a mutex of the system. And its guard. Any thread.
#pragma once
#include "common/text/tstring.h"
#include "platform/locks/Annotations.h"
#include <atomic>

class CAPABILITY("lock") CriticalSection
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

    // Whether no lock reports that it was held for long. Off at the start.
    static void SuppressLongHolds(bool bSuppress);

  private:
    bool LockMutex(const char *szFile, int nLine, bool bReport);
    void Release(const char *szFile, int nLine, const char *szLockerFile, int nLockerLine, DWORD dwOwner, bool bReport);
    void ReportLongHold(const char *szFile, int nLine) const;

    // The thread that holds the lock writes who and since when; any other may read it without the lock.
    const bool m_bMutexMode;
    const bool m_bReportLongHolds;
    const tstring m_strName;
    std::atomic<DWORD> m_dwOwner{0};
    HANDLE m_hMutex = nullptr;
    CRITICAL_SECTION m_cs{};
    std::atomic<DWORD> m_dwLockTick{0};
    std::atomic<int> m_nLockerLine{0};
    std::atomic<const char *> m_szLockerFile{nullptr};
};

// Holds a lock for a scope (bLock true), or releases a held lock for a scope and takes it back in the name of its
// previous locker (bLock false). A null lock makes an inactive guard. Which of these it does is known at run time only,
// so the analysis of locks sees the guards that derive from it.
class LockCriticalSection
{
  public:
    LockCriticalSection(CriticalSection *pLock, bool bLock, const char *szFile, int nLine);
    virtual ~LockCriticalSection();
    LockCriticalSection(const LockCriticalSection &) = delete;
    LockCriticalSection &operator=(const LockCriticalSection &) = delete;
    bool IsActive() const { return m_bActive; }

  private:
    const bool m_bLock;
    bool m_bActive = false;
    int m_nLine;
    const char *m_szFile;
    CriticalSection *const m_pLock;
};
