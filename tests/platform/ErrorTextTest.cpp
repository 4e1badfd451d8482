// Proves for which codes the system has a text, in which form it comes, and how it is freed.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
constexpr DWORD kFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;

std::string TextOf(DWORD code, DWORD flags = kFlags)
{
    char *text = nullptr;
    const DWORD length = FormatMessageA(flags, nullptr, code, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    if (length == 0)
        return {};
    EXPECT_EQ(length, std::strlen(text));
    std::string result(text);
    EXPECT_EQ(nullptr, LocalFree(text));
    return result;
}

TEST(ErrorText, IsThereForCodesOfTheSystemAndEndsALine)
{
    for (const DWORD code : {0u, 1u, 2u, 3u, 5u, 6u, 8u, 14u, 87u, 122u, 126u, 127u, 183u, 1113u}) {
        const std::string text = TextOf(code);
        ASSERT_LT(3u, text.size()) << code;
        EXPECT_EQ("\r\n", text.substr(text.size() - 2)) << code;
    }
}

TEST(ErrorText, OfAnHRESULTOfTheSystemIsItsCodes)
{
    EXPECT_EQ(TextOf(5), TextOf(0x80070005));
    EXPECT_EQ(TextOf(87), TextOf(0x80070057));
    EXPECT_NE(TextOf(5), TextOf(87));
}

TEST(ErrorText, IsNotThereForCodesOfMAPI)
{
    for (const DWORD code : {0x8004010Fu, 0x80040700u, 0x00040380u}) {
        SetLastError(0);
        EXPECT_EQ("", TextOf(code)) << code;
        EXPECT_NE(0u, GetLastError());
    }
}

TEST(ErrorText, IsFoundWhenTheProgramItselfIsLookedThroughFirst)
{
    EXPECT_EQ(TextOf(5), TextOf(5, kFlags | FORMAT_MESSAGE_FROM_HMODULE));
    EXPECT_EQ("", TextOf(5, (kFlags & ~DWORD{FORMAT_MESSAGE_FROM_SYSTEM}) | FORMAT_MESSAGE_FROM_HMODULE));
}

TEST(ErrorText, GoesIntoABufferThatIsLargeEnough)
{
    const std::string whole = TextOf(5);
    char buffer[512];
    const DWORD flags = kFlags & ~DWORD{FORMAT_MESSAGE_ALLOCATE_BUFFER};
    EXPECT_EQ(whole.size(), FormatMessageA(flags, nullptr, 5, 0, buffer, sizeof buffer, nullptr));
    EXPECT_EQ(whole, buffer);
    SetLastError(0);
    EXPECT_EQ(0u, FormatMessageA(flags, nullptr, 5, 0, buffer, 3, nullptr));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
}
} // namespace
