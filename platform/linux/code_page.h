// The code pages that text is converted with, for the platform's own code.
#pragma once
#include <string>
#include <windows.h>

namespace platform
{
// The name that iconv knows a code page by; null for one that is unknown. CP_ACP and its relatives are the locale's.
const char *CodePageName(UINT codePage);
bool IsUtf8(const char *codePageName);

// The locale's encoding to UTF-16 and back, whatever does not convert replaced.
std::u16string Widen(const char *text, std::size_t length, UINT codePage = CP_ACP);
std::string Narrow(const WCHAR *text, std::size_t length, UINT codePage = CP_ACP);

// One character of UTF-8 text: its code point, and `*text` moved past it; or, for an invalid sequence, kInvalid and
// `*text` moved past what the sequence begins with.
constexpr char32_t kInvalid = 0xFFFFFFFF;
char32_t NextOfUtf8(const char **text, const char *end);
// At most four bytes; a surrogate is written as U+FFFD. Returns how many.
int PutUtf8(char32_t codePoint, char *bytes);
} // namespace platform
