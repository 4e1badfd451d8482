// One run of a member function: its trace guard, its lines and its error reports, all under one log name. It is
// declared before every owner of the function, so that its exit lines come after these have given back what they held.
#pragma once
#include "common/mapi/Contained.h"
#include "common/trace/debug.h"
#include <string>

class Operation
{
  public:
    // A text of a report and the source line on which it stands.
    struct At {
        At(const char *text, int line = __builtin_LINE()) : szText(text), nLine(line) {}
        const char *szText;
        int nLine;
    };

    explicit Operation(const char *szFunction) : m_szFunction(szFunction), m_trace(kTraceCall, szFunction) {}
    // The argument text of the entry line.
    template <class... Arguments>
    Operation(const char *szFunction, const char *format, Arguments... arguments)
        : m_szFunction(szFunction), m_trace(kTraceCall, szFunction, format, arguments...)
    {
    }
    Operation(const Operation &) = delete;
    Operation &operator=(const Operation &) = delete;

    // A line "<function>[<line>]: <text>" about what the operation decided, about each thing that it sees, or about
    // what is wrong.
    template <class... Arguments> void State(At text, Arguments... arguments) const
    {
        Line(kTraceState, text, arguments...);
    }
    template <class... Arguments> void Detail(At text, Arguments... arguments) const
    {
        Line(kTraceCall, text, arguments...);
    }
    template <class... Arguments> void Error(At text, Arguments... arguments) const
    {
        Line(kTraceError, text, arguments...);
    }

    // Reports a failed call on a MAPI object with what the object itself says about it; gives back hr.
    template <class Interface, class... Arguments>
    HRESULT Failed(At call, const char *sentence, Interface *pObject, HRESULT hr, Arguments... arguments) const
    {
        TraceError(m_szFunction, call.nLine, call.szText, sentence, pObject, hr, arguments...);
        return hr;
    }
    // Reports any other failed call; the sentence may be null. Gives back hr.
    template <class... Arguments>
    HRESULT Failed(At call, const char *sentence, HRESULT hr, Arguments... arguments) const
    {
        TraceHResult(m_szFunction, call.nLine, hr, call.szText, sentence, arguments...);
        return hr;
    }

    // A part of the operation that must not keep the next one from running: an exception in it is reported, and its
    // result is E_UNEXPECTED.
    template <class Work> HRESULT Stage(Work &&work, int nLine = __builtin_LINE()) const
    {
        return Contained({m_szFunction, nLine}, HRESULT{E_UNEXPECTED}, work);
    }

  protected:
    const char *Function() const { return m_szFunction; }

  private:
    static std::string LineFormat(const char *szText);
    template <class... Arguments> void Line(DWORD value, const At &text, Arguments... arguments) const
    {
        if (!IsDebugEnabled(value))
            return;
        const std::string format = LineFormat(text.szText);
        DebugOutputA(value, format.c_str(), m_szFunction, text.nLine, arguments...);
    }

    const char *m_szFunction;
    CDebugTraceFn m_trace;
};
