// The Win32 names that this project uses, on Linux, with the widths that they have on Windows.
// What is not implemented is not declared, so that its use does not compile. Types and COM are here; the
// functions stand in headers of their own, a header a facility, each included at the end of this one.
#pragma once
#define _WINDOWS_

// A MAPI header includes this one from inside its extern "C".
extern "C++" {

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

#define WINAPI
#define CALLBACK
#define APIENTRY
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define __stdcall
#define __cdecl
#define CONST const
#define VOID void
#define FAR
#define EXTERN_C extern "C"
#define OLESTR(text) u##text
#define __MSABI_LONG(value) value
#define __LONG32 int
#define __C89_NAMELESS
#define __WCHAR_DEFINED

// LONG and its relatives have 32 bits, as on every Windows; the compiler's `long` has 64 here.
using BYTE = std::uint8_t;
using CHAR = char;
using UCHAR = unsigned char;
using BOOLEAN = BYTE;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using BOOL = int;
using WINBOOL = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORDLONG = std::uint64_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
// UTF-16, not the compiler's 32-bit wchar_t.
using WCHAR = char16_t;
using OLECHAR = WCHAR;
using HRESULT = LONG;
using SCODE = LONG;
using DATE = double;
using LCID = DWORD;
using LANGID = WORD;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(WCHAR) == 2);
static_assert(sizeof(ULONG_PTR) == sizeof(void *));

using PVOID = void *;
using LPVOID = void *;
using LPCVOID = const void *;
using LPSTR = char *;
using LPCSTR = const char *;
using LPWSTR = WCHAR *;
using LPCWSTR = const WCHAR *;
using LPOLESTR = OLECHAR *;
using LPCOLESTR = const OLECHAR *;
using BSTR = OLECHAR *;
using LPBYTE = BYTE *;
using LPDWORD = DWORD *;
using LPBOOL = BOOL *;
using LPLONG = LONG *;
using HANDLE = void *;
using HINSTANCE = struct HINSTANCE__ *;
using HMODULE = HINSTANCE;
using HKEY = struct HKEY__ *;
using HWND = struct HWND__ *;
using HLOCAL = HANDLE;

#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

struct LARGE_INTEGER {
    LONGLONG QuadPart;
};
struct ULARGE_INTEGER {
    ULONGLONG QuadPart;
};

#define _FILETIME_
typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *LPFILETIME;

// The library's public header, when it came first, has declared it.
#ifndef ORLMAPI32_H
typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME;
#endif
using LPSYSTEMTIME = SYSTEMTIME *;

typedef struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
} GUID, *LPGUID;
using IID = GUID;
using CLSID = GUID;
using LPCGUID = const GUID *;
#define __LPCGUID_DEFINED__
using REFGUID = const GUID &;
using REFIID = const IID &;
using REFCLSID = const CLSID &;

inline bool operator==(const GUID &left, const GUID &right)
{
    return std::memcmp(&left, &right, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID &left, const GUID &right)
{
    return !(left == right);
}
inline BOOL IsEqualGUID(REFGUID left, REFGUID right)
{
    return left == right;
}
#define IsEqualIID(left, right) IsEqualGUID(left, right)

#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) extern "C" const GUID name
#define DEFINE_OLEGUID(name, l, w1, w2) DEFINE_GUID(name, l, w1, w2, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)

#define interface struct
#define STDMETHOD(method) virtual HRESULT method
#define STDMETHOD_(type, method) virtual type method
#define STDMETHODIMP HRESULT
#define STDMETHODIMP_(type) type
#define STDAPI extern "C" HRESULT
#define STDAPI_(type) extern "C" type
#define PURE = 0
#define THIS_
#define THIS void
#define DECLARE_INTERFACE(iface) struct iface
#define DECLARE_INTERFACE_(iface, base) struct iface : public base
#define BEGIN_INTERFACE

DEFINE_OLEGUID(IID_IUnknown, 0x00000000, 0, 0);

// COM's root. No virtual destructor: the vtable is the three operations and nothing else.
struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void **ppvObject) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};
using LPUNKNOWN = IUnknown *;

struct IMalloc;
using LPMALLOC = IMalloc *;

using DOUBLE = double;
using FLOAT = float;

// Only ever passed as a null pointer: objects are not inherited by other programs here.
struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES *;

// clang-format off
#include "winerror.h"
#include "objidl.h"
#include "crt.h"
#include "errhandlingapi.h"
#include "handleapi.h"
#include "synchapi.h"
#include "processthreadsapi.h"
#include "debugapi.h"
#include "libloaderapi.h"
#include "sysinfoapi.h"
#include "timezoneapi.h"
#include "datetimeapi.h"
#include "winnls.h"
#include "winbase.h"
#include "winuser.h"
#include "winreg.h"
// clang-format on

} // extern "C++"
