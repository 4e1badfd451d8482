// The functions of the trace over the one DebugTrace, and the guards that trace a function's entry and exit.
#include "common/trace/debug.h"
#include "common/base/FaultGuard.h"
#include "common/trace/DebugTrace.h"
#include "common/trace/ZeroArguments.h"
#include <cstdio>
#include <objbase.h>
#include <utility>

void InitDebug(HMODULE hModule, const char *szModuleName, const char *szRegistryName)
{
    TheTrace().Init(hModule, szModuleName, szRegistryName);
}

void DeInitDebug()
{
    TheTrace().DeInit();
}

void SetDebugIdNames(int nFirstId, int nCount, const char *const *aszNames)
{
    TheTrace().SetIdNames(nFirstId, nCount, aszNames);
}

bool IsDebugEnabled(DWORD value)
{
    return TheTrace().IsEnabled(value);
}

void DebugOutputA(DWORD value, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    DebugOutputVA(value, format, arguments);
    va_end(arguments);
}

void DebugOutputW(DWORD value, const WCHAR *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    DebugOutputVW(value, format, arguments);
    va_end(arguments);
}

void DebugOutputVA(DWORD value, const char *format, va_list arguments)
{
    TheTrace().Output(value, format, arguments);
}

void DebugOutputVW(DWORD value, const WCHAR *format, va_list arguments)
{
    TheTrace().Output(value, format, arguments);
}

namespace
{

template <std::size_t... Floats, std::size_t... Words>
void OutputWithZeros(DWORD value, const char *format, std::index_sequence<Floats...>, std::index_sequence<Words...>)
{
    DebugOutputA(value, format, static_cast<double>(Floats * 0)..., ULONGLONG{Words * 0}...);
}

} // namespace

void DebugOutputLine(DWORD value, const char *line)
{
    if (value != kTraceAlways && !IsDebugEnabled(value))
        return;
    OutputWithZeros(value, FormatForZeroArguments(line).c_str(), std::make_index_sequence<kZeroFloats>(),
                    std::make_index_sequence<kZeroWords>());
}

void SetExceptionHooks(ExceptionHook pfnException, void (*pfnFurther)())
{
    TheTrace().m_exceptionHook = pfnException;
    TheTrace().m_furtherExceptionHook = pfnFurther;
}

void SetOutputHooks(OutputHook pfnOutput, void (*pfnFurther)())
{
    TheTrace().m_outputHook = pfnOutput;
    TheTrace().m_furtherOutputHook = pfnFurther;
}

ExceptionHook GetExceptionHook()
{
    return TheTrace().m_exceptionHook;
}

namespace
{

constexpr std::size_t kEntryRoom = 256; // of an entry line that shows arguments

void AppendV(char *text, std::size_t room, const char *format, va_list arguments)
{
    _vsnprintf_s(text, room, _TRUNCATE, format, arguments);
}

void AppendV(WCHAR *text, std::size_t room, const WCHAR *format, va_list arguments)
{
    _vsnwprintf_s(text, room, _TRUNCATE, format, arguments);
}

// "> name(arguments)", cut where the room ends.
template <class Ch> class EntryLine
{
  public:
    EntryLine(const Ch *szFunction, const Ch *format, va_list arguments)
    {
        Append('>');
        Append(' ');
        for (const Ch *c = szFunction; c && *c; ++c)
            Append(*c);
        Append('(');
        if (format)
            AppendArguments(format, arguments);
        Append(')');
    }
    const Ch *Text() const { return m_text; }

  private:
    void Append(Ch c)
    {
        if (m_length < kEntryRoom - 1) {
            m_text[m_length++] = c;
            m_text[m_length] = 0;
        }
    }
    // A bad argument leaves the arguments out.
    void AppendArguments(const Ch *format, va_list arguments)
    {
        Ch *rest = m_text + m_length;
        if (!RunGuarded([&] { AppendV(rest, kEntryRoom - m_length, format, arguments); }))
            *rest = 0;
        while (m_length < kEntryRoom - 1 && m_text[m_length])
            ++m_length;
    }

    Ch m_text[kEntryRoom] = {};
    std::size_t m_length = 0;
};

} // namespace

CDebugTraceFn::CDebugTraceFn(DWORD value, const char *szFunction)
    : m_value(value), m_active(IsDebugEnabled(value)), m_szFunction(szFunction)
{
    if (!m_active)
        return;
    DebugOutputA(value, "> %s()", szFunction);
    TheTrace().Indent().Raise();
}

CDebugTraceFn::CDebugTraceFn(DWORD value, const char *szFunction, const char *format, ...)
    : m_value(value), m_active(IsDebugEnabled(value)), m_szFunction(szFunction)
{
    if (!m_active)
        return;
    va_list arguments;
    va_start(arguments, format);
    const EntryLine<char> entry(szFunction, format, arguments);
    va_end(arguments);
    DebugOutputA(value, "%s", entry.Text());
    TheTrace().Indent().Raise();
}

CDebugTraceFn::CDebugTraceFn(DWORD value, const WCHAR *szFunction, const WCHAR *format, ...)
    : m_value(value), m_active(IsDebugEnabled(value)), m_szWideFunction(szFunction)
{
    if (!m_active)
        return;
    va_list arguments;
    va_start(arguments, format);
    const EntryLine<WCHAR> entry(szFunction, format, arguments);
    va_end(arguments);
    DebugOutputW(value, OLESTR("%s"), entry.Text());
    TheTrace().Indent().Raise();
}

CDebugTraceFn::~CDebugTraceFn()
{
    if (!m_active)
        return;
    TheTrace().Indent().Lower();
    if (m_szWideFunction)
        DebugOutputW(m_value, OLESTR("< %s()"), m_szWideFunction);
    else
        DebugOutputA(m_value, "< %s()", m_szFunction);
}

CDebugIndentOutput::CDebugIndentOutput()
{
    TheTrace().Indent().Raise();
}

CDebugIndentOutput::~CDebugIndentOutput()
{
    TheTrace().Indent().Lower();
}
