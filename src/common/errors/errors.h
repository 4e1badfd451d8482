// Every failure in one shape: a line that names the function, its line, the HRESULT, its symbolic name, the call
// that gave it and what was being tried. Reporting never changes the HRESULT and never throws on its own account.
#pragma once
#include "common/text/tstring.h"
#include <mapix.h>

// Where a failure is reported from: the function's log name and a source line.
struct Here {
    const char *szFunction;
    int nLine;
};

// "" for a code that has no name, S_OK among them. Static lifetime.
const char *GetHResultName(HRESULT hr);

void TraceHResult(const char *szFunction, int nLine, HRESULT hr, const char *szCall, const char *format, ...);

// What TraceError reads from an object: its own extended error text.
using LastErrorReader = HRESULT (*)(void *pObject, HRESULT hr, LPMAPIERROR *ppError);
void TraceErrorV(const char *szFunction, int nLine, const char *szCall, const char *format, void *pObject,
                 LastErrorReader pfnGetLastError, HRESULT hr, va_list arguments);

template <class Interface>
void TraceError(const char *szFunction, int nLine, const char *szCall, const char *format, Interface *pObject,
                HRESULT hr, ...)
{
    va_list arguments;
    va_start(arguments, hr);
    TraceErrorV(
        szFunction, nLine, szCall, format, pObject,
        [](void *object, HRESULT code, LPMAPIERROR *error) {
            return static_cast<Interface *>(object)->GetLastError(code, 0, error);
        },
        hr, arguments);
    va_end(arguments);
}

void ReportException(const char *szSourceFile, const char *szFunction, int nLine);
