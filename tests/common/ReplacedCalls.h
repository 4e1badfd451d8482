// The system's functions as a test wants them: time that stands, a debugger that counts its stops, debug output that
// is kept. Everything is the system's again afterwards. Any thread may call what was replaced; replacing is for the
// test's own thread, while no other one is at work.
#pragma once
#include "common/base/SystemCalls.h"
#include <mutex>
#include <string>
#include <vector>

class ReplacedCalls
{
  public:
    ReplacedCalls() : m_before(SystemCalls())
    {
        Change([](State &state) { state = State{}; });
        SystemCalls().OutputDebugStringA = KeepA;
        SystemCalls().OutputDebugStringW = KeepW;
    }
    ~ReplacedCalls() { SystemCalls() = m_before; }
    ReplacedCalls(const ReplacedCalls &) = delete;
    ReplacedCalls &operator=(const ReplacedCalls &) = delete;

    void StopTicks(DWORD at)
    {
        Change([at](State &state) { state.tick = at; });
        SystemCalls().GetTickCount = Tick;
    }
    void Advance(DWORD milliseconds)
    {
        Change([milliseconds](State &state) { state.tick += milliseconds; });
    }
    void StopClock(const SYSTEMTIME &at)
    {
        Change([&](State &state) { state.time = at; });
        SystemCalls().GetLocalTime = Time;
    }
    void AttachDebugger()
    {
        SystemCalls().IsDebuggerPresent = Present;
        SystemCalls().DebugBreak = Break;
    }
    int Breaks() const { return Now().breaks; }
    std::vector<std::string> DebugOutput() const { return Now().narrow; }
    std::vector<std::basic_string<WCHAR>> WideDebugOutput() const { return Now().wide; }

  private:
    struct State {
        DWORD tick = 0;
        SYSTEMTIME time{};
        int breaks = 0;
        std::vector<std::string> narrow;
        std::vector<std::basic_string<WCHAR>> wide;
    };
    struct Shared {
        std::mutex lock;
        State state;
    };
    static Shared &Kept()
    {
        static Shared kept;
        return kept;
    }
    template <class Work> static void Change(Work work)
    {
        Shared &kept = Kept();
        const std::lock_guard lock(kept.lock);
        work(kept.state);
    }
    static State Now()
    {
        Shared &kept = Kept();
        const std::lock_guard lock(kept.lock);
        return kept.state;
    }
    static DWORD WINAPI Tick() { return Now().tick; }
    static void WINAPI Time(SYSTEMTIME *time) { *time = Now().time; }
    static BOOL WINAPI Present() { return TRUE; }
    static void WINAPI Break()
    {
        Change([](State &state) { ++state.breaks; });
    }
    static void WINAPI KeepA(LPCSTR text)
    {
        Change([text](State &state) { state.narrow.emplace_back(text); });
    }
    static void WINAPI KeepW(LPCWSTR text)
    {
        Change([text](State &state) { state.wide.emplace_back(text); });
    }

    SystemCallTable m_before;
};
