// A trace module that keeps the last line it was given, built once a calling convention.
#include <cstring>
#include <windows.h>

#ifndef TRACE_MODULE_CONVENTION
#define TRACE_MODULE_CONVENTION
#endif
#define EXPORTED __attribute__((visibility("default")))

namespace
{
char g_narrow[2048];
WCHAR g_wide[2048];
int g_length;
} // namespace

extern "C" {

EXPORTED void TRACE_MODULE_CONVENTION DbgOutA(const char *text, int length)
{
    std::memcpy(g_narrow, text, static_cast<std::size_t>(length) + 1);
    g_length = length;
}

EXPORTED void TRACE_MODULE_CONVENTION DbgOutW(const WCHAR *text, int length)
{
    std::memcpy(g_wide, text, (static_cast<std::size_t>(length) + 1) * sizeof(WCHAR));
    g_length = length;
}

EXPORTED const char *RecordedA()
{
    return g_narrow;
}

EXPORTED const WCHAR *RecordedW()
{
    return g_wide;
}

EXPORTED int RecordedLength()
{
    return g_length;
}
}
