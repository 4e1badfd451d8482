// Modules. An HMODULE stands for a loaded shared object, the program itself, or an opened message catalogue.
#pragma once
#include <windows.h>

#define LOAD_LIBRARY_AS_DATAFILE 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004

// Without a result, unlike on Windows: the one function type that may be cast to any other without a warning.
using FARPROC = void (*)();

// A name with a '/' is a path. Any other is looked for, letter by letter as it stands, beside the image that this
// code is linked into, and then in the loader's ordinary places.
HMODULE LoadLibraryA(LPCSTR lpLibFileName);
// Flags 0 as LoadLibraryA. LOAD_LIBRARY_AS_DATAFILE opens a catalogue of messages (gencat's format; set 1, the
// code as number), a path or a name that NLSPATH finds: what FormatMessageA's FORMAT_MESSAGE_FROM_HMODULE reads.
HMODULE LoadLibraryExA(LPCSTR lpLibFileName, HANDLE hFile, DWORD dwFlags);
BOOL FreeLibrary(HMODULE hLibModule);
FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName);
// A null module is the running program.
DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);
// Only with both flags: the image that holds an address.
BOOL GetModuleHandleExA(DWORD dwFlags, LPCSTR lpModuleName, HMODULE *phModule);
