// The system's functions whose answers the lock, the trace and the reports depend on: time, the debugger, its output,
// mutexes. Tests put others in their place while no other thread is at work.
#pragma once
#include <windows.h>

struct SystemCallTable {
    decltype(&::CreateMutexA) CreateMutexA;
    decltype(&::WaitForSingleObject) WaitForSingleObject;
    decltype(&::ReleaseMutex) ReleaseMutex;
    decltype(&::CloseHandle) CloseHandle;
    decltype(&::GetTickCount) GetTickCount;
    decltype(&::GetLocalTime) GetLocalTime;
    decltype(&::IsDebuggerPresent) IsDebuggerPresent;
    decltype(&::DebugBreak) DebugBreak;
    decltype(&::OutputDebugStringA) OutputDebugStringA;
    decltype(&::OutputDebugStringW) OutputDebugStringW;
};

SystemCallTable &SystemCalls();
