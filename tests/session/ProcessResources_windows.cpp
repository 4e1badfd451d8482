#include "session/ProcessResources.h"
#include <windows.h>

#include <tlhelp32.h>

const std::size_t kResourceNoise = 5;

ProcessResources CountProcessResources()
{
    ProcessResources result;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        result.threads += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    result.handles = handles;
    return result;
}
