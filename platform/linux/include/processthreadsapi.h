// Identifiers of process and thread, and thread-local slots.
#pragma once
#include <windows.h>

#define TLS_OUT_OF_INDEXES ((DWORD)0xFFFFFFFF)

DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

// A thread's value of a slot that was freed and allocated again is null, in threads that live on too.
DWORD TlsAlloc();
LPVOID TlsGetValue(DWORD dwTlsIndex);
BOOL TlsSetValue(DWORD dwTlsIndex, LPVOID lpTlsValue);
BOOL TlsFree(DWORD dwTlsIndex);
