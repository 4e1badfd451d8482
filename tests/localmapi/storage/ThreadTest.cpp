// Proves that any number of threads may work with one site at once, and that each sees whole transactions only.
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include <atomic>
#include <latch>
#include <thread>

namespace localmapi::storage
{

namespace
{

class Threads : public SiteTest
{
  protected:
    static void RunOnThreads(int count, const std::function<void(int)> &work)
    {
        std::vector<std::thread> threads;
        for (int t = 0; t < count; ++t)
            threads.emplace_back([&, t] {
                try {
                    work(t);
                } catch (const std::exception &error) {
                    ADD_FAILURE() << error.what();
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
};

TEST_F(Threads, HoldNoMorePagesTogetherThanAProcessMay)
{
    // No longer than a page: SQLite may read beyond that past its memory.
    std::vector<NewMessage> many(200, NewMessage{m_box.inbox, MakeMessage("m", {{kBody, std::string(3000, 'b')}})});
    for (int i = 0; i < 40; ++i)
        m_objects.CreateMessages(many);
    constexpr int kThreads = 32;
    std::latch read(kThreads), measured(1);
    std::thread measuring([&] {
        read.wait();
        const auto used = sqlite3_memory_used();
        const auto most = (kCacheOfProcess + kThreads * kLeastCache) * 1024;
        EXPECT_LT(used, most + most / 4);
        EXPECT_GT(used, most / 2); // or it would prove nothing
        measured.count_down();
    });
    RunOnThreads(kThreads, [&](int) {
        try {
            Reader reader(m_site.GetDatabase());
            EXPECT_EQ(reader->Integer("SELECT max(length(hex(value))) FROM property"), 6000);
            read.count_down();
            measured.wait();
        } catch (...) {
            read.count_down();
            throw;
        }
    });
    measuring.join();
}

TEST_F(Threads, SeeWholeTransactionsOnly)
{
    std::atomic<int> writers{3};
    RunOnThreads(6, [&](int t) {
        if (t < 3) {
            for (int i = 0; i < 15; ++i) {
                std::vector<NewMessage> five(
                    5, NewMessage{m_box.inbox, MakeMessage("m", {{kImportance, std::int32_t{t}}})});
                std::vector<ObjectId> ids = m_objects.CreateMessages(five);
                if (i % 3 == 1)
                    m_objects.RemoveMessages(ids);
                if (i % 3 == 2)
                    m_objects.SetRead(ids, true);
            }
            --writers;
            return;
        }
        View view(m_site, Inbox(), t == 3 ? Filter{} : Filter::Bits(kMessageFlags, kFlagRead, t == 4));
        while (writers) {
            EXPECT_EQ(view.Count() % 5, 0u);
            EXPECT_EQ(view.Read(Place::Beginning(), Direction::Forward, 10000, {kSubject}).size() % 5, 0u);
        }
    });
    EXPECT_EQ(View(m_site, Inbox()).Count(), 3u * 10 * 5);
    ExpectSound();
}

TEST_F(Threads, ShareEveryObjectOfTheLayer)
{
    ObjectId shared = Add("shared");
    Directory directory(m_site);
    Profiles profiles(m_site);
    localmapi::storage::Names names(m_site);
    RunOnThreads(6, [&](int t) {
        std::string own = "p" + std::to_string(t);
        for (int i = 0; i < 8; ++i) {
            profiles.Create(own);
            profiles.ChangeSection(own, Guid{1}, {{kSubject, own}});
            EXPECT_EQ(*profiles.Section(own, Guid{1}).get<std::string>(kSubject), own);
            profiles.Remove(own);
            names.Ids({{Guid{1}, std::int32_t{i}}}, true);
            MessageChanges changes;
            changes.properties.set.Set(kSensitivity, std::int32_t{t});
            m_objects.ChangeMessage(shared, changes);
            EXPECT_TRUE(m_objects.Read(shared).get<std::int32_t>(kSensitivity));
            EXPECT_TRUE(directory.UserByAlias("alice"));
        }
    });
    EXPECT_EQ(names.All().size(), 8u);
    EXPECT_TRUE(profiles.List().empty());
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
