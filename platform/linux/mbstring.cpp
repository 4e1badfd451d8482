// Text of the ANSI code page by whole characters.
#include <mbstring.h>

#include "code_page.h"
#include <cerrno>
#include <cstring>
#include <locale.h>
#include <string>
#include <vector>
#include <wctype.h>

namespace
{
locale_t UnicodeLocale()
{
    // glibc has this one built in. Only its tables of letters are used, so the host's own setting does not matter.
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

WCHAR LowerCase(WCHAR unit)
{
    const wint_t lower = UnicodeLocale() ? towlower_l(unit, UnicodeLocale()) : unit;
    return lower < 0xD800 || (lower >= 0xE000 && lower < 0x10000) ? static_cast<WCHAR>(lower) : unit;
}

std::u16string Lowered(const unsigned char *text)
{
    const auto *narrow = reinterpret_cast<const char *>(text);
    std::u16string wide = platform::Widen(narrow, std::strlen(narrow));
    for (WCHAR &unit : wide)
        unit = LowerCase(unit);
    return wide;
}

// The bytes of the character that a text begins with; 0 at its end.
std::size_t CharacterBytes(const unsigned char *text)
{
    if (*text < 0x80)
        return *text ? 1 : 0;
    const auto *begin = reinterpret_cast<const char *>(text);
    const char *encoding = platform::CodePageName(CP_ACP);
    if (platform::IsUtf8(encoding)) {
        const char *next = begin;
        platform::NextOfUtf8(&next, begin + std::strlen(begin));
        return static_cast<std::size_t>(next - begin);
    }
    // A character is as long as it takes to be valid.
    const std::size_t length = std::strlen(begin);
    for (std::size_t bytes = 1; bytes <= 4 && bytes <= length; ++bytes)
        if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, begin, static_cast<int>(bytes), nullptr, 0) > 0)
            return bytes;
    return 1;
}

bool Contains(const unsigned char *delimiters, const unsigned char *character, std::size_t bytes)
{
    for (std::size_t length; (length = CharacterBytes(delimiters)) != 0; delimiters += length)
        if (length == bytes && std::memcmp(delimiters, character, bytes) == 0)
            return true;
    return false;
}
} // namespace

int _mbsicmp(const unsigned char *string1, const unsigned char *string2)
{
    if (!string1 || !string2) {
        errno = EINVAL;
        return INT32_MAX; // _NLSCMPERROR
    }
    const int order = Lowered(string1).compare(Lowered(string2));
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

errno_t _mbslwr_s(unsigned char *str, size_t numberOfElements)
{
    if (!str)
        return errno = EINVAL;
    auto *text = reinterpret_cast<char *>(str);
    if (strnlen(text, numberOfElements) >= numberOfElements) {
        if (numberOfElements > 0)
            *text = '\0';
        return errno = EINVAL;
    }
    // Character by character, so that what is no text of the code page stays as it is.
    std::string lower;
    for (std::size_t bytes; (bytes = CharacterBytes(str)) != 0; str += bytes) {
        const auto *character = reinterpret_cast<const char *>(str);
        const std::u16string wide = platform::Widen(character, bytes);
        if (wide.size() == 1 && LowerCase(wide[0]) != wide[0]) {
            const WCHAR lowered = LowerCase(wide[0]);
            lower += platform::Narrow(&lowered, 1);
        } else {
            lower.append(character, bytes);
        }
    }
    return strcpy_s(text, numberOfElements, lower.c_str());
}

size_t _mbslen(const unsigned char *str)
{
    size_t length = 0;
    for (std::size_t bytes; (bytes = CharacterBytes(str)) != 0; str += bytes)
        ++length;
    return length;
}

unsigned char *_mbstok_s(unsigned char *str, const unsigned char *delimiters, unsigned char **context)
{
    if (!context || !delimiters || (!str && !*context)) {
        errno = EINVAL;
        return nullptr;
    }
    unsigned char *at = str ? str : *context;
    std::size_t bytes;
    while ((bytes = CharacterBytes(at)) != 0 && Contains(delimiters, at, bytes))
        at += bytes;
    unsigned char *const token = at;
    while ((bytes = CharacterBytes(at)) != 0 && !Contains(delimiters, at, bytes))
        at += bytes;
    *context = at;
    if (at == token)
        return nullptr;
    if (bytes != 0) {
        *context = at + bytes;
        *at = '\0';
    }
    return token;
}
