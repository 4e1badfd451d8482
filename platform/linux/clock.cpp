// Ticks, the clock, times as FILETIME, the system's version.
#include "file_time.h"
#include <cstdio>
#include <sys/utsname.h>

FILETIME FileTimeOf(const timespec &time)
{
    constexpr ULONGLONG kUnixEpoch = 116444736000000000; // from 1601 to 1970, in units of 100 ns
    const ULONGLONG ticks =
        kUnixEpoch + static_cast<ULONGLONG>(time.tv_sec) * 10000000 + static_cast<ULONGLONG>(time.tv_nsec) / 100;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

ULONGLONG GetTickCount64()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000 + static_cast<ULONGLONG>(now.tv_nsec) / 1000000;
}

DWORD GetTickCount()
{
    return static_cast<DWORD>(GetTickCount64());
}

void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    *lpSystemTimeAsFileTime = FileTimeOf(now);
}

void GetSystemTime(LPSYSTEMTIME lpSystemTime)
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    FileTimeToSystemTime(&now, lpSystemTime);
}

void GetLocalTime(LPSYSTEMTIME lpSystemTime)
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    SystemTimeToTzSpecificLocalTime(nullptr, &now, lpSystemTime);
}

BOOL GetVersionExA(LPOSVERSIONINFOA lpVersionInformation)
{
    if (!lpVersionInformation || lpVersionInformation->dwOSVersionInfoSize != sizeof(OSVERSIONINFOA)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    utsname system;
    unsigned major = 0, minor = 0, build = 0;
    if (uname(&system) == 0)
        std::sscanf(system.release, "%u.%u.%u", &major, &minor, &build);
    *lpVersionInformation = {sizeof(OSVERSIONINFOA), major, minor, build, VER_PLATFORM_WIN32_NT, {}};
    return TRUE;
}
