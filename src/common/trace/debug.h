// The one diagnostic channel: lines filtered by class and level, indented by the nesting of traced functions, and
// written to the system's debug output or to the optional trace module.
#pragma once
#include <cstdarg>
#include <windows.h>

// A message value holds the class in its high 16 bits and the level in its low 16 bits.
constexpr DWORD kTraceAlways = 0x0000FFFF; // passes every filter
constexpr DWORD kTraceError = 0x00660002;  // failures
constexpr DWORD kTraceState = 0x00660005;  // what an operation decided, and the open-object counter
constexpr DWORD kTraceCall = 0x00660008;   // entry and exit of functions, and what they see row by row
constexpr DWORD kTraceCounts = 0x00660009; // what a callback is told
constexpr DWORD kTraceText = 0x000F0008;   // diagnostics of tstring
constexpr DWORD kTraceLock = 0x0002FFFF;
constexpr DWORD kTraceLockWait = 0x0003FFFF;

void InitDebug(HMODULE hModule, const char *szModuleName, const char *szRegistryName);
void DeInitDebug();
void SetDebugIdNames(int nFirstId, int nCount, const char *const *aszNames);
bool IsDebugEnabled(DWORD value);

// One line. A bad argument is caught and cannot bring the host down.
void DebugOutputA(DWORD value, const char *format, ...);
void DebugOutputW(DWORD value, const WCHAR *format, ...);
void DebugOutputVA(DWORD value, const char *format, va_list arguments);
void DebugOutputVW(DWORD value, const WCHAR *format, va_list arguments);

// Hands a finished line to the output as its format text, without arguments: every conversion that the line holds is
// read a second time. It finds arguments that are all zero, and none that writes.
void DebugOutputLine(DWORD value, const char *line);

using ExceptionHook = void (*)(const char *szSourceFile, const char *szFunction, int nLine);
using OutputHook = void (*)(const char *szText, int nLength);
void SetExceptionHooks(ExceptionHook pfnException, void (*pfnFurther)());
void SetOutputHooks(OutputHook pfnOutput, void (*pfnFurther)());
ExceptionHook GetExceptionHook();

// Writes "> name(arguments)" on entry, indents what follows by 2, and writes "< name()" on exit.
class CDebugTraceFn
{
  public:
    CDebugTraceFn(DWORD value, const char *szFunction);
    CDebugTraceFn(DWORD value, const char *szFunction, const char *format, ...);
    CDebugTraceFn(DWORD value, const WCHAR *szFunction, const WCHAR *format, ...);
    ~CDebugTraceFn();
    CDebugTraceFn(const CDebugTraceFn &) = delete;
    CDebugTraceFn &operator=(const CDebugTraceFn &) = delete;

  private:
    DWORD m_value;
    bool m_active;
    const char *m_szFunction = nullptr;
    const WCHAR *m_szWideFunction = nullptr;
};

// Indents the current thread's trace for a scope.
class CDebugIndentOutput
{
  public:
    CDebugIndentOutput();
    ~CDebugIndentOutput();
    CDebugIndentOutput(const CDebugIndentOutput &) = delete;
    CDebugIndentOutput &operator=(const CDebugIndentOutput &) = delete;
};
