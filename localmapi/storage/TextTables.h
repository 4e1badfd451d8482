// Tables of the Unicode character database, each in ascending order.
#pragma once
#include <array>
#include <cstdint>

namespace localmapi::storage
{

// Every `stride`-th character from `first` to `last` folds to the one `delta` further on.
struct CaseRange {
    char32_t first, last;
    std::int32_t stride, delta;
};
struct MarkRange {
    char32_t first, last;
};
struct BaseCharacter {
    char32_t composed, base;
};

extern const std::array<CaseRange, 202> kCaseRanges;
extern const std::array<MarkRange, 336> kMarkRanges;
extern const std::array<BaseCharacter, 986> kBaseCharacters;

} // namespace localmapi::storage
