// The lock as a named mutex: every answer that the system can give to a wait, and every message, letter by letter.
#include "CritSectLines.h"
#include "ReplacedCalls.h"
#include "support/TraceCapture.h"
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

// A mutex whose waits are answered by the test.
std::deque<DWORD> g_answers;
std::vector<DWORD> g_waits;
BOOL g_release = TRUE;
int g_releases = 0;
int g_closed = 0;
std::string g_mutexName;

HANDLE WINAPI CreateScripted(LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCSTR name)
{
    EXPECT_EQ(attributes, nullptr);
    EXPECT_FALSE(owned);
    g_mutexName = name;
    return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x77));
}
DWORD WINAPI WaitScripted(HANDLE handle, DWORD milliseconds)
{
    EXPECT_EQ(handle, reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x77)));
    g_waits.push_back(milliseconds);
    DWORD answer = WAIT_OBJECT_0;
    if (!g_answers.empty()) {
        answer = g_answers.front();
        g_answers.pop_front();
    }
    SetLastError(0xABC);
    return answer;
}
BOOL WINAPI ReleaseScripted(HANDLE)
{
    ++g_releases;
    SetLastError(0x120);
    return g_release;
}
BOOL WINAPI CloseScripted(HANDLE)
{
    ++g_closed;
    return TRUE;
}
BOOL WINAPI CloseByThrowing(HANDLE)
{
    throw std::runtime_error("close");
}

class MutexLock : public testing::Test
{
  protected:
    MutexLock()
    {
        g_answers.clear();
        g_waits.clear();
        g_release = TRUE;
        g_releases = 0;
        g_closed = 0;
        SystemCalls().CreateMutexA = CreateScripted;
        SystemCalls().WaitForSingleObject = WaitScripted;
        SystemCalls().ReleaseMutex = ReleaseScripted;
        SystemCalls().CloseHandle = CloseScripted;
        m_calls.AttachDebugger();
        m_lock = std::make_unique<CriticalSection>(true, "OrlMapi test mutex", false);
    }
    std::string LockLine(const char *szMessage) const
    {
        return "CriticalSection::Lock[f(1)]" + Who("OrlMapi test mutex", *m_lock, 0) + "), " + szMessage;
    }

    ReplacedCalls m_calls;
    TraceCapture m_trace;
    std::unique_ptr<CriticalSection> m_lock;
};

TEST_F(MutexLock, TheMutexHasTheLocksName)
{
    EXPECT_EQ(g_mutexName, "OrlMapi test mutex");
}

TEST_F(MutexLock, ASignalledMutexIsTakenWithoutALimitOfTime)
{
    EXPECT_TRUE(m_lock->Lock("f", 1, true));
    EXPECT_TRUE(m_lock->IsLockedByCurrentThread());
    EXPECT_THAT(g_waits, ElementsAre(INFINITE));
    EXPECT_TRUE(m_lock->Unlock("f", 2, nullptr, nullptr, true));
    EXPECT_EQ(g_releases, 1);
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(MutexLock, ATimeoutIsReported)
{
    g_answers = {WAIT_TIMEOUT};
    EXPECT_FALSE(m_lock->Lock("f", 1, true));
    EXPECT_FALSE(m_lock->IsLockedByCurrentThread());
    EXPECT_THAT(m_trace.Texts(kClass3), ElementsAre(LockLine("Timed out waiting for lock on Mutex.")));
    EXPECT_EQ(m_calls.Breaks(), 1);
}

TEST_F(MutexLock, AFailedWaitIsReported)
{
    g_answers = {WAIT_FAILED};
    EXPECT_FALSE(m_lock->Lock("f", 1, true));
    EXPECT_THAT(m_trace.Texts(kClass2),
                ElementsAre(LockLine("The error 0x00000abc occurred trying to lock the mutex.")));
    EXPECT_EQ(m_calls.Breaks(), 1);
}

constexpr const char *kAbandoned = "The mutex was not released by the thread that owned the mutex before the owning "
                                   "thread terminated.";

TEST_F(MutexLock, AnAbandonedMutexIsReportedAndTakenASecondTime)
{
    g_answers = {WAIT_ABANDONED, WAIT_OBJECT_0};
    EXPECT_TRUE(m_lock->Lock("f", 1, true));
    EXPECT_TRUE(m_lock->IsLockedByCurrentThread());
    EXPECT_THAT(g_waits, ElementsAre(INFINITE, 0u));
    EXPECT_THAT(m_trace.Texts(kClass2), ElementsAre(LockLine(kAbandoned)));
    EXPECT_TRUE(m_lock->Unlock("f", 2, nullptr, nullptr, true));
    EXPECT_EQ(g_releases, 1);
}

TEST_F(MutexLock, AnAbandonedMutexThatIsNotFreeAtOnceIsWaitedFor)
{
    g_answers = {WAIT_ABANDONED, WAIT_TIMEOUT, WAIT_OBJECT_0};
    EXPECT_TRUE(m_lock->Lock("f", 1, true));
    EXPECT_THAT(g_waits, ElementsAre(INFINITE, 0u, INFINITE));
}

TEST_F(MutexLock, AnAbandonedMutexThatCannotBeTakenIsReported)
{
    g_answers = {WAIT_ABANDONED, WAIT_TIMEOUT, WAIT_FAILED};
    EXPECT_FALSE(m_lock->Lock("f", 1, true));
    EXPECT_FALSE(m_lock->IsLockedByCurrentThread());
    EXPECT_THAT(
        m_trace.Texts(kClass2),
        ElementsAre(LockLine(kAbandoned), LockLine("The mutex could not be locked (ret=4294967295, err=0x00000abc).")));
    EXPECT_EQ(m_calls.Breaks(), 2);
}

TEST_F(MutexLock, AnyOtherAnswerOfTheWaitIsAFailureWithoutAWord)
{
    g_answers = {5};
    EXPECT_FALSE(m_lock->Lock("f", 1, true));
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(MutexLock, WithoutReportingFailuresAreSilent)
{
    for (const DWORD answer : {DWORD{WAIT_TIMEOUT}, DWORD{WAIT_FAILED}}) {
        g_answers = {answer};
        EXPECT_FALSE(m_lock->Lock("f", 1, false));
    }
    g_answers = {WAIT_ABANDONED, WAIT_FAILED, WAIT_FAILED};
    EXPECT_FALSE(m_lock->Lock("f", 1, false));
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
    EXPECT_EQ(m_calls.Breaks(), 0);
}

TEST_F(MutexLock, AnUnlockWithoutReportingLeavesTheMutexOwned)
{
    ASSERT_TRUE(m_lock->Lock("f", 1, true));
    EXPECT_TRUE(m_lock->Unlock("f", 2, nullptr, nullptr, false));
    EXPECT_FALSE(m_lock->IsLockedByCurrentThread());
    EXPECT_EQ(g_releases, 0);
}

TEST_F(MutexLock, AFailedReleaseIsReportedWithTheLockerAndTheLockIsFree)
{
    g_release = FALSE;
    ASSERT_TRUE(m_lock->Lock("f", 1, true));
    EXPECT_TRUE(m_lock->Unlock("g", 2, nullptr, nullptr, true));
    EXPECT_FALSE(m_lock->IsLockedByCurrentThread());
    EXPECT_THAT(m_trace.Texts(kClass2),
                ElementsAre("CriticalSection::Unlock[g(2)]" + Who("OrlMapi test mutex", *m_lock, GetCurrentThreadId()) +
                            ", file=f, line=1), The error (0x00000120) occurred trying to unlock the mutex."));
    EXPECT_EQ(m_calls.Breaks(), 1);
}

TEST_F(MutexLock, DestructionTakesTheLockAndClosesTheMutex)
{
    m_lock.reset();
    EXPECT_THAT(g_waits, ElementsAre(INFINITE));
    EXPECT_EQ(g_closed, 1);
}

TEST_F(MutexLock, AnExceptionDuringDestructionIsReported)
{
    SystemCalls().CloseHandle = CloseByThrowing;
    m_lock.reset();
    EXPECT_THAT(m_trace.Texts(), ElementsAre("Exception has occurred in CriticalSection::~CriticalSection "
                                             "(..\\LumenCommon\\CritSect[72])"));
}

DWORD WINAPI WaitByThrowing(HANDLE, DWORD)
{
    throw std::runtime_error("wait");
}

TEST_F(MutexLock, AnExceptionAtTheEndOfAGuardIsReported)
{
    ASSERT_TRUE(m_lock->Lock("f", 1, true));
    {
        const LockCriticalSection guard(m_lock.get(), false, "guard", 5);
        SystemCalls().WaitForSingleObject = WaitByThrowing;
    }
    SystemCalls().WaitForSingleObject = WaitScripted;
    EXPECT_THAT(m_trace.Texts(), ElementsAre("Exception has occurred in LockCriticalSection::~LockCriticalSection "
                                             "(..\\LumenCommon\\CritSect[373])"));
}

TEST(RealMutex, ThreadsTakeTurns)
{
    CriticalSection lock(true, "OrlMapi test of turns", false);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                const LockCriticalSection guard(&lock, true, "thread", 1);
                ++counter;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4 * 200);
}

TEST(RealMutex, OneThatItsThreadDidNotReleaseIsTakenOver)
{
    TraceCapture trace;
    CriticalSection lock(true, "OrlMapi test of abandonment", false);
    std::thread([&] {
        EXPECT_TRUE(lock.Lock("gone", 1, true));
        // Unlocked for this object, and still the thread's as far as the system knows.
        EXPECT_TRUE(lock.Unlock("gone", 2, nullptr, nullptr, false));
    }).join();
    EXPECT_TRUE(lock.Lock("heir", 3, true));
    EXPECT_EQ(trace.Containing(kAbandoned).size(), 1u);
    EXPECT_TRUE(lock.Unlock("heir", 4, nullptr, nullptr, true));
}

} // namespace
