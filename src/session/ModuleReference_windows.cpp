#include "session/ModuleReference.h"

namespace
{

// What a thread that let the last session go, and others that were inside a call on it, take to leave the library.
constexpr DWORD kLeaveMilliseconds = 200;

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

void LeaveThread(HANDLE hThread)
{
    CloseHandle(hThread);
}
