// Lines in which a number may be any number.
#pragma once
#include <gmock/gmock.h>
#include <string_view>

// Whether a line reads as the pattern does, in which '#' stands for one digit or more, hexadecimal ones included.
inline bool IsLikeLine(std::string_view line, std::string_view pattern)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (; !pattern.empty(); pattern.remove_prefix(1)) {
        std::size_t taken = 1;
        if (pattern.front() == '#') {
            taken = line.find_first_not_of(kDigits);
            if (taken == std::string_view::npos)
                taken = line.size();
            if (taken == 0)
                return false;
        } else if (line.empty() || line.front() != pattern.front())
            return false;
        line.remove_prefix(taken);
    }
    return line.empty();
}

MATCHER_P(LikeLine, pattern, "is like " + testing::PrintToString(pattern))
{
    return IsLikeLine(arg, pattern);
}
