/*
 * What OrlMapi32.h uses of Microsoft's windows.h, for a compiler that has no SDK here; the sizes are those of Windows.
 */
#ifndef _WINDOWS_
#define _WINDOWS_
typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef int BOOL;
typedef long LONG;
typedef unsigned long ULONG;
typedef unsigned long DWORD;
typedef long HRESULT;
typedef __UINTPTR_TYPE__ ULONG_PTR;
typedef unsigned short WCHAR;
typedef const char *LPCSTR;
typedef const WCHAR *LPCWSTR;
typedef struct _SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} SYSTEMTIME;
#endif
