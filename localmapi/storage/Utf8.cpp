#include "localmapi/storage/Utf8.h"

namespace localmapi::storage
{

Utf8Character ReadUtf8(std::string_view text, std::size_t at)
{
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80)
        return {lead, 1, true};
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 1, false};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // The second byte leaves out what could be written shorter, surrogates and what lies beyond Unicode.
    unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t character = lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (at + i >= text.size())
            return {0, i, false};
        const auto next = static_cast<unsigned char>(text[at + i]);
        if (next < lowest || next > highest)
            return {0, i, false};
        lowest = 0x80;
        highest = 0xBF;
        character = character << 6 | (next & 0x3F);
    }
    return {character, length, true};
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

} // namespace localmapi::storage
