// Threads, their own values and the clocks of POSIX, as the compiler's runtime and standard library call them, over
// Windows' own: without the toolchain's library, which takes a slot for threads' values with each load of a module,
// gives none back when the module is unloaded, and installs an exception handler for the whole process.
#include "exclusive.h"
#include "runtime.h"
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <process.h>
#include <pthread.h>
#include <pthread_time.h>
#include <sched.h>
#include <utility>
#include <windows.h>

namespace
{

using windows::Exclusive;

SRWLOCK s_lock = SRWLOCK_INIT; // guards all that follows

// ---- threads' values
// -------------------------------------------------------------------------------------------------

using Destructor = void(void *);

// The runtime has one, for all thread_local variables.
constexpr pthread_key_t kMostKeys = 4;
struct Key {
    bool taken;
    Destructor *destructor;
};
Key s_keys[kMostKeys];
struct Values {
    void *of[kMostKeys];
};

// One slot of Windows' for all keys. Its values are given back when a thread ends, and with the slot those of all
// threads.
DWORD s_slot = FLS_OUT_OF_INDEXES;
bool s_ended;

void WINAPI GiveValuesBack(void *block)
{
    const std::unique_ptr<Values, decltype(&std::free)> values(static_cast<Values *>(block), std::free);
    for (pthread_key_t key = values ? kMostKeys : 0; key-- > 0;)
        if (void *const value = std::exchange(values->of[key], nullptr); value && s_keys[key].destructor)
            s_keys[key].destructor(value);
}

bool TakeSlot() // under the lock
{
    if (s_slot == FLS_OUT_OF_INDEXES && !s_ended)
        s_slot = FlsAlloc(GiveValuesBack);
    return s_slot != FLS_OUT_OF_INDEXES;
}

// The slot's functions set the last error, which nobody expects of a variable.
class KeepsLastError
{
  public:
    KeepsLastError() : m_error(GetLastError()) {}
    ~KeepsLastError() { SetLastError(m_error); }
    KeepsLastError(const KeepsLastError &) = delete;
    KeepsLastError &operator=(const KeepsLastError &) = delete;

  private:
    const DWORD m_error;
};

Values *OwnValues()
{
    return s_slot == FLS_OUT_OF_INDEXES ? nullptr : static_cast<Values *>(FlsGetValue(s_slot));
}

// ---- threads
// ---------------------------------------------------------------------------------------------------------

// What a thread is to run; handed over to it.
struct Start {
    void *(*body)(void *);
    void *argument;
};

unsigned WINAPI Run(void *parameter)
{
    const Start start = *std::unique_ptr<Start>(static_cast<Start *>(parameter));
    start.body(start.argument);
    return 0;
}

// The handles of threads that are to be joined or detached: a thread's number is its own for as long as one is open.
struct Thread {
    DWORD id;
    HANDLE handle;
    Thread *next;
};
Thread *s_threads;

HANDLE TakeHandle(pthread_t id)
{
    std::unique_ptr<Thread> found;
    const Exclusive hold(s_lock);
    for (Thread **place = &s_threads; *place; place = &(*place)->next)
        if ((*place)->id == id) {
            found.reset(*place);
            *place = found->next;
            return found->handle;
        }
    return nullptr;
}

// ---- clocks
// ----------------------------------------------------------------------------------------------------------

constexpr long long kNanoseconds = 1'000'000'000;

timespec Realtime()
{
    constexpr long long since1601 = 116'444'736'000'000'000; // of 1970, in units of 100 ns
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const long long units = (static_cast<long long>(now.dwHighDateTime) << 32 | now.dwLowDateTime) - since1601;
    return {static_cast<time_t>(units / 10'000'000), static_cast<long>(units % 10'000'000 * 100)};
}

timespec Monotonic()
{
    LARGE_INTEGER counted, second;
    QueryPerformanceFrequency(&second);
    QueryPerformanceCounter(&counted);
    const long long rest = counted.QuadPart % second.QuadPart;
    return {static_cast<time_t>(counted.QuadPart / second.QuadPart),
            static_cast<long>(static_cast<double>(rest) * kNanoseconds / static_cast<double>(second.QuadPart))};
}

} // namespace

namespace windows
{

bool BeginThreadValues()
{
    const Exclusive hold(s_lock);
    return TakeSlot();
}

void EndThreadValues()
{
    DWORD slot;
    {
        const Exclusive hold(s_lock);
        slot = s_slot;
        s_slot = FLS_OUT_OF_INDEXES;
        s_ended = true;
    }
    if (slot != FLS_OUT_OF_INDEXES)
        FlsFree(slot);
}

} // namespace windows

extern "C" {

int pthread_key_create(pthread_key_t *key, Destructor *destructor)
{
    const Exclusive hold(s_lock);
    if (!TakeSlot())
        return EAGAIN;
    for (pthread_key_t candidate = 0; candidate < kMostKeys; ++candidate)
        if (!s_keys[candidate].taken) {
            s_keys[candidate] = {true, destructor};
            *key = candidate;
            return 0;
        }
    return EAGAIN;
}

// The number is not given out again: other threads may still have a value of it.
int pthread_key_delete(pthread_key_t key)
{
    const Exclusive hold(s_lock);
    if (key >= kMostKeys || !s_keys[key].taken)
        return EINVAL;
    s_keys[key].destructor = nullptr;
    return 0;
}

void *pthread_getspecific(pthread_key_t key)
{
    const KeepsLastError keeps;
    const Values *const values = key < kMostKeys ? OwnValues() : nullptr;
    return values ? values->of[key] : nullptr;
}

int pthread_setspecific(pthread_key_t key, const void *value)
{
    if (key >= kMostKeys || !s_keys[key].taken || s_slot == FLS_OUT_OF_INDEXES)
        return EINVAL;
    const KeepsLastError keeps;
    Values *values = OwnValues();
    if (!values) {
        values = static_cast<Values *>(std::calloc(1, sizeof *values));
        if (!values || !FlsSetValue(s_slot, values)) {
            std::free(values);
            return ENOMEM;
        }
    }
    values->of[key] = const_cast<void *>(value);
    return 0;
}

int pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*body)(void *), void *argument)
{
    if (attributes)
        return EINVAL;
    std::unique_ptr<Start> start(new (std::nothrow) Start{body, argument});
    std::unique_ptr<Thread> thread(new (std::nothrow) Thread{});
    if (!start || !thread)
        return EAGAIN;
    unsigned number;
    const Exclusive hold(s_lock); // it may end and be looked for before it stands in the list
    const auto handle = _beginthreadex(nullptr, 0, Run, start.get(), 0, &number);
    if (handle == 0)
        return EAGAIN;
    (void)start.release();
    *thread = {number, reinterpret_cast<HANDLE>(handle), s_threads};
    s_threads = thread.release();
    *id = number;
    return 0;
}

// Nobody asks for what a thread's body returned.
int pthread_join(pthread_t id, void **result)
{
    if (id == GetCurrentThreadId())
        return EDEADLK;
    const HANDLE handle = result ? nullptr : TakeHandle(id);
    if (!handle)
        return result ? EINVAL : ESRCH;
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
    return 0;
}

int pthread_detach(pthread_t id)
{
    const HANDLE handle = TakeHandle(id);
    if (!handle)
        return ESRCH;
    CloseHandle(handle);
    return 0;
}

pthread_t pthread_self(void)
{
    return GetCurrentThreadId();
}

int pthread_equal(pthread_t one, pthread_t other)
{
    return one == other;
}

int pthread_num_processors_np(void)
{
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return static_cast<int>(system.dwNumberOfProcessors);
}

int sched_yield(void)
{
    SwitchToThread();
    return 0;
}

int clock_gettime(clockid_t clock, struct timespec *time)
{
    if (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC) {
        errno = EINVAL;
        return -1;
    }
    *time = clock == CLOCK_REALTIME ? Realtime() : Monotonic();
    return 0;
}

// Whole milliseconds, rounded up; nothing interrupts it.
int nanosleep(const struct timespec *time, struct timespec *rest)
{
    const long long milliseconds = time->tv_sec * 1000LL + (time->tv_nsec + 999'999) / 1'000'000;
    for (long long left = milliseconds; left > 0; left -= INFINITE - 1)
        Sleep(left < INFINITE ? static_cast<DWORD>(left) : INFINITE - 1);
    if (rest)
        *rest = {};
    return 0;
}

} // extern "C"
