// Proves events, mutexes, waits, threads and critical sections, from several threads at once. Nothing is asserted by
// timing: waits that must succeed have a generous bound.
#include "NewEvent.h"
#include "Text.h"
#include <atomic>
#include <gtest/gtest.h>
#include <process.h>
#include <thread>
#include <vector>

namespace
{
TEST(Event, WithAutomaticResetReleasesOneWait)
{
    const Handle event(NewEvent(false, true));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, kBound));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 1));
}

TEST(Event, WithManualResetStaysUntilItIsReset)
{
    const Handle event(NewEvent(true, false));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, INFINITE));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
}

TEST(Event, WakesAWaitingThread)
{
    const Handle start(NewEvent(false, false)), done(NewEvent(false, false));
    std::thread thread([&] {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(start, INFINITE));
        EXPECT_TRUE(SetEvent(done));
    });
    EXPECT_TRUE(SetEvent(start));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(done, kBound));
    thread.join();
}

TEST(Event, WithAutomaticResetLetsEachSignalThroughOnce)
{
    const Handle event(NewEvent(false, false)), taken(NewEvent(false, false));
    constexpr int kRounds = 2000;
    std::atomic<int> through{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (WaitForSingleObject(event, kBound) == WAIT_OBJECT_0 && through++ < kRounds)
                SetEvent(taken);
            SetEvent(event);
        });
    for (int round = 0; round < kRounds; ++round) {
        SetEvent(event);
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(taken, kBound)) << round;
        EXPECT_EQ(round + 1, through);
    }
    SetEvent(event);
    for (std::thread &thread : threads)
        thread.join();
}

TEST(Event, WithANameIsTheOneThatHasIt)
{
    const Handle first(CreateEventA(nullptr, TRUE, FALSE, "platform test event"));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
    const Handle second(CreateEventW(nullptr, TRUE, FALSE, OLESTR("platform test event")));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    SetEvent(first);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(second, 0));
    EXPECT_EQ(nullptr, CreateMutexA(nullptr, FALSE, "platform test event"));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST(Handle, ThatIsNoneIsRefused)
{
    const auto none = reinterpret_cast<HANDLE>(ULONG_PTR{0x7FFF0});
    EXPECT_FALSE(CloseHandle(none));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    SetLastError(0);
    EXPECT_FALSE(SetEvent(none));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    SetLastError(0);
    EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(none, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    const Handle event(NewEvent(false, false));
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(event));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST(Waiting, ForAnyGivesTheFirstThatIsSignalled)
{
    const Handle first(NewEvent(false, false)), second(NewEvent(false, true));
    const HANDLE handles[] = {first, second};
    EXPECT_EQ(WAIT_OBJECT_0 + 1, WaitForMultipleObjects(2, handles, FALSE, kBound));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, handles, FALSE, 1));
    SetEvent(second);
    SetEvent(first);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, handles, FALSE, kBound));
    EXPECT_EQ(WAIT_OBJECT_0 + 1, WaitForMultipleObjects(2, handles, FALSE, kBound));
}

TEST(Waiting, ForAllTakesNothingUntilAllAreSignalled)
{
    const Handle first(NewEvent(false, true)), second(NewEvent(false, false));
    const HANDLE handles[] = {first, second};
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, handles, TRUE, 1));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(first, 0));
    std::thread thread([&] {
        SetEvent(second);
        SetEvent(first);
    });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, handles, TRUE, kBound));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, handles, FALSE, 0));
    thread.join();
}

TEST(Waiting, ForNothingOrTooMuchIsRefused)
{
    const Handle event(NewEvent(true, true));
    const std::vector<HANDLE> handles(MAXIMUM_WAIT_OBJECTS + 1, event);
    SetLastError(0);
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(0, handles.data(), FALSE, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, handles.data(), FALSE, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, handles.data(), FALSE, 0));
}

TEST(Mutex, IsCountedForItsOwner)
{
    const Handle mutex(CreateMutexA(nullptr, TRUE, nullptr));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    const auto tryFromAnother = [&] {
        DWORD result = 0;
        std::thread([&] {
            result = WaitForSingleObject(mutex, 0);
            if (result == WAIT_OBJECT_0)
                ReleaseMutex(mutex);
        }).join();
        return result;
    };
    EXPECT_EQ(WAIT_TIMEOUT, tryFromAnother());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(WAIT_TIMEOUT, tryFromAnother());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(WAIT_OBJECT_0, tryFromAnother());
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(mutex));
    EXPECT_EQ(DWORD{ERROR_NOT_OWNER}, GetLastError());
}

TEST(Mutex, IsAbandonedByAThreadThatEndsWithIt)
{
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    std::thread([&] {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    }).join();
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(mutex, kBound));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FALSE(ReleaseMutex(mutex));
}

TEST(Mutex, ThatIsAbandonedWakesWhoWaitsForIt)
{
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr)), owned(NewEvent(true, false));
    std::thread owner([&] {
        WaitForSingleObject(mutex, 0);
        SetEvent(owned);
    });
    WaitForSingleObject(owned, kBound);
    const HANDLE handles[] = {mutex};
    EXPECT_EQ(WAIT_ABANDONED_0, WaitForMultipleObjects(1, handles, FALSE, kBound));
    owner.join();
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Mutex, WithANameIsNotTakenWhenItWasThere)
{
    const Handle first(CreateMutexA(nullptr, FALSE, "platform test mutex"));
    const Handle second(CreateMutexA(nullptr, TRUE, "platform test mutex"));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    EXPECT_FALSE(ReleaseMutex(second));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(first, 0));
    EXPECT_TRUE(ReleaseMutex(second));
}

TEST(Mutex, KeepsThreadsApart)
{
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; ++round) {
                WaitForSingleObject(mutex, INFINITE);
                ++counter;
                ReleaseMutex(mutex);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(4000, counter);
}

TEST(CriticalSectionOfTheSystem, IsRecursiveAndKeepsThreadsApart)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                EnterCriticalSection(&section);
                EnterCriticalSection(&section);
                ++counter;
                LeaveCriticalSection(&section);
                LeaveCriticalSection(&section);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(20000, counter);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)); }).join();
    LeaveCriticalSection(&section);
    DeleteCriticalSection(&section);
}

struct Work {
    HANDLE event;
    std::atomic<DWORD> thread{0};
};

void PlainBody(void *argument)
{
    auto *work = static_cast<Work *>(argument);
    work->thread = GetCurrentThreadId();
    SetEvent(work->event);
}

unsigned __stdcall Body(void *argument)
{
    PlainBody(argument);
    return 7;
}

TEST(Thread, RunsItsBody)
{
    const Handle event(NewEvent(false, false));
    Work work{event};
    EXPECT_NE(static_cast<uintptr_t>(-1), _beginthread(PlainBody, 0, &work));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, kBound));
    EXPECT_NE(0u, work.thread);
    EXPECT_NE(GetCurrentThreadId(), work.thread);
}

TEST(Thread, SignalsItsHandleByItsEnd)
{
    const Handle event(NewEvent(false, false));
    Work work{event};
    unsigned id = 0;
    const Handle thread(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Body, &work, 0, &id)));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, kBound));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 0));
    EXPECT_EQ(id, work.thread);
}

TEST(Thread, AbandonsItsMutexesBeforeItsHandleIsSignalled)
{
    static HANDLE mutex;
    const Handle owned(mutex = CreateMutexA(nullptr, FALSE, nullptr));
    struct Owner {
        static unsigned __stdcall Run(void *)
        {
            WaitForSingleObject(mutex, INFINITE);
            return 0;
        }
    };
    const Handle thread(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Owner::Run, nullptr, 0, nullptr)));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, kBound));
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(mutex, 0));
    EXPECT_TRUE(ReleaseMutex(mutex));
}

} // namespace
