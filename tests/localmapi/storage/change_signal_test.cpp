// Proves that waiting for changes ends with a commit of whoever, with a wake-up, and with a file that appears late.
#include "Fixture.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/EntryReader.h"
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace localmapi::storage
{

namespace
{

class Signalled : public SiteTest
{
};

TEST_F(Signalled, AWaitEndsWithACommitOfWhoeverAndWithAWakeUp)
{
    constexpr std::chrono::seconds kBound{60};
    ChangeSignal signal;
    ASSERT_TRUE(signal.listen({site.path()}));
    EntryReader reader(site);
    auto begun = std::chrono::steady_clock::now();
    std::thread writer([&] { Objects(Site::open(site.path())).createMessage(box.inbox, {}); });
    while (reader.next().empty())
        signal.wait(kBound);
    writer.join();
    std::thread waker([&] { signal.wake(); });
    signal.wait(kBound);
    waker.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, kBound);
    EXPECT_TRUE(signal.listen({}));
    signal.wait(std::chrono::milliseconds(1));
}

TEST_F(Signalled, AFileOfWhichTheSystemTellsNothingIsLookedAt)
{
    ChangeSignal signal;
    EXPECT_FALSE(signal.listen({folder.file("nowhere/site.db")}));
    ChangeSignal::announce(folder.file("nowhere/site.db"));
    constexpr std::chrono::seconds kBound{60};
    auto begun = std::chrono::steady_clock::now();
    std::thread maker([&] {
        std::filesystem::path later(folder.file("nowhere"));
        std::filesystem::create_directory(later);
        std::ofstream(later / "site.db") << "here";
    });
    signal.wait(kBound);
    maker.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, kBound);
    EXPECT_TRUE(signal.listen({site.path()}));
}

} // namespace

} // namespace localmapi::storage
