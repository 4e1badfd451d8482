// Mutexes, conditions and `once` of POSIX, as the compiler's runtime and standard library call them, over Windows' own.
// The toolchain's library allocates a block for each mutex that is ever locked, and the standard library gives none
// back; these have all that they need in the word that they are. That library is not linked: what is missing here does
// not link.
#include "exclusive.h"
#include <cerrno>
#include <pthread.h>
#include <windows.h>

namespace
{

using windows::Exclusive;

// What the headers initialise a word with says what it is of. A plain mutex becomes Windows' own with its first lock; a
// recursive one keeps its word, and has an entry below while somebody holds it.
constexpr pthread_mutex_t kNewMutex = PTHREAD_MUTEX_INITIALIZER;
constexpr pthread_mutex_t kRecursiveMutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER;
constexpr pthread_cond_t kNewCondition = PTHREAD_COND_INITIALIZER;
static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK) && sizeof(pthread_cond_t) == sizeof(CONDITION_VARIABLE));

// A word that is still as its initialiser left it becomes zero, which is what Windows' own begin with.
template <class Native> Native *Word(intptr_t *word, intptr_t fresh)
{
    void *volatile *const place = reinterpret_cast<void *volatile *>(word);
    InterlockedCompareExchangePointer(place, nullptr, reinterpret_cast<void *>(fresh));
    return reinterpret_cast<Native *>(word);
}

SRWLOCK *Plain(pthread_mutex_t *mutex)
{
    return Word<SRWLOCK>(mutex, kNewMutex);
}

CONDITION_VARIABLE *Native(pthread_cond_t *condition)
{
    return Word<CONDITION_VARIABLE>(condition, kNewCondition);
}

SRWLOCK s_lock = SRWLOCK_INIT; // guards what follows, and the states of `once`
CONDITION_VARIABLE s_changed = CONDITION_VARIABLE_INIT;

void WaitForChange()
{
    SleepConditionVariableSRW(&s_changed, &s_lock, INFINITE, 0);
}

// The recursive mutexes that are held. The standard library has one, around the initialisation of local statics, which
// is held for moments; more than these at once wait for each other.
struct Held {
    const pthread_mutex_t *mutex;
    DWORD owner;
    unsigned times;
};
Held s_held[8];

Held *FindHeld(const pthread_mutex_t *mutex)
{
    for (Held &held : s_held)
        if (held.mutex == mutex)
            return &held;
    return nullptr;
}

// False where another thread has it, or where there is no place for one more.
bool TryHold(const pthread_mutex_t *mutex)
{
    const DWORD self = GetCurrentThreadId();
    if (Held *held = FindHeld(mutex)) {
        if (held->owner == self)
            ++held->times;
        return held->owner == self;
    }
    Held *const place = FindHeld(nullptr);
    if (place)
        *place = {mutex, self, 1};
    return place != nullptr;
}

bool GiveBack(const pthread_mutex_t *mutex)
{
    Held *const held = FindHeld(mutex);
    if (!held || held->owner != GetCurrentThreadId())
        return false;
    if (--held->times == 0) {
        *held = {};
        WakeAllConditionVariable(&s_changed);
    }
    return true;
}

int SleepOn(pthread_cond_t *condition, pthread_mutex_t *mutex, DWORD milliseconds)
{
    bool woken;
    if (*mutex == kRecursiveMutex) {
        const Exclusive hold(s_lock);
        if (!GiveBack(mutex))
            return EPERM;
        woken = SleepConditionVariableSRW(Native(condition), &s_lock, milliseconds, 0);
        while (!TryHold(mutex))
            WaitForChange();
    } else {
        woken = SleepConditionVariableSRW(Native(condition), Plain(mutex), milliseconds, 0);
    }
    return woken ? 0 : ETIMEDOUT;
}

// Whole milliseconds from now, rounded up, and never "without end".
DWORD Until(const timespec &time)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const long long nanoseconds = (time.tv_sec - now.tv_sec) * 1'000'000'000LL + (time.tv_nsec - now.tv_nsec);
    if (nanoseconds <= 0)
        return 0;
    const long long milliseconds = (nanoseconds - 1) / 1'000'000 + 1;
    return milliseconds < INFINITE ? static_cast<DWORD>(milliseconds) : INFINITE - 1;
}

constexpr pthread_once_t kNotYet = PTHREAD_ONCE_INIT, kDone = 1, kUnderWay = 2;

// A routine that throws has not run, and another caller tries it.
class OnceRun
{
  public:
    explicit OnceRun(pthread_once_t *once) : m_once(once) {}
    ~OnceRun()
    {
        const Exclusive hold(s_lock);
        InterlockedExchange(m_once, m_state);
        WakeAllConditionVariable(&s_changed);
    }
    OnceRun(const OnceRun &) = delete;
    OnceRun &operator=(const OnceRun &) = delete;
    void Done() { m_state = kDone; }

  private:
    pthread_once_t *const m_once;
    pthread_once_t m_state = kNotYet;
};

} // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes)
{
    if (attributes)
        return EINVAL;
    *mutex = kNewMutex;
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t *mutex)
{
    *mutex = kNewMutex;
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t *mutex)
{
    if (*mutex != kRecursiveMutex) {
        AcquireSRWLockExclusive(Plain(mutex));
        return 0;
    }
    const Exclusive hold(s_lock);
    while (!TryHold(mutex))
        WaitForChange();
    return 0;
}

int pthread_mutex_trylock(pthread_mutex_t *mutex)
{
    if (*mutex != kRecursiveMutex)
        return TryAcquireSRWLockExclusive(Plain(mutex)) ? 0 : EBUSY;
    const Exclusive hold(s_lock);
    return TryHold(mutex) ? 0 : EBUSY;
}

int pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    if (*mutex != kRecursiveMutex) {
        ReleaseSRWLockExclusive(Plain(mutex));
        return 0;
    }
    const Exclusive hold(s_lock);
    return GiveBack(mutex) ? 0 : EPERM;
}

int pthread_cond_init(pthread_cond_t *condition, const pthread_condattr_t *attributes)
{
    if (attributes)
        return EINVAL;
    *condition = kNewCondition;
    return 0;
}

int pthread_cond_destroy(pthread_cond_t *condition)
{
    *condition = kNewCondition;
    return 0;
}

int pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    return SleepOn(condition, mutex, INFINITE);
}

int pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex, const struct timespec *time)
{
    return SleepOn(condition, mutex, Until(*time));
}

int pthread_cond_signal(pthread_cond_t *condition)
{
    WakeConditionVariable(Native(condition));
    return 0;
}

int pthread_cond_broadcast(pthread_cond_t *condition)
{
    WakeAllConditionVariable(Native(condition));
    return 0;
}

int pthread_once(pthread_once_t *once, void (*routine)(void))
{
    if (InterlockedCompareExchange(once, kDone, kDone) == kDone)
        return 0;
    {
        const Exclusive hold(s_lock);
        while (*once == kUnderWay)
            WaitForChange();
        if (*once == kDone)
            return 0;
        *once = kUnderWay;
    }
    OnceRun run(once);
    routine();
    run.Done();
    return 0;
}

} // extern "C"
