// Tests of pointers, lengths of text, error texts, local memory, and the DOS form of dates.
#pragma once
#include <windows.h>

// By system calls that fail where the memory can't be read: no signal is raised and no handler installed. Reading
// stops at the terminator or after ucchMax characters.
BOOL IsBadStringPtrA(LPCSTR lpsz, UINT_PTR ucchMax);
BOOL IsBadStringPtrW(LPCWSTR lpsz, UINT_PTR ucchMax);
BOOL IsBadReadPtr(const void *lp, UINT_PTR ucb);
// Leaves the bytes alone, where Windows writes each back.
BOOL IsBadWritePtr(LPVOID lp, UINT_PTR ucb);

// 0 for a null or unreadable pointer.
int lstrlenA(LPCSTR lpString);
int lstrlenW(LPCWSTR lpString);

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FF

// IGNORE_INSERTS only. The system's texts are those of Win32 codes and of HRESULTs of that facility, mostly the C
// library's for the errno that means the same; no text is there for codes of MAPI or OLE. A line ends in "\r\n".
// The language asked for is ignored: texts are in the process's own.
DWORD FormatMessageA(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPSTR lpBuffer,
                     DWORD nSize, va_list *Arguments);
HLOCAL LocalFree(HLOCAL hMem);

BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime);
