// Lines of which a part, such as a number, may be anything of its kind.
#pragma once
#include <gmock/gmock.h>
#include <regex>
#include <string>

// The whole line matches a regular expression (ECMAScript), on every target alike.
MATCHER_P(LikeLine, pattern, "is like " + testing::PrintToString(pattern))
{
    return std::regex_match(std::string(arg), std::regex(pattern));
}
