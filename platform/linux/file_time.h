// The system's times as Windows counts them: from 1601 on, in units of 100 ns.
#pragma once
#include <time.h>
#include <windows.h>

FILETIME FileTimeOf(const timespec &time);
