// Handles of events, mutexes and threads.
#pragma once
#include <windows.h>

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

BOOL CloseHandle(HANDLE hObject);
