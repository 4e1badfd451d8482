// A lock is either a critical section or a mutex of the system. Its reports name the file in which this lock was first
// written, and lines of it.
#include "common/lock/CritSect.h"
#include "common/base/SystemCalls.h"
#include "common/errors/errors.h"
#include "common/trace/debug.h"

namespace
{

// This file, and the lines given with it, as the contract has it.
constexpr const char *kThisFile = "..\\LumenCommon\\CritSect";
constexpr DWORD kLongHold = 100;

constinit std::atomic<bool> g_suppressLongHolds{false};

// Every report but the one of long holds stops in an attached debugger.
void BreakInDebugger()
{
    if (SystemCalls().IsDebuggerPresent())
        SystemCalls().DebugBreak();
}

DWORD Tick()
{
    return SystemCalls().GetTickCount();
}

// The local time so many milliseconds ago.
SYSTEMTIME LocalTimeBefore(DWORD milliseconds)
{
    SYSTEMTIME time;
    FILETIME fileTime{};
    SystemCalls().GetLocalTime(&time);
    SystemTimeToFileTime(&time, &fileTime);
    ULONGLONG units = ULONGLONG{fileTime.dwHighDateTime} << 32 | fileTime.dwLowDateTime;
    units -= ULONGLONG{milliseconds} * 10000;
    fileTime.dwHighDateTime = static_cast<DWORD>(units >> 32);
    fileTime.dwLowDateTime = static_cast<DWORD>(units);
    FileTimeToSystemTime(&fileTime, &time);
    return time;
}

} // namespace

CriticalSection::CriticalSection(bool bMutexMode, const char *szName, bool bReportLongHolds)
    : m_bMutexMode(bMutexMode), m_bReportLongHolds(bReportLongHolds), m_strName(szName)
{
    if (m_bMutexMode)
        m_hMutex = SystemCalls().CreateMutexA(nullptr, FALSE, m_strName.c_str());
    else
        InitializeCriticalSection(&m_cs);
}

CriticalSection::~CriticalSection()
{
    try {
        Lock(kThisFile, 59, true);
        if (m_bMutexMode)
            SystemCalls().CloseHandle(m_hMutex);
        else {
            LeaveCriticalSection(&m_cs);
            DeleteCriticalSection(&m_cs);
        }
    } catch (...) {
        ReportException(kThisFile, "CriticalSection::~CriticalSection", 72);
    }
}

bool CriticalSection::Lock(const char *szFile, int nLine, bool bReport)
{
    // A nested lock is refused, as the contract has it.
    if (IsLockedByCurrentThread())
        return false;
    if (m_bMutexMode) {
        if (!LockMutex(szFile, nLine, bReport))
            return false;
    } else
        EnterCriticalSection(&m_cs);
    m_dwOwner = GetCurrentThreadId();
    m_szLockerFile = szFile;
    m_nLockerLine = nLine;
    m_dwLockTick = Tick();
    return true;
}

bool CriticalSection::LockMutex(const char *szFile, int nLine, bool bReport)
{
    const auto wait = [this](DWORD milliseconds) { return SystemCalls().WaitForSingleObject(m_hMutex, milliseconds); };
    const DWORD result = wait(INFINITE);
    if (result == WAIT_OBJECT_0)
        return true;
    const DWORD error = GetLastError();
    const DWORD thread = GetCurrentThreadId();
    // Handled although the wait has no end, as the contract has it.
    if (result == WAIT_TIMEOUT) {
        if (bReport) {
            DebugOutputA(kTraceLockWait,
                         "CriticalSection::Lock[%s(%d)](%s, %p, TID=%lx, owner=%lx), Timed out waiting for lock on "
                         "Mutex.",
                         szFile, nLine, m_strName.c_str(), this, thread, m_dwOwner.load());
            BreakInDebugger();
        }
        return false;
    }
    if (result == WAIT_FAILED) {
        if (bReport) {
            DebugOutputA(kTraceLock,
                         "CriticalSection::Lock[%s(%d)](%s, %p, TID=%lx, owner=%lx), The error 0x%08x occurred trying "
                         "to lock the mutex.",
                         szFile, nLine, m_strName.c_str(), this, thread, m_dwOwner.load(), error);
            BreakInDebugger();
        }
        return false;
    }
    if (result != WAIT_ABANDONED)
        return false;
    if (bReport) {
        DebugOutputA(kTraceLock,
                     "CriticalSection::Lock[%s(%d)](%s, %p, TID=%lx, owner=%lx), The mutex was not released by the "
                     "thread that owned the mutex before the owning thread terminated.",
                     szFile, nLine, m_strName.c_str(), this, thread, m_dwOwner.load());
        BreakInDebugger();
    }
    // The abandoned mutex is this thread's already; waiting again takes it a second time, as the contract has it.
    DWORD again = wait(0);
    if (again != WAIT_OBJECT_0)
        again = wait(INFINITE);
    if (again == WAIT_OBJECT_0)
        return true;
    const DWORD againError = GetLastError();
    if (bReport) {
        DebugOutputA(kTraceLock,
                     "CriticalSection::Lock[%s(%d)](%s, %p, TID=%lx, owner=%lx), The mutex could not be locked "
                     "(ret=%lu, err=0x%08x).",
                     szFile, nLine, m_strName.c_str(), this, thread, m_dwOwner.load(), again, againError);
        BreakInDebugger();
    }
    return false;
}

bool CriticalSection::Unlock(const char *szFile, int nLine, const char **pszLockerFile, int *pnLockerLine, bool bReport)
{
    const DWORD owner = m_dwOwner;
    const char *szLockerFile = m_szLockerFile;
    const int nLockerLine = m_nLockerLine;
    if (!IsLockedByCurrentThread()) {
        if (bReport) {
            DebugOutputA(kTraceLock,
                         // Also where the lock is not a mutex, as the contract has it.
                         "CriticalSection::Unlock[%s(%d)](%s, %p, TID=%lx, owner=%lx, file=%s, line=%d), The thread "
                         "does not own the Mutex.",
                         szFile, nLine, m_strName.c_str(), this, GetCurrentThreadId(), owner, szLockerFile,
                         nLockerLine);
            BreakInDebugger();
        }
        return false;
    }
    if (bReport)
        ReportLongHold(szFile, nLine);
    if (pszLockerFile)
        *pszLockerFile = szLockerFile;
    if (pnLockerLine)
        *pnLockerLine = nLockerLine;
    m_dwOwner = 0;
    m_dwLockTick = 0;
    m_nLockerLine = 0;
    m_szLockerFile = nullptr;
    Release(szFile, nLine, szLockerFile, nLockerLine, owner, bReport);
    return true;
}

// A mutex that is unlocked without reports still belongs to its thread as far as the system knows, as the contract has
// it.
void CriticalSection::Release(const char *szFile, int nLine, const char *szLockerFile, int nLockerLine, DWORD dwOwner,
                              bool bReport)
{
    if (!m_bMutexMode) {
        LeaveCriticalSection(&m_cs);
        return;
    }
    if (!bReport || SystemCalls().ReleaseMutex(m_hMutex))
        return;
    const DWORD error = GetLastError();
    DebugOutputA(kTraceLock,
                 "CriticalSection::Unlock[%s(%d)](%s, %p, TID=%lx, owner=%lx, file=%s, line=%d), The error (0x%08x) "
                 "occurred trying to unlock the mutex.",
                 szFile, nLine, m_strName.c_str(), this, GetCurrentThreadId(), dwOwner, szLockerFile, nLockerLine,
                 error);
    BreakInDebugger();
}

void CriticalSection::ReportLongHold(const char *szFile, int nLine) const
{
    const DWORD tick = m_dwLockTick;
    if (!m_bReportLongHolds || g_suppressLongHolds || tick == 0)
        return;
    const DWORD elapsed = Tick() - tick;
    if (elapsed < kLongHold)
        return;
    const SYSTEMTIME at = LocalTimeBefore(elapsed);
    DebugOutputA(kTraceLockWait,
                 "CriticalSection::Unlock[%s(%d)](%s, %p, TID=%lx, owner=%lx, file=%s, line=%d), The CriticalSection "
                 "object was locked for %.3f secs (at ~%02hu:%02hu:%02hu.%03hu) which is too long.",
                 szFile, nLine, m_strName.c_str(), this, GetCurrentThreadId(), m_dwOwner.load(), m_szLockerFile.load(),
                 m_nLockerLine.load(), elapsed / 1000.0, at.wHour, at.wMinute, at.wSecond, at.wMilliseconds);
}

bool CriticalSection::IsLockedByCurrentThread() const
{
    return m_dwOwner.load(std::memory_order_relaxed) == GetCurrentThreadId();
}

DWORD CriticalSection::LockedFor() const
{
    return Tick() - m_dwLockTick;
}

void CriticalSection::SuppressLongHolds(bool bSuppress)
{
    g_suppressLongHolds = bSuppress;
}

LockCriticalSection::LockCriticalSection(CriticalSection *pLock, bool bLock, const char *szFile, int nLine)
    : m_bLock(bLock), m_nLine(nLine), m_szFile(szFile), m_pLock(pLock)
{
    if (!m_pLock)
        return;
    m_bActive =
        m_bLock ? m_pLock->Lock(szFile, nLine, true) : m_pLock->Unlock(szFile, nLine, &m_szFile, &m_nLine, true);
}

LockCriticalSection::~LockCriticalSection()
{
    if (!m_bActive)
        return;
    try {
        if (m_bLock)
            m_pLock->Unlock(m_szFile, m_nLine, nullptr, nullptr, true);
        else
            m_pLock->Lock(m_szFile, m_nLine, true);
    } catch (...) {
        ReportException(kThisFile, "LockCriticalSection::~LockCriticalSection", 373);
    }
}
