// Threads of the C runtime, and what a thread leaves behind when it ends.
#include "mutex.h"
#include "platform_test.h"
#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <process.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

namespace platform
{
namespace
{
std::atomic<std::size_t> liveThreads{0};

class Thread : public KernelObject
{
  public:
    bool IsSignalled(const ThreadRecord &) const REQUIRES(WaitLock()) override { return m_ended; }
    bool Take(ThreadRecord &) override { return false; }
    void End() REQUIRES(WaitLock())
    {
        m_ended = true;
        WakeAll();
    }

  private:
    bool m_ended GUARDED_BY(WaitLock()) = false;
};

// Marks the thread as ended after its body, and after the destructors of its thread-local objects: a waiter that is
// released may unload the code that they run in. Kept by the thread itself, in a key of pthread's, whose destructors
// come after those of the language.
struct Start {
    std::shared_ptr<Thread> thread;
    HANDLE closedAtEnd = nullptr;
    std::function<void()> body;
    locks::Mutex lock;
    unsigned threadId GUARDED_BY(lock) = 0;
    locks::Condition started;
};

void AtEnd(void *argument)
{
    std::unique_ptr<std::shared_ptr<Start>> start(static_cast<std::shared_ptr<Start> *>(argument));
    {
        const locks::Hold held(WaitLock());
        (*start)->thread->End();
    }
    if ((*start)->closedAtEnd)
        CloseHandle((*start)->closedAtEnd);
    --liveThreads;
}

pthread_key_t EndKey()
{
    static const pthread_key_t key = [] {
        pthread_key_t made;
        pthread_key_create(&made, AtEnd);
        return made;
    }();
    return key;
}

void *Run(void *argument)
{
    auto *start = static_cast<std::shared_ptr<Start> *>(argument);
    pthread_setspecific(EndKey(), start);
    {
        const locks::Hold held((*start)->lock);
        (*start)->threadId = GetCurrentThreadId();
        (*start)->started.NotifyOne();
    }
    (*start)->body();
    return nullptr;
}

// Starts a detached thread and waits for its identifier. 0, with errno, when it can't be started.
unsigned Launch(const std::shared_ptr<Start> &start, unsigned stackSize)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize > 0) {
        // Windows rounds a small size up as well.
        const auto least = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN)) + 0x10000;
        pthread_attr_setstacksize(&attributes, std::max<std::size_t>(stackSize, least));
    }
    auto *handedOver = new std::shared_ptr<Start>(start);
    ++liveThreads;
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, Run, handedOver);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        --liveThreads;
        delete handedOver;
        errno = error;
        return 0;
    }
    const locks::Hold held(start->lock);
    while (start->threadId == 0)
        start->started.Wait(start->lock);
    return start->threadId;
}
} // namespace

ThreadRecord::~ThreadRecord()
{
    const locks::Hold held(WaitLock());
    for (const auto &mutex : owned)
        mutex->Abandon();
    if (queue)
        ForgetQueue(GetCurrentThreadId());
}
} // namespace platform

std::size_t PlatformLiveThreads()
{
    return platform::liveThreads;
}

uintptr_t _beginthread(void (*start_address)(void *), unsigned stack_size, void *arglist)
{
    if (!start_address) {
        errno = EINVAL;
        return static_cast<uintptr_t>(-1);
    }
    auto start = std::make_shared<platform::Start>();
    start->thread = std::make_shared<platform::Thread>();
    start->body = [=] { start_address(arglist); };
    const HANDLE handle = platform::NewHandle(start->thread);
    start->closedAtEnd = handle;
    if (platform::Launch(start, stack_size) != 0)
        return reinterpret_cast<uintptr_t>(handle);
    const int error = errno;
    CloseHandle(handle);
    errno = error;
    return static_cast<uintptr_t>(-1);
}

uintptr_t _beginthreadex(void *, unsigned stack_size, unsigned (*start_address)(void *), void *arglist,
                         unsigned initflag, unsigned *thrdaddr)
{
    if (!start_address || initflag != 0) {
        errno = EINVAL;
        return 0;
    }
    auto start = std::make_shared<platform::Start>();
    start->thread = std::make_shared<platform::Thread>();
    start->body = [=] { start_address(arglist); };
    const unsigned threadId = platform::Launch(start, stack_size);
    if (threadId == 0)
        return 0;
    if (thrdaddr)
        *thrdaddr = threadId;
    return reinterpret_cast<uintptr_t>(platform::NewHandle(start->thread));
}

void Sleep(DWORD dwMilliseconds)
{
    if (dwMilliseconds == INFINITE)
        for (;;)
            pause();
    timespec left{static_cast<time_t>(dwMilliseconds / 1000), static_cast<long>(dwMilliseconds % 1000) * 1000000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}
