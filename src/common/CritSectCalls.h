// The system's functions behind the lock; tests put others in their place before they start threads.
#pragma once
#include <windows.h>

struct CritSectCalls {
    decltype(&::CreateMutexA) CreateMutexA;
    decltype(&::WaitForSingleObject) WaitForSingleObject;
    decltype(&::ReleaseMutex) ReleaseMutex;
    decltype(&::CloseHandle) CloseHandle;
    decltype(&::GetTickCount) GetTickCount;
    decltype(&::GetLocalTime) GetLocalTime;
    decltype(&::IsDebuggerPresent) IsDebuggerPresent;
    decltype(&::DebugBreak) DebugBreak;
};

CritSectCalls &SystemCalls();
