// The trace where memory runs out: the host goes on, with what holds, and the trace is there later. The program's own
// operator new fails on demand.
#include "RegistryKey.h"
#include "ReplacedCalls.h"
#include "common/DebugTrace.h"
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

namespace
{
// While set, the next allocation of this thread fails.
thread_local bool t_failNext = false;
} // namespace

__attribute__((noinline)) void *operator new(std::size_t size)
{
    if (t_failNext) {
        t_failNext = false;
        throw std::bad_alloc();
    }
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void *memory) noexcept
{
    std::free(memory);
}
__attribute__((noinline)) void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

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
    t_failNext = true;
    trace.Init(nullptr, "host", kName);
    EXPECT_FALSE(t_failNext) << "nothing was allocated";
    t_failNext = false;
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
    t_failNext = true;
    EXPECT_NO_THROW(EXPECT_TRUE(trace.IsEnabled(kFifth)));
    t_failNext = false;
    EXPECT_FALSE(trace.IsEnabled(kSixth));
    EXPECT_THAT(calls.DebugOutput(), IsEmpty());
    key.SetLevel(6);
    calls.Advance(3001);
    EXPECT_TRUE(trace.IsEnabled(kSixth));
}

} // namespace
