// Formatting grows without limit, reads formats as Windows does on every target, and reports what it refuses.
#include "BadMemory.h"
#include "LikeLine.h"
#include "common/text/tstring.h"
#include "support/ControlledNew.h"
#include "support/TraceCapture.h"
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <objbase.h>
#include <vector>

namespace
{

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

tstring Formatted(const char *format, ...)
{
    tstring text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    return text;
}

TEST(Format, ResultsAroundEachSizeOfTheBufferAreWhole)
{
    for (const int length : {0, 1, 510, 511, 512, 513, 766, 767, 768, 769, 1022, 1023, 1024, 1025, 5000, 100000}) {
        const std::string expected(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(Formatted("%s", expected.c_str()), expected) << length;
    }
}

TEST(Format, ANullFormatLeavesTheTextUnchanged)
{
    TraceCapture trace;
    tstring text("kept");
    text.Format(nullptr);
    EXPECT_EQ(text, "kept");
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(Format, AnUnreadableFormatIsReportedAndLeavesTheTextUnchanged)
{
    TraceCapture trace;
    tstring text("kept");
    text.Format(Unreadable<char>());
    EXPECT_EQ(text, "kept");
    EXPECT_THAT(trace.Texts(), ElementsAre("tstring::FormatV: Invalid format string"));
    EXPECT_EQ(trace.Lines().front().value, 0x000F0008u);
}

TEST(Format, ARefusalWithNothingWrittenIsReportedTwiceAndGivesAnEmptyString)
{
    TraceCapture trace;
    tstring text("before");
    text.Format("%c%600s", 0, "");
    EXPECT_EQ(text, "");
    EXPECT_THAT(trace.Texts(),
                ElementsAre("tstring::FormatV: Format error in [%c%600s]",
                            LikeLine("tstring::FormatV: The following error -1 was returned from _vsntprintf "
                                     "(errno=#) for [%c%600s]")));
    for (const TraceCapture::Line &line : trace.Lines())
        EXPECT_EQ(line.value, 0x000F0008u);
}

TEST(Format, ARefusedFormatEndsWhateverTheRuntimeHadWrittenOfIt)
{
    for (const char *format : {"abc%", "abc%y", "%d abc%"}) {
        TraceCapture trace;
        tstring text("before");
        text.Format(format, 1);
        EXPECT_EQ(text, "");
        EXPECT_THAT(trace.Texts(), ElementsAre(std::string("tstring::FormatV: Format error in [") + format + "]", _));
    }
}

std::vector<std::string> g_lines;
void SpoilErrno(const char *szText, int)
{
    g_lines.emplace_back(szText);
    errno = 4711;
}

TEST(Format, TheErrorReportedIsTheRuntimesOwnWhateverTheTraceDoesMeanwhile)
{
    TraceCapture trace;
    SetOutputHooks(SpoilErrno, nullptr);
    g_lines.clear();
    tstring text("before");
    text.Format("abc%y");
    ASSERT_EQ(g_lines.size(), 2u);
    EXPECT_NE(g_lines[1].find("(errno="), std::string::npos) << g_lines[1];
    EXPECT_EQ(g_lines[1].find("4711"), std::string::npos) << g_lines[1];
}

TEST(Format, ANulThatFitsIsPartOfTheText)
{
    EXPECT_EQ(Formatted("a%cb", 0), std::string("a\0b", 3));
}

TEST(Format, AnExceptionOfTheStandardLibraryIsReported)
{
    TraceCapture trace;
    tstring text("kept");
    {
        const controlled_new::FailingAllocation failing(512);
        text.Format("%s", "value");
    }
    EXPECT_EQ(text, "kept");
    EXPECT_THAT(trace.Texts(), ElementsAre(std::string("tstring::FormatV: STL Exception ") + std::bad_alloc().what() +
                                           " processing [%s]"));
}

TEST(Format, TheTextItselfMayBeAnArgument)
{
    tstring text("self");
    text.Format("[%s%s]", text.c_str(), text.c_str());
    EXPECT_EQ(text, "[selfself]");
}

TEST(Format, EmptyResultsAreEmpty)
{
    TraceCapture trace;
    EXPECT_EQ(Formatted(""), "");
    EXPECT_EQ(Formatted("%s", ""), "");
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(Format, AppendingFormatsApart)
{
    tstring text("a");
    text.AppendFormat("%d%s", 1, "b");
    text.AppendFormat("%s", text.c_str());
    EXPECT_EQ(text, "a1ba1b");
    text.AppendFormat(nullptr);
    EXPECT_EQ(text, "a1ba1b");
}

TEST(Format, LIsThirtyTwoBitsWide)
{
    EXPECT_EQ(Formatted("%ld|%s", static_cast<LONG>(-1), "next"), "-1|next");
    EXPECT_EQ(Formatted("%lu", static_cast<ULONG>(4294967295u)), "4294967295");
    EXPECT_EQ(Formatted("%08lx", static_cast<ULONG>(0xABC)), "00000abc");
    EXPECT_EQ(Formatted("%I64d", static_cast<LONGLONG>(-5000000000)), "-5000000000");
}

TEST(Format, WideTextInANarrowFormatIsMarked)
{
    EXPECT_EQ(Formatted("%ls|%S|%hs", OLESTR("wide"), OLESTR("Wide"), "narrow"), "wide|Wide|narrow");
}

TEST(Format, ErrorCodesReadAsTheTraceWritesThem)
{
    EXPECT_EQ(Formatted("%#08x", 0x8004010Fu), "0x8004010f");
    EXPECT_EQ(Formatted("%#08x", 1u), "0x000001");
    EXPECT_EQ(Formatted("%#010x", 0x80041234u), "0x80041234");
}

TEST(Format, NullTextIsShownAsNull)
{
    EXPECT_EQ(Formatted("<%s>", static_cast<const char *>(nullptr)), "<(null)>");
}

} // namespace
