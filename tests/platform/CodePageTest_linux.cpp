// Proves how the ANSI code page follows the environment on Linux. The program is started by CTest with one
// environment after another; ORLMAPI_TEST_ACP says what the code page must be there.
#include "Text.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <mbstring.h>

namespace
{
std::string Expected()
{
    const char *expected = std::getenv("ORLMAPI_TEST_ACP");
    return expected ? expected : "none given";
}

TEST(AnsiCodePage, IsTheLocalesEncoding)
{
    EXPECT_EQ(Expected(), std::to_string(GetACP()));
}

TEST(AnsiCodePage, ConvertsAnAccentedLetter)
{
    const WCHAR letter[] = {0xE9};
    char bytes[8];
    const int count = WideCharToMultiByte(CP_ACP, 0, letter, 1, bytes, 8, nullptr, nullptr);
    EXPECT_EQ(GetACP() == CP_UTF8 ? "\xC3\xA9" : "\xE9", std::string(bytes, static_cast<std::size_t>(count)));
    WCHAR units[8];
    EXPECT_EQ(1, MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, bytes, count, units, 8));
    EXPECT_EQ(0xE9, units[0]);
}

TEST(AnsiCodePage, LowersItsOwnLetters)
{
    unsigned char text[16];
    const WCHAR upper[] = {'A', 0xC9, 0};
    const WCHAR lower[] = {'a', 0xE9, 0};
    char expected[16];
    WideCharToMultiByte(CP_ACP, 0, upper, -1, reinterpret_cast<char *>(text), 16, nullptr, nullptr);
    WideCharToMultiByte(CP_ACP, 0, lower, -1, expected, 16, nullptr, nullptr);
    EXPECT_EQ(0, _mbsicmp(text, reinterpret_cast<unsigned char *>(expected)));
    EXPECT_EQ(0, _mbslwr_s(text, sizeof text));
    EXPECT_STREQ(expected, reinterpret_cast<char *>(text));
}

TEST(AnsiCodePage, TakesADefaultCharacterWhereUTF8ByItsNumberTakesNone)
{
    char bytes[8];
    BOOL used = 7;
    EXPECT_EQ(1, WideCharToMultiByte(CP_ACP, 0, u"a", 1, bytes, 8, "?", &used));
    EXPECT_FALSE(used);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, u"a", 1, bytes, 8, "?", nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, u"a", 1, bytes, 8, nullptr, &used));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_NO_BEST_FIT_CHARS, u"a", 1, bytes, 8, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_FLAGS}, GetLastError());
}
} // namespace
