/*
 * no_slots DLL...: a host in plain C that has taken every slot for fibers' values: a DLL that needs one is not loaded,
 * and the host goes on; with one given back it is.
 */
#include <stdio.h>
#include <windows.h>

int main(int argc, char **argv)
{
    static DWORD slots[5000]; /* the most that Windows has are 4,096 */
    int count, i, failures = argc < 2;
    for (i = 1; i < argc; ++i) {
        HMODULE loaded;
        for (count = 0; count < 5000 && (slots[count] = FlsAlloc(NULL)) != FLS_OUT_OF_INDEXES; ++count)
            ;
        SetLastError(0);
        loaded = LoadLibraryA(argv[i]);
        if (loaded || GetLastError() != ERROR_DLL_INIT_FAILED) {
            printf("%s: without a slot: %p, error %lu\n", argv[i], (void *)loaded, GetLastError());
            ++failures;
        }
        if (loaded)
            FreeLibrary(loaded);
        while (count > 0)
            FlsFree(slots[--count]);
        loaded = LoadLibraryA(argv[i]);
        if (!loaded) {
            printf("%s: with slots: error %lu\n", argv[i], GetLastError());
            ++failures;
        }
        FreeLibrary(loaded);
    }
    return failures;
}
