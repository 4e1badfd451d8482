// Threads of the C runtime.
#pragma once
#include <windows.h>

// The handle is closed by the thread's end; all ones when no thread could be started.
uintptr_t _beginthread(void (*start_address)(void *), unsigned stack_size, void *arglist);
// The handle is the caller's, and signalled by the thread's end; 0 when no thread could be started. Initflag 0 only.
uintptr_t _beginthreadex(void *security, unsigned stack_size, unsigned (*start_address)(void *), void *arglist,
                         unsigned initflag, unsigned *thrdaddr);
