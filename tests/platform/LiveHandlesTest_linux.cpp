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

TEST(LiveHandles, are_counted)
{
    const std::size_t before = PlatformLiveHandles();
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    EXPECT_EQ(before + 2, PlatformLiveHandles());
    CloseHandle(event);
    CloseHandle(mutex);
    EXPECT_EQ(before, PlatformLiveHandles());
}

TEST(LiveHandles, of_a_thread_go_with_it_when_nobody_has_its_handle)
{
    for (int i = 0; i < 50; ++i)
        ASSERT_NE(static_cast<uintptr_t>(-1), _beginthread([](void *) {}, 0, nullptr));
    WaitUntilNoThreadLives();
    EXPECT_EQ(0u, PlatformLiveThreads());
    EXPECT_EQ(0u, PlatformLiveHandles());
}

TEST(LiveHandles, are_never_used_twice)
{
    const HANDLE first = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(first);
    const HANDLE second = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    EXPECT_NE(first, second);
    EXPECT_FALSE(SetEvent(first));
    CloseHandle(second);
}

TEST(Threads, without_message_queue_are_no_target_for_messages)
{
    SetLastError(0);
    EXPECT_FALSE(PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_THREAD_ID}, GetLastError());
}

TEST(Threads, that_are_to_begin_suspended_are_refused)
{
    const auto body = [](void *) { return 0u; };
    errno = 0;
    EXPECT_EQ(0u, _beginthreadex(nullptr, 0, body, nullptr, 4, nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0u, PlatformLiveThreads());
}

TEST(Threads, may_ask_for_a_small_stack)
{
    const auto body = [](void *) { return 0u; };
    const auto thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 4096, body, nullptr, 0, nullptr));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 60000));
    CloseHandle(thread);
}
} // namespace
