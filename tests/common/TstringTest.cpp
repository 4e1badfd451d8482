// tstring takes any pointer: null, unreadable, unterminated at the end of what can be read, and odd addresses for wide
// text. A bad one is reported in the trace, letter by letter as written here, and counts as empty text.
#include "common/text/tstring.h"
#include "BadMemory.h"
#include "LikeLine.h"
#include "ReplacedCalls.h"
#include "support/TraceCapture.h"
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

// The assertion line of a member; its number is the member's own.
auto Assertion(const std::string &member)
{
    return LikeLine("Assertion failed: Invalid string passed to " + member + ", file ..\\LumenCommon\\tstring, line #");
}

// "0x%p" as the platform writes pointers: capitals, all digits.
std::string Address(const void *pointer)
{
    char text[32];
    std::snprintf(text, sizeof(text), sizeof(void *) == 4 ? "0x%08llX" : "0x%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

std::string WideLine(const char *member, const void *pointer, const char *characters)
{
    return std::string("Invalid wide string passed to ") + member + " (" + Address(pointer) + ": " + characters + ")";
}

constexpr const char *kNoCharacters = "0x00, 0x00, 0x00, 0x00";

class BadPointers : public testing::Test
{
  protected:
    BadPointers() { std::memset(m_page.End() - 64, 'x', 64); }

    // Four characters that nothing ends.
    void PutUnterminated()
    {
        const WCHAR letters[] = {'a', 'b', 0x20AC, 'd'};
        std::memcpy(m_page.End() - sizeof(letters), letters, sizeof(letters));
    }

    PageBeforeGap m_page;
    TraceCapture m_trace;
};

TEST_F(BadPointers, NullNarrowTextIsReportedAndGivesAnEmptyString)
{
    EXPECT_EQ(tstring(static_cast<const char *>(nullptr)), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring")));
    EXPECT_EQ(m_trace.Lines().front().value, 0x000F0008u);
}

TEST_F(BadPointers, UnreadableNarrowTextIsReportedAndGivesAnEmptyString)
{
    EXPECT_EQ(tstring(Unreadable<char>()), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring")));
}

TEST_F(BadPointers, NarrowTextThatRunsIntoUnreadableMemoryIsReportedAndGivesAnEmptyString)
{
    EXPECT_EQ(tstring(static_cast<const char *>(m_page.End() - 5)), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring")));
}

TEST_F(BadPointers, NarrowTextThatEndsJustBeforeUnreadableMemoryIsRead)
{
    m_page.End()[-1] = 0;
    EXPECT_EQ(tstring(static_cast<const char *>(m_page.End() - 3)).size(), 2u);
    EXPECT_EQ(tstring(static_cast<const char *>(m_page.End() - 1)), "");
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(BadPointers, NarrowAssignmentReportsAndEmpties)
{
    tstring text("before");
    text = static_cast<const char *>(nullptr);
    EXPECT_EQ(text, "");
    text = "again";
    text = Unreadable<char>();
    EXPECT_EQ(text, "");
    text = "again";
    text = static_cast<const char *>(m_page.End() - 1);
    EXPECT_EQ(text, "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::operator="), Assertion("tstring::operator="),
                                             Assertion("tstring::operator=")));
}

TEST_F(BadPointers, NarrowAppendingReportsAndAppendsNothing)
{
    tstring text("kept");
    text += static_cast<const char *>(nullptr);
    text += Unreadable<char>();
    text += static_cast<const char *>(m_page.End() - 1);
    EXPECT_EQ(text, "kept");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::operator+="), Assertion("tstring::operator+="),
                                             Assertion("tstring::operator+=")));
}

TEST_F(BadPointers, NarrowConcatenationReportsAndAddsNothing)
{
    const tstring text("left");
    EXPECT_EQ(text + static_cast<const char *>(nullptr), "left");
    EXPECT_EQ(text + Unreadable<char>(), "left");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::operator+"), Assertion("tstring::operator+")));
}

TEST_F(BadPointers, NullWideTextIsReportedWithItsPointer)
{
    EXPECT_EQ(tstring(static_cast<const WCHAR *>(nullptr)), "");
    EXPECT_THAT(m_trace.Texts(),
                ElementsAre(Assertion("tstring::tstring"), WideLine("tstring::operator=", nullptr, kNoCharacters)));
    EXPECT_EQ(m_trace.Lines().back().value, 0x000F0008u);
}

TEST_F(BadPointers, UnreadableWideTextIsReportedWithoutBeingRead)
{
    EXPECT_EQ(tstring(Unreadable<WCHAR>()), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring"),
                                             WideLine("tstring::operator=", Unreadable<WCHAR>(), kNoCharacters)));
}

TEST_F(BadPointers, UnterminatedWideTextIsReportedWithItsFirstFourCharacters)
{
    PutUnterminated();
    const auto *four = reinterpret_cast<const WCHAR *>(m_page.End() - 8);
    EXPECT_EQ(tstring(four), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring"),
                                             WideLine("tstring::operator=", four, "0x61, 0x62, 0x20ac, 0x64")));
}

TEST_F(BadPointers, CharactersBehindTheEndOfReadableMemoryShowAsZero)
{
    PutUnterminated();
    const auto *two = reinterpret_cast<const WCHAR *>(m_page.End() - 4);
    EXPECT_EQ(tstring(two), "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::tstring"),
                                             WideLine("tstring::operator=", two, "0x20ac, 0x64, 0x00, 0x00")));
    m_trace.Clear();
    const auto *half = reinterpret_cast<const WCHAR *>(m_page.End() - 1);
    EXPECT_EQ(tstring(half), "");
    EXPECT_THAT(m_trace.Texts(),
                ElementsAre(Assertion("tstring::tstring"), WideLine("tstring::operator=", half, kNoCharacters)));
}

TEST_F(BadPointers, WideAssignmentReportsAndEmpties)
{
    tstring text("before");
    text = Unreadable<WCHAR>();
    EXPECT_EQ(text, "");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::operator="),
                                             WideLine("tstring::operator=", Unreadable<WCHAR>(), kNoCharacters)));
}

TEST_F(BadPointers, WideAppendingReportsAndAppendsNothing)
{
    tstring text("kept");
    text += Unreadable<WCHAR>();
    EXPECT_EQ(text, "kept");
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::operator+="),
                                             WideLine("tstring::operator+=", Unreadable<WCHAR>(), kNoCharacters)));
}

TEST_F(BadPointers, WideConcatenationReportsAndAddsNothing)
{
    EXPECT_EQ(tstring("left") + static_cast<const WCHAR *>(nullptr), "left");
    EXPECT_THAT(m_trace.Texts(),
                ElementsAre(Assertion("tstring::operator+"), WideLine("tstring::operator+=", nullptr, kNoCharacters)));
}

TEST_F(BadPointers, FindReportsAndFindsNothing)
{
    const tstring text("text");
    EXPECT_EQ(text.Find(nullptr), tstring::npos);
    EXPECT_EQ(text.Find(Unreadable<char>()), tstring::npos);
    EXPECT_THAT(m_trace.Texts(), ElementsAre(Assertion("tstring::Find"), Assertion("tstring::Find")));
}

TEST_F(BadPointers, AnAttachedDebuggerIsStoppedUnlessToldNotTo)
{
    ReplacedCalls calls;
    tstring first(Unreadable<char>());
    EXPECT_EQ(calls.Breaks(), 0);
    calls.AttachDebugger();
    tstring second(Unreadable<char>());
    EXPECT_EQ(calls.Breaks(), 1);
    tstring wide(Unreadable<WCHAR>());
    EXPECT_EQ(calls.Breaks(), 2);
    tstring::SetBreakOnAssertion(false);
    tstring third(Unreadable<char>());
    EXPECT_EQ(calls.Breaks(), 2);
    tstring::SetBreakOnAssertion(true);
    tstring good("good");
    EXPECT_EQ(calls.Breaks(), 2);
}

TEST(BadPointersFiltered, ReportsOfLevelEightAreNotSeenAtTheDefaultLevel)
{
    TraceCapture trace(5);
    EXPECT_EQ(tstring(Unreadable<char>()), "");
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(Text, WideTextAtAnOddAddressIsRead)
{
    alignas(WCHAR) char memory[32] = {};
    const WCHAR letters[] = {'o', 'd', 'd', 0};
    std::memcpy(memory + 1, letters, sizeof(letters));
    const auto *odd = reinterpret_cast<const WCHAR *>(memory + 1);
    EXPECT_EQ(tstring(odd), "odd");
    tstring text("x");
    text += odd;
    EXPECT_EQ(text, "xodd");
    text = odd;
    EXPECT_EQ(text, "odd");
    EXPECT_EQ(text + odd, "oddodd");
}

TEST(Text, NarrowAndWideFormsTakeGoodText)
{
    tstring text("abc");
    EXPECT_EQ(text, "abc");
    text = OLESTR("wide");
    EXPECT_EQ(text, "wide");
    text += "+n";
    text += OLESTR("+w");
    text += '!';
    text += std::string("?");
    EXPECT_EQ(text, "wide+n+w!?");
    EXPECT_EQ(text + "n", "wide+n+w!?n");
    EXPECT_EQ(text + OLESTR("w"), "wide+n+w!?w");
    EXPECT_EQ(tstring(OLESTR("")), "");
    text = OLESTR("");
    EXPECT_EQ(text, "");
    EXPECT_EQ(tstring(std::string("a\0b", 3)).size(), 3u);
}

TEST(Text, AssigningAPartOfItselfWorks)
{
    tstring text("0123456789");
    text = text.c_str() + 5;
    EXPECT_EQ(text, "56789");
    text += text.c_str();
    EXPECT_EQ(text, "5678956789");
}

TEST(Text, TrimCutsAtTheFirstNulAndRemovesWhiteSpaceOfBothEnds)
{
    EXPECT_EQ(tstring(" \t\r\n\v\fa b\f\v\n\r\t ").Trim(), "a b");
    EXPECT_EQ(tstring(std::string(" a \0 b ", 7)).Trim(), "a");
    EXPECT_EQ(tstring(std::string("\0 b ", 4)).Trim(), "");
    EXPECT_EQ(tstring("   ").Trim(), "");
    EXPECT_EQ(tstring().Trim(), "");
    EXPECT_EQ(tstring("\xa0 x\xa0").Trim(), "\xa0 x\xa0");
}

TEST(Text, TrimmingOneEndLeavesTheOther)
{
    EXPECT_EQ(tstring("  a  ").TrimLeft(), "a  ");
    EXPECT_EQ(tstring("  a  ").TrimRight(), "  a");
    EXPECT_EQ(tstring("   ").TrimLeft(), "");
    EXPECT_EQ(tstring("   ").TrimRight(), "");
}

TEST(Text, FindGivesThePlaceOrNone)
{
    const tstring text("abcabc");
    EXPECT_EQ(text.Find("c"), 2u);
    EXPECT_EQ(text.Find("c", 3), 5u);
    EXPECT_EQ(text.Find("x"), tstring::npos);
    EXPECT_EQ(text.Find(""), 0u);
}

} // namespace
