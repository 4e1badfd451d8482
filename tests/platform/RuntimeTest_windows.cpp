// What the compiler's runtime and standard library ask of POSIX, asked as they ask it.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <pthread.h>
#include <string>
#include <thread>
#include <windows.h>

namespace
{

using namespace std::chrono_literals;

pthread_key_t s_first, s_second;
std::atomic<int> s_ended;
void *s_valueWhileItEnds;

void EndFirst(void *)
{
    s_ended = s_ended * 10 + 1;
    s_valueWhileItEnds = pthread_getspecific(s_first);
}

void EndSecond(void *value)
{
    s_ended = s_ended * 10 + *static_cast<int *>(value);
}

TEST(Runtime, AThreadsValuesEndWithItTheLastKeyFirstAndAreGoneThen)
{
    int two = 2;
    ASSERT_EQ(0, pthread_key_create(&s_first, EndFirst));
    ASSERT_EQ(0, pthread_key_create(&s_second, EndSecond));
    s_valueWhileItEnds = &two;
    std::thread([&] {
        EXPECT_EQ(nullptr, pthread_getspecific(s_first));
        EXPECT_EQ(0, pthread_setspecific(s_first, &two));
        EXPECT_EQ(0, pthread_setspecific(s_second, &two));
        EXPECT_EQ(&two, pthread_getspecific(s_second));
    }).join();
    EXPECT_EQ(21, s_ended);
    EXPECT_EQ(nullptr, s_valueWhileItEnds);
    EXPECT_EQ(nullptr, pthread_getspecific(s_first)) << "a value of another thread's";
    EXPECT_EQ(0, pthread_key_delete(s_first));
    EXPECT_EQ(0, pthread_key_delete(s_second));
    EXPECT_EQ(EINVAL, pthread_setspecific(s_first + 100, &two));
    EXPECT_EQ(EINVAL, pthread_key_delete(s_first + 100));
}

TEST(Runtime, AValueLeavesTheLastErrorAsItIs)
{
    pthread_key_t key;
    int value = 0;
    ASSERT_EQ(0, pthread_key_create(&key, nullptr));
    std::thread([&] {
        SetLastError(1234);
        EXPECT_EQ(0, pthread_setspecific(key, &value));
        EXPECT_EQ(1234u, GetLastError());
        EXPECT_EQ(&value, pthread_getspecific(key));
        EXPECT_EQ(1234u, GetLastError());
    }).join();
    EXPECT_EQ(0, pthread_key_delete(key));
}

TEST(Runtime, ARecursiveMutexIsItsOwnersUntilTheLastUnlock)
{
    std::recursive_mutex mutex;
    const auto others = [&] {
        bool taken = false;
        std::thread([&] {
            taken = mutex.try_lock();
            if (taken)
                mutex.unlock();
        }).join();
        return taken;
    };
    mutex.lock();
    mutex.lock();
    EXPECT_FALSE(others());
    mutex.unlock();
    EXPECT_FALSE(others());
    mutex.unlock();
    EXPECT_TRUE(others());
}

TEST(Runtime, AWaitEndsWithItsTimeNotBeforeAndWithASignal)
{
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(std::cv_status::timeout, condition.wait_for(lock, 50ms));
    EXPECT_GE(std::chrono::steady_clock::now() - began, 50ms);
    EXPECT_EQ(std::cv_status::timeout, condition.wait_until(lock, std::chrono::system_clock::now() - 1s));

    bool told = false;
    std::thread teller([&] {
        const std::lock_guard<std::mutex> hold(mutex);
        told = true;
        condition.notify_one();
    });
    EXPECT_TRUE(condition.wait_for(lock, 10s, [&] { return told; }));
    lock.unlock();
    teller.join();
}

TEST(Runtime, WhatIsDoneOnceIsDoneOnceByAllAndAgainWhereItThrew)
{
    std::once_flag flag;
    std::atomic<int> tried{0}, done{0};
    std::thread threads[4];
    for (std::thread &thread : threads)
        thread = std::thread([&] {
            try {
                std::call_once(flag, [&] {
                    if (tried++ == 0)
                        throw tried.load();
                    ++done;
                });
                EXPECT_EQ(1, done) << "it goes on before it is done";
            } catch (int) {
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(2, tried);
    EXPECT_EQ(1, done);
}

TEST(Runtime, AThreadIsJoinedOnceByAnother)
{
    std::atomic<bool> go{false};
    std::thread thread([&] {
        while (!go)
            std::this_thread::yield();
    });
    const pthread_t id = thread.native_handle();
    EXPECT_EQ(EDEADLK, pthread_join(pthread_self(), nullptr));
    go = true;
    thread.join();
    EXPECT_EQ(ESRCH, pthread_join(id, nullptr));
    EXPECT_EQ(ESRCH, pthread_detach(id));
}

TEST(Runtime, SleepLastsAsLongAsItIsTold)
{
    const auto began = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(30ms + 1ns);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 30ms + 1ns);
    std::this_thread::sleep_for(-1s);
}

__attribute__((noinline)) void CopyIntoEight(const char *text)
{
    char eight[8];
    std::strcpy(eight, text);
    std::puts(eight);
}

TEST(RuntimeDeathTest, WhatIsWrittenOverTheStackEndsTheProcess)
{
    CopyIntoEight("fits in");
    const std::string longer(64, 'x');
    EXPECT_DEATH(CopyIntoEight(longer.c_str()), "");
}

} // namespace
