// The library's text type: a narrow standard string whose members test pointers that come from outside and
// report a bad one in the trace instead of crashing.
#pragma once
#include <cstdarg>
#include <string>
#include <windows.h>

// Wide text is UTF-16 on every target: wchar_t on Windows, char16_t on Linux.
using wtext = std::basic_string<WCHAR>;

class tstring : public std::string
{
  public:
    tstring() = default;
    tstring(const std::string &text) : std::string(text) {}
    tstring(std::string &&text) noexcept : std::string(std::move(text)) {}
    // A null or unreadable pointer is reported and gives an empty string. Wide text is converted with the ANSI
    // code page.
    tstring(const char *text);
    tstring(const WCHAR *text);

    tstring &operator=(const std::string &text);
    tstring &operator=(const char *text);
    tstring &operator=(const WCHAR *text);
    tstring &operator+=(const std::string &text);
    tstring &operator+=(char c);
    tstring &operator+=(const char *text);
    tstring &operator+=(const WCHAR *text);

    // Wide to narrow and narrow to wide with a code page (0: the ANSI code page). With a non-zero one, text that
    // is not valid in it falls back to the ANSI code page. The result ends at its first NUL; converting empty text
    // leaves the target untouched.
    void FromWide(const wtext &wide, UINT codePage = 0);
    void ToWide(wtext &wide, UINT codePage) const;

    // printf-style, as the Windows runtime reads the format, on every target and without an upper limit of length.
    void FormatV(const char *format, va_list arguments);
    void Format(const char *format, ...);
    void AppendFormat(const char *format, ...);

    // The system's own text for hr, trimmed; "[0x…]" where there is none. Never fails.
    tstring &GetErrorText(HRESULT hr);

    tstring &Trim();
    tstring &TrimLeft();
    tstring &TrimRight();
    size_type Find(const char *text, size_type from = 0) const;
};

tstring operator+(const tstring &left, const char *right);
tstring operator+(const tstring &left, const WCHAR *right);
