// Proves that text converts between UTF-8 and UTF-16 as on Windows: lengths, last errors, flags, invalid sequences of
// both. The expected values are those of Windows' own functions, which the Windows build tests.
#include "Text.h"
#include <gtest/gtest.h>
#include <vector>

namespace
{
constexpr DWORD kUntouched = 0xDEAD;

WideText Widen(const char *text, DWORD flags = 0)
{
    WCHAR buffer[64];
    const int units = MultiByteToWideChar(CP_UTF8, flags, text, static_cast<int>(std::strlen(text)), buffer, 64);
    return WideText(buffer, static_cast<std::size_t>(units));
}

std::string Narrow(const WideText &text)
{
    char buffer[64];
    const int bytes =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), buffer, 64, nullptr, nullptr);
    return std::string(buffer, static_cast<std::size_t>(bytes));
}

TEST(Utf8, ConvertsToUTF16AndBack)
{
    const struct {
        const char *narrow;
        WideText wide;
    } cases[] = {
        {"plain", OLESTR("plain")},
        {"\xC3\xA9\xC3\xBC", {0xE9, 0xFC}},
        {"\xCE\xB1\xCE\xB2", {0x3B1, 0x3B2}},
        {"\xE3\x81\x82", {0x3042}},
        {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},
        {"\xEF\xBF\xBF", {0xFFFF}},
        {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},
    };
    for (const auto &example : cases) {
        EXPECT_EQ(example.wide, Widen(example.narrow)) << example.narrow;
        EXPECT_EQ(example.wide, Widen(example.narrow, MB_ERR_INVALID_CHARS)) << example.narrow;
        EXPECT_EQ(example.narrow, Narrow(example.wide)) << example.narrow;
    }
}

TEST(Utf8, ReplacesWhatIsInvalid)
{
    const WCHAR bad = 0xFFFD;
    const struct {
        const char *narrow;
        WideText wide;
    } cases[] = {
        {"a\xFF"
         "b",
         {'a', bad, 'b'}},
        {"\xC3(", {bad, '('}},
        {"\xC3", {bad}},
        {"\xE2\x82(", {bad, '('}},
        {"\xE0\x80\x80|", {bad, bad, '|'}},
        {"\xE0\x9F\x80x", {bad, bad, 'x'}},
        {"\xED\xA0\x80|", {bad, bad, '|'}},
        {"\xF0\x9F\x98(x", {bad, '(', 'x'}},
        {"\xF0\x80\x80\x80|", {bad, bad, bad, '|'}},
        {"\xF4\x90\x80\x80|", {bad, bad, bad, '|'}},
        {"\xF5\x80\x80\x80|", {bad, bad, bad, bad, '|'}},
        {"\xC0\x80\xC1\xBF", {bad, bad, bad, bad}},
        {"\x80\x80", {bad, bad}},
        {"\xE2(\xA1", {bad, '(', bad}},
        {"\xF0(\x8Cz", {bad, '(', bad, 'z'}},
    };
    for (const auto &example : cases)
        EXPECT_EQ(example.wide, Widen(example.narrow)) << testing::PrintToString(std::string(example.narrow));
}

// Every sequence of two bytes above ASCII with every third, followed by plain text: the sum over all results.
TEST(Utf8, ReadsEveryStartOfASequenceAsWindowsDoes)
{
    std::uint32_t sum = 1;
    for (int first = 0x80; first < 0x100; ++first)
        for (int second = 0; second < 0x100; ++second)
            for (int third = 0; third < 0x100; ++third) {
                const char bytes[] = {
                    static_cast<char>(first), static_cast<char>(second), static_cast<char>(third), 'x', 'y', 'z'};
                WCHAR units[8];
                const int count = MultiByteToWideChar(CP_UTF8, 0, bytes, sizeof bytes, units, 8);
                for (int i = 0; i < count; ++i)
                    sum = sum * 31 + units[i];
            }
    EXPECT_EQ(0x80DC4801u, sum);
}

TEST(Utf8, ReplacesUnpairedSurrogates)
{
    EXPECT_EQ("a\xEF\xBF\xBD", Narrow({'a', 0xD800}));
    EXPECT_EQ("\xEF\xBF\xBDz", Narrow({0xDC00, 'z'}));
    EXPECT_EQ("\xEF\xBF\xBD\xF0\x9F\x98\x80", Narrow({0xD83D, 0xD83D, 0xDE00}));
}

TEST(Utf8, IsRefusedWhenInvalidAndAskedFor)
{
    WCHAR units[8];
    SetLastError(kUntouched);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", -1, units, 8));
    EXPECT_EQ(DWORD{ERROR_NO_UNICODE_TRANSLATION}, GetLastError());
    SetLastError(kUntouched);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xC3", 1, nullptr, 0));
    EXPECT_EQ(DWORD{ERROR_NO_UNICODE_TRANSLATION}, GetLastError());
    char bytes[8];
    const WCHAR surrogate[] = {0xD800, 0};
    SetLastError(kUntouched);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, surrogate, -1, bytes, 8, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_NO_UNICODE_TRANSLATION}, GetLastError());
    SetLastError(kUntouched);
    EXPECT_EQ(2, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, OLESTR("a"), -1, bytes, 8, nullptr, nullptr));
    EXPECT_EQ(kUntouched, GetLastError());
}

TEST(Conversion, CountsTheTerminatorOnlyWhenNoLengthIsGiven)
{
    WCHAR units[8] = {};
    char bytes[8] = {};
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, "abc", -1, units, 8));
    EXPECT_EQ(3, MultiByteToWideChar(CP_UTF8, 0, "abc", 3, units, 8));
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0));
    EXPECT_EQ(1, MultiByteToWideChar(CP_UTF8, 0, "", -1, units, 8));
    EXPECT_EQ(4, WideCharToMultiByte(CP_UTF8, 0, OLESTR("abc"), -1, bytes, 8, nullptr, nullptr));
    EXPECT_EQ(3, WideCharToMultiByte(CP_UTF8, 0, OLESTR("abc"), 3, bytes, 3, nullptr, nullptr));
    EXPECT_EQ(4, WideCharToMultiByte(CP_UTF8, 0, OLESTR("abc"), -1, nullptr, 0, nullptr, nullptr));
}

TEST(Conversion, FillsABufferThatIsTooSmallAndSaysSo)
{
    WCHAR units[8] = {};
    char bytes[8] = {};
    SetLastError(kUntouched);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, "abc", 3, units, 2));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    EXPECT_EQ(OLESTR("ab"), WideText(units, 2));
    EXPECT_EQ(0, units[2]);
    SetLastError(kUntouched);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, OLESTR("abc"), -1, bytes, 3, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    const WCHAR mixed[] = {'a', 0x3042};
    SetLastError(kUntouched);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, mixed, 2, bytes, 3, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    SetLastError(kUntouched);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "abc\xFF", 4, units, 2));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
}

TEST(Conversion, RefusesBadArguments)
{
    WCHAR units[8];
    char bytes[8];
    const auto lastError = [](int result) { return result == 0 ? GetLastError() : kUntouched; };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, lastError(MultiByteToWideChar(CP_UTF8, 0, "", 0, units, 8)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, lastError(MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, units, 8)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, lastError(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, units, -1)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, lastError(MultiByteToWideChar(99999, 0, "a", -1, units, 8)));
    EXPECT_EQ(DWORD{ERROR_INVALID_FLAGS}, lastError(MultiByteToWideChar(CP_UTF8, 16, "a", -1, units, 8)));
    EXPECT_EQ(DWORD{ERROR_INVALID_FLAGS}, lastError(MultiByteToWideChar(CP_ACP, 16, "a", -1, units, 8)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER},
              lastError(WideCharToMultiByte(CP_UTF8, 0, OLESTR(""), 0, bytes, 8, nullptr, nullptr)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER},
              lastError(WideCharToMultiByte(CP_UTF8, 0, nullptr, 1, bytes, 8, nullptr, nullptr)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER},
              lastError(WideCharToMultiByte(99999, 0, OLESTR("a"), 1, bytes, 8, nullptr, nullptr)));
}

TEST(Conversion, WithTheANSICodePageTakesItsOtherNumbersAndADefaultCharacter)
{
    WCHAR units[8];
    char bytes[8];
    BOOL used = 7;
    EXPECT_EQ(2, MultiByteToWideChar(CP_ACP, 0, "a", -1, units, 8));
    EXPECT_EQ(2, MultiByteToWideChar(CP_THREAD_ACP, 0, "a", -1, units, 8));
    EXPECT_EQ(2, WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, OLESTR("a"), -1, bytes, 8, "?", &used));
    EXPECT_FALSE(used);
    const WCHAR surrogate[] = {0xD83D, 0};
    EXPECT_LT(0, WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, surrogate, -1, bytes, 8, nullptr, &used));
    EXPECT_TRUE(used);
}

TEST(Conversion, KnowsOtherCodePagesByNumber)
{
    WCHAR units[8];
    char bytes[8];
    EXPECT_EQ(1, MultiByteToWideChar(1252, 0, "\x80", 1, units, 8));
    EXPECT_EQ(0x20AC, units[0]);
    EXPECT_EQ(1, MultiByteToWideChar(1253, 0, "\xE1", 1, units, 8));
    EXPECT_EQ(0x3B1, units[0]);
    EXPECT_EQ(1, MultiByteToWideChar(28591, 0, "\xE9", 1, units, 8));
    EXPECT_EQ(0xE9, units[0]);
    const WCHAR hiragana[] = {0x3042, 'x'};
    BOOL used = 7;
    EXPECT_EQ(2, WideCharToMultiByte(28591, WC_NO_BEST_FIT_CHARS, hiragana, 2, bytes, 8, "!", &used));
    EXPECT_EQ("!x", std::string(bytes, 2));
    EXPECT_TRUE(used);
    EXPECT_EQ(3, WideCharToMultiByte(932, 0, hiragana, 2, bytes, 8, nullptr, nullptr));
    EXPECT_EQ("\x82\xA0x", std::string(bytes, 3));
    const WCHAR pair[] = {0xD83D, 0xDE00};
    EXPECT_EQ(2, WideCharToMultiByte(1252, 0, pair, 2, bytes, 8, nullptr, &used));
    EXPECT_EQ("??", std::string(bytes, 2));
}
} // namespace
