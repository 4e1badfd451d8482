// What the tests of the platform say in a line: formatting into a text, wide text of either target.
#pragma once
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <objbase.h>
#include <stdio.h>
#include <string>
#include <windows.h>

using WideText = std::basic_string<WCHAR>;

inline std::string Formats(const char *format, ...)
{
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnprintf_s(buffer, sizeof buffer, _TRUNCATE, format, arguments);
    va_end(arguments);
    if (result < 0)
        return "<refused>";
    return result == static_cast<int>(std::strlen(buffer)) ? buffer : "<wrong length>";
}

inline WideText FormatsWide(const WCHAR *format, ...)
{
    WCHAR buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf_s(buffer, 1024, _TRUNCATE, format, arguments);
    va_end(arguments);
    return result < 0 ? WideText(OLESTR("<refused>")) : WideText(buffer);
}

// Upper-case hexadecimal, as wide as a pointer.
inline std::string PointerText(std::string digits)
{
    return std::string(2 * sizeof(void *) - digits.size(), '0') + digits;
}
