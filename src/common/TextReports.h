// What tstring reports of its arguments.
#pragma once
#include <windows.h>

// False for a null or unreadable pointer.
bool IsReadableText(const char *text);
bool IsReadableText(const WCHAR *text);

// "Assertion failed: Invalid string passed to tstring::...". Stops in an attached debugger.
void ReportBadText(const char *szMember, int nLine);
// The same, and a second line with the pointer and its first four characters; szAssigning is named there.
void ReportBadWideText(const char *szMember, const char *szAssigning, const WCHAR *text, int nLine);
void SetBreakOnBadText(bool bBreak);
