// The lock knows who holds it and says what goes wrong, letter by letter; the guards take it and give it back.
#include "CritSectLines.h"
#include "ReplacedCalls.h"
#include "support/Gate.h"
#include "support/TraceCapture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

// The locker and line that a lock remembers, read by unlocking and locking again.
struct Locker {
    const char *szFile = nullptr;
    int nLine = 0;
};
Locker LockerOf(CriticalSection &lock)
{
    Locker locker;
    EXPECT_TRUE(lock.Unlock("LockerOf", 1, &locker.szFile, &locker.nLine, true));
    EXPECT_TRUE(lock.Lock(locker.szFile, locker.nLine, true));
    return locker;
}

class Lock : public testing::Test
{
  protected:
    ReplacedCalls m_calls;
    TraceCapture m_trace;
    CriticalSection m_lock{false, "CMAPIImpl::m_CS", false};
    CriticalSection m_watched{false, "watched", true};
};

TEST_F(Lock, LockingTwiceOnOneThreadReturnsTrueAndThenFalse)
{
    EXPECT_TRUE(m_lock.Lock("a", 1, true));
    EXPECT_FALSE(m_lock.Lock("b", 2, true));
    EXPECT_STREQ(LockerOf(m_lock).szFile, "a");
    EXPECT_EQ(LockerOf(m_lock).nLine, 1);
    EXPECT_TRUE(m_lock.Unlock("c", 3, nullptr, nullptr, true));
    EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
    EXPECT_FALSE(m_lock.Unlock("d", 4, nullptr, nullptr, true));
    EXPECT_THAT(m_trace.Texts(kClass2),
                ElementsAre("CriticalSection::Unlock[d(4)]" + Who("CMAPIImpl::m_CS", m_lock, 0) +
                            ", file=(null), line=0), The thread does not own the Mutex."));
}

TEST_F(Lock, AnUnlockByAnotherThreadIsReportedAndChangesNothing)
{
    ASSERT_TRUE(m_lock.Lock("owner", 10, true));
    const DWORD owner = GetCurrentThreadId();
    std::string expected;
    const char *szFile = "untouched";
    int nLine = -1;
    std::thread([&] {
        EXPECT_FALSE(m_lock.Unlock("other", 20, &szFile, &nLine, true));
        EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
        expected = "CriticalSection::Unlock[other(20)]" + Who("CMAPIImpl::m_CS", m_lock, owner) +
                   ", file=owner, line=10), The thread does not own the Mutex.";
    }).join();
    EXPECT_THAT(m_trace.Texts(kClass2), ElementsAre(expected));
    EXPECT_STREQ(szFile, "untouched");
    EXPECT_EQ(nLine, -1);
    EXPECT_TRUE(m_lock.IsLockedByCurrentThread());
    EXPECT_TRUE(m_lock.Unlock("owner", 11, &szFile, &nLine, true));
    EXPECT_STREQ(szFile, "owner");
    EXPECT_EQ(nLine, 10);
}

TEST_F(Lock, AnUnlockWithoutReportingIsSilent)
{
    m_calls.AttachDebugger();
    EXPECT_FALSE(m_lock.Unlock("d", 4, nullptr, nullptr, false));
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
    EXPECT_EQ(m_calls.Breaks(), 0);
}

TEST_F(Lock, AReportStopsAnAttachedDebugger)
{
    EXPECT_FALSE(m_lock.Unlock("d", 4, nullptr, nullptr, true));
    EXPECT_EQ(m_calls.Breaks(), 0);
    m_calls.AttachDebugger();
    EXPECT_FALSE(m_lock.Unlock("d", 4, nullptr, nullptr, true));
    EXPECT_EQ(m_calls.Breaks(), 1);
}

TEST_F(Lock, AHoldOf150MillisecondsIsTooLong)
{
    m_calls.AttachDebugger();
    m_calls.StopTicks(5000);
    m_calls.StopClock({2024, 3, 0, 1, 0, 0, 0, 50});
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(150);
    EXPECT_EQ(m_watched.LockedFor(), 150u);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    EXPECT_THAT(m_trace.Texts(kClass3),
                ElementsAre("CriticalSection::Unlock[leaver(9)]" + Who("watched", m_watched, GetCurrentThreadId()) +
                            ", file=holder, line=7), The CriticalSection object was locked for 0.150 secs (at "
                            "~23:59:59.900) which is too long."));
    EXPECT_EQ(m_calls.Breaks(), 0);
}

TEST_F(Lock, AHoldOf99MillisecondsIsNotReportedAndOneOf100Is)
{
    m_calls.StopTicks(5000);
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(99);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(100);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    EXPECT_EQ(m_trace.Containing("was locked for 0.100 secs").size(), 1u);
}

TEST_F(Lock, LongHoldsAreNotReportedWhenNobodyAsksForIt)
{
    m_calls.StopTicks(5000);
    ASSERT_TRUE(m_lock.Lock("holder", 7, true));
    m_calls.Advance(5000);
    EXPECT_TRUE(m_lock.Unlock("leaver", 9, nullptr, nullptr, true));
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(5000);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, false));
    CriticalSection::SuppressLongHolds(true);
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(5000);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    CriticalSection::SuppressLongHolds(false);
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(Lock, ALockTakenAtTickZeroHasNoTime)
{
    m_calls.StopTicks(0);
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(5000);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(Lock, TicksWrapAround)
{
    m_calls.StopTicks(0xFFFFFFF0);
    ASSERT_TRUE(m_watched.Lock("holder", 7, true));
    m_calls.Advance(0x80);
    EXPECT_EQ(m_watched.LockedFor(), 0x80u);
    EXPECT_TRUE(m_watched.Unlock("leaver", 9, nullptr, nullptr, true));
    EXPECT_EQ(m_trace.Containing("was locked for 0.128 secs").size(), 1u);
}

TEST_F(Lock, AGuardLocksForItsScope)
{
    {
        const LockCriticalSection guard(&m_lock, true, "guard", 5);
        EXPECT_TRUE(guard.IsActive());
        EXPECT_TRUE(m_lock.IsLockedByCurrentThread());
        {
            const LockCriticalSection nested(&m_lock, true, "nested", 6);
            EXPECT_FALSE(nested.IsActive());
        }
        EXPECT_TRUE(m_lock.IsLockedByCurrentThread());
        EXPECT_STREQ(LockerOf(m_lock).szFile, "guard");
    }
    EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(Lock, AnUnlockingGuardReleasesForItsScopeAndTakesTheLockBackInTheNameOfItsLocker)
{
    ASSERT_TRUE(m_lock.Lock("first", 11, true));
    {
        const LockCriticalSection guard(&m_lock, false, "guard", 5);
        EXPECT_TRUE(guard.IsActive());
        EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
        bool taken = false;
        std::thread([&] {
            taken = m_lock.Lock("other", 1, true) && m_lock.Unlock("other", 2, nullptr, nullptr, true);
        }).join();
        EXPECT_TRUE(taken);
    }
    EXPECT_TRUE(m_lock.IsLockedByCurrentThread());
    EXPECT_STREQ(LockerOf(m_lock).szFile, "first");
    EXPECT_EQ(LockerOf(m_lock).nLine, 11);
    EXPECT_TRUE(m_lock.Unlock("last", 12, nullptr, nullptr, true));
}

TEST_F(Lock, AnUnlockingGuardWithoutALockToReleaseIsInactive)
{
    {
        const LockCriticalSection guard(&m_lock, false, "guard", 5);
        EXPECT_FALSE(guard.IsActive());
    }
    EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
    EXPECT_EQ(m_trace.Containing("CriticalSection::Unlock[guard(5)]").size(), 1u);
}

TEST_F(Lock, AGuardWithoutALockIsInactive)
{
    const LockCriticalSection locking(nullptr, true, "guard", 5);
    const LockCriticalSection unlocking(nullptr, false, "guard", 5);
    EXPECT_FALSE(locking.IsActive());
    EXPECT_FALSE(unlocking.IsActive());
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(Lock, OneThreadAtATimeIsInside)
{
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const LockCriticalSection guard(&m_lock, true, "thread", 1);
                EXPECT_TRUE(guard.IsActive());
                ++counter;
            }
        });
    // Tests of ownership from outside need no lock.
    for (int i = 0; i < 500; ++i) {
        EXPECT_FALSE(m_lock.IsLockedByCurrentThread());
        m_lock.LockedFor();
        m_lock.Unlock("outside", 1, nullptr, nullptr, false);
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 8 * 500);
}

TEST_F(Lock, DestructionWaitsForTheHolder)
{
    auto doomed = std::make_unique<CriticalSection>(false, "doomed", false);
    Gate held, ending;
    std::atomic<bool> released{false};
    std::thread holder([&, target = doomed.get()] {
        target->Lock("holder", 1, true);
        held.Open();
        EXPECT_TRUE(ending.Pass());
        for (int i = 0; i < 1000; ++i) // long enough for a destruction that does not wait to be over first
            std::this_thread::yield();
        released = true;
        target->Unlock("holder", 2, nullptr, nullptr, true);
    });
    EXPECT_TRUE(held.Pass());
    ending.Open();
    doomed.reset();
    EXPECT_TRUE(released);
    holder.join();
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(Lock, ABadNameIsReportedAndEmpty)
{
    CriticalSection nameless(false, nullptr, false);
    EXPECT_EQ(m_trace.Containing("Invalid string passed to tstring::tstring").size(), 1u);
    m_trace.Clear();
    EXPECT_FALSE(nameless.Unlock("f", 1, nullptr, nullptr, true));
    EXPECT_EQ(m_trace.Containing("CriticalSection::Unlock[f(1)](, ").size(), 1u);
}

} // namespace
