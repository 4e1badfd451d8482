// A subject's prefix ("RE: ") and what follows it.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace localmapi
{

struct SubjectParts {
    std::string prefix;
    std::string normalized;
};

// With a prefix given and found at the beginning, that one counts; else one to three characters that are no digits and
// no blanks, a colon and a blank.
SubjectParts SplitSubject(std::string_view subject, const std::optional<std::string> &prefix);

} // namespace localmapi
