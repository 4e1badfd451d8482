// Events, mutexes, waiting, critical sections, and interlocked variables.
#pragma once
#include <pthread.h>
#include <windows.h>

#define INFINITE 0xFFFFFFFF
#define WAIT_OBJECT_0 ((DWORD)0)
#define WAIT_ABANDONED ((DWORD)0x80)
#define WAIT_ABANDONED_0 ((DWORD)0x80)
#define WAIT_TIMEOUT ((DWORD)258)
#define WAIT_FAILED ((DWORD)0xFFFFFFFF)
#define MAXIMUM_WAIT_OBJECTS 64

// Names are seen by this image only, on Windows by the whole session. Mutexes whose names begin with "Global\" can be
// seen by other processes, too (shared_names.h): such a mutex is waited for alone, and taken by waiting only.
HANDLE CreateEventA(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState, LPCSTR lpName);
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState, LPCWSTR lpName);
BOOL SetEvent(HANDLE hEvent);
BOOL ResetEvent(HANDLE hEvent);

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner, LPCSTR lpName);
HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner, LPCWSTR lpName);
BOOL ReleaseMutex(HANDLE hMutex);

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE *lpHandles, BOOL bWaitAll, DWORD dwMilliseconds);

void Sleep(DWORD dwMilliseconds);

// Recursive. Leaving one that the thread does not hold does nothing.
struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION *;
void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION lpCriticalSection, DWORD dwSpinCount);
void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection);

// Every one of them is a full barrier.
inline LONG InterlockedIncrement(LONG volatile *target)
{
    return __atomic_add_fetch(target, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(LONG volatile *target)
{
    return __atomic_sub_fetch(target, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchange(LONG volatile *target, LONG value)
{
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchangeAdd(LONG volatile *target, LONG value)
{
    return __atomic_fetch_add(target, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedCompareExchange(LONG volatile *target, LONG exchange, LONG comparand)
{
    __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return comparand;
}
inline PVOID InterlockedExchangePointer(PVOID volatile *target, PVOID value)
{
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
inline PVOID InterlockedCompareExchangePointer(PVOID volatile *target, PVOID exchange, PVOID comparand)
{
    __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return comparand;
}
