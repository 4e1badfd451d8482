// Proves that bad pointers are found in a sandbox too that refuses process_vm_readv, and that asking about them leaves
// the process as it was.
#include "Pages.h"
#include "Text.h"
#include <atomic>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <platform_test.h>
#include <thread>
#include <vector>

namespace
{
class PointersByPipe : public testing::Test
{
  protected:
    PointersByPipe() { PlatformProbeByPipe(true); }
    ~PointersByPipe() override { PlatformProbeByPipe(false); }
    Pages m_pages;
};

TEST_F(PointersByPipe, AreToldApart)
{
    std::memset(m_pages.Begin(), 'x', m_pages.Size());
    EXPECT_FALSE(IsBadStringPtrA("text", 100));
    EXPECT_TRUE(IsBadStringPtrA(m_pages.End() - 10, 100));
    EXPECT_FALSE(IsBadStringPtrA(m_pages.End() - 10, 10));
    EXPECT_TRUE(IsBadReadPtr(m_pages.End(), 1));
    EXPECT_TRUE(IsBadReadPtr(reinterpret_cast<void *>(0xDEAD000000000000), 1));
}

TEST_F(PointersByPipe, AreToldApartAsOftenAsAskedByManyThreads)
{
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round)
                wrong += IsBadReadPtr(m_pages.Begin(), 1) || !IsBadReadPtr(m_pages.End(), 1);
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

TEST(PointersOnLinux, OutsideTheAddressSpaceAreBad)
{
    EXPECT_TRUE(IsBadReadPtr(reinterpret_cast<void *>(0xDEAD000000000000), 1));
    EXPECT_TRUE(IsBadReadPtr(reinterpret_cast<void *>(UINTPTR_MAX - 10), 100));
    EXPECT_TRUE(IsBadWritePtr(reinterpret_cast<void *>(UINTPTR_MAX - 10), 100));
}

TEST(PointersOnLinux, AreTestedWithoutAChangeOfErrnoOrOfSignalHandlers)
{
    struct sigaction before, after;
    sigaction(SIGSEGV, nullptr, &before);
    errno = 77;
    EXPECT_TRUE(IsBadReadPtr(reinterpret_cast<void *>(0x10), 1));
    EXPECT_TRUE(IsBadStringPtrA(reinterpret_cast<char *>(0x12345), 1));
    EXPECT_EQ(77, errno);
    sigaction(SIGSEGV, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}
} // namespace
