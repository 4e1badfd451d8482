// The system's functions as a test wants them: time that stands, a debugger that counts its stops, debug output that
// is kept. Everything is the system's again afterwards.
#pragma once
#include "common/base/SystemCalls.h"
#include <string>
#include <vector>

class ReplacedCalls
{
  public:
    ReplacedCalls() : m_before(SystemCalls())
    {
        state() = State{};
        SystemCalls().OutputDebugStringA = KeepA;
        SystemCalls().OutputDebugStringW = KeepW;
    }
    ~ReplacedCalls() { SystemCalls() = m_before; }
    ReplacedCalls(const ReplacedCalls &) = delete;
    ReplacedCalls &operator=(const ReplacedCalls &) = delete;

    void StopTicks(DWORD at)
    {
        state().tick = at;
        SystemCalls().GetTickCount = Tick;
    }
    void Advance(DWORD milliseconds) { state().tick += milliseconds; }
    void StopClock(const SYSTEMTIME &at)
    {
        state().time = at;
        SystemCalls().GetLocalTime = Time;
    }
    void AttachDebugger()
    {
        SystemCalls().IsDebuggerPresent = Present;
        SystemCalls().DebugBreak = Break;
    }
    int Breaks() const { return state().breaks; }
    const std::vector<std::string> &DebugOutput() const { return state().narrow; }
    const std::vector<std::basic_string<WCHAR>> &WideDebugOutput() const { return state().wide; }

  private:
    struct State {
        DWORD tick = 0;
        SYSTEMTIME time{};
        int breaks = 0;
        std::vector<std::string> narrow;
        std::vector<std::basic_string<WCHAR>> wide;
    };
    static State &state()
    {
        static State current;
        return current;
    }
    static DWORD WINAPI Tick() { return state().tick; }
    static void WINAPI Time(SYSTEMTIME *time) { *time = state().time; }
    static BOOL WINAPI Present() { return TRUE; }
    static void WINAPI Break() { ++state().breaks; }
    static void WINAPI KeepA(LPCSTR text) { state().narrow.emplace_back(text); }
    static void WINAPI KeepW(LPCWSTR text) { state().wide.emplace_back(text); }

    SystemCallTable m_before;
};
