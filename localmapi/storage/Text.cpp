#include "localmapi/storage/Text.h"
#include "localmapi/storage/TextTables.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

// Where a byte is no UTF-8, it is given as a character beyond Unicode, so that it equals only itself.
constexpr char32_t kRawByte = 0x110000;

char32_t nextCharacter(std::string_view text, std::size_t &at)
{
    auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned char lead = byte(at);
    if (lead < 0x80) {
        ++at;
        return lead;
    }
    std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    bool good = lead >= 0xC2 && lead <= 0xF4 && at + length <= text.size();
    char32_t character = lead & (0x7F >> length);
    for (std::size_t i = 1; good && i < length; ++i) {
        good = (byte(at + i) & 0xC0) == 0x80;
        character = character << 6 | (byte(at + i) & 0x3F);
    }
    good = good && character >= kLeast[length] && character < kRawByte && (character & 0xFFFFF800) != 0xD800;
    at += good ? length : 1;
    return good ? character : kRawByte + lead;
}

void append(std::string &text, char32_t character)
{
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character >= kRawByte) {
        text += static_cast<char>(character - kRawByte);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | character >> 6);
        text += static_cast<char>(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | character >> 12);
        text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (character & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | character >> 18);
        text += static_cast<char>(0x80 | (character >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (character & 0x3F));
    }
}

char32_t folded(char32_t character)
{
    if (character < 0x80)
        return character >= 'A' && character <= 'Z' ? character + 32 : character;
    auto range = std::upper_bound(kCaseRanges.begin(), kCaseRanges.end(), character,
                                  [](char32_t wanted, const CaseRange &one) { return wanted < one.first; });
    // Ranges with a stride of two may overlap by one.
    for (int back = 0; back < 2 && range != kCaseRanges.begin(); ++back) {
        --range;
        if (character <= range->last && (character - range->first) % static_cast<char32_t>(range->stride) == 0)
            return static_cast<char32_t>(static_cast<std::int32_t>(character) + range->delta);
    }
    return character;
}

bool isMark(char32_t character)
{
    auto range = std::upper_bound(kMarkRanges.begin(), kMarkRanges.end(), character,
                                  [](char32_t wanted, const MarkRange &one) { return wanted < one.first; });
    return range != kMarkRanges.begin() && character <= (range - 1)->last;
}

char32_t withoutMarks(char32_t character)
{
    auto found = std::lower_bound(kBaseCharacters.begin(), kBaseCharacters.end(), character,
                                  [](const BaseCharacter &one, char32_t wanted) { return one.composed < wanted; });
    return found != kBaseCharacters.end() && found->composed == character ? found->base : character;
}

} // namespace

int compareText(std::string_view left, std::string_view right)
{
    std::size_t l = 0, r = 0;
    while (l < left.size() && r < right.size()) {
        char32_t a = folded(nextCharacter(left, l));
        char32_t b = folded(nextCharacter(right, r));
        if (a != b)
            return a < b ? -1 : 1;
    }
    if (l < left.size() || r < right.size())
        return l < left.size() ? 1 : -1;
    return left.compare(right);
}

std::string foldText(std::string_view text, bool ignoreCase, bool ignoreNonSpace)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        char32_t character = nextCharacter(text, at);
        if (ignoreNonSpace && character >= 0x80) {
            if (isMark(character))
                continue;
            character = withoutMarks(character);
        }
        append(result, ignoreCase ? folded(character) : character);
    }
    return result;
}

std::string foldCase(std::string_view text)
{
    return foldText(text, true, false);
}

std::uint64_t utf16Size(std::string_view text)
{
    std::uint64_t units = 0;
    for (std::size_t at = 0; at < text.size();) {
        char32_t character = nextCharacter(text, at);
        units += character >= 0x10000 && character < kRawByte ? 2 : 1;
    }
    return units * 2;
}

} // namespace localmapi::storage
