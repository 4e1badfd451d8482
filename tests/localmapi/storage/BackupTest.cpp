// Proves that a copy of a site is whole and of one moment, that putting one back is one transaction for everybody who
// has the site open, and that what is no copy of this site changes nothing.
#include "localmapi/storage/Backup.h"
#include "Fixture.h"
#include "localmapi/storage/Changes.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Watch.h"
#include <atomic>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

class BackupTest : public SiteTest
{
  protected:
    std::string File(const std::string &name) const { return m_folder.File(name); }
    std::vector<std::string> SubjectsOf(const Site &site) const { return SubjectsIn(View(site, Inbox())); }
    std::vector<std::string> FilesInFolder() const
    {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(PathOf(File(".")).parent_path()))
            names.push_back(Utf8(entry.path().filename()));
        return names;
    }
    static std::string Content(const std::string &path)
    {
        std::ifstream file(PathOf(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST_F(BackupTest, ACopyIsTheSiteAsItWas)
{
    Add("1");
    Add("2", {{kAttachData, Bytes(700000, 'r')}});
    std::uint64_t last = 0, total = 0;
    Backup(m_site, File("copy.db"), [&](std::uint64_t done, std::uint64_t all) {
        EXPECT_GE(done, last);
        last = done;
        total = all;
    });
    EXPECT_LE(last, total);
    Add("3");
    const Site copy = Site::Open(File("copy.db"));
    EXPECT_EQ(SubjectsOf(copy), (Subjects{"1", "2"}));
    EXPECT_EQ(copy.Info().uid, m_site.Info().uid);
    EXPECT_THAT(Check(copy, false), testing::IsEmpty());
    EXPECT_EQ(SubjectsOf(m_site), (Subjects{"1", "2", "3"}));
}

TEST_F(BackupTest, IsOfOneMomentWhileOthersWrite)
{
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        const Site site = Site::Open(m_site.Path());
        while (!stop)
            Objects(site).CreateMessage(m_box.inbox, MakeMessage("m", {{kAttachData, Bytes(300000, 'r')}}));
    });
    for (int i = 0; i < 5; ++i) {
        const std::string file = File("copy" + std::to_string(i) + ".db");
        Backup(m_site, file);
        EXPECT_THAT(Check(Site::Open(file), false), testing::IsEmpty());
    }
    stop = true;
    writer.join();
    ExpectSound();
}

// Counts are remembered with the number of a change: numbers of changes that the copy does not know are not given anew.
TEST_F(BackupTest, WhatWasCountedBeforeAnOlderCopyWasPutBackIsCountedAnew)
{
    const View some(m_site, Inbox(), Filter::Compare(kSubject, Relation::Equal, std::string("a")));
    Add("a");
    EXPECT_EQ(some.Count(), 1u);
    Backup(m_site, File("copy.db"));
    for (std::uint64_t count = 2; count < 5; ++count) {
        Add("a");
        EXPECT_EQ(some.Count(), count);
    }
    Restore(File("copy.db"), m_site.Path());
    EXPECT_EQ(some.Count(), 1u);
    for (int i = 0; i < 5; ++i) {
        Add("b");
        EXPECT_EQ(some.Count(), 1u);
    }
}

TEST_F(BackupTest, AFileThatIsThereIsNotWrittenOver)
{
    std::ofstream(PathOf(File("copy.db"))) << "precious";
    EXPECT_EQ(FaultOf([&] { Backup(m_site, File("copy.db")); }), Fault::Collision);
    EXPECT_EQ(Content(File("copy.db")), "precious");
    EXPECT_NE(FaultOf([&] { Backup(m_site, File("no/such/folder/copy.db")); }), std::nullopt);
    EXPECT_THAT(FilesInFolder(), testing::Each(testing::Not(testing::HasSubstr(".new-"))));
}

TEST_F(BackupTest, ACopyThatIsPutBackIsThereForWhoeverHasTheSiteOpen)
{
    Add("1");
    Backup(m_site, File("copy.db"));
    const std::string copied = Content(File("copy.db"));
    const ObjectId gone = Add("2");
    const Site other = Site::Open(m_site.Path());
    Watch watch{View(m_site, Inbox())};
    const ChangeNumber before = m_site.GetChangeNumber();
    EXPECT_EQ(View(m_site, Inbox()).Count(), 2U);

    Restore(File("copy.db"), m_site.Path());
    EXPECT_EQ(SubjectsOf(m_site), Subjects{"1"});
    EXPECT_EQ(SubjectsOf(other), Subjects{"1"});
    EXPECT_EQ(View(m_site, Inbox()).Count(), 1U);
    EXPECT_GT(m_site.GetChangeNumber(), before);
    const auto notices = watch.Next({});
    ASSERT_EQ(notices.size(), 1U);
    EXPECT_EQ(notices[0].kind, Notice::Kind::Lost);
    // Numbers are not given twice.
    EXPECT_GT(Add("3"), gone);
    EXPECT_EQ(SubjectsOf(other), (Subjects{"1", "3"}));
    EXPECT_EQ(watch.Next({}).size(), 1U);
    ExpectSound();
    EXPECT_EQ(Content(File("copy.db")), copied);
    EXPECT_THAT(FilesInFolder(), testing::Each(testing::Not(testing::HasSubstr(".new-"))));

    // Once more, with the same.
    Restore(File("copy.db"), m_site.Path());
    EXPECT_EQ(SubjectsOf(other), Subjects{"1"});
    EXPECT_EQ(watch.Next({}).at(0).kind, Notice::Kind::Lost);
    ExpectSound();
}

TEST_F(BackupTest, WhatAKilledFirstUserOfACopyLeftIsPlayedBackByReadersToo)
{
    Add("kept");
    Backup(m_site, File("copy.db"));
    {
        // Until it has a log, a copy is written with a journal beside it. As files lie there when its writer is killed.
        Connection writer(File("copy.db"), SQLITE_OPEN_READWRITE, 0);
        writer.Execute("PRAGMA synchronous = OFF; BEGIN IMMEDIATE; UPDATE site SET next_id = 0");
        fs::copy_file(PathOf(File("copy.db")), PathOf(File("left.db")));
        fs::copy_file(PathOf(File("copy.db-journal")), PathOf(File("left.db-journal")));
    }
    const Site site = Site::Open(File("left.db"), {.readOnly = true});
    EXPECT_EQ(SubjectsOf(site), std::vector<std::string>{"kept"});
    EXPECT_TRUE(Check(site, false).empty());
}

TEST_F(BackupTest, ASiteThatIsKilledAfterwardsHasItsOwnLog)
{
    Add("1");
    Backup(m_site, File("copy.db"));
    Add("2");
    Restore(File("copy.db"), m_site.Path());
    const auto killed = [&] {
        for (const char *suffix : {"", "-wal"}) {
            fs::remove(PathOf(File("killed.db") + suffix));
            fs::copy_file(PathOf(m_site.Path() + suffix), PathOf(File("killed.db") + suffix));
        }
        return SubjectsOf(Site::Open(File("killed.db")));
    };
    EXPECT_EQ(killed(), Subjects{"1"});
    Add("3");
    EXPECT_EQ(killed(), (Subjects{"1", "3"}));
    sqlite3 *handle = nullptr;
    ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, "PRAGMA wal_checkpoint(PASSIVE)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(handle);
    EXPECT_EQ(killed(), (Subjects{"1", "3"}));
    Add("4");
    EXPECT_EQ(killed(), (Subjects{"1", "3", "4"}));
}

TEST_F(BackupTest, NothingAcknowledgedIsLeftHalfWhereOthersWriteMeanwhile)
{
    for (int i = 0; i < 20; ++i)
        Add("old", {{kAttachData, Bytes(100000, 'r')}});
    Backup(m_site, File("copy.db"));
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        const Site site = Site::Open(m_site.Path());
        // Who writes without a pause leaves nobody else a chance to.
        for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(2)))
            Objects(site).CreateMessage(m_box.inbox, MakeMessage("new"));
    });
    for (int i = 0; i < 5; ++i) {
        Restore(File("copy.db"), m_site.Path());
        ExpectSound();
    }
    stop = true;
    writer.join();
    const Subjects subjects = SubjectsOf(m_site);
    EXPECT_EQ(std::count(subjects.begin(), subjects.end(), "old"), 20);
    ExpectSound();
}

TEST_F(BackupTest, WhereThereIsNoSiteTheCopyBecomesIt)
{
    Add("1");
    Backup(m_site, File("copy.db"));
    Restore(File("copy.db"), File("moved.db"));
    EXPECT_EQ(SubjectsOf(Site::Open(File("moved.db"))), Subjects{"1"});
    EXPECT_TRUE(fs::exists(PathOf(File("copy.db"))));
}

// Each turns on the log, which a copy has none of.
TEST_F(BackupTest, WhoOpensACopyWaitsForWhoDoesTheSame)
{
    const std::string copy = m_folder.File("copy.db");
    Backup(m_site, copy);
    // Without a log whoever looks at the file holds up the end of a transaction, too.
    Connection other(copy, SQLITE_OPEN_READWRITE, 10000);
    other.Execute("BEGIN IMMEDIATE");
    std::thread ending([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        other.Execute("COMMIT");
    });
    EXPECT_EQ(FaultOf([&] { Site::Open(copy); }), std::nullopt);
    ending.join();
    other.Execute("PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE");
    EXPECT_EQ(FaultOf([&] { Site::Open(copy, {.busyTimeoutMs = 50}); }), Fault::Busy);
}

TEST_F(BackupTest, WhereALogLiesNothingIsMadeBesideIt)
{
    Add("1");
    Backup(m_site, File("copy.db"));
    std::ofstream(PathOf(File("moved.db-wal"))) << "precious";
    EXPECT_EQ(FaultOf([&] { Restore(File("copy.db"), File("moved.db")); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { Backup(m_site, File("moved.db")); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { Site::Create(File("moved.db"), "S", "O"); }), Fault::Collision);
    EXPECT_FALSE(fs::exists(PathOf(File("moved.db"))));
    EXPECT_EQ(Content(File("moved.db-wal")), "precious");
}

TEST_F(BackupTest, NeitherTheCopyNorTheSiteKeepsALog)
{
    Add("1", {{kAttachData, Bytes(700000, 'r')}});
    Backup(m_site, File("copy.db"));
    Restore(File("copy.db"), m_site.Path());
    // Nor is one made where the copy is read: its header asks for none, so that it can lie where nothing can be
    // written.
    const std::string copy = Content(File("copy.db"));
    EXPECT_EQ(copy.substr(18, 2), "\x01\x01");
    EXPECT_FALSE(fs::exists(PathOf(File("copy.db-wal"))));
    EXPECT_FALSE(fs::exists(PathOf(File("copy.db-shm"))));
    EXPECT_EQ(fs::file_size(PathOf(m_site.Path() + "-wal")), 0U);
}

TEST_F(BackupTest, NumbersOfNamesAreNotGivenTwice)
{
    Names names(m_site);
    const PropertyName early{Guid{1}, std::string("early")}, late{Guid{1}, std::int32_t{7}},
        other{Guid{2}, std::string("other")};
    names.Ids({early}, true);
    Backup(m_site, File("copy.db"));
    const auto known = names.Ids({early, late}, true);
    Restore(File("copy.db"), m_site.Path());
    EXPECT_EQ(names.Ids({early, late}, false), known);
    EXPECT_GT(names.Ids({other}, true).at(0), known.at(1));
}

TEST_F(BackupTest, ADamagedSiteSaysWhatToDoBeforeACopyCanTakeItsPlace)
{
    Backup(m_site, File("copy.db"));
    std::ofstream(PathOf(File("damaged.db"))) << std::string(30000, 'd');
    try {
        Restore(File("copy.db"), File("damaged.db"));
        ADD_FAILURE() << "it was written over";
    } catch (const Error &error) {
        EXPECT_EQ(error.GetFault(), Fault::NotASite);
        EXPECT_THAT(error.what(), testing::HasSubstr("move its files away first"));
    }
    EXPECT_EQ(Content(File("damaged.db")), std::string(30000, 'd'));
}

TEST_F(BackupTest, WhatIsNoCopyOfTheSiteChangesNothing)
{
    Add("1");
    Site::Create(File("other.db"), "OTHER", "Norvik");
    std::ofstream(PathOf(File("text"))) << std::string(20000, 't');
    EXPECT_EQ(FaultOf([&] { Restore(File("other.db"), m_site.Path()); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { Restore(File("text"), m_site.Path()); }), Fault::NotASite);
    EXPECT_NE(FaultOf([&] { Restore(File("there-is-none"), m_site.Path()); }), std::nullopt);
    EXPECT_EQ(SubjectsOf(m_site), Subjects{"1"});
    ExpectSound();
    EXPECT_THAT(FilesInFolder(), testing::Each(testing::Not(testing::HasSubstr(".new-"))));
}

} // namespace

} // namespace localmapi::storage
