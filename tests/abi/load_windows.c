#include "load.h"
#include <string.h>
#include <windows.h>

static HMODULE library;

/* The loader knows modules by names without slashes. */
static HMODULE find_loaded(const char *path)
{
    char name[MAX_PATH];
    size_t i;
    for (i = 0; i + 1 < sizeof name && path[i]; ++i)
        name[i] = path[i] == '/' ? '\\' : path[i];
    name[i] = 0;
    return GetModuleHandleA(name);
}

int load_library(const char *path)
{
    library = LoadLibraryA(path);
    return library != 0 && library == find_loaded(path);
}

void unload_library(void)
{
    FreeLibrary(library);
    library = 0;
}

int is_as_promised(const char *path)
{
    const ULONGLONG began = GetTickCount64();
    while (find_loaded(path)) {
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
