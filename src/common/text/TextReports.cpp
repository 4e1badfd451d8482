#include "common/text/TextReports.h"
#include "common/base/FaultGuard.h"
#include "common/base/SystemCalls.h"
#include "common/trace/debug.h"
#include <atomic>
#include <cstring>

namespace
{

constinit std::atomic<bool> g_breakOnBadText{true};

// Characters that can't be read are shown as 0.
void ReadFirst(const WCHAR *text, WCHAR (&first)[4])
{
    if (!text)
        return;
    for (int i = 0; i < 4; ++i) {
        const auto *source = reinterpret_cast<const char *>(text) + i * sizeof(WCHAR);
        if (IsBadReadPtr(source, sizeof(WCHAR)))
            return;
        RunGuarded([&] { std::memcpy(&first[i], source, sizeof(WCHAR)); });
    }
}

} // namespace

bool IsReadableText(const char *text)
{
    const SuspendFaultGuard suspended;
    return !IsBadStringPtrA(text, static_cast<UINT_PTR>(-1));
}

bool IsReadableText(const WCHAR *text)
{
    const SuspendFaultGuard suspended;
    return !IsBadStringPtrW(text, static_cast<UINT_PTR>(-1) / sizeof(WCHAR));
}

bool IsReadable(const void *value, std::size_t size, const char *szMember)
{
    {
        const SuspendFaultGuard suspended;
        if (value && !IsBadReadPtr(value, size))
            return true;
    }
    DebugOutputA(kTraceText, "%s: Invalid pointer %p\n", szMember, value);
    return false;
}

void ReportBadText(const char *szMember, int nLine)
{
    DebugOutputA(kTraceText, "Assertion failed: Invalid string passed to %s, file %s, line %d", szMember,
                 // This file, as the contract has it.
                 "..\\LumenCommon\\tstring", nLine);
    if (g_breakOnBadText && SystemCalls().IsDebuggerPresent())
        SystemCalls().DebugBreak();
}

void ReportBadWideText(const char *szMember, const char *szAssigning, const WCHAR *text, int nLine)
{
    ReportBadText(szMember, nLine);
    WCHAR first[4] = {};
    const SuspendFaultGuard suspended;
    ReadFirst(text, first);
    DebugOutputA(kTraceText, "Invalid wide string passed to %s (0x%p: 0x%02x, 0x%02x, 0x%02x, 0x%02x)", szAssigning,
                 static_cast<const void *>(text), static_cast<unsigned>(first[0]), static_cast<unsigned>(first[1]),
                 static_cast<unsigned>(first[2]), static_cast<unsigned>(first[3]));
}

void SetBreakOnBadText(bool bBreak)
{
    g_breakOnBadText = bBreak;
}
