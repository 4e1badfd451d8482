// One template builds narrow and wide lines; only their prefixes differ.
#include "common/trace/TraceLine.h"
#include "common/base/SystemCalls.h"
#include <cstdio>
#include <objbase.h>

namespace
{

constexpr int kMostLength = kTraceLineRoom - 1;

void FormatV(char *text, size_t room, const char *format, va_list arguments)
{
    _vsnprintf_s(text, room, _TRUNCATE, format, arguments);
}

void FormatV(WCHAR *text, size_t room, const WCHAR *format, va_list arguments)
{
    _vsnwprintf_s(text, room, _TRUNCATE, format, arguments);
}

template <class Ch> void Format(Ch *text, size_t room, const Ch *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    FormatV(text, room, format, arguments);
    va_end(arguments);
}

template <class Ch> struct PrefixForms;
template <> struct PrefixForms<char> {
    static constexpr const char *kTimed = "%02hu/%02hu %02hu:%02hu:%02hu.%03hu %s (%02hx,%c) %4lx,%4lx: ";
    static constexpr const char *kPlain = "%s (%02hx,%c) %4lx: ";
};
// Padded with zeros where the narrow form pads with blanks, as the contract has it.
template <> struct PrefixForms<WCHAR> {
    static constexpr const WCHAR *kTimed = OLESTR("%02hu/%02hu %02hu:%02hu:%02hu.%03hu %s (%02hx,%c) %04lx,%04lx: ");
    static constexpr const WCHAR *kPlain = OLESTR("%s (%02hx,%c) %04lx: ");
};

template <class Ch> int Length(const Ch *line)
{
    int length = 0;
    while (length < kMostLength && line[length])
        ++length;
    return length;
}

template <class Ch> void WritePrefix(Ch *line, DWORD value, const TraceOrigin<Ch> &origin)
{
    const auto id = static_cast<WORD>(value >> 16);
    const auto level = static_cast<WORD>(value);
    const int levelSign = level <= 9 ? '0' + level : '?';
    if (!origin.fTimed) {
        Format(line, kTraceLineRoom, PrefixForms<Ch>::kPlain, origin.szModule, id, levelSign, GetCurrentThreadId());
        return;
    }
    SYSTEMTIME now;
    SystemCalls().GetLocalTime(&now);
    Format(line, kTraceLineRoom, PrefixForms<Ch>::kTimed, now.wDay, now.wMonth, now.wHour, now.wMinute, now.wSecond,
           now.wMilliseconds, origin.szModule, id, levelSign, GetCurrentProcessId(), GetCurrentThreadId());
}

// Where one place is left, the last character makes way for the line feed; so it does in a full line.
template <class Ch> int EndLine(Ch *line, int length)
{
    if (line[length - 1] == '\n')
        return length;
    if (length >= kMostLength - 1) {
        line[length - 1] = '\n';
        return length;
    }
    line[length++] = '\n';
    line[length] = 0;
    return length;
}

template <class Ch> int Build(Ch *line, DWORD value, const TraceOrigin<Ch> &origin, const Ch *format, va_list arguments)
{
    line[0] = 0;
    WritePrefix(line, value, origin);
    int length = Length(line);
    if (length == 0)
        return 0;
    for (DWORD i = 0; i < origin.indent && length < kMostLength; ++i)
        line[length++] = ' ';
    line[length] = 0;
    if (format)
        FormatV(line + length, static_cast<size_t>(kTraceLineRoom - length), format, arguments);
    return EndLine(line, Length(line));
}

} // namespace

int BuildTraceLine(char (&line)[kTraceLineRoom], DWORD value, const TraceOrigin<char> &origin, const char *format,
                   va_list arguments)
{
    return Build(line, value, origin, format, arguments);
}

int BuildTraceLine(WCHAR (&line)[kTraceLineRoom], DWORD value, const TraceOrigin<WCHAR> &origin, const WCHAR *format,
                   va_list arguments)
{
    return Build(line, value, origin, format, arguments);
}
