// How a Win32 function says no: the thread's last error, and nothing as its result.
#pragma once
#include <windows.h>

template <class Result> Result Fail(DWORD error)
{
    SetLastError(error);
    return {};
}
