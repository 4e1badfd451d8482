// An operation of a session, with the session's open-object counter: what the operation holds of MAPI counts there, and
// its counter lines show it.
#pragma once
#include "common/mapi/Operation.h"
#include <atomic>

// How the counter is written. Operations differ in the spelling, each as the contract has it.
inline constexpr char kAtEntry[] = "%s[%d]: At entry, counter=[%ld]";
inline constexpr char kAtEntryCapital[] = "%s[%d]: At Entry, counter=[%ld]";
inline constexpr char kAtExit[] = "%s[%d]: At exit, counter=[%ld]";
inline constexpr char kAtExitCapital[] = "%s[%d]: At Exit, counter=[%ld]";

class CountedOperation : public Operation
{
  public:
    CountedOperation(std::atomic<LONG> &counter, const char *szFunction) : Operation(szFunction), m_counter(counter) {}
    // The argument text of the entry line.
    template <class... Arguments>
    CountedOperation(std::atomic<LONG> &counter, const char *szFunction, const char *format, Arguments... arguments)
        : Operation(szFunction, format, arguments...), m_counter(counter)
    {
    }
    ~CountedOperation()
    {
        if (m_szExit)
            Contained({Function(), m_nExitLine}, [&] { WriteCounter({m_szExit, m_nExitLine}); });
    }

    std::atomic<LONG> &OpenObjects() const { return m_counter; }

    // Writes the counter now with `entry` and when the function is left with `exit`, formats like those above.
    void ShowCounter(At entry, At exit)
    {
        ShowCounterAtExit(exit);
        WriteCounter(entry);
    }
    void ShowCounterAtExit(At exit)
    {
        m_szExit = exit.szText;
        m_nExitLine = exit.nLine;
    }

  private:
    void WriteCounter(const At &format) const
    {
        DebugOutputA(kTraceState, format.szText, Function(), format.nLine, m_counter.load());
    }

    std::atomic<LONG> &m_counter;
    const char *m_szExit = nullptr;
    int m_nExitLine = 0;
};
