// The debugger: whether one is attached, stopping in it, and the debug sink.
#pragma once
#include <windows.h>

// Asks the kernel at most every 100 ms.
BOOL IsDebuggerPresent();
// SIGTRAP, which ends a process without a debugger, as the breakpoint exception does.
void DebugBreak();

// To what ORLMAPI_DEBUG names at the first call: "stderr", "syslog", or else a file that is appended to. Nothing
// is written without it, as on Windows with no debugger attached.
void OutputDebugStringA(LPCSTR lpOutputString);
void OutputDebugStringW(LPCWSTR lpOutputString);
