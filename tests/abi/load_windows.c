#include "load.h"
#include <string.h>
#include <windows.h>

static HMODULE library;

int load_library(const char *path)
{
    library = LoadLibraryA(path);
    return library != 0;
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
