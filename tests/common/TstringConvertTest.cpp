// Text between code pages, and text of GUIDs, dates and variants.
#include "BadMemory.h"
#include "LikeLine.h"
#include "common/text/tstring.h"
#include "support/TraceCapture.h"
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>
#include <oleauto.h>

namespace
{

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

wtext Wide(const tstring &text, UINT codePage)
{
    wtext wide;
    text.ToWide(wide, codePage);
    return wide;
}

// What the platform's ANSI code page makes of the bytes or characters.
wtext AnsiToWide(const std::string &text)
{
    wtext wide(text.size(), 0);
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}
std::string WideToAnsi(const wtext &wide)
{
    std::string text(wide.size() * 4, 0);
    text.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                                                     static_cast<int>(text.size()), nullptr, nullptr)));
    return text;
}

struct Pair {
    const char *utf8;
    wtext wide;
};

const Pair kTexts[] = {
    {"plain", OLESTR("plain")},
    {"Gr\xc3\xbc\xc3\x9f", {'G', 'r', 0xFC, 0xDF}},
    {"\xce\x9a\xce\xb1\xce\xbb\xce\xb7", {0x39A, 0x3B1, 0x3BB, 0x3B7}},
    {"\xe6\x97\xa5\xe6\x9c\xac", {0x65E5, 0x672C}},
    {"\xf0\x9f\x93\x9e!", {0xD83D, 0xDCDE, '!'}},
};

TEST(Conversion, Utf8BecomesWideTextAndBack)
{
    for (const Pair &pair : kTexts) {
        EXPECT_EQ(Wide(tstring(pair.utf8), CP_UTF8), pair.wide) << pair.utf8;
        tstring narrow;
        narrow.FromWide(pair.wide, CP_UTF8);
        EXPECT_EQ(narrow, pair.utf8);
    }
}

TEST(Conversion, InvalidUtf8IsReadInTheAnsiCodePage)
{
    for (const char *broken : {"caf\xe9", "\xff\xfe", "a\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80"})
        EXPECT_EQ(Wide(tstring(broken), CP_UTF8), AnsiToWide(broken));
}

TEST(Conversion, WideTextThatIsNoUtf16IsWrittenInTheAnsiCodePage)
{
    for (const wtext &broken : {wtext{'a', 0xD83D}, wtext{0xDCDE, 'b'}, wtext{0xDCDE, 0xD83D}}) {
        tstring narrow;
        narrow.FromWide(broken, CP_UTF8);
        EXPECT_EQ(narrow, WideToAnsi(broken));
    }
}

TEST(Conversion, CodePageZeroIsTheAnsiCodePage)
{
    const std::string bytes("A\xc3\xa4\xe9z");
    EXPECT_EQ(Wide(bytes, 0), AnsiToWide(bytes));
    const wtext wide = {'A', 0xE4, 'z'};
    tstring narrow;
    narrow.FromWide(wide);
    EXPECT_EQ(narrow, WideToAnsi(wide));
    EXPECT_EQ(tstring(wide.c_str()), WideToAnsi(wide));
}

TEST(Conversion, AnUnknownCodePageFallsBackToTheAnsiCodePage)
{
    EXPECT_EQ(Wide(tstring("text"), 64999), OLESTR("text"));
    tstring narrow;
    narrow.FromWide(OLESTR("text"), 64999);
    EXPECT_EQ(narrow, "text");
}

TEST(Conversion, EmptyTextLeavesTheTargetUntouched)
{
    wtext wide = OLESTR("untouched");
    tstring().ToWide(wide, CP_UTF8);
    EXPECT_EQ(wide, OLESTR("untouched"));
    tstring().ToWide(wide, 0);
    EXPECT_EQ(wide, OLESTR("untouched"));
    tstring narrow("untouched");
    narrow.FromWide(wtext(), CP_UTF8);
    EXPECT_EQ(narrow, "untouched");
}

TEST(Conversion, TheResultEndsAtItsFirstNul)
{
    EXPECT_EQ(Wide(std::string("ab\0cd", 5), CP_UTF8), OLESTR("ab"));
    EXPECT_EQ(Wide(std::string("\0cd", 3), CP_UTF8), OLESTR(""));
    tstring narrow;
    narrow.FromWide(wtext{'a', 'b', 0, 'c'}, CP_UTF8);
    EXPECT_EQ(narrow, "ab");
}

TEST(Conversion, LongTextIsWhole)
{
    const std::string text(100000, 'x');
    const wtext wide = Wide(text, CP_UTF8);
    EXPECT_EQ(wide, wtext(100000, 'x'));
    tstring narrow;
    narrow.FromWide(wide);
    EXPECT_EQ(narrow, text);
}

constexpr GUID kGuid = {0x0123ABCD, 0x00EF, 0x4567, {0x89, 0xAB, 0x0C, 0x0D, 0xEE, 0xFF, 0x00, 0x11}};
constexpr const char *kGuidText = "{0123abcd-00ef-4567-89ab-0c0deeff0011}";

TEST(GuidText, AGuidIsWrittenInLowerCaseWithBraces)
{
    EXPECT_EQ(tstring(kGuid), kGuidText);
}

TEST(GuidText, TextOfEitherCaseIsRead)
{
    TraceCapture trace;
    EXPECT_TRUE(IsEqualGUID(static_cast<GUID>(tstring(kGuidText)), kGuid));
    EXPECT_TRUE(IsEqualGUID(static_cast<GUID>(tstring("{0123ABCD-00EF-4567-89AB-0C0DEEFF0011}")), kGuid));
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(GuidText, OtherTextIsReportedAndGivesZeros)
{
    TraceCapture trace;
    const GUID zeros{};
    for (const char *bad : {"", "0123abcd-00ef-4567-89ab-0c0deeff0011", "{0123abcd-00ef-4567-89ab-0c0deeff0011", "x",
                            "{0123abcg-00ef-4567-89ab-0c0deeff0011}", "{0123abcd000ef-4567-89ab-0c0deeff0011}",
                            "{0123abcd-00ef-4567-89ab-0c0deeff001}", "{0123abcd-00ef-4567-89ab-0c0deeff0011}x"}) {
        trace.Clear();
        EXPECT_TRUE(IsEqualGUID(static_cast<GUID>(tstring(bad)), zeros)) << bad;
        EXPECT_THAT(trace.Texts(),
                    ElementsAre(std::string("tstring::operator GUID(): Failed to convert ") + bad + " to a GUID"));
    }
}

constexpr SYSTEMTIME kAfternoon = {2024, 2, 4, 29, 15, 4, 5, 0};

TEST(DateText, ASystemTimeIsWrittenAsTheLocaleWritesIt)
{
    tstring text("before");
    EXPECT_EQ(text.FromSystemTime(&kAfternoon), "2/29/2024 3:04:05 PM");
    EXPECT_EQ(text.FromSystemTime(&kAfternoon, tstring::Show::Date), "2/29/2024");
    EXPECT_EQ(text.FromSystemTime(&kAfternoon, tstring::Show::Time), "3:04:05 PM");
}

TEST(DateText, ADateThatDoesNotExistIsReported)
{
    TraceCapture trace;
    tstring text("before");
    const SYSTEMTIME noLeapDay = {2023, 2, 0, 29, 0, 0, 0, 0};
    EXPECT_EQ(text.FromSystemTime(&noLeapDay), "");
    const SYSTEMTIME noMonth = {2023, 13, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(text.FromSystemTime(&noMonth), "");
    const SYSTEMTIME nothing{};
    EXPECT_EQ(text.FromSystemTime(&nothing), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromSystemTime: Invalid date \"29 - 02 - 2023\"",
                                           "tstring::FromSystemTime: Invalid date \"01 - 13 - 2023\"",
                                           "tstring::FromSystemTime: Invalid date \"00 - 00 - 0000\""));
}

TEST(DateText, ATimeThatThePlatformRefusesIsReported)
{
    TraceCapture trace;
    tstring text("before");
    SYSTEMTIME time = kAfternoon;
    time.wHour = 25;
    EXPECT_EQ(text.FromSystemTime(&time, tstring::Show::Time), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromSystemTime: GetTimeFormat failed with the error 0x00000057"));
}

TEST(DateText, ADateThatThePlatformRefusesIsReported)
{
    TraceCapture trace;
    tstring text("before");
    const SYSTEMTIME tooEarly = {1600, 1, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(text.FromSystemTime(&tooEarly, tstring::Show::Date), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromSystemTime: GetDateFormat failed with the error 0x00000057"));
}

TEST(DateText, NullPointersAreReported)
{
    TraceCapture trace;
    const std::string null = sizeof(void *) == 4 ? "00000000" : "0000000000000000";
    tstring text("before");
    EXPECT_EQ(text.FromSystemTime(nullptr), "");
    text = "before";
    EXPECT_EQ(text.FromFileTime(nullptr), "");
    text = "before";
    EXPECT_EQ(text.FromVariant(nullptr), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromSystemTime: Invalid pointer " + null,
                                           "tstring::FromFileTime: Invalid pointer " + null,
                                           "tstring::FromVariant: Invalid pointer " + null));
}

TEST(DateText, UnreadablePointersAreReported)
{
    TraceCapture trace;
    const std::string address = sizeof(void *) == 4 ? "00000010" : "0000000000000010";
    tstring text("before");
    EXPECT_EQ(text.FromSystemTime(Unreadable<SYSTEMTIME>()), "");
    text = "before";
    EXPECT_EQ(text.FromFileTime(Unreadable<FILETIME>()), "");
    text = "before";
    EXPECT_EQ(text.FromVariant(Unreadable<VARIANT>()), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromSystemTime: Invalid pointer " + address,
                                           "tstring::FromFileTime: Invalid pointer " + address,
                                           "tstring::FromVariant: Invalid pointer " + address));
}

TEST(DateText, AValueThatRunsIntoUnreadableMemoryIsReported)
{
    TraceCapture trace;
    const PageBeforeGap page;
    std::memset(page.End() - sizeof(SYSTEMTIME), 0, sizeof(SYSTEMTIME));
    tstring text("before");
    EXPECT_EQ(text.FromSystemTime(reinterpret_cast<const SYSTEMTIME *>(page.End() - sizeof(SYSTEMTIME) / 2)), "");
    EXPECT_THAT(trace.Texts(), ElementsAre(StartsWith("tstring::FromSystemTime: Invalid pointer ")));
}

TEST(DateText, AFileTimeIsShownInLocalTime)
{
    FILETIME local;
    ASSERT_TRUE(SystemTimeToFileTime(&kAfternoon, &local));
    FILETIME utc;
    ASSERT_TRUE(LocalFileTimeToFileTime(&local, &utc));
    tstring text;
    EXPECT_EQ(text.FromFileTime(&utc), "2/29/2024 3:04:05 PM");
    EXPECT_EQ(text.FromFileTime(&utc, tstring::Show::Time), "3:04:05 PM");
}

TEST(DateText, AFileTimeOutOfRangeIsReported)
{
    TraceCapture trace;
    const FILETIME negative = {0, 0xC0000000};
    tstring text("before");
    EXPECT_EQ(text.FromFileTime(&negative), "");
    ASSERT_EQ(trace.Texts().size(), 1u);
    EXPECT_THAT(trace.Texts().front(),
                AnyOf(LikeLine("tstring::FromFileTime: FileTimeToLocalFileTime failed with the error 0x#"),
                      LikeLine("tstring::FromFileTime: FileTimeToSystemTime failed with the error 0x#")));
}

TEST(DateText, ADosDateIsRead)
{
    tstring text;
    const WORD date = (2024 - 1980) << 9 | 2 << 5 | 29;
    const WORD time = 15 << 11 | 4 << 5 | 6 / 2;
    EXPECT_EQ(text.FromDosDateTime(date, time), "2/29/2024 3:04:06 PM");
}

TEST(DateText, ADosDateThatDoesNotExistIsReported)
{
    TraceCapture trace;
    tstring text("before");
    EXPECT_EQ(text.FromDosDateTime(0, 0), "");
    ASSERT_EQ(trace.Texts().size(), 1u);
    EXPECT_THAT(trace.Texts().front(),
                LikeLine("tstring::FromDosDateTime: DosDateTimeToFileTime failed with the error 0x#"));
}

TEST(DateText, AVariantDateIsRead)
{
    tstring text;
    EXPECT_EQ(text.FromVariantTime(45351.5), "2/29/2024 12:00:00 PM");
}

TEST(DateText, AVariantDateOutOfRangeIsReported)
{
    TraceCapture trace;
    tstring text("before");
    EXPECT_EQ(text.FromVariantTime(1e10), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromVariantTime: VariantTimeToSystemTime failed"));
}

TEST(VariantText, NumbersAndTextsAreConverted)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    value.lVal = -42;
    tstring text;
    EXPECT_EQ(text.FromVariant(&value), "-42");
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(OLESTR("text"));
    EXPECT_EQ(text.FromVariant(&value), "text");
    VariantClear(&value);
}

TEST(VariantText, WhatHasNoTextIsReported)
{
    TraceCapture trace;
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_NULL;
    tstring text("before");
    EXPECT_EQ(text.FromVariant(&value), "");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FromVariant: VariantChangeType failed with error 0x80020005"));
}

} // namespace
