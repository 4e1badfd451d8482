#include "common/base/SystemCalls.h"

SystemCallTable &SystemCalls()
{
    static SystemCallTable calls = {
        ::CreateMutexA, ::WaitForSingleObject, ::ReleaseMutex, ::CloseHandle,        ::GetTickCount,
        ::GetLocalTime, ::IsDebuggerPresent,   ::DebugBreak,   ::OutputDebugStringA, ::OutputDebugStringW,
    };
    return calls;
}
