// Text between a client's two widths and UTF-8 inside, valid and broken.
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/base/Memory.h"

#include <gtest/gtest.h>

using namespace localmapi;

namespace
{

const char kNames[] = "Zo\xC3\xAB \xCE\x91\xCE\xB8 \xE6\x9D\xB1 \xF0\x9F\x93\x9E";

TEST(Text, Utf8AndWideTextAreOneText)
{
    const LPCWSTR wide = OLESTR("Zo\x00EB \x0391\x03B8 \x6771 \xD83D\xDCDE");
    EXPECT_EQ(WideFromUtf8(kNames), wide);
    EXPECT_EQ(Utf8FromWide(wide), kNames);
    EXPECT_EQ(Utf8FromWide(WideFromUtf8("")), "");
}

TEST(Text, BrokenUtf8BecomesReplacementCharacters)
{
    const std::string replacement = "\xEF\xBF\xBD";
    const auto mended = [](const std::string &text) { return Utf8FromWide(WideFromUtf8(text)); };
    EXPECT_EQ(mended("a\xFFz"), "a" + replacement + "z");
    EXPECT_EQ(mended("a\x80z"), "a" + replacement + "z");
    EXPECT_EQ(mended("a\xE2\x82"), "a" + replacement);
    EXPECT_EQ(mended("a\xE2\x82z"), "a" + replacement + "z");
    EXPECT_EQ(mended("\xC0\xAF"), replacement + replacement) << "an overlong form";
    EXPECT_EQ(mended("\xED\xA0\x80"), replacement + replacement + replacement) << "a surrogate";
    EXPECT_EQ(mended("\xF4\x90\x80\x80"), replacement + replacement + replacement + replacement) << "beyond U+10FFFF";
}

TEST(Text, LoneSurrogatesBecomeReplacementCharacters)
{
    EXPECT_EQ(Utf8FromWide(WideText{'a', 0xD83D, 'z'}), "a\xEF\xBF\xBDz");
    EXPECT_EQ(Utf8FromWide(WideText{'a', 0xDCDE, 'z'}), "a\xEF\xBF\xBDz");
    EXPECT_EQ(Utf8FromWide(WideText{'a', 0xD83D}), "a\xEF\xBF\xBD");
}

TEST(Text, NarrowTextIsOfTheAnsiCodePage)
{
    EXPECT_EQ(AnsiFromUtf8("plain"), "plain");
    EXPECT_EQ(Utf8FromAnsi("plain"), "plain");
    EXPECT_EQ(AnsiFromUtf8(""), "");
    // Whatever the code page, a character that it has survives; every one has a replacement for those that it lacks.
    const std::string there = AnsiFromUtf8("Zo\xC3\xAB");
    EXPECT_EQ(Utf8FromAnsi(there), "Zo\xC3\xAB");
    EXPECT_FALSE(AnsiFromUtf8("\xE6\x9D\xB1").empty());
}

TEST(Text, AClientsTextIsWideWithMapiUnicode)
{
    EXPECT_EQ(Utf8FromClient(reinterpret_cast<const TCHAR *>(OLESTR("\x6771")), MAPI_UNICODE), "\xE6\x9D\xB1");
    EXPECT_EQ(Utf8FromClient(reinterpret_cast<const TCHAR *>("text"), ULONG{0}), "text");
    EXPECT_EQ(Utf8FromClient(nullptr, MAPI_UNICODE), "");
}

TEST(Text, CopiesForAClientAreTerminatedChildren)
{
    const LONG before = LiveBlocks();
    {
        auto root = NewRoot<char>(1);
        EXPECT_STREQ(reinterpret_cast<char *>(ClientCopy(root.get(), "text", 0)), "text");
        EXPECT_EQ(WideText(reinterpret_cast<WCHAR *>(ClientCopy(root.get(), kNames, MAPI_UNICODE))),
                  WideFromUtf8(kNames));
    }
    EXPECT_EQ(LiveBlocks(), before);
}

TEST(Text, CodesAreHexadecimal)
{
    EXPECT_EQ(HexText(0x80040106), "0x80040106");
    EXPECT_EQ(HexText(0), "0x00000000");
}

} // namespace
