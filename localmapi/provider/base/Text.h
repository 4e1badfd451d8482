// Text inside is UTF-8; a MAPI client gives and takes narrow text of the ANSI code page and wide UTF-16 text.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

#include <string>
#include <string_view>

namespace localmapi
{

using WideText = std::basic_string<WCHAR>;

// A broken sequence becomes U+FFFD.
WideText WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::basic_string_view<WCHAR> text);

// A character that the ANSI code page lacks becomes that code page's replacement.
std::string AnsiFromUtf8(std::string_view text);
std::string Utf8FromAnsi(std::string_view text);

// The text that a client passed as LPTSTR: wide with MAPI_UNICODE in `flags`. Null is the empty text.
std::string Utf8FromClient(const TCHAR *text, ULONG flags);
std::string Utf8FromClient(const TCHAR *text, bool wide);

// A copy in a child block of `root`, terminated.
char *AnsiCopy(void *root, std::string_view utf8);
WCHAR *WideCopy(void *root, std::string_view utf8);
// Wide with MAPI_UNICODE in `flags`, as LPTSTR.
TCHAR *ClientCopy(void *root, std::string_view utf8, ULONG flags);

// "0x80040106"
std::string HexText(ULONG value);

} // namespace localmapi
