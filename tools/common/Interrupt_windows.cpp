#include "common/Interrupt.h"
#include <algorithm>
#include <atomic>
#include <windows.h>

namespace tool
{

namespace
{

HANDLE g_requested = nullptr;
std::atomic<bool> g_once{false};

BOOL WINAPI OnControl(DWORD control)
{
    if ((control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) || g_once.exchange(true))
        return FALSE;
    SetEvent(g_requested);
    return TRUE;
}

} // namespace

Interrupt::Interrupt()
{
    g_requested = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_once = false;
    // Whoever started the program may have had Ctrl-C ignored for itself, which would be inherited.
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(OnControl, TRUE);
}

Interrupt::~Interrupt()
{
    SetConsoleCtrlHandler(OnControl, FALSE);
    CloseHandle(g_requested);
}

void Interrupt::Request()
{
    SetEvent(g_requested);
}

bool Interrupt::Wait(std::optional<std::chrono::milliseconds> most)
{
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        DWORD left = INFINITE;
        if (most) {
            const ULONGLONG waited = GetTickCount64() - start;
            const auto whole = static_cast<ULONGLONG>(most->count());
            if (waited >= whole)
                return false;
            left = static_cast<DWORD>(std::min<ULONGLONG>(whole - waited, 1 << 30));
        }
        if (WaitForSingleObject(g_requested, left) != WAIT_TIMEOUT)
            return true;
    }
}

} // namespace tool
