// Proves that what is set aside is room and not only a length, whoever takes from it and fills it up at once.
#include "Fixture.h"
#include "localmapi/storage/Reserve.h"
#include <atomic>
#include <functional>
#include <latch>
#include <sys/stat.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

TEST_F(SiteTest, WhatIsSetAsideIsOnTheDisk)
{
    constexpr int kRounds = 3000;
    const std::string path = m_site.Path();
    std::latch ready(4);
    const auto repeat = [&](const std::function<void(Reserve &)> &work) {
        Reserve reserve(path);
        ready.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round)
            work(reserve);
    };
    std::atomic<int> holes{0};
    const auto giveUpSome = [&](Reserve &reserve) {
        reserve.GiveUp(1 << 20);
        struct stat status {
        };
        EXPECT_EQ(stat((path + "-reserve").c_str(), &status), 0);
        holes += status.st_blocks * 512 < status.st_size;
    };
    std::thread one(repeat, giveUpSome), another(repeat, giveUpSome);
    std::thread all(repeat, [](Reserve &reserve) { reserve.GiveUp(Reserve::kSize); });
    repeat([](Reserve &reserve) { reserve.FillUp(); });
    one.join();
    another.join();
    all.join();
    EXPECT_EQ(holes, 0);
}

} // namespace

} // namespace localmapi::storage
