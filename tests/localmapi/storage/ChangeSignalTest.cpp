// Proves that waiting for changes ends with a commit of whoever, with a wake-up, and with a file that appears late.
#include "localmapi/storage/ChangeSignal.h"
#include "Fixture.h"
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
    ASSERT_TRUE(signal.Listen({m_site.Path()}));
    EntryReader reader(m_site);
    auto begun = std::chrono::steady_clock::now();
    std::thread writer([&] { Objects(Site::Open(m_site.Path())).CreateMessage(m_box.inbox, {}); });
    while (reader.Next().empty())
        signal.Wait(kBound);
    writer.join();
    std::thread waker([&] { signal.Wake(); });
    signal.Wait(kBound);
    waker.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, kBound);
    EXPECT_TRUE(signal.Listen({}));
    signal.Wait(std::chrono::milliseconds(1));
}

TEST_F(Signalled, AFileOfWhichTheSystemTellsNothingIsLookedAt)
{
    ChangeSignal signal;
    EXPECT_FALSE(signal.Listen({m_folder.File("nowhere/site.db")}));
    ChangeSignal::Announce(m_folder.File("nowhere/site.db"));
    constexpr std::chrono::seconds kBound{60};
    auto begun = std::chrono::steady_clock::now();
    std::thread maker([&] {
        std::filesystem::path later(m_folder.File("nowhere"));
        std::filesystem::create_directory(later);
        std::ofstream(later / "site.db") << "here";
    });
    signal.Wait(kBound);
    maker.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, kBound);
    EXPECT_TRUE(signal.Listen({m_site.Path()}));
}

} // namespace

} // namespace localmapi::storage
