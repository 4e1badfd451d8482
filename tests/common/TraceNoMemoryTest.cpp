// The trace where memory runs out: the host goes on, with what holds, and the trace is there later. The program's own
// operator new fails on demand.
#include "RegistryKey.h"
#include "ReplacedCalls.h"
#include "common/trace/DebugTrace.h"
#include "support/ControlledNew.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kName = "OrlMapi test without memory";
constexpr DWORD kFifth = 0x00010005;
constexpr DWORD kSixth = 0x00010006;

TEST(TraceWithoutMemory, AnInitialisationThatFailsIsReportedAndTriedAgain)
{
    ReplacedCalls calls;
    const RegistryKey key(kName);
    DebugTrace trace;
    {
        const controlled_new::FailingAllocation failing(0);
        trace.Init(nullptr, "host", kName);
        EXPECT_TRUE(failing.HasFailed()) << "nothing was allocated";
    }
    EXPECT_THAT(calls.DebugOutput(), ElementsAre("Exception has occurred in InitDebug"));
    EXPECT_STREQ(trace.KeyPath(), "");
    trace.Init(nullptr, "host", kName);
    EXPECT_EQ(key.Text("Module Name"), "host    ");
    EXPECT_EQ(calls.DebugOutput().size(), 1u);
}

// Where reading the registry allocates nothing, it just succeeds.
TEST(TraceWithoutMemory, SettingsThatCannotBeReadAgainStayAsTheyAre)
{
    ReplacedCalls calls;
    calls.StopTicks(1000000);
    const RegistryKey key(kName);
    DebugTrace trace;
    trace.Init(nullptr, "host", kName);
    calls.Advance(3001);
    {
        const controlled_new::FailingAllocation failing(0);
        EXPECT_NO_THROW(EXPECT_TRUE(trace.IsEnabled(kFifth)));
    }
    EXPECT_FALSE(trace.IsEnabled(kSixth));
    EXPECT_THAT(calls.DebugOutput(), IsEmpty());
    key.SetLevel(6);
    calls.Advance(3001);
    EXPECT_TRUE(trace.IsEnabled(kSixth));
}

} // namespace
