#include "load.h"
#include <string.h>
#include <windows.h>

static HMODULE library;

int load_library(const char *path)
{
    library = LoadLibraryA(path);
    return library != 0;
}

void unload_library(void)
{
    FreeLibrary(library);
    library = 0;
}

int is_as_promised(const char *path)
{
    const ULONGLONG began = GetTickCount64();
    while (GetModuleHandleA(path)) {
        if (GetTickCount64() - began > 2000)
            return 0;
        Sleep(10);
    }
    return 1;
}

static Function convert(FARPROC found)
{
    Function function;
    memcpy(&function, &found, sizeof function);
    return function;
}

Function by_name(const char *name)
{
    return convert(GetProcAddress(library, name));
}

Function by_ordinal(unsigned ordinal, const char *name)
{
    (void)name;
    return convert(GetProcAddress(library, (LPCSTR)(ULONG_PTR)ordinal));
}
