#include "common/CritSectCalls.h"

CritSectCalls &SystemCalls()
{
    static CritSectCalls calls = {::CreateMutexA, ::WaitForSingleObject, ::ReleaseMutex,      ::CloseHandle,
                                  ::GetTickCount, ::GetLocalTime,        ::IsDebuggerPresent, ::DebugBreak};
    return calls;
}
