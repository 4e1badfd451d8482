// Structured exceptions, for the platform's own code.
#pragma once
#include <windows.h>

namespace platform
{
// Calls the registered handlers, in order, until one answers EXCEPTION_CONTINUE_EXECUTION: then true. A handler may
// leave by longjmp, so the frames between the caller and its own caller's guard must hold nothing to destroy.
bool DispatchException(DWORD code, DWORD flags, const void *address, DWORD count, const ULONG_PTR *parameters);
} // namespace platform
