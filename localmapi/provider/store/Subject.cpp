#include "localmapi/provider/store/Subject.h"

namespace localmapi
{

namespace
{

constexpr int kLongestPrefix = 3;

std::size_t PrefixLength(std::string_view subject)
{
    int characters = 0;
    for (std::size_t at = 0; at < subject.size(); ++at) {
        const auto byte = static_cast<unsigned char>(subject[at]);
        if (byte == ':')
            return characters > 0 && at + 1 < subject.size() && subject[at + 1] == ' ' ? at + 2 : 0;
        if (byte <= ' ' || (byte >= '0' && byte <= '9'))
            return 0;
        const bool continues = (byte & 0xC0) == 0x80;
        if (!continues && ++characters > kLongestPrefix)
            return 0;
    }
    return 0;
}

} // namespace

SubjectParts SplitSubject(std::string_view subject, const std::optional<std::string> &prefix)
{
    const std::size_t length =
        prefix && subject.substr(0, prefix->size()) == *prefix ? prefix->size() : PrefixLength(subject);
    return {std::string(subject.substr(0, length)), std::string(subject.substr(length))};
}

} // namespace localmapi
