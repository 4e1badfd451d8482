// UTF-8, read and written a character at a time.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace localmapi::storage
{

struct Utf8Character {
    char32_t character = 0; // of a broken sequence: no character
    std::size_t length = 1; // of a broken sequence: of the longest beginning of a good one that it is, at least 1
    bool good = true;
};

// What stands at a place before the end.
Utf8Character ReadUtf8(std::string_view text, std::size_t at);

// For characters of Unicode, no others.
void AppendUtf8(std::string &text, char32_t character);

} // namespace localmapi::storage
