// The settings store: the registry's names over one JSON file, ORLMAPI_SETTINGS or else orlmapi/settings.json in
// $XDG_CONFIG_HOME (~/.config). An object a key, named by its whole path, as
//   { "HKEY_LOCAL_MACHINE\\SOFTWARE\\BRANE\\host\\Debug": { "Filter Level": 8, "Module Name": "host",
//                                                           "ID Bitmap": { "binary": "ffff" } } }
// Names of keys and values are compared without case. Every call sees what other processes have written. A damaged
// file is left as it is and every open fails (ERROR_BADDB); a folder or file that can't be written to gives
// ERROR_ACCESS_DENIED.
#pragma once
#include <windows.h>

using REGSAM = DWORD;
using LSTATUS = LONG;
using PHKEY = HKEY *;

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)((LONG)0x80000000))
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))

#define REG_NONE 0
#define REG_SZ 1
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F

LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult);
LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass, DWORD dwOptions, REGSAM samDesired,
                        const SECURITY_ATTRIBUTES *lpSecurityAttributes, PHKEY phkResult, LPDWORD lpdwDisposition);
LSTATUS RegCloseKey(HKEY hKey);
LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                         LPDWORD lpcbData);
// REG_SZ, REG_DWORD and REG_BINARY. A REG_SZ must be UTF-8.
LSTATUS RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType, const BYTE *lpData, DWORD cbData);
LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR lpValueName);
// A key with keys below it is not deleted (ERROR_ACCESS_DENIED); RegDeleteTreeA deletes them with it.
LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR lpSubKey);
LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey);
LSTATUS RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved, LPSTR lpClass,
                      LPDWORD lpcchClass, LPFILETIME lpftLastWriteTime);
