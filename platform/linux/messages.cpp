// Message queues of threads.
#include "wait.h"
#include <algorithm>
#include <map>

namespace platform
{
namespace
{
constexpr std::size_t kMaxMessages = 10000; // as on Windows

// Never destroyed: threads may still end while the process does.
std::map<DWORD, MessageQueue *> &Queues() REQUIRES(WaitLock())
{
    static auto &queues = *new std::map<DWORD, MessageQueue *>;
    return queues;
}

// The calling thread's own.
MessageQueue &OwnQueue() REQUIRES(WaitLock())
{
    auto &queue = CurrentThread().queue;
    if (!queue) {
        queue = std::make_shared<MessageQueue>();
        Queues()[GetCurrentThreadId()] = queue.get();
    }
    return *queue;
}

// The first message of the range, the quit message last of all. False when there is none.
bool TakeMessage(MessageQueue &queue, MSG *message, UINT first, UINT last, bool remove) REQUIRES(WaitLock())
{
    queue.changed = false;
    const bool any = first == 0 && last == 0;
    const auto found = std::find_if(queue.messages.begin(), queue.messages.end(), [&](const MSG &candidate) {
        return any || (candidate.message >= first && candidate.message <= last);
    });
    if (found != queue.messages.end()) {
        *message = *found;
        if (remove)
            queue.messages.erase(found);
        return true;
    }
    if (!queue.quit || !queue.messages.empty())
        return false;
    *message = {};
    message->message = WM_QUIT;
    message->wParam = queue.quitCode;
    message->time = GetTickCount();
    queue.quit = !remove;
    return true;
}

// Only messages of threads exist; a window asked for can't be one of ours.
bool AsksForWindow(HWND window)
{
    if (!window || window == reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1)))
        return false;
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return true;
}
} // namespace

void ForgetQueue(DWORD threadId)
{
    Queues().erase(threadId);
}
} // namespace platform

BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam)
{
    const locks::Hold held(platform::WaitLock());
    const auto found = platform::Queues().find(idThread);
    if (found == platform::Queues().end()) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    platform::MessageQueue &queue = *found->second;
    if (queue.messages.size() >= platform::kMaxMessages) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    queue.messages.push_back(MSG{nullptr, Msg, wParam, lParam, GetTickCount(), {}});
    queue.changed = true;
    queue.WakeAll();
    return TRUE;
}

void PostQuitMessage(int nExitCode)
{
    const locks::Hold held(platform::WaitLock());
    platform::MessageQueue &queue = platform::OwnQueue();
    queue.quit = true;
    queue.quitCode = static_cast<WPARAM>(nExitCode);
    queue.changed = true;
}

BOOL PeekMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg)
{
    if (platform::AsksForWindow(hWnd))
        return FALSE;
    const locks::Hold held(platform::WaitLock());
    return platform::TakeMessage(platform::OwnQueue(), lpMsg, wMsgFilterMin, wMsgFilterMax,
                                 (wRemoveMsg & PM_REMOVE) != 0);
}

BOOL GetMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax)
{
    if (platform::AsksForWindow(hWnd))
        return -1;
    const locks::Hold held(platform::WaitLock());
    platform::MessageQueue &queue = platform::OwnQueue();
    platform::Waiter waiter;
    queue.Add(&waiter);
    while (!platform::TakeMessage(queue, lpMsg, wMsgFilterMin, wMsgFilterMax, true))
        waiter.wake.Wait(platform::WaitLock());
    queue.Remove(&waiter);
    return lpMsg->message != WM_QUIT;
}

BOOL TranslateMessage(const MSG *)
{
    return FALSE;
}

LRESULT DispatchMessageA(const MSG *)
{
    return 0;
}

DWORD MsgWaitForMultipleObjects(DWORD nCount, const HANDLE *pHandles, BOOL fWaitAll, DWORD dwMilliseconds, DWORD)
{
    platform::MessageQueue *queue;
    {
        const locks::Hold held(platform::WaitLock());
        queue = &platform::OwnQueue();
    }
    return platform::WaitFor(pHandles, nCount, fWaitAll != FALSE, queue, dwMilliseconds);
}
