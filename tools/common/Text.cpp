// The conversions, hexadecimal identifiers, and the width of text on a terminal.
#include "common/Text.h"
#include <array>

namespace tool
{

namespace
{

// One code point from a position of valid UTF-8, and the position after it.
char32_t Next(std::string_view text, std::size_t &at)
{
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned lead = byte(at);
    std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t code = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
        code = (code << 6) | (byte(at + i) & 0x3F);
    at += length;
    return code;
}

struct Range {
    char32_t first, last;
};

// Blocks that terminals show in no column of their own, and in two.
constexpr std::array kZeroWidth = {Range{0x300, 0x36F}, Range{0x200B, 0x200F}, Range{0x20D0, 0x20FF},
                                   Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F}};
constexpr std::array kDoubleWidth = {Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0xA4CF},
                                     Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},
                                     Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F},
                                     Range{0x1F680, 0x1F6FF}, Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};

template <class Table> bool In(const Table &table, char32_t code)
{
    for (const Range &range : table)
        if (code >= range.first && code <= range.last)
            return true;
    return false;
}

// What a terminal would take for a command.
bool IsControl(char32_t code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

std::size_t WidthOf(char32_t code)
{
    return In(kZeroWidth, code) ? 0 : In(kDoubleWidth, code) ? 2 : 1;
}

} // namespace

WideText ToWide(std::string_view utf8)
{
    if (utf8.empty())
        return {};
    const int size = static_cast<int>(utf8.size());
    WideText wide(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0), WCHAR());
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string ToUtf8(std::basic_string_view<WCHAR> wide)
{
    if (wide.empty())
        return {};
    const int size = static_cast<int>(wide.size());
    std::string utf8(WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    return utf8;
}

std::string ToUtf8(const WCHAR *wide)
{
    return wide ? ToUtf8(std::basic_string_view<WCHAR>(wide)) : std::string();
}

bool IsUtf8(std::string_view text)
{
    return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                               static_cast<int>(text.size()), nullptr, 0) != 0;
}

std::string ToHex(const std::uint8_t *bytes, std::size_t count)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    hex.reserve(count * 2);
    for (std::size_t i = 0; i < count; ++i) {
        hex += kDigits[bytes[i] >> 4];
        hex += kDigits[bytes[i] & 15];
    }
    return hex;
}

std::optional<std::vector<std::uint8_t>> FromHex(std::string_view hex)
{
    if (hex.empty() || hex.size() % 2 != 0)
        return std::nullopt;
    const auto digit = [](char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                      : -1;
    };
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = digit(hex[i]);
        const int low = digit(hex[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes;
}

std::size_t Columns(std::string_view utf8)
{
    std::size_t columns = 0;
    for (std::size_t at = 0; at < utf8.size();)
        columns += WidthOf(Next(utf8, at));
    return columns;
}

std::string Fit(std::string_view utf8, std::size_t columns)
{
    const bool cut = Columns(utf8) > columns;
    const std::size_t room = cut && columns > 0 ? columns - 1 : columns;
    std::string fitted;
    std::size_t used = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t from = at;
        const char32_t code = Next(utf8, at);
        const std::size_t width = WidthOf(code);
        if (used + width > room)
            break;
        used += width;
        if (IsControl(code))
            fitted += ' ';
        else
            fitted.append(utf8.substr(from, at - from));
    }
    if (cut && columns > 0) {
        fitted += "…";
        ++used;
    }
    fitted.append(columns - used, ' ');
    return fitted;
}

std::string Clean(std::string_view utf8)
{
    return Fit(utf8, Columns(utf8));
}

std::string CleanText(std::string_view utf8)
{
    std::string clean;
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t from = at;
        const char32_t code = Next(utf8, at);
        if (IsControl(code) && code != '\n' && code != '\r' && code != '\t')
            clean += ' ';
        else
            clean.append(utf8.substr(from, at - from));
    }
    return clean;
}

} // namespace tool
