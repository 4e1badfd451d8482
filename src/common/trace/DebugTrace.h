// The trace itself, behind the functions of debug.h: identity, filter, indentation and sinks. The library has one;
// any thread may call it at any time, from the loading of the library to its end.
#pragma once
#include "common/trace/TraceIndent.h"
#include "common/trace/TraceSettings.h"
#include "common/trace/debug.h"
#include <atomic>

class DebugTrace
{
  public:
    constexpr DebugTrace() = default;
    DebugTrace(const DebugTrace &) = delete;
    DebugTrace &operator=(const DebugTrace &) = delete;

    void Init(HMODULE hModule, const char *szModuleName, const char *szRegistryName) noexcept;
    void DeInit();
    void SetIdNames(int nFirstId, int nCount, const char *const *aszNames);
    bool IsEnabled(DWORD value);

    void Output(DWORD value, const char *format, va_list arguments);
    void Output(DWORD value, const WCHAR *format, va_list arguments);

    TraceIndent &Indent() { return m_indent; }
    TraceSettings &Settings() { return m_settings; }
    // Empty before Init.
    const char *KeyPath() const { return m_initialised ? m_identity.szKey : ""; }

    std::atomic<ExceptionHook> m_exceptionHook{nullptr};
    std::atomic<void (*)()> m_furtherExceptionHook{nullptr};
    std::atomic<OutputHook> m_outputHook{nullptr};
    std::atomic<void (*)()> m_furtherOutputHook{nullptr};

  private:
    static constexpr int kNameLength = 8;
    struct Identity {
        char szName[kNameLength + 1] = "";
        WCHAR szWideName[kNameLength + 1] = {};
        char szKey[MAX_PATH] = "";
    };

    static void Identify(Identity &identity, HMODULE hModule, const char *szModuleName, const char *szRegistryName);
    void Publish(const Identity &identity);
    void Send(const char *line, int length);
    void Send(const WCHAR *line, int length);

    // The identity is written once, before the flag, and read only after it.
    std::atomic<bool> m_initialised{false};
    Identity m_identity;
    ShortLock m_publishing;

    TraceSettings m_settings;
    TraceIndent m_indent;

    std::atomic<HMODULE> m_hDbgOut{nullptr};
    std::atomic<FARPROC> m_pfnDbgOutA{nullptr};
    std::atomic<FARPROC> m_pfnDbgOutW{nullptr};
};

// The library's trace.
DebugTrace &TheTrace();

// For a program that runs the library's parts itself: what it wants to see, whatever the registry says, until given
// back.
void PinDebugFilter(DWORD level, const BYTE (&map)[TraceSettings::kMapBytes]);
void ReleaseDebugFilter();
