// The guards that write a function's entry and exit and indent what is between, and the one counter behind them.
#include "common/trace/DebugTrace.h"
#include "support/TraceCapture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>
#include <thread>

namespace
{

using testing::ElementsAre;

// A line in what matters here.
struct Traced {
    DWORD value;
    std::size_t indent;
    std::string text;
    bool operator==(const Traced &) const = default;
};
void PrintTo(const Traced &line, std::ostream *out)
{
    *out << std::hex << line.value << ' ' << line.indent << " \"" << line.text << '"';
}
std::vector<Traced> LinesOf(const TraceCapture &trace)
{
    std::vector<Traced> lines;
    for (const TraceCapture::Line &line : trace.Lines())
        lines.push_back({line.value, line.indent, line.text});
    return lines;
}

TEST(FunctionGuard, EntryAndExitStandAtOneIndentationAndWhatIsBetweenAtTwoMore)
{
    TraceCapture trace;
    {
        const CDebugTraceFn outer(kTraceCall, "Outer");
        DebugOutputA(kTraceState, "in outer");
        {
            const CDebugTraceFn inner(kTraceError, "Inner");
            DebugOutputA(kTraceState, "in inner");
        }
        DebugOutputA(kTraceState, "in outer again");
    }
    DebugOutputA(kTraceState, "after");
    EXPECT_THAT(LinesOf(trace),
                ElementsAre(Traced{kTraceCall, 0, "> Outer()"}, Traced{kTraceState, 2, "in outer"},
                            Traced{kTraceError, 2, "> Inner()"}, Traced{kTraceState, 4, "in inner"},
                            Traced{kTraceError, 2, "< Inner()"}, Traced{kTraceState, 2, "in outer again"},
                            Traced{kTraceCall, 0, "< Outer()"}, Traced{kTraceState, 0, "after"}));
}

TEST(FunctionGuard, AFilteredGuardDoesNothing)
{
    TraceCapture trace(7);
    {
        const CDebugTraceFn guard(kTraceCall, "Filtered");
        const CDebugTraceFn withArguments(kTraceCall, "Filtered", "%d", 1);
        DebugOutputA(kTraceState, "in");
    }
    EXPECT_THAT(LinesOf(trace), ElementsAre(Traced{kTraceState, 0, "in"}));
}

TEST(FunctionGuard, AGuardThatWasEnteredIsLeftWhateverTheFilterSaysThen)
{
    TraceCapture trace;
    {
        const CDebugTraceFn guard(kTraceCall, "F");
        PinDebugFilter(
            7, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    }
    DebugOutputA(kTraceState, "after");
    EXPECT_THAT(LinesOf(trace), ElementsAre(Traced{kTraceCall, 0, "> F()"}, Traced{kTraceState, 0, "after"}));
}

TEST(FunctionGuard, ArgumentsStandInParentheses)
{
    TraceCapture trace;
    {
        const CDebugTraceFn guard(kTraceCall, "CMAPIImpl::Connect", "szServer: \"%s\", lCount: %ld", "NORVIK1",
                                  LONG{3});
    }
    EXPECT_THAT(trace.Texts(),
                ElementsAre("> CMAPIImpl::Connect(szServer: \"NORVIK1\", lCount: 3)", "< CMAPIImpl::Connect()"));
}

TEST(FunctionGuard, PercentSignsOfArgumentsStayAsTheyAre)
{
    TraceCapture trace;
    {
        const CDebugTraceFn guard(kTraceCall, "F", "\"%s\"", "100%s %n");
    }
    EXPECT_EQ(trace.Texts().front(), "> F(\"100%s %n\")");
}

TEST(FunctionGuard, AnEntryLineWithArgumentsHasAtMost255Characters)
{
    for (const int length : {248, 249, 250, 251, 252, 1000}) {
        TraceCapture trace;
        {
            const CDebugTraceFn guard(kTraceCall, "F", "%s",
                                      std::string(static_cast<std::size_t>(length), 'x').c_str());
        }
        const std::string whole = "> F(" + std::string(static_cast<std::size_t>(length), 'x') + ")";
        EXPECT_EQ(trace.Texts().front(), whole.substr(0, 255)) << length;
        EXPECT_EQ(trace.Texts().back(), "< F()");
    }
}

TEST(FunctionGuard, AnUnreadableArgumentLeavesTheArgumentsOut)
{
    TraceCapture trace;
    {
        const CDebugTraceFn guard(kTraceCall, "F", "%d %s", 1, reinterpret_cast<const char *>(0x10));
    }
    EXPECT_THAT(trace.Texts(), ElementsAre("> F()", "< F()"));
}

TEST(FunctionGuard, TheWideFormWritesTheSame)
{
    TraceCapture trace;
    {
        const CDebugTraceFn guard(kTraceCall, OLESTR("Wide"), OLESTR("szName: %s, %hs"), OLESTR("w"), "n");
        DebugOutputW(kTraceState, OLESTR("in"));
    }
    EXPECT_THAT(LinesOf(trace), ElementsAre(Traced{kTraceCall, 0, "> Wide(szName: w, n)"}, Traced{kTraceState, 2, "in"},
                                            Traced{kTraceCall, 0, "< Wide()"}));
}

TEST(IndentGuard, ItsScopeIsIndented)
{
    TraceCapture trace;
    {
        const CDebugIndentOutput indent;
        DebugOutputA(kTraceState, "in");
        const CDebugIndentOutput further;
        DebugOutputA(kTraceState, "further in");
    }
    DebugOutputA(kTraceState, "out");
    EXPECT_THAT(LinesOf(trace), ElementsAre(Traced{kTraceState, 2, "in"}, Traced{kTraceState, 4, "further in"},
                                            Traced{kTraceState, 0, "out"}));
}

TEST(Indent, LeavingTheOutermostFunctionOfAnyThreadEndsTheIndentationOfAll)
{
    TraceIndent indent;
    EXPECT_EQ(indent.Current(), 0u);
    indent.Raise();
    indent.Raise();
    EXPECT_EQ(indent.Current(), 4u);
    std::thread([&] {
        EXPECT_EQ(indent.Current(), 0u);
        indent.Raise();
        // The slot was there already, with nothing of this thread's in it.
        EXPECT_EQ(indent.Current(), 2u);
        indent.Lower();
        EXPECT_EQ(indent.Current(), 0u);
    }).join();
    EXPECT_EQ(indent.Current(), 0u);
    indent.Raise();
    EXPECT_EQ(indent.Current(), 2u);
    indent.Lower();
    indent.Lower();
    EXPECT_EQ(indent.Current(), 0u);
}

TEST(Indent, ANewSlotBeginsAtTwo)
{
    TraceIndent indent;
    for (int i = 0; i < 2000; ++i) { // more than a process has slots
        indent.Raise();
        EXPECT_EQ(indent.Current(), 2u);
        indent.Lower();
    }
    indent.Raise();
    indent.FreeSlot();
    EXPECT_EQ(indent.Current(), 0u);
}

} // namespace
