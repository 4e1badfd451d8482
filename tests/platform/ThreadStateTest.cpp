// Proves what each thread has of its own, slots and the last error, and the variables that threads change together.
#include "NewEvent.h"
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace
{

TEST(Slot, HoldsAValueForEachThread)
{
    const DWORD slot = TlsAlloc();
    ASSERT_NE(TLS_OUT_OF_INDEXES, slot);
    int mine, others;
    EXPECT_EQ(nullptr, TlsGetValue(slot));
    EXPECT_TRUE(TlsSetValue(slot, &mine));
    std::thread([&] {
        EXPECT_EQ(nullptr, TlsGetValue(slot));
        EXPECT_TRUE(TlsSetValue(slot, &others));
        EXPECT_EQ(&others, TlsGetValue(slot));
    }).join();
    EXPECT_EQ(&mine, TlsGetValue(slot));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
    EXPECT_TRUE(TlsFree(slot));
}

TEST(Slot, IsEmptyAfterItWasFreedAndAllocatedAgain)
{
    const DWORD slot = TlsAlloc();
    const Handle set(NewEvent(false, false)), again(NewEvent(false, false));
    int value;
    std::thread thread([&] {
        TlsSetValue(slot, &value);
        SetEvent(set);
        WaitForSingleObject(again, kBound);
        EXPECT_EQ(nullptr, TlsGetValue(slot));
    });
    WaitForSingleObject(set, kBound);
    TlsSetValue(slot, &value);
    EXPECT_TRUE(TlsFree(slot));
    EXPECT_EQ(slot, TlsAlloc());
    EXPECT_EQ(nullptr, TlsGetValue(slot));
    SetEvent(again);
    thread.join();
    EXPECT_TRUE(TlsFree(slot));
    EXPECT_FALSE(TlsFree(slot));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(Slot, OfWhichThereAre64AtLeast)
{
    std::vector<DWORD> slots;
    for (int i = 0; i < 60; ++i) {
        slots.push_back(TlsAlloc());
        ASSERT_NE(TLS_OUT_OF_INDEXES, slots.back());
    }
    for (const DWORD slot : slots)
        EXPECT_TRUE(TlsFree(slot));
    EXPECT_EQ(nullptr, TlsGetValue(0x10000));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(LastError, IsEachThreadsOwn)
{
    const Handle set(NewEvent(false, false)), looked(NewEvent(false, false));
    std::thread other([&] {
        SetLastError(6);
        SetEvent(set);
        WaitForSingleObject(looked, kBound);
        EXPECT_EQ(6u, GetLastError());
    });
    WaitForSingleObject(set, kBound);
    SetLastError(5);
    EXPECT_EQ(5u, GetLastError());
    SetEvent(looked);
    other.join();
}

TEST(Interlocked, GivesTheNewOrTheOldValue)
{
    LONG volatile value = 5;
    EXPECT_EQ(6, InterlockedIncrement(&value));
    EXPECT_EQ(5, InterlockedDecrement(&value));
    EXPECT_EQ(5, InterlockedExchange(&value, 9));
    EXPECT_EQ(9, InterlockedExchangeAdd(&value, 2));
    EXPECT_EQ(11, InterlockedCompareExchange(&value, 1, 5));
    EXPECT_EQ(11, InterlockedCompareExchange(&value, 1, 11));
    EXPECT_EQ(1, value);
    int target;
    PVOID volatile pointer = nullptr;
    EXPECT_EQ(nullptr, InterlockedCompareExchangePointer(&pointer, &target, nullptr));
    EXPECT_EQ(&target, InterlockedExchangePointer(&pointer, nullptr));
}

TEST(Debugger, IsNotAttachedToThisTest)
{
    EXPECT_FALSE(IsDebuggerPresent());
    EXPECT_FALSE(IsDebuggerPresent());
}
} // namespace
