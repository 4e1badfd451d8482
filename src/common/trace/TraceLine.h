// One line of the trace, as it is put together: prefix, indentation, text, and exactly one line feed.
#pragma once
#include <cstdarg>
#include <windows.h>

constexpr int kTraceLineRoom = 1024; // with the terminator

template <class Ch> struct TraceOrigin {
    const Ch *szModule;
    bool fTimed; // with date, time and process, for sinks that keep lines
    DWORD indent;
};

// The length of the line, or 0 when there is none. The format's arguments may be bad: call it under a fault guard.
int BuildTraceLine(char (&line)[kTraceLineRoom], DWORD value, const TraceOrigin<char> &origin, const char *format,
                   va_list arguments);
int BuildTraceLine(WCHAR (&line)[kTraceLineRoom], DWORD value, const TraceOrigin<WCHAR> &origin, const WCHAR *format,
                   va_list arguments);
