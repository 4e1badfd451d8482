// The calling thread's last error, and the identifiers of process and thread.
#include <pthread.h>
#include <unistd.h>
#include <windows.h>

namespace
{
thread_local DWORD lastError = ERROR_SUCCESS;
thread_local DWORD threadId = 0;

// The thread that forked goes on in the child under another identifier.
[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, [] { threadId = 0; });
} // namespace

DWORD GetLastError()
{
    return lastError;
}

void SetLastError(DWORD dwErrCode)
{
    lastError = dwErrCode;
}

DWORD GetCurrentProcessId()
{
    return static_cast<DWORD>(getpid());
}

DWORD GetCurrentThreadId()
{
    if (threadId == 0)
        threadId = static_cast<DWORD>(gettid());
    return threadId;
}
