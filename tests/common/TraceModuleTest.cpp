// The optional trace module beside the program takes the lines, whichever convention of x86 its entry points have.
#include "ReplacedCalls.h"
#include "common/trace/DebugTrace.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

// What the module recorded, asked of the module itself.
template <class Result> Result Recorded(const char *szWhat)
{
    const HMODULE module = LoadLibraryA("DbgOut.Dll");
    EXPECT_NE(module, nullptr);
    const auto entry = reinterpret_cast<void (*)()>(GetProcAddress(module, szWhat));
    EXPECT_NE(entry, nullptr);
    const Result result = entry ? reinterpret_cast<Result (*)()>(entry)() : Result();
    FreeLibrary(module);
    return result;
}

class TraceModule : public testing::Test
{
  protected:
    TraceModule() { m_calls.StopClock({2024, 11, 4, 21, 8, 5, 3, 7}); }
    ReplacedCalls m_calls;
};

TEST_F(TraceModule, NarrowLinesGoToTheModuleWithDateTimeAndProcess)
{
    DebugOutputA(kTraceError, "text %d", 5);
    const std::string line = Recorded<const char *>("RecordedA");
    char prefix[128];
    std::snprintf(prefix, sizeof(prefix),
                  "21/11 08:05:03.007 trace_mo (66,2) %4x,%4x: ", static_cast<unsigned>(GetCurrentProcessId()),
                  static_cast<unsigned>(GetCurrentThreadId()));
    EXPECT_EQ(line, std::string(prefix) + "text 5\n");
    EXPECT_EQ(Recorded<int>("RecordedLength"), static_cast<int>(line.size()));
    EXPECT_THAT(m_calls.DebugOutput(), IsEmpty());
}

TEST_F(TraceModule, WideLinesGoToTheModulesWideEntry)
{
    DebugOutputW(kTraceError, OLESTR("text %d"), 5);
    const std::basic_string<WCHAR> wide = Recorded<const WCHAR *>("RecordedW");
    char prefix[128];
    std::snprintf(prefix, sizeof(prefix),
                  "21/11 08:05:03.007 trace_mo (66,2) %04x,%04x: ", static_cast<unsigned>(GetCurrentProcessId()),
                  static_cast<unsigned>(GetCurrentThreadId()));
    EXPECT_EQ(std::string(wide.begin(), wide.end()), std::string(prefix) + "text 5\n");
    EXPECT_EQ(Recorded<int>("RecordedLength"), static_cast<int>(wide.size()));
    EXPECT_THAT(m_calls.WideDebugOutput(), IsEmpty());
}

TEST_F(TraceModule, AnAttachedDebuggerSeesTheLinesToo)
{
    m_calls.AttachDebugger();
    DebugOutputA(kTraceError, "seen");
    DebugOutputW(kTraceError, OLESTR("seen"));
    EXPECT_THAT(m_calls.DebugOutput(), ElementsAre(std::string(Recorded<const char *>("RecordedA"))));
    EXPECT_EQ(m_calls.WideDebugOutput().size(), 1u);
}

int g_hooked = 0;
void Count(const char *, int)
{
    ++g_hooked;
}

TEST_F(TraceModule, AHookComesBeforeTheModule)
{
    DebugOutputA(kTraceError, "before");
    SetOutputHooks(Count, nullptr);
    DebugOutputA(kTraceError, "hooked");
    SetOutputHooks(nullptr, nullptr);
    EXPECT_EQ(g_hooked, 1);
    EXPECT_NE(std::string(Recorded<const char *>("RecordedA")).find("before\n"), std::string::npos);
}

TEST_F(TraceModule, ManyLinesLeaveTheStackAlone)
{
    for (int i = 0; i < 20000; ++i)
        DebugOutputA(kTraceError, "line %d", i);
    EXPECT_NE(std::string(Recorded<const char *>("RecordedA")).find("line 19999\n"), std::string::npos);
}

// Last: the module is not loaded a second time.
TEST_F(TraceModule, AfterDeinitialisationTheDebugOutputTakesTheLines)
{
    DeInitDebug();
    DebugOutputA(kTraceError, "after");
    ASSERT_EQ(m_calls.DebugOutput().size(), 1u);
    char expected[128];
    std::snprintf(expected, sizeof(expected), "trace_mo (66,2) %4x: after\n",
                  static_cast<unsigned>(GetCurrentThreadId()));
    EXPECT_EQ(m_calls.DebugOutput().front(), expected);
}

} // namespace
