// Times between their forms. The time zone is the process's (TZ, else the system's).
#pragma once
#include <windows.h>

BOOL SystemTimeToFileTime(const SYSTEMTIME *lpSystemTime, LPFILETIME lpFileTime);
BOOL FileTimeToSystemTime(const FILETIME *lpFileTime, LPSYSTEMTIME lpSystemTime);
// With the offset to UTC that holds now, whatever the date converted, as on Windows.
BOOL FileTimeToLocalFileTime(const FILETIME *lpFileTime, LPFILETIME lpLocalFileTime);
BOOL LocalFileTimeToFileTime(const FILETIME *lpLocalFileTime, LPFILETIME lpFileTime);

// Only ever passed as a null pointer: the process's own zone.
struct TIME_ZONE_INFORMATION;
// With the offset that holds at the date converted.
BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION *lpTimeZone, const SYSTEMTIME *lpUniversalTime,
                                     LPSYSTEMTIME lpLocalTime);
BOOL TzSpecificLocalTimeToSystemTime(const TIME_ZONE_INFORMATION *lpTimeZone, const SYSTEMTIME *lpLocalTime,
                                     LPSYSTEMTIME lpUniversalTime);
LONG CompareFileTime(const FILETIME *lpFileTime1, const FILETIME *lpFileTime2);
