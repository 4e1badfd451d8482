// A line of the trace letter by letter: its prefix with and without a sink that keeps lines, indentation, cutting, the
// one line feed; where it goes; and that bad arguments harm nothing.
#include "RegistryKey.h"
#include "ReplacedCalls.h"
#include "common/trace/DebugTrace.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kName = "OrlMapi test of lines";

std::string Hex(DWORD value, const char *format)
{
    char text[16];
    std::snprintf(text, sizeof(text), format, static_cast<unsigned>(value));
    return text;
}
std::string Thread()
{
    return Hex(GetCurrentThreadId(), "%4x");
}
std::string Process()
{
    return Hex(GetCurrentProcessId(), "%4x");
}
std::string Padded(DWORD value)
{
    return Hex(value, "%04x");
}

std::vector<std::string> g_hooked;
std::vector<int> g_lengths;
void Keep(const char *szText, int nLength)
{
    g_hooked.emplace_back(szText);
    g_lengths.push_back(nLength);
}

std::string Narrowed(const std::basic_string<WCHAR> &text)
{
    return {text.begin(), text.end()};
}

// A trace of its own, without a hook at first.
class Lines : public testing::Test
{
  protected:
    Lines()
    {
        g_hooked.clear();
        g_lengths.clear();
        m_key.SetLevel(9);
        m_trace.Init(nullptr, "host", kName);
        m_calls.StopClock({2024, 11, 4, 21, 8, 5, 3, 7});
    }
    ~Lines() override { m_trace.DeInit(); }
    void Hook() { m_trace.m_outputHook = Keep; }
    void Write(DWORD value, const char *format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        m_trace.Output(value, format, arguments);
        va_end(arguments);
    }
    void WriteWide(DWORD value, const WCHAR *format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        m_trace.Output(value, format, arguments);
        va_end(arguments);
    }
    std::string Prefix() const { return "host     (66,2) " + Thread() + ": "; }

    ReplacedCalls m_calls;
    RegistryKey m_key{kName};
    DebugTrace m_trace;
};

TEST_F(Lines, TheDebugOutputGetsModuleClassLevelAndThread)
{
    Write(0x00660002, "text %d", 5);
    EXPECT_THAT(m_calls.DebugOutput(), ElementsAre("host     (66,2) " + Thread() + ": text 5\n"));
}

TEST_F(Lines, AHookGetsDateTimeAndProcessToo)
{
    Hook();
    Write(0x00660002, "text %d", 5);
    EXPECT_THAT(g_hooked,
                ElementsAre("21/11 08:05:03.007 host     (66,2) " + Process() + "," + Thread() + ": text 5\n"));
    EXPECT_THAT(g_lengths, ElementsAre(static_cast<int>(g_hooked.front().size())));
    EXPECT_THAT(m_calls.DebugOutput(), IsEmpty());
}

TEST_F(Lines, LevelsAboveNineShowAsAQuestionMark)
{
    Write(0x00010009, "nine");
    Write(0x0002FFFF, "all");
    Write(0x0000FFFF, "always");
    Write(0x01020001, "wide class");
    EXPECT_THAT(m_calls.DebugOutput(),
                ElementsAre("host     (01,9) " + Thread() + ": nine\n", "host     (02,?) " + Thread() + ": all\n",
                            "host     (00,?) " + Thread() + ": always\n",
                            "host     (102,1) " + Thread() + ": wide class\n"));
}

TEST_F(Lines, TheWideFormPadsWithZeros)
{
    WriteWide(0x00660002, OLESTR("text %s %hs %d"), OLESTR("wide"), "narrow", 5);
    ASSERT_EQ(m_calls.WideDebugOutput().size(), 1u);
    EXPECT_EQ(Narrowed(m_calls.WideDebugOutput().front()),
              "host     (66,2) " + Padded(GetCurrentThreadId()) + ": text wide narrow 5\n");
    EXPECT_THAT(m_calls.DebugOutput(), IsEmpty());
}

TEST_F(Lines, TheWideFormReachesAHookAsNarrowText)
{
    Hook();
    WriteWide(0x00660002, OLESTR("text %d"), 5);
    EXPECT_THAT(g_hooked, ElementsAre("21/11 08:05:03.007 host     (66,2) " + Padded(GetCurrentProcessId()) + "," +
                                      Padded(GetCurrentThreadId()) + ": text 5\n"));
    EXPECT_THAT(g_lengths, ElementsAre(static_cast<int>(g_hooked.front().size())));
}

TEST_F(Lines, AMessageThatEndsInALineFeedGetsNoOther)
{
    Write(0x00660002, "text\n");
    Write(0x00660002, "\n");
    Write(0x00660002, "%s", "");
    EXPECT_THAT(m_calls.DebugOutput(), ElementsAre(Prefix() + "text\n", Prefix() + "\n", Prefix() + "\n"));
}

TEST_F(Lines, AMessageOf2000CharactersGivesALineOf1023ThatEndsInALineFeed)
{
    Write(0x00660002, "%s", std::string(2000, 'x').c_str());
    ASSERT_EQ(m_calls.DebugOutput().size(), 1u);
    const std::string line = m_calls.DebugOutput().front();
    EXPECT_EQ(line, Prefix() + std::string(1022 - Prefix().size(), 'x') + "\n");
    EXPECT_EQ(line.size(), 1023u);
}

TEST_F(Lines, WideMessagesAreCutInTheSameWay)
{
    WriteWide(0x00660002, OLESTR("%s"), std::basic_string<WCHAR>(2000, 'x').c_str());
    ASSERT_EQ(m_calls.WideDebugOutput().size(), 1u);
    EXPECT_EQ(m_calls.WideDebugOutput().front().size(), 1023u);
    EXPECT_EQ(m_calls.WideDebugOutput().front().back(), WCHAR{'\n'});
}

// The line for a message that makes it `length` characters long before its end is seen to.
std::string LineOfLength(DebugTrace &trace, const ReplacedCalls &calls, std::size_t length, const std::string &end)
{
    const std::size_t before = calls.DebugOutput().size();
    const std::string prefix = "host     (66,2) " + Thread() + ": ";
    const std::string message = std::string(length - prefix.size() - end.size(), 'x') + end;
    struct Caller {
        static void Write(DebugTrace &target, const char *format, ...)
        {
            va_list arguments;
            va_start(arguments, format);
            target.Output(0x00660002, format, arguments);
            va_end(arguments);
        }
    };
    Caller::Write(trace, "%s", message.c_str());
    return calls.DebugOutput().size() == before + 1 ? calls.DebugOutput().back() : "no line";
}

TEST_F(Lines, TheLastCharacterMakesWayWhereOnePlaceIsLeft)
{
    const auto shape = [&](std::size_t length, const std::string &end) {
        const std::string line = LineOfLength(m_trace, m_calls, length, end);
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        return line.size();
    };
    EXPECT_EQ(shape(1020, "x"), 1021u);
    EXPECT_EQ(shape(1021, "x"), 1022u);
    EXPECT_EQ(shape(1022, "x"), 1022u);
    EXPECT_EQ(shape(1023, "x"), 1023u);
    EXPECT_EQ(shape(1024, "x"), 1023u);
    EXPECT_EQ(shape(1021, "\n"), 1021u);
    EXPECT_EQ(shape(1022, "\n"), 1022u);
    EXPECT_EQ(shape(1023, "\n"), 1023u);
}

TEST_F(Lines, IndentationStandsBetweenPrefixAndText)
{
    m_trace.Indent().Raise();
    Write(0x00660002, "two");
    m_trace.Indent().Raise();
    Write(0x00660002, "four");
    m_trace.Indent().Lower();
    Write(0x00660002, "two");
    m_trace.Indent().Lower();
    Write(0x00660002, "none");
    EXPECT_THAT(m_calls.DebugOutput(),
                ElementsAre(Prefix() + "  two\n", Prefix() + "    four\n", Prefix() + "  two\n", Prefix() + "none\n"));
}

TEST_F(Lines, IndentationBeyondTheLineLeavesOnlyItself)
{
    for (int i = 0; i < 1000; ++i)
        m_trace.Indent().Raise();
    Write(0x00660002, "text");
    ASSERT_EQ(m_calls.DebugOutput().size(), 1u);
    EXPECT_EQ(m_calls.DebugOutput().front(), Prefix() + std::string(1022 - Prefix().size(), ' ') + "\n");
}

TEST_F(Lines, AnAttachedDebuggerChangesNothingWithoutAModule)
{
    m_calls.AttachDebugger();
    Write(0x00660002, "text");
    EXPECT_EQ(m_calls.DebugOutput().size(), 1u);
    EXPECT_EQ(m_calls.Breaks(), 0);
}

TEST_F(Lines, NothingIsWrittenForAFilteredValue)
{
    Write(0x0066000A, "filtered");
    WriteWide(0x0066000A, OLESTR("filtered"));
    EXPECT_THAT(m_calls.DebugOutput(), IsEmpty());
    EXPECT_THAT(m_calls.WideDebugOutput(), IsEmpty());
}

TEST_F(Lines, WithFilterLevelZeroOnlyTheValueThatAlwaysPassesIsWritten)
{
    m_key.SetLevel(0);
    m_trace.Settings().Read(m_key.Path());
    Write(0x00660000, "filtered");
    Write(0x0001FFFF, "filtered");
    Write(0x0000FFFF, "always");
    EXPECT_THAT(m_calls.DebugOutput(), ElementsAre("host     (00,?) " + Thread() + ": always\n"));
}

TEST_F(Lines, AnUnreadableArgumentLosesItsLineAndNothingElse)
{
    Hook();
    for (int i = 0; i < 100; ++i) {
        Write(0x00660002, "%s", reinterpret_cast<const char *>(0x10));
        WriteWide(0x00660002, OLESTR("%s"), reinterpret_cast<const WCHAR *>(0x10));
        Write(0x00660002, "%s %s", "good", reinterpret_cast<const char *>(0x10));
    }
    EXPECT_THAT(g_hooked, IsEmpty());
    Write(0x00660002, "later");
    EXPECT_EQ(g_hooked.size(), 1u);
    EXPECT_THAT(g_hooked.back(), testing::HasSubstr(": later\n"));
}

TEST_F(Lines, ANullFormatGivesAnEmptyMessage)
{
    Write(0x00660002, nullptr);
    EXPECT_THAT(m_calls.DebugOutput(), ElementsAre(Prefix() + "\n"));
}

TEST_F(Lines, TheThreadsLastErrorSurvivesALine)
{
    SetLastError(4711);
    m_trace.Indent().Raise();
    Write(0x00660002, "text");
    m_trace.Indent().Lower();
    EXPECT_EQ(GetLastError(), 4711u);
}

TEST(FirstLine, TheValueThatAlwaysPassesNeedsNoInitialisation)
{
    ReplacedCalls calls;
    DebugTrace trace;
    struct Caller {
        static void Write(DebugTrace &target, const char *format, ...)
        {
            va_list arguments;
            va_start(arguments, format);
            target.Output(kTraceAlways, format, arguments);
            va_end(arguments);
        }
    };
    Caller::Write(trace, "early");
    EXPECT_THAT(calls.DebugOutput(), ElementsAre(" (00,?) " + Thread() + ": early\n"));
    EXPECT_STREQ(trace.KeyPath(), "");
}

TEST(ModuleName, TheWideCopyIsReadAsUtf8)
{
    ReplacedCalls calls;
    const RegistryKey key(kName);
    DebugTrace trace;
    trace.Init(nullptr, "K\xc3\xb6ln", kName);
    struct Caller {
        static void Write(DebugTrace &target, const WCHAR *format, ...)
        {
            va_list arguments;
            va_start(arguments, format);
            target.Output(0x00660002, format, arguments);
            va_end(arguments);
        }
    };
    Caller::Write(trace, OLESTR("x"));
    ASSERT_EQ(calls.WideDebugOutput().size(), 1u);
    const WCHAR expected[] = {'K', 0xF6, 'l', 'n', ' ', ' ', ' ', ' ', ' ', '('};
    EXPECT_EQ(calls.WideDebugOutput().front().substr(0, 10), std::basic_string<WCHAR>(expected, 10));
}

} // namespace
