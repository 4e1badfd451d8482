// Proves the message queues of threads: what is posted, in which order it is taken, and what a wait for messages and
// objects sees.
#include "Text.h"
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace
{
constexpr DWORD kBound = 60000;

// Every test runs on a thread of its own, whose queue is new.
template <class Body> void OnFreshThread(Body body)
{
    std::thread(body).join();
}

UINT Next(UINT remove = PM_REMOVE)
{
    MSG message;
    return PeekMessageA(&message, nullptr, 0, 0, remove) ? message.message : 0;
}

void MakeQueue()
{
    EXPECT_EQ(0u, Next(PM_NOREMOVE));
}

TEST(Messages, ComeInTheOrderInWhichTheyWerePosted)
{
    OnFreshThread([] {
        MakeQueue();
        const DWORD self = GetCurrentThreadId();
        EXPECT_TRUE(PostThreadMessageA(self, WM_APP, 1, -2));
        EXPECT_TRUE(PostThreadMessageA(self, WM_APP + 1, 0, 0));
        EXPECT_EQ(UINT{WM_APP}, Next(PM_NOREMOVE));
        MSG message;
        EXPECT_GT(GetMessageA(&message, nullptr, 0, 0), 0);
        EXPECT_EQ(UINT{WM_APP}, message.message);
        EXPECT_EQ(1u, message.wParam);
        EXPECT_EQ(-2, message.lParam);
        EXPECT_EQ(nullptr, message.hwnd);
        EXPECT_EQ(0, DispatchMessageA(&message));
        EXPECT_EQ(UINT{WM_APP + 1}, Next());
        EXPECT_EQ(0u, Next());
    });
}

TEST(Messages, AreTakenFromARangeAloneWhenAskedFor)
{
    OnFreshThread([] {
        MakeQueue();
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        PostThreadMessageA(GetCurrentThreadId(), WM_APP + 5, 0, 0);
        MSG message;
        EXPECT_TRUE(PeekMessageA(&message, nullptr, WM_APP + 1, WM_APP + 9, PM_REMOVE));
        EXPECT_EQ(UINT{WM_APP + 5}, message.message);
        EXPECT_EQ(UINT{WM_APP}, Next());
    });
}

TEST(Messages, OfAThreadWithoutQueueAreRefused)
{
    DWORD ended = 0;
    OnFreshThread([&] { ended = GetCurrentThreadId(); });
    EXPECT_FALSE(PostThreadMessageA(ended, WM_APP, 0, 0));
}

TEST(QuitMessage, EndsGetMessageAfterEverythingPostedBefore)
{
    OnFreshThread([] {
        MakeQueue();
        PostQuitMessage(3);
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        MSG message;
        EXPECT_GT(GetMessageA(&message, nullptr, 0, 0), 0);
        EXPECT_EQ(0, GetMessageA(&message, nullptr, 0, 0));
        EXPECT_EQ(UINT{WM_QUIT}, message.message);
        EXPECT_EQ(3u, message.wParam);
        EXPECT_EQ(0u, Next());
    });
}

TEST(QuitMessage, MayBePostedByAnotherThread)
{
    OnFreshThread([] {
        MakeQueue();
        const DWORD self = GetCurrentThreadId();
        std::thread poster([self] { EXPECT_TRUE(PostThreadMessageA(self, WM_QUIT, 9, 0)); });
        MSG message;
        EXPECT_EQ(0, GetMessageA(&message, nullptr, 0, 0));
        EXPECT_EQ(9u, message.wParam);
        poster.join();
    });
}

TEST(WaitForMessages, SeesMessagesAfterTheObjects)
{
    OnFreshThread([] {
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        MakeQueue();
        EXPECT_EQ(WAIT_TIMEOUT, MsgWaitForMultipleObjects(1, &event, FALSE, 0, QS_ALLINPUT));
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        EXPECT_EQ(WAIT_OBJECT_0 + 1, MsgWaitForMultipleObjects(1, &event, FALSE, kBound, QS_ALLINPUT));
        EXPECT_EQ(UINT{WM_APP}, Next());
        EXPECT_EQ(WAIT_TIMEOUT, MsgWaitForMultipleObjects(1, &event, FALSE, 0, QS_ALLINPUT));
        SetEvent(event);
        EXPECT_EQ(WAIT_OBJECT_0, MsgWaitForMultipleObjects(1, &event, FALSE, kBound, 0x1FF));
        CloseHandle(event);
    });
}

TEST(WaitForMessages, DoesNotSeeAgainWhatWasLookedAtAlready)
{
    OnFreshThread([] {
        MakeQueue();
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        EXPECT_EQ(UINT{WM_APP}, Next(PM_NOREMOVE));
        EXPECT_EQ(WAIT_TIMEOUT, MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, QS_ALLINPUT));
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        EXPECT_EQ(WAIT_OBJECT_0, MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, QS_ALLINPUT));
    });
}

// The pump of a thread that stops by its event alone: a quit message does not end it.
TEST(WaitForMessages, DrivesAPumpThatOnlyItsEventStops)
{
    const HANDLE stop = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE ready = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::atomic<int> dispatched{0}, quits{0};
    std::atomic<DWORD> id{0};
    std::thread pump([&] {
        MakeQueue();
        id = GetCurrentThreadId();
        SetEvent(ready);
        while (MsgWaitForMultipleObjects(1, &stop, FALSE, INFINITE, 0x1FF) == WAIT_OBJECT_0 + 1) {
            MSG message;
            while (PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE)) {
                if (GetMessageA(&message, nullptr, 0, 0) == 0) {
                    ++quits;
                    SetEvent(ready);
                    break;
                }
                DispatchMessageA(&message);
                ++dispatched;
                SetEvent(ready);
            }
        }
    });
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ready, kBound));
    ASSERT_TRUE(PostThreadMessageA(id, WM_QUIT, 0, 0));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ready, kBound));
    EXPECT_EQ(1, quits);
    ASSERT_TRUE(PostThreadMessageA(id, WM_APP, 0, 0));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ready, kBound));
    EXPECT_EQ(1, dispatched);
    SetEvent(stop);
    pump.join();
    CloseHandle(stop);
    CloseHandle(ready);
}
} // namespace
