#include "common/base/Encoding.h"

namespace
{

// Text of a length as the conversions count it.
int Length(std::size_t length)
{
    return static_cast<int>(length);
}

// Only these code pages take the flag that refuses invalid text; the others always find a substitute.
DWORD StrictFlags(UINT codePage)
{
    return codePage == CP_UTF8 || codePage == 54936 ? WC_ERR_INVALID_CHARS : 0;
}

// True when text was measured and is wholly valid in its code page.
bool Measured(int length)
{
    return length > 0 && GetLastError() != ERROR_NO_UNICODE_TRANSLATION;
}

template <class Text> void CutAtNul(Text &text)
{
    text.resize(std::char_traits<typename Text::value_type>::length(text.c_str()));
}

} // namespace

wtext WidenText(const std::string &text, UINT codePage)
{
    DWORD flags = codePage ? MB_ERR_INVALID_CHARS : 0;
    SetLastError(ERROR_SUCCESS);
    int length = MultiByteToWideChar(codePage, flags, text.data(), Length(text.size()), nullptr, 0);
    if (codePage && !Measured(length)) {
        codePage = CP_ACP;
        flags = 0;
        length = MultiByteToWideChar(codePage, flags, text.data(), Length(text.size()), nullptr, 0);
    }
    wtext wide(static_cast<std::size_t>(length), WCHAR{});
    MultiByteToWideChar(codePage, flags, text.data(), Length(text.size()), wide.data(), length);
    CutAtNul(wide);
    return wide;
}

std::string NarrowText(const wtext &wide, UINT codePage)
{
    DWORD flags = StrictFlags(codePage);
    SetLastError(ERROR_SUCCESS);
    int length = WideCharToMultiByte(codePage, flags, wide.data(), Length(wide.size()), nullptr, 0, nullptr, nullptr);
    if (codePage && !Measured(length)) {
        codePage = CP_ACP;
        flags = 0;
        length = WideCharToMultiByte(codePage, flags, wide.data(), Length(wide.size()), nullptr, 0, nullptr, nullptr);
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(codePage, flags, wide.data(), Length(wide.size()), text.data(), length, nullptr, nullptr);
    CutAtNul(text);
    return text;
}
