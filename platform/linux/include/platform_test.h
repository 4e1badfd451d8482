// For tests only: what the platform layer holds at the moment. Linux only.
#pragma once
#include <cstddef>
#include <oleauto.h>

// Handles of events, mutexes and threads that are open.
std::size_t PlatformLiveHandles();
// Threads started by _beginthread and _beginthreadex that have not ended.
std::size_t PlatformLiveThreads();
// Makes tests of pointers take the way that they take where process_vm_readv is refused.
void PlatformProbeByPipe(bool byPipe);
// Reads a date as where dates have this form ("%d.%m.%Y", as the C library's locales write it); months and weekdays
// have the names of the process's own locale.
HRESULT PlatformReadDateAs(const char *form, const OLECHAR *text, DATE *date);
