// What tstring reports of its arguments.
#pragma once
#include <cstddef>
#include <windows.h>

// False for a null or unreadable pointer.
bool IsReadableText(const char *text);
bool IsReadableText(const WCHAR *text);

// Whether a value can be read; "<member>: Invalid pointer ..." where it can't.
bool IsReadable(const void *value, std::size_t size, const char *szMember);
template <class Value> bool IsReadable(const Value *value, const char *szMember)
{
    return IsReadable(value, sizeof(Value), szMember);
}

// "Assertion failed: Invalid string passed to tstring::...". Stops in an attached debugger.
void ReportBadText(const char *szMember, int nLine);
// The same, and a second line with the pointer and its first four characters; szAssigning is named there.
void ReportBadWideText(const char *szMember, const char *szAssigning, const WCHAR *text, int nLine);
void SetBreakOnBadText(bool bBreak);
