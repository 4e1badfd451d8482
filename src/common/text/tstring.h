// The library's text type: a narrow standard string whose members test pointers that come from outside and
// report a bad one in the trace instead of crashing.
#pragma once
#include "common/base/Encoding.h"
#include <cstdarg>
#include <windows.h>

#include <oleauto.h>

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

    // "{01234567-89ab-cdef-0123-456789abcdef}", and back: all zeros, and a report, for other text.
    explicit tstring(const GUID &guid);
    explicit operator GUID() const;

    // Date and time as the platform's locale writes them, in its default formats. FILETIME is UTC and shown in local
    // time; the others are local time already. What can't be shown is reported and gives an empty string.
    enum class Show { DateAndTime, Date, Time };
    tstring &FromSystemTime(const SYSTEMTIME *pTime, Show show = Show::DateAndTime);
    tstring &FromFileTime(const FILETIME *pTime, Show show = Show::DateAndTime);
    tstring &FromDosDateTime(WORD wDate, WORD wTime, Show show = Show::DateAndTime);
    tstring &FromVariantTime(DATE date, Show show = Show::DateAndTime);
    // As automation turns the value into text; an empty string, and a report, where it can't.
    tstring &FromVariant(const VARIANT *pVariant);

    // Both ends; cuts the text at its first NUL before.
    tstring &Trim();
    tstring &TrimLeft();
    tstring &TrimRight();
    // npos, and a report, for a bad pointer.
    size_type Find(const char *text, size_type from = 0) const;

    // Whether an attached debugger is stopped where a bad pointer was passed. On at the start.
    static void SetBreakOnAssertion(bool bBreak);
};

tstring operator+(const tstring &left, const char *right);
tstring operator+(const tstring &left, const WCHAR *right);
