/*
 * A host for Windows with nothing in it but calls of the library: no C runtime, no other header. Its status is 7 where
 * a connection could be made, had its results named, and was closed.
 */
#include "OrlMapi32.h"

__declspec(dllimport) void __stdcall ExitProcess(unsigned status);

void start(void)
{
    DWORD connection = 0;
    char name[64];
    unsigned status = 7;
    if (OrlCreateConnection(&connection, 0) != 0 || connection == 0)
        status = 1;
    OrlGetErrorTextA(connection, OrlMapiConnectA(connection, "", "", "There is no such profile"), name, sizeof name);
    if (name[0] != 'M' || name[4] != '_')
        status = 2;
    if (OrlCloseConnection(&connection) != 0)
        status = 3;
    ExitProcess(status);
}
