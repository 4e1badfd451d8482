// UTF-8, read as Windows reads it.
#include "code_page.h"

namespace platform
{
char32_t NextOfUtf8(const char **text, const char *end)
{
    const auto lead = static_cast<unsigned char>(*(*text)++);
    if (lead < 0x80)
        return lead;
    if (lead < 0xC2 || lead > 0xF4)
        return kInvalid;
    const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t codePoint = lead & (0x3F >> following);
    // The second byte's range depends on the first: no overlong forms, no surrogates, nothing above U+10FFFF.
    unsigned char lowest = 0x80, highest = 0xBF;
    if (lead == 0xE0)
        lowest = 0xA0;
    else if (lead == 0xED)
        highest = 0x9F;
    else if (lead == 0xF0)
        lowest = 0x90;
    else if (lead == 0xF4)
        highest = 0x8F;
    for (int i = 0; i < following; ++i) {
        if (*text == end)
            return kInvalid;
        const auto byte = static_cast<unsigned char>(**text);
        if ((byte & 0xC0) != 0x80)
            return kInvalid;
        // A second byte out of its range is replaced together with the first.
        ++*text;
        if (byte < lowest || byte > highest)
            return kInvalid;
        codePoint = codePoint << 6 | (byte & 0x3F);
        lowest = 0x80;
        highest = 0xBF;
    }
    return codePoint;
}

int PutUtf8(char32_t codePoint, char *bytes)
{
    if (codePoint >= 0xD800 && codePoint < 0xE000)
        codePoint = 0xFFFD;
    if (codePoint < 0x80) {
        bytes[0] = static_cast<char>(codePoint);
        return 1;
    }
    const int following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    for (int i = following; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
        codePoint >>= 6;
    }
    static constexpr unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(kLead[following] | codePoint);
    return following + 1;
}
} // namespace platform
