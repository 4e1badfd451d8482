// Proves that handles and threads are counted for the tests of others, and that none is left over.
#include "Text.h"
#include <cerrno>
#include <gtest/gtest.h>
#include <platform_test.h>
#include <process.h>

namespace
{
void WaitUntilNoThreadLives()
{
    for (int i = 0; i < 6000 && PlatformLiveThreads() > 0; ++i)
        Sleep(10);
}

TEST(LiveHandles, AreCounted)
{
    const std::size_t before = PlatformLiveHandles();
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    EXPECT_EQ(before + 2, PlatformLiveHandles());
    CloseHandle(event);
    CloseHandle(mutex);
    EXPECT_EQ(before, PlatformLiveHandles());
}

TEST(LiveHandles, OfAThreadGoWithItWhenNobodyHasItsHandle)
{
    for (int i = 0; i < 50; ++i)
        ASSERT_NE(static_cast<uintptr_t>(-1), _beginthread([](void *) {}, 0, nullptr));
    WaitUntilNoThreadLives();
    EXPECT_EQ(0u, PlatformLiveThreads());
    EXPECT_EQ(0u, PlatformLiveHandles());
}

TEST(LiveHandles, AreNeverUsedTwice)
{
    const HANDLE first = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(first);
    const HANDLE second = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    EXPECT_NE(first, second);
    EXPECT_FALSE(SetEvent(first));
    CloseHandle(second);
}

TEST(Threads, WithoutMessageQueueAreNoTargetForMessages)
{
    SetLastError(0);
    EXPECT_FALSE(PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_THREAD_ID}, GetLastError());
}

TEST(Threads, ThatAreToBeginSuspendedAreRefused)
{
    const auto body = [](void *) { return 0u; };
    errno = 0;
    EXPECT_EQ(0u, _beginthreadex(nullptr, 0, body, nullptr, 4, nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0u, PlatformLiveThreads());
}

TEST(Threads, MayAskForASmallStack)
{
    const auto body = [](void *) { return 0u; };
    const auto thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 4096, body, nullptr, 0, nullptr));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 60000));
    CloseHandle(thread);
}
} // namespace
