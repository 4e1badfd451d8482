// The trace's start on first use, its filter, and where a line goes: the host's hook, the optional module, or the
// system's debug output.
#include "common/trace/DebugTrace.h"
#include "common/base/AnyConvention.h"
#include "common/base/Encoding.h"
#include "common/base/FaultGuard.h"
#include "common/base/SystemCalls.h"
#include "common/trace/TraceLine.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <objbase.h>
#include <string>

namespace
{

constinit DebugTrace g_trace;

// The file's name without folder and extension.
std::string ModuleFileName(HMODULE hModule)
{
    char szPath[260];
    const DWORD length = GetModuleFileNameA(hModule, szPath, 259);
    std::string name(szPath, std::min<DWORD>(length, 259));
    const auto folder = name.find_last_of("\\/:");
    if (folder != std::string::npos)
        name.erase(0, folder + 1);
    const auto extension = name.rfind('.');
    if (extension != std::string::npos)
        name.erase(extension);
    return name;
}

// A name that the host gave, if it can be read.
std::string GivenName(const char *szName)
{
    const SuspendFaultGuard suspended;
    return szName && !IsBadStringPtrA(szName, MAX_PATH) ? std::string(szName, ::strnlen(szName, MAX_PATH))
                                                        : std::string();
}

} // namespace

DebugTrace &TheTrace()
{
    return g_trace;
}

void DebugTrace::Identify(Identity &identity, HMODULE hModule, const char *szModuleName, const char *szRegistryName)
{
    std::string name = szModuleName ? GivenName(szModuleName) : ModuleFileName(hModule);
    if (name.empty())
        // A blank at the end, as the contract has it.
        name = "Unknown ";
    const std::string registryName = szRegistryName ? GivenName(szRegistryName) : name;
    const std::string key = "SOFTWARE\\BRANE\\" + registryName + "\\Debug";
    identity.szKey[key.copy(identity.szKey, sizeof(identity.szKey) - 1)] = 0;

    name.resize(kNameLength, ' ');
    identity.szName[name.copy(identity.szName, kNameLength)] = 0;
    wtext wide = WidenText(name, CP_UTF8);
    wide.resize(kNameLength, ' ');
    identity.szWideName[wide.copy(identity.szWideName, kNameLength)] = 0;
}

// Of several threads that come here first, one wins. No lock is held over the registry and the loader, which may run
// other code of this process.
void DebugTrace::Publish(const Identity &identity)
{
    const HMODULE hDbgOut = LoadLibraryA("DbgOut.Dll");
    {
        const locks::Hold lock(m_publishing);
        if (!m_initialised) {
            m_identity = identity;
            if (hDbgOut) {
                m_hDbgOut = hDbgOut;
                m_pfnDbgOutA = GetProcAddress(hDbgOut, "DbgOutA");
                m_pfnDbgOutW = GetProcAddress(hDbgOut, "DbgOutW");
            }
            m_initialised = true;
            return;
        }
    }
    if (hDbgOut)
        FreeLibrary(hDbgOut);
}

void DebugTrace::Init(HMODULE hModule, const char *szModuleName, const char *szRegistryName) noexcept
{
    if (m_initialised)
        return;
    try {
        Identity identity;
        Identify(identity, hModule, szModuleName, szRegistryName);
        m_settings.AllClasses();
        m_settings.Read(identity.szKey);
        m_settings.Write(identity.szKey, identity.szName);
        Publish(identity);
    } catch (...) {
        SystemCalls().OutputDebugStringA("Exception has occurred in InitDebug");
    }
}

void DebugTrace::DeInit()
{
    m_pfnDbgOutA = nullptr;
    m_pfnDbgOutW = nullptr;
    if (const HMODULE hDbgOut = m_hDbgOut.exchange(nullptr))
        FreeLibrary(hDbgOut);
    m_indent.FreeSlot();
}

void DebugTrace::SetIdNames(int nFirstId, int nCount, const char *const *aszNames)
{
    Init(nullptr, nullptr, nullptr);
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, KeyPath(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
        return;
    for (int i = 0; i < nCount; ++i) {
        char szValue[32];
        std::snprintf(szValue, sizeof(szValue), "ID %02x Name", static_cast<unsigned>(nFirstId + i));
        if (aszNames[i])
            RegSetValueExA(key, szValue, 0, REG_SZ, reinterpret_cast<const BYTE *>(aszNames[i]),
                           static_cast<DWORD>(std::strlen(aszNames[i]) + 1));
    }
    RegCloseKey(key);
}

bool DebugTrace::IsEnabled(DWORD value)
{
    if (!m_initialised)
        Init(nullptr, nullptr, nullptr);
    else
        m_settings.ReadAgainWhenOld(m_identity.szKey);
    return m_settings.Passes(value);
}

void DebugTrace::Output(DWORD value, const char *format, va_list arguments)
{
    if (value != kTraceAlways && !IsEnabled(value))
        return;
    const bool fTimed = m_pfnDbgOutA.load() || m_outputHook.load();
    const TraceOrigin<char> origin = {m_initialised ? m_identity.szName : "", fTimed, m_indent.Current()};
    RunGuarded([&] {
        char line[kTraceLineRoom];
        const int length = BuildTraceLine(line, value, origin, format, arguments);
        if (length > 0)
            Send(line, length);
    });
}

void DebugTrace::Output(DWORD value, const WCHAR *format, va_list arguments)
{
    if (value != kTraceAlways && !IsEnabled(value))
        return;
    const bool fTimed = m_pfnDbgOutW.load() || m_outputHook.load();
    const TraceOrigin<WCHAR> origin = {m_initialised ? m_identity.szWideName : OLESTR(""), fTimed, m_indent.Current()};
    RunGuarded([&] {
        WCHAR line[kTraceLineRoom];
        const int length = BuildTraceLine(line, value, origin, format, arguments);
        if (length > 0)
            Send(line, length);
    });
}

void DebugTrace::Send(const char *line, int length)
{
    if (const OutputHook hook = m_outputHook) {
        hook(line, length);
    } else if (const FARPROC dbgOut = m_pfnDbgOutA) {
        CallEitherConvention(dbgOut, line, length);
        if (SystemCalls().IsDebuggerPresent())
            SystemCalls().OutputDebugStringA(line);
    } else
        SystemCalls().OutputDebugStringA(line);
}

// The hook takes narrow text.
void DebugTrace::Send(const WCHAR *line, int length)
{
    if (const OutputHook hook = m_outputHook) {
        char narrow[kTraceLineRoom * 4]; // no encoding takes more than 4 bytes for a unit
        const int narrowLength =
            WideCharToMultiByte(CP_ACP, 0, line, length, narrow, sizeof(narrow) - 1, nullptr, nullptr);
        narrow[narrowLength] = 0;
        hook(narrow, narrowLength);
    } else if (const FARPROC dbgOut = m_pfnDbgOutW) {
        CallEitherConvention(dbgOut, line, length);
        if (SystemCalls().IsDebuggerPresent())
            SystemCalls().OutputDebugStringW(line);
    } else
        SystemCalls().OutputDebugStringW(line);
}

void PinDebugFilter(DWORD level, const BYTE (&map)[TraceSettings::kMapBytes])
{
    g_trace.Settings().Pin(level, map);
}

void ReleaseDebugFilter()
{
    g_trace.Settings().Release(g_trace.KeyPath());
}
