// Conversions between UTF-8, UTF-16 and the ANSI code page. ASCII, which most text is, goes through unconverted.
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/storage/Utf8.h"

#include <limits>

namespace localmapi
{

namespace
{

constexpr char32_t kReplacement = 0xFFFD;

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
        const storage::Utf8Character read = storage::ReadUtf8(text, at);
        at += read.length;
        const char32_t character = read.good ? read.character : kReplacement;
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
            storage::AppendUtf8(utf8, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++at;
        } else {
            storage::AppendUtf8(utf8, unit >= 0xD800 && unit < 0xE000 ? kReplacement : unit);
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
