// Ticks, the clock, and the version of the system.
#pragma once
#include <windows.h>

DWORD GetTickCount();
ULONGLONG GetTickCount64();
void GetSystemTime(LPSYSTEMTIME lpSystemTime);
void GetLocalTime(LPSYSTEMTIME lpSystemTime);
void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime);

#define VER_PLATFORM_WIN32_NT 2

typedef struct _OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
} OSVERSIONINFOA, *LPOSVERSIONINFOA;

// The kernel's version numbers, and the platform of Windows NT.
BOOL GetVersionExA(LPOSVERSIONINFOA lpVersionInformation);
