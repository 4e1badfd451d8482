#include "common/errors/errors.h"
#include "common/base/Owners.h"
#include "common/trace/debug.h"

namespace
{

// The beginning that all error lines share.
tstring StartLine(const char *szFunction, int nLine, HRESULT hr, const char *szCall)
{
    tstring line(szFunction);
    tstring name(GetHResultName(hr));
    if (name.empty())
        name.GetErrorText(hr);
    // Brackets around a text that has them already, and 8 places with the 0x, as the contract has it.
    line.AppendFormat("[%d]: Error %#08x [%s] from %s", nLine, static_cast<unsigned>(hr), name.c_str(), szCall);
    return line;
}

void FinishLine(tstring &line, const tstring &context)
{
    if (context.empty())
        line += '.';
    else
        line += " " + context;
    // The finished line is read as a format once more, as the contract has it.
    DebugOutputLine(kTraceError, line.c_str());
}

// What the object itself has to say about its failure.
void AppendLastError(tstring &line, void *pObject, LastErrorReader pfnGetLastError, HRESULT hr)
{
    try {
        MapiBuffer<MAPIERROR> error;
        if (pObject && pfnGetLastError(pObject, hr, error.put()) == S_OK && error)
            line.AppendFormat(" (%s : %s[%lu])", error->lpszError, error->lpszComponent, error->ulContext);
    } catch (...) {
        // This line's number, as the contract has it.
        ReportException("OrlMapi32", "TraceError", 1613);
    }
}

} // namespace

void TraceHResult(const char *szFunction, int nLine, HRESULT hr, const char *szCall, const char *format, ...)
{
    tstring context;
    if (format) {
        va_list arguments;
        va_start(arguments, format);
        context.FormatV(format, arguments);
        va_end(arguments);
    }
    tstring line = StartLine(szFunction, nLine, hr, szCall);
    FinishLine(line, context);
}

void TraceErrorV(const char *szFunction, int nLine, const char *szCall, const char *format, void *pObject,
                 LastErrorReader pfnGetLastError, HRESULT hr, va_list arguments)
{
    tstring context;
    context.FormatV(format, arguments);
    tstring line = StartLine(szFunction, nLine, hr, szCall);
    AppendLastError(line, pObject, pfnGetLastError, hr);
    FinishLine(line, context);
}

void ReportException(const char *szSourceFile, const char *szFunction, int nLine)
{
    if (const ExceptionHook hook = GetExceptionHook())
        hook(szSourceFile, szFunction, nLine);
    else
        DebugOutputA(kTraceAlways, "Exception has occurred in %s (%s[%d])", szFunction, szSourceFile, nLine);
}
