/*
 * The names of results: each one that a trace can name has that code, and the header lives with the platform's own,
 * whichever comes first.
 */
#ifdef RESULTS_FIRST
#include "OrlMapi32_results.h"
#endif
#if defined(_WIN32)
#include <windows.h>

#include <wtypes.h>

#include <mapicode.h>
#endif
#include "OrlMapi32_results.h"
#include "load.h"
#include "result_names.h"
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv)
{
    PFN_OrlGetErrorTextA text;
    size_t i, named = 0;
    int wrong = 0;
    if (argc != 2 || !load_library(argv[1]))
        return 1;
    text = (PFN_OrlGetErrorTextA)by_name("OrlGetErrorTextA");
    for (i = 0; i < sizeof kResults / sizeof kResults[0]; ++i) {
        char name[64] = "";
        text(0, (HRESULT)kResults[i].code, name, sizeof name);
        if (name[0] == 0 || strncmp(kResults[i].name, "MAPI_", 5) != 0)
            continue; /* a name of the system's, for which the trace has none or MAPI's */
        ++named;
        if (strcmp(name, kResults[i].name) != 0) {
            printf("%s is called %s\n", kResults[i].name, name);
            ++wrong;
        }
    }
    printf("%lu of %lu are MAPI's\n", (unsigned long)named, (unsigned long)i);
    if (named < 70 || !FAILED(E_FAIL) || FAILED(S_OK) || (HRESULT)MAPI_E_NOT_FOUND != (HRESULT)0x8004010Fu)
        ++wrong;
    return wrong == 0 ? 0 : 1;
}
