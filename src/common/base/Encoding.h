// Text between code pages and UTF-16, without any report: what the trace and the text type both stand on.
#pragma once
#include <string>
#include <windows.h>

// Wide text is UTF-16 on every target: wchar_t on Windows, char16_t on Linux.
using wtext = std::basic_string<WCHAR>;

// With a code page (0: the ANSI code page). With a non-zero one, text that is not valid in it falls back to the ANSI
// code page. The result ends at its first NUL.
wtext WidenText(const std::string &text, UINT codePage);
std::string NarrowText(const wtext &wide, UINT codePage);
