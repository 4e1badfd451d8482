#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"

#include <limits>

namespace localmapi
{

namespace
{

constexpr char32_t kReplacement = 0xFFFD;

// The next character of UTF-8 text; a broken sequence is one replacement character for its longest valid beginning.
char32_t NextCharacter(std::string_view text, std::size_t &at)
{
    const auto lead = static_cast<unsigned char>(text[at++]);
    if (lead < 0x80)
        return lead;
    int more = 0;
    char32_t character = 0;
    unsigned char lowest = 0x80, highest = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        more = 1;
        character = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        more = 2;
        character = lead & 0x0F;
        if (lead == 0xE0)
            lowest = 0xA0;
        if (lead == 0xED)
            highest = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        more = 3;
        character = lead & 0x07;
        if (lead == 0xF0)
            lowest = 0x90;
        if (lead == 0xF4)
            highest = 0x8F;
    } else {
        return kReplacement;
    }
    for (; more > 0; --more) {
        if (at >= text.size())
            return kReplacement;
        const auto next = static_cast<unsigned char>(text[at]);
        if (next < lowest || next > highest)
            return kReplacement;
        lowest = 0x80;
        highest = 0xBF;
        character = character << 6 | (next & 0x3F);
        ++at;
    }
    return character;
}

void AppendUtf8(std::string &text, char32_t character)
{
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | character >> 6);
        tail(0);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | character >> 12);
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | character >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

bool IsAscii(std::string_view text)
{
    for (const char c : text)
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
    return true;
}

int Length(std::size_t size)
{
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw Failure(MAPI_E_STRING_TOO_LONG, DescribeCode(MAPI_E_STRING_TOO_LONG));
    return static_cast<int>(size);
}

} // namespace

WideText WideFromUtf8(std::string_view text)
{
    WideText wide;
    wide.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char32_t character = NextCharacter(text, at);
        if (character < 0x10000) {
            wide += static_cast<WCHAR>(character);
        } else {
            wide += static_cast<WCHAR>(0xD800 + ((character - 0x10000) >> 10));
            wide += static_cast<WCHAR>(0xDC00 + ((character - 0x10000) & 0x3FF));
        }
    }
    return wide;
}

std::string Utf8FromWide(std::basic_string_view<WCHAR> text)
{
    std::string utf8;
    utf8.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char32_t unit = static_cast<std::uint16_t>(text[at]);
        const bool high = unit >= 0xD800 && unit < 0xDC00;
        const char32_t next = high && at + 1 < text.size() ? static_cast<std::uint16_t>(text[at + 1]) : 0;
        if (next >= 0xDC00 && next < 0xE000) {
            AppendUtf8(utf8, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++at;
        } else {
            AppendUtf8(utf8, unit >= 0xD800 && unit < 0xE000 ? kReplacement : unit);
        }
    }
    return utf8;
}

std::string AnsiFromUtf8(std::string_view text)
{
    if (IsAscii(text))
        return std::string(text);
    const WideText wide = WideFromUtf8(text);
    const int length = Length(wide.size());
    const int needed = WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0)
        throw Failure(MAPI_E_BAD_CHARWIDTH, "A text can not be written in the ANSI code page.");
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.data(), length, narrow.data(), needed, nullptr, nullptr);
    return narrow;
}

std::string Utf8FromAnsi(std::string_view text)
{
    if (IsAscii(text))
        return std::string(text);
    const int length = Length(text.size());
    const int needed = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    if (needed <= 0)
        throw Failure(MAPI_E_BAD_CHARWIDTH, "A text can not be read in the ANSI code page.");
    WideText wide(static_cast<std::size_t>(needed), WCHAR());
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), needed);
    return Utf8FromWide(wide);
}

std::string Utf8FromClient(const TCHAR *text, bool wide)
{
    if (!text)
        return {};
    if (wide)
        return Utf8FromWide(reinterpret_cast<const WCHAR *>(text));
    return Utf8FromAnsi(reinterpret_cast<const char *>(text));
}

std::string Utf8FromClient(const TCHAR *text, ULONG flags)
{
    return Utf8FromClient(text, (flags & MAPI_UNICODE) != 0);
}

char *AnsiCopy(void *root, std::string_view utf8)
{
    return CopyText(root, std::string_view(AnsiFromUtf8(utf8)));
}

WCHAR *WideCopy(void *root, std::string_view utf8)
{
    return CopyText(root, std::basic_string_view<WCHAR>(WideFromUtf8(utf8)));
}

TCHAR *ClientCopy(void *root, std::string_view utf8, ULONG flags)
{
    return flags & MAPI_UNICODE ? reinterpret_cast<TCHAR *>(WideCopy(root, utf8))
                                : reinterpret_cast<TCHAR *>(AnsiCopy(root, utf8));
}

std::string HexText(ULONG value)
{
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[value >> shift & 15];
    return text;
}

} // namespace localmapi
