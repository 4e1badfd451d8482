// Proves that a compacted file is smaller and holds what it held, that those who have it open go on, nobody is told of
// a change, its log is known as its own and no other is, and that what can't be done leaves it as it was.
#include "localmapi/storage/Compact.h"
#include "Fixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Sizes.h"
#include "localmapi/storage/Watch.h"
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

class Compacts : public SiteTest
{
  protected:
    // Most of it free.
    void FillAndEmpty()
    {
        std::vector<NewMessage> messages;
        for (int i = 0; i < 60; ++i)
            messages.push_back({m_box.inbox, MakeMessage(std::to_string(i), {{kAttachData, Bytes(100000, 7)}})});
        std::vector<ObjectId> ids = m_objects.CreateMessages(messages);
        m_kept = ids.back();
        ids.pop_back();
        m_objects.RemoveMessages(ids);
        WriteBack();
    }
    // All of the log into the file.
    void WriteBack() const
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(
            sqlite3_exec(handle, "SELECT * FROM site; PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr),
            SQLITE_OK);
        sqlite3_close(handle);
        EXPECT_EQ(FileSize("-wal"), 0u);
    }
    std::uintmax_t FileSize(const char *suffix = "") const
    {
        std::error_code none;
        const auto size = fs::file_size(PathOf(m_site.Path() + suffix), none);
        return none ? 0 : size;
    }
    void CopyTo(const std::string &to, bool withLog) const
    {
        fs::copy_file(PathOf(m_site.Path()), PathOf(to));
        if (withLog)
            fs::copy_file(PathOf(m_site.Path() + "-wal"), PathOf(to + "-wal"));
    }

    ObjectId m_kept = 0;
};

TEST_F(Compacts, AFileGivesBackWhatIsFreeInItWhileOthersHaveItOpen)
{
    FillAndEmpty();
    const Site other = Site::Open(m_site.Path());
    const View view(other, Inbox());
    EXPECT_EQ(view.Count(), 1u);
    const Compacted done = Compact(m_site, {});
    EXPECT_TRUE(done.isDone);
    EXPECT_GT(done.before, 6000000);
    EXPECT_LT(done.after, 1000000);
    EXPECT_EQ(static_cast<std::int64_t>(FileSize()), done.after);
    EXPECT_EQ(FileSize("-wal"), 0u);
    EXPECT_EQ(SizesOfFile(m_site).free, 0);
    EXPECT_EQ(SubjectsIn(view), (std::vector<std::string>{"59"}));
    EXPECT_EQ(Objects(other).Read(m_kept).Find(kAttachData) != nullptr, true);
    Objects(other).CreateMessage(m_box.inbox, MakeMessage("after"));
    EXPECT_EQ(view.Count(), 2u);
    ExpectSound();
    const Compacted again = Compact(m_site, std::chrono::seconds(20));
    EXPECT_LE(again.after, again.before);
}

TEST_F(Compacts, WhoReadsMeanwhileReadsOnAndTheFileShrinksOnceHeLetsGo)
{
    FillAndEmpty();
    sqlite3 *reader = nullptr;
    ASSERT_EQ(sqlite3_open_v2(m_site.Path().c_str(), &reader, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    const char *count = "SELECT count(*) FROM object WHERE kind = 3";
    const auto counted = [&] {
        std::string all;
        sqlite3_exec(
            reader, count,
            [](void *into, int, char **values, char **) {
                *static_cast<std::string *>(into) += values[0];
                return 0;
            },
            &all, nullptr);
        return all;
    };
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(counted(), "1");
    const Compacted done = Compact(m_site, {});
    EXPECT_FALSE(done.isDone);
    Add("after");
    EXPECT_EQ(counted(), "1") << "as of when he began";
    EXPECT_GT(FileSize(), 6000000u);
    // The whole log, none of it in the file yet, is known to be this file's.
    CopyTo(m_folder.File("copy.db"), true);
    const Site copy = Site::Open(m_folder.File("copy.db"));
    EXPECT_EQ(View(copy, Inbox()).Count(), 2u);
    EXPECT_TRUE(Check(copy, false).empty());
    EXPECT_EQ(sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(counted(), "2");
    sqlite3_close(reader);
    EXPECT_TRUE(Compact(m_site, {}).isDone);
    EXPECT_LT(FileSize(), 1000000u);
    ExpectSound();
}

TEST_F(Compacts, NobodyWhoWatchesIsToldOfAChange)
{
    FillAndEmpty();
    Watch watch(View(m_site, Inbox()));
    Compact(m_site, {});
    EXPECT_TRUE(watch.Next({kSubject}).empty());
    const ObjectId id = Add("new");
    const std::vector<Notice> notices = watch.Next({kSubject});
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices.front().row.id, id);
}

TEST_F(Compacts, AFormerCopyDoesNotTakeTheLogThatCameAfter)
{
    FillAndEmpty();
    Add("before");
    WriteBack();
    const std::string former = m_folder.File("former.db");
    CopyTo(former, false);
    Compact(m_site, {});
    Add("after");
    fs::copy_file(PathOf(m_site.Path() + "-wal"), PathOf(former + "-wal"));
    EXPECT_EQ(FaultOf([&] { Site::Open(former); }), Fault::ForeignLog);
    EXPECT_NO_THROW(Site::Open(m_site.Path()));
}

// Where nobody has written to the copy before, nothing in it names the places that its pages have there.
TEST_F(Compacts, ACopyThatNobodyHasWrittenToKnowsTheLog)
{
    FillAndEmpty();
    Backup(m_site, m_folder.File("copy.db"));
    const Site copy = Site::Open(m_folder.File("copy.db"));
    sqlite3 *reader = nullptr; // so that the log stays
    ASSERT_EQ(sqlite3_open_v2(copy.Path().c_str(), &reader, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM site", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_FALSE(Compact(copy, {}).isDone);
    EXPECT_EQ(SubjectsIn(View(Site::Open(copy.Path()), Inbox())), (std::vector<std::string>{"59"}));
    sqlite3_close(reader);
}

TEST_F(Compacts, WhatTakesTooLongOrIsStoppedLeavesTheFileAsItWas)
{
    std::vector<NewMessage> messages;
    for (int i = 0; i < 5000; ++i)
        messages.push_back({m_box.inbox, MakeMessage(std::to_string(i), {{kBody, std::string(500, 'b')}})});
    m_objects.CreateMessages(messages);
    const ChangeNumber change = m_site.GetChangeNumber();
    EXPECT_EQ(FaultOf([&] { Compact(m_site, std::chrono::seconds(0)); }), Fault::Busy);
    int asked = 0;
    EXPECT_EQ(FaultOf([&] { Compact(m_site, {}, [&](std::chrono::seconds) { return ++asked < 2; }); }), Fault::Failed);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(m_site.GetChangeNumber(), change);
    EXPECT_EQ(View(m_site, Inbox()).Count(), 5000u);
    ExpectSound();
    Compact(m_site, {});
    EXPECT_EQ(View(m_site, Inbox()).Count(), 5000u);
}

} // namespace

} // namespace localmapi::storage
