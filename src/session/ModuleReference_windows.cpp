#include "session/ModuleReference.h"
#include <process.h>

namespace
{

// What a thread that let the last session go, and others that were inside a call on it, take to leave the library.
constexpr DWORD kLeaveMilliseconds = 200;

struct Leaving {
    void *pModule;
    HANDLE hBegun;
};

unsigned __stdcall LeaveBody(void *pLeaving)
{
    const Leaving leaving = *static_cast<Leaving *>(pLeaving);
    SetEvent(leaving.hBegun);
    LeaveModule(leaving.pModule);
    return 0;
}

} // namespace

void *HoldModule()
{
    HMODULE hModule = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const WCHAR *>(&HoldModule), &hModule);
    return hModule;
}

void LeaveModule(void *pModule)
{
    if (!pModule)
        return;
    Sleep(kLeaveMilliseconds);
    FreeLibraryAndExitThread(static_cast<HMODULE>(pModule), 0);
}

// Waits until the thread runs: the process may be about to end, and a thread that begins just then is in the way.
void LeaveModuleLater(void *pModule)
{
    Leaving leaving = {pModule, CreateEventA(nullptr, FALSE, FALSE, nullptr)};
    if (!leaving.hBegun)
        return;
    if (const auto thread = _beginthreadex(nullptr, 0, LeaveBody, &leaving, 0, nullptr)) {
        WaitForSingleObject(leaving.hBegun, INFINITE);
        CloseHandle(reinterpret_cast<HANDLE>(thread));
    }
    CloseHandle(leaving.hBegun);
}
