// What the C runtime of Windows has beside the standard C library, in <stdio.h>, <string.h> and <stdlib.h> there.
#pragma once
#include <cstdarg>
#include <cstdio>
#include <windows.h>

using errno_t = int;
using rsize_t = std::size_t;
#define _TRUNCATE ((std::size_t)-1)
#define _countof(array) (sizeof(array) / sizeof((array)[0]))
#define _MAX_PATH 260
#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256

// The format is read as the 32-bit runtime reads it, on 64 bits too: `l` is 32 bits wide, WCHAR text is UTF-16. An
// argument that points to unreadable text raises EXCEPTION_ACCESS_VIOLATION; when no handler takes it, the call gives
// -1 and empty text. %n is refused in the same way. A result that does not fit gives -1: with _TRUNCATE the buffer
// holds what fits, with a count that does not fit it is emptied. Invalid buffers give -1 with errno EINVAL.
int _vsnprintf_s(char *buffer, std::size_t sizeOfBuffer, std::size_t count, const char *format, va_list argptr);
int _snprintf_s(char *buffer, std::size_t sizeOfBuffer, std::size_t count, const char *format, ...);
int sprintf_s(char *buffer, std::size_t sizeOfBuffer, const char *format, ...);
int _vsnwprintf_s(WCHAR *buffer, std::size_t sizeOfBuffer, std::size_t count, const WCHAR *format, va_list argptr);
int _snwprintf_s(WCHAR *buffer, std::size_t sizeOfBuffer, std::size_t count, const WCHAR *format, ...);

// An invalid argument gives its code and empties the target, and never ends the process.
errno_t strcpy_s(char *dest, rsize_t dest_size, const char *src);
errno_t wcscpy_s(WCHAR *dest, rsize_t dest_size, const WCHAR *src);
int _stricmp(const char *string1, const char *string2);
int _strnicmp(const char *string1, const char *string2, std::size_t count);
char *_strdup(const char *strSource);

// Folders end in '/' here; there are no drives. A part that does not fit empties all of them (ERANGE).
errno_t _splitpath_s(const char *path, char *drive, std::size_t driveNumberOfElements, char *dir,
                     std::size_t dirNumberOfElements, char *fname, std::size_t nameNumberOfElements, char *ext,
                     std::size_t extNumberOfElements);

// Files are not locked against other openers, as they are on Windows.
errno_t fopen_s(FILE **pFile, const char *filename, const char *mode);
errno_t _wfopen_s(FILE **pFile, const WCHAR *filename, const WCHAR *mode);
