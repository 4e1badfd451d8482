// Text between code pages. The ANSI code page is the locale's encoding (LC_ALL, LC_CTYPE, LANG, as read at the
// first use), UTF-8 where the locale is C or POSIX.
#pragma once
#include <windows.h>

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
#define MB_PRECOMPOSED 0x00000001
#define MB_ERR_INVALID_CHARS 0x00000008
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400
#define LOCALE_USER_DEFAULT ((LCID)0x0400)
#define LOCALE_SYSTEM_DEFAULT ((LCID)0x0800)
#define LOCALE_NOUSEROVERRIDE 0x80000000
#define LANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(primary, sub) ((((WORD)(sub)) << 10) | (WORD)(primary))

UINT GetACP();
int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte, LPWSTR lpWideCharStr,
                        int cchWideChar);
// Unlike on a Windows whose ANSI code page is UTF-8, CP_ACP takes a default character and tells of its use there too.
int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar, LPSTR lpMultiByteStr,
                        int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);
