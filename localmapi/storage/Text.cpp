// Folding by the tables of TextTables.h. Bytes that are not UTF-8 are taken one by one, as characters beyond Unicode.
#include "localmapi/storage/Text.h"
#include "localmapi/storage/TextTables.h"
#include "localmapi/storage/Utf8.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

// Where a byte is no UTF-8, it is given as a character beyond Unicode, so that it equals only itself.
constexpr char32_t kRawByte = 0x110000;

char32_t NextCharacter(std::string_view text, std::size_t &at)
{
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        ++at;
        return lead;
    }
    const Utf8Character read = ReadUtf8(text, at);
    at += read.good ? read.length : 1;
    return read.good ? read.character : kRawByte + lead;
}

void Append(std::string &text, char32_t character)
{
    if (character >= kRawByte)
        text += static_cast<char>(character - kRawByte);
    else
        AppendUtf8(text, character);
}

char32_t Folded(char32_t character)
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

bool IsMark(char32_t character)
{
    auto range = std::upper_bound(kMarkRanges.begin(), kMarkRanges.end(), character,
                                  [](char32_t wanted, const MarkRange &one) { return wanted < one.first; });
    return range != kMarkRanges.begin() && character <= (range - 1)->last;
}

char32_t WithoutMarks(char32_t character)
{
    auto found = std::lower_bound(kBaseCharacters.begin(), kBaseCharacters.end(), character,
                                  [](const BaseCharacter &one, char32_t wanted) { return one.composed < wanted; });
    return found != kBaseCharacters.end() && found->composed == character ? found->base : character;
}

} // namespace

int CompareText(std::string_view left, std::string_view right)
{
    std::size_t l = 0, r = 0;
    while (l < left.size() && r < right.size()) {
        char32_t a = Folded(NextCharacter(left, l));
        char32_t b = Folded(NextCharacter(right, r));
        if (a != b)
            return a < b ? -1 : 1;
    }
    if (l < left.size() || r < right.size())
        return l < left.size() ? 1 : -1;
    return left.compare(right);
}

std::string FoldText(std::string_view text, bool ignoreCase, bool ignoreNonSpace)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        char32_t character = NextCharacter(text, at);
        if (ignoreNonSpace && character >= 0x80) {
            if (IsMark(character))
                continue;
            character = WithoutMarks(character);
        }
        Append(result, ignoreCase ? Folded(character) : character);
    }
    return result;
}

std::string FoldCase(std::string_view text)
{
    return FoldText(text, true, false);
}

std::uint64_t Utf16Size(std::string_view text)
{
    std::uint64_t units = 0;
    for (std::size_t at = 0; at < text.size();) {
        char32_t character = NextCharacter(text, at);
        units += character >= 0x10000 && character < kRawByte ? 2 : 1;
    }
    return units * 2;
}

} // namespace localmapi::storage
