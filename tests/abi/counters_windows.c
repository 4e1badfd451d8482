/* The counters of Windows. What the system counts differently under Wine is counted by trying. */
#include "counters.h"
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#define THREAD_NAME 0x406D1388 /* what debuggers are told a thread's name with */

/* How many slots there still are; the most that Windows has are 4,096. */
static long long free_slots(DWORD take(void), BOOL give(DWORD))
{
    static DWORD slots[5000];
    long long count = 0, i;
    while (count < 5000 && (slots[count] = take()) != TLS_OUT_OF_INDEXES)
        ++count;
    for (i = 0; i < count; ++i)
        give(slots[i]);
    return count;
}

static DWORD take_tls(void)
{
    return TlsAlloc();
}

static BOOL give_tls(DWORD slot)
{
    return TlsFree(slot);
}

static DWORD take_fls(void)
{
    return FlsAlloc(NULL);
}

static BOOL give_fls(DWORD slot)
{
    return FlsFree(slot);
}

static long long threads(void)
{
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry;
    long long count = 0;
    BOOL more;
    entry.dwSize = sizeof entry;
    for (more = Thread32First(all, &entry); more; more = Thread32Next(all, &entry))
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            ++count;
    CloseHandle(all);
    return count;
}

/* Blocks in use, and their bytes, of all heaps. */
static void heaps(long long *blocks, long long *bytes)
{
    HANDLE all[64];
    const DWORD count = GetProcessHeaps(64, all);
    DWORD i;
    *blocks = *bytes = 0;
    for (i = 0; i < count && i < 64; ++i) {
        PROCESS_HEAP_ENTRY entry;
        entry.lpData = NULL;
        HeapLock(all[i]);
        while (HeapWalk(all[i], &entry)) {
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) {
                ++*blocks;
                *bytes += entry.cbData;
            }
        }
        HeapUnlock(all[i]);
    }
}

/* Wine's GetProcessHandleCount knows none, so each number that may be one is asked for. */
static long long handles(void)
{
    long long count = 0;
    ULONG_PTR number;
    DWORD flags;
    for (number = 4; number < 0x8000; number += 4)
        count += GetHandleInformation((HANDLE)number, &flags) != 0;
    return count;
}

static long long private_bytes(void)
{
    PROCESS_MEMORY_COUNTERS memory;
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory))
        return -1;
    return (long long)memory.PagefileUsage;
}

void wait_a_moment(void)
{
    Sleep(100);
}

void hold_system(void)
{
    static const char *const names[] = {"advapi32", "ole32", "oleaut32", "user32", "shell32"};
    size_t i;
    for (i = 0; i < sizeof names / sizeof names[0]; ++i)
        LoadLibraryA(names[i]);
}

void count_all(struct counter *counters)
{
    long long blocks, bytes;
    heaps(&blocks, &bytes);
    counters[0] = (struct counter){"free slots of threads (TLS)", free_slots(take_tls, give_tls), 0};
    counters[1] = (struct counter){"free slots of fibers (FLS)", free_slots(take_fls, give_fls), 0};
    counters[2] = (struct counter){"handles", handles(), 0};
    counters[3] = (struct counter){"threads", threads(), 0};
    counters[4] = (struct counter){"blocks on the heaps", blocks, 4};
    counters[5] = (struct counter){"bytes on the heaps", bytes, 1024};
    counters[6] = (struct counter){"private bytes", private_bytes(), 512 * 1024};
}

static volatile LONG arrived;

static LONG CALLBACK arrive(EXCEPTION_POINTERS *what)
{
    if (what->ExceptionRecord->ExceptionCode != THREAD_NAME)
        return EXCEPTION_CONTINUE_SEARCH;
    InterlockedIncrement(&arrived);
    return EXCEPTION_CONTINUE_EXECUTION;
}

int exceptions_arrive(void)
{
    void *const handler = AddVectoredExceptionHandler(0, arrive);
    const ULONG_PTR name[4] = {0x1000, (ULONG_PTR) "host", (ULONG_PTR)-1, 0};
    arrived = 0;
    RaiseException(THREAD_NAME, 0, 4, name);
    RemoveVectoredExceptionHandler(handler);
    return arrived == 1;
}
