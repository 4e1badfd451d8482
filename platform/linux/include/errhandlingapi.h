// The calling thread's last error, and structured exceptions as an in-process list of handlers.
#pragma once
#include <windows.h>

DWORD GetLastError();
void SetLastError(DWORD dwErrCode);

#define EXCEPTION_ACCESS_VIOLATION ((DWORD)0xC0000005)
#define EXCEPTION_NONCONTINUABLE 1
#define EXCEPTION_MAXIMUM_PARAMETERS 15
#define EXCEPTION_CONTINUE_EXECUTION (-1)
#define EXCEPTION_CONTINUE_SEARCH 0

typedef struct _EXCEPTION_RECORD {
    DWORD ExceptionCode;
    DWORD ExceptionFlags;
    struct _EXCEPTION_RECORD *ExceptionRecord;
    PVOID ExceptionAddress;
    DWORD NumberParameters;
    ULONG_PTR ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD, *PEXCEPTION_RECORD;

// Not on Linux: ContextRecord is null, because no processor state is captured.
struct CONTEXT;
using PCONTEXT = CONTEXT *;

typedef struct _EXCEPTION_POINTERS {
    PEXCEPTION_RECORD ExceptionRecord;
    PCONTEXT ContextRecord;
} EXCEPTION_POINTERS, *PEXCEPTION_POINTERS, *LPEXCEPTION_POINTERS;

using PVECTORED_EXCEPTION_HANDLER = LONG (*)(EXCEPTION_POINTERS *ExceptionInfo);

// Unlike on Windows, only exceptions that the platform itself raises reach the handlers (an unreadable text
// argument of a formatting function) and those of RaiseException: no signal handler is installed, so a genuine
// fault of the processor stays the signal that it is.
PVOID AddVectoredExceptionHandler(ULONG First, PVECTORED_EXCEPTION_HANDLER Handler);
ULONG RemoveVectoredExceptionHandler(PVOID Handle);
// An exception that no handler takes ends the process, as on Windows.
void RaiseException(DWORD dwExceptionCode, DWORD dwExceptionFlags, DWORD nNumberOfArguments,
                    const ULONG_PTR *lpArguments);
