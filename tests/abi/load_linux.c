#include "load.h"
#include <dlfcn.h>
#include <string.h>

static void *library;

int load_library(const char *path)
{
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    return library != 0;
}

void unload_library(void)
{
    dlclose(library);
    library = 0;
}

int is_as_promised(const char *path)
{
    void *const stayed = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (stayed)
        dlclose(stayed);
    return stayed != 0;
}

Function by_name(const char *name)
{
    Function function;
    void *symbol = dlsym(library, name);
    memcpy(&function, &symbol, sizeof function);
    return function;
}

Function by_ordinal(unsigned ordinal, const char *name)
{
    (void)ordinal;
    return by_name(name);
}
