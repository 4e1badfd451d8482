// UTF-8, in which the tools work, to and from the UTF-16 of the W functions, and hexadecimal identifiers.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

namespace tool
{

using WideText = std::basic_string<WCHAR>;

// Broken sequences become U+FFFD.
WideText ToWide(std::string_view utf8);
std::string ToUtf8(std::basic_string_view<WCHAR> wide);
// A null pointer gives empty text.
std::string ToUtf8(const WCHAR *wide);

bool IsUtf8(std::string_view text);

std::string ToHex(const std::uint8_t *bytes, std::size_t count);
// Nothing where the text is not an even number of hexadecimal digits, or empty.
std::optional<std::vector<std::uint8_t>> FromHex(std::string_view hex);

// Cut to so many terminal columns, padded with blanks where shorter; a cut text ends with "…". Wide East Asian
// characters and emoji count 2, combining marks 0; control characters become blanks.
std::string Fit(std::string_view utf8, std::size_t columns);
// The same without a width.
std::string Clean(std::string_view utf8);
// Of text of several lines: line ends and tabs stay.
std::string CleanText(std::string_view utf8);
std::size_t Columns(std::string_view utf8);

} // namespace tool
