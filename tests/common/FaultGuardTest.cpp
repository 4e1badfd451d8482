// The guard against memory faults: a faulting call ends and the thread goes on; faults of code without a guard, of
// other threads and of other kinds are left to their own handlers.
#include "common/base/FaultGuard.h"
#include "BadMemory.h"
#include <atomic>
#include <cstdio>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>
#include <windows.h>

namespace
{

constexpr DWORD kOtherException = 0xE1234567;

void RaiseFault()
{
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
}

std::atomic<int> g_seen{0};

LONG CALLBACK TakeAndGoOn(EXCEPTION_POINTERS *info)
{
    const DWORD code = info->ExceptionRecord->ExceptionCode;
    if (code != EXCEPTION_ACCESS_VIOLATION && code != kOtherException)
        return EXCEPTION_CONTINUE_SEARCH;
    ++g_seen;
    return EXCEPTION_CONTINUE_EXECUTION;
}

// A handler of the host's, behind the guard's: it lets the faulting code go on.
class HostHandler
{
  public:
    HostHandler() : m_handler(AddVectoredExceptionHandler(0, TakeAndGoOn)) { g_seen = 0; }
    ~HostHandler() { RemoveVectoredExceptionHandler(m_handler); }
    HostHandler(const HostHandler &) = delete;
    HostHandler &operator=(const HostHandler &) = delete;

  private:
    PVOID m_handler;
};

void FormatText(const char *format, ...)
{
    char text[64];
    va_list arguments;
    va_start(arguments, format);
    _vsnprintf_s(text, sizeof(text), _TRUNCATE, format, arguments);
    va_end(arguments);
}

TEST(FaultGuard, ACallWithoutFaultRunsToItsEnd)
{
    bool ran = false;
    EXPECT_TRUE(RunGuarded([&] { ran = true; }));
    EXPECT_TRUE(ran);
}

TEST(FaultGuard, AFaultEndsTheCall)
{
    static bool reached;
    reached = false;
    EXPECT_FALSE(RunGuarded([] {
        RaiseFault();
        reached = true;
    }));
    EXPECT_FALSE(reached);
}

TEST(FaultGuard, UnreadableTextOfAFormattedArgumentEndsTheCall)
{
    const PageBeforeGap page;
    page.End()[-1] = 'x';
    EXPECT_FALSE(RunGuarded([] { FormatText("%s", Unreadable<char>()); }));
    EXPECT_FALSE(RunGuarded([&] { FormatText("%s", page.End() - 1); }));
    EXPECT_TRUE(RunGuarded([] { FormatText("%s", "good"); }));
}

TEST(FaultGuard, AnInnerFaultLeavesTheOuterCallRunning)
{
    bool inner = true;
    bool after = false;
    EXPECT_TRUE(RunGuarded([&] {
        inner = RunGuarded(RaiseFault);
        after = true;
    }));
    EXPECT_FALSE(inner);
    EXPECT_TRUE(after);
}

TEST(FaultGuard, AFaultAfterAnInnerCallEndsTheOuterOne)
{
    EXPECT_FALSE(RunGuarded([] {
        RunGuarded([] {});
        RunGuarded(RaiseFault);
        RaiseFault();
    }));
}

TEST(FaultGuard, ExceptionsOfTheLanguagePassThroughAndTakeTheGuardWithThem)
{
    const HostHandler host;
    EXPECT_THROW(RunGuarded([] { throw std::runtime_error("through"); }), std::runtime_error);
    RaiseFault();
    EXPECT_EQ(g_seen, 1);
}

TEST(FaultGuard, FaultsOutsideAnyGuardReachOtherHandlers)
{
    EXPECT_FALSE(RunGuarded(RaiseFault));
    const HostHandler host;
    RaiseFault();
    EXPECT_EQ(g_seen, 1);
}

TEST(FaultGuard, ExceptionsOfOtherKindsReachOtherHandlers)
{
    const HostHandler host;
    bool after = false;
    EXPECT_TRUE(RunGuarded([&] {
        RaiseException(kOtherException, 0, 0, nullptr);
        after = true;
    }));
    EXPECT_TRUE(after);
    EXPECT_EQ(g_seen, 1);
}

TEST(FaultGuard, AFaultOfAnotherThreadIsNotTakenForOneOfThisThreadsGuard)
{
    const HostHandler host;
    bool after = false;
    EXPECT_TRUE(RunGuarded([&] {
        std::thread(RaiseFault).join();
        after = true;
    }));
    EXPECT_TRUE(after);
    EXPECT_EQ(g_seen, 1);
}

TEST(FaultGuard, WhileSuspendedFaultsReachOtherHandlers)
{
    const HostHandler host;
    bool after = false;
    EXPECT_FALSE(RunGuarded([&] {
        {
            const SuspendFaultGuard suspended;
            RaiseFault();
        }
        after = true;
        RaiseFault();
    }));
    EXPECT_TRUE(after);
    EXPECT_EQ(g_seen, 1);
}

TEST(FaultGuard, ManyFaultsOnManyThreadsEachEndTheirOwnCall)
{
    std::atomic<int> ended{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                ended += !RunGuarded([] { FormatText("%s", Unreadable<char>()); });
                ended += !RunGuarded(RaiseFault);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(ended, 8 * 500 * 2);
}

TEST(FaultGuard, TheThreadsLastErrorStaysAsItWas)
{
    SetLastError(1234);
    RunGuarded([] {});
    EXPECT_EQ(GetLastError(), 1234u);
    {
        const SuspendFaultGuard suspended;
    }
    EXPECT_EQ(GetLastError(), 1234u);
}

} // namespace
