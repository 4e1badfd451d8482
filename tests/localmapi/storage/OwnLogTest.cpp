// Proves that a log which was not written to the file beside it is refused before anything is read or written, that
// both stay as they are, and that a file's own log is always let pass.
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <string>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

class OwnLogTest : public SiteTest
{
  protected:
    std::string File(const std::string &name) const { return m_folder.File(name); }
    std::string Content(const std::string &name) const
    {
        std::ifstream file(PathOf(File(name)), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // The files as they are, while they are open: what is left where all who have them open are killed.
    void Copy(const std::string &from, const std::string &to) const
    {
        fs::remove(PathOf(File(to)));
        fs::copy_file(PathOf(File(from)), PathOf(File(to)));
    }
    static void Execute(const std::string &file, const std::string &sql)
    {
        sqlite3 *handle = nullptr;
        EXPECT_EQ(sqlite3_open(file.c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        sqlite3_close(handle);
    }
    // Everything that the log holds is in the file afterwards, and the log is written from its beginning again.
    static void WriteBack(const Site &site) { Execute(site.Path(), "PRAGMA wal_checkpoint(TRUNCATE)"); }
    // "old.db": the site as it is in its file, as a program wrote it that knew no marks.
    void MakeOldCopy() const
    {
        Copy("site.db", "old.db");
        MakeOlder(File("old.db"), 2);
        Execute(File("old.db"), "PRAGMA wal_checkpoint(TRUNCATE)");
    }
    std::size_t MessagesIn(const std::string &name) const
    {
        const Site site = Site::Open(File(name));
        EXPECT_THAT(Check(site, false), testing::IsEmpty());
        const User user = *Directory(site).UserByAlias("alice");
        return View(site, {Container::Kind::Contents, Directory(site).GetMailbox(user.mailbox).inbox}, {}, {}).Count();
    }
    // A log beside another file is refused, for reading too, and nothing is changed.
    void ExpectForeign(const std::string &file, const std::string &logFile = "site.db-wal")
    {
        Copy(file, "restored.db");
        Copy(logFile, "restored.db-wal");
        const std::string before = Content("restored.db"), log = Content("restored.db-wal");
        for (const bool readOnly : {false, true})
            try {
                Site::Open(File("restored.db"), {.readOnly = readOnly});
                ADD_FAILURE() << "it was played back";
            } catch (const Error &error) {
                EXPECT_EQ(error.GetFault(), Fault::ForeignLog);
                EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr("restored.db-wal' was not written to '"),
                                                         testing::HasSubstr("or move '")));
            }
        EXPECT_EQ(Content("restored.db"), before);
        EXPECT_EQ(Content("restored.db-wal"), log);
        // The remedy.
        fs::remove(PathOf(File("restored.db-wal")));
        fs::remove(PathOf(File("restored.db-shm")));
        EXPECT_EQ(FaultOf([&] { Site::Open(File("restored.db")); }), std::nullopt);
        fs::remove(PathOf(File("restored.db")));
    }
    void ExpectOwn(std::size_t messages)
    {
        Copy("site.db", "killed.db");
        Copy("site.db-wal", "killed.db-wal");
        EXPECT_EQ(MessagesIn("killed.db"), messages);
        fs::remove(PathOf(File("killed.db")));
    }
};

TEST_F(OwnLogTest, AFilesOwnLogIsPlayedBackWhereverItStands)
{
    Add("1");
    ExpectOwn(1);
    WriteBack(m_site);
    Add("2");
    Add("3");
    ExpectOwn(3);
    {
        // Written back in part: a reader holds on to what was before.
        const Reader reader(m_site.GetDatabase());
        reader->Integer("SELECT count(*) FROM object");
        Add("4");
        Execute(File("site.db"), "PRAGMA wal_checkpoint(PASSIVE)");
        Add("5");
        ExpectOwn(5);
    }
    // Written back whole, and not begun again.
    Execute(File("site.db"), "PRAGMA wal_checkpoint(PASSIVE)");
    ExpectOwn(5);
    Add("6");
    ExpectOwn(6);
}

TEST_F(OwnLogTest, AFilesOwnLogIsPlayedBackWhereItWasPackedByOthers)
{
    Add("1");
    Execute(File("site.db"), "VACUUM");
    ExpectOwn(1);
    Execute(File("site.db"), "PRAGMA wal_checkpoint(PASSIVE)");
    ExpectOwn(1);
    Add("2");
    ExpectOwn(2);
    WriteBack(m_site);
    Add("3");
    ExpectOwn(3);
}

// What such a program writes, that had the file open when it was upgraded.
TEST_F(OwnLogTest, AFilesOwnLogIsPlayedBackWhereAnOlderProgramWroteItToo)
{
    Add("1");
    const auto writeAsBefore = [&] { Execute(File("site.db"), "UPDATE site SET change = change + 1"); };
    writeAsBefore();
    ExpectOwn(1);
    WriteBack(m_site);
    writeAsBefore();
    writeAsBefore();
    ExpectOwn(1);
    Add("2");
    ExpectOwn(2);
    Execute(File("site.db"), "PRAGMA wal_checkpoint(PASSIVE)");
    writeAsBefore();
    ExpectOwn(2);
}

TEST_F(OwnLogTest, ATornLogEndsWhereItsSumsEnd)
{
    Add("1");
    WriteBack(m_site);
    Add("2");
    const auto whole = static_cast<std::size_t>(fs::file_size(PathOf(File("site.db-wal"))));
    Add("3");
    const std::string log = Content("site.db-wal");
    for (const std::size_t size : {std::size_t{0}, std::size_t{31}, std::size_t{32}, std::size_t{40}, std::size_t{8000},
                                   whole - 1, whole, whole + 8215, log.size() - 1})
        for (const bool changed : {false, true}) {
            SCOPED_TRACE(std::to_string(size) + (changed ? " and what was there before" : ""));
            Copy("site.db", "killed.db");
            std::string torn = log.substr(0, size);
            if (changed)
                torn.resize(log.size(), '\x0D');
            std::ofstream(PathOf(File("killed.db-wal")), std::ios::binary) << torn;
            EXPECT_EQ(MessagesIn("killed.db"), size < whole ? 1U : 2U);
            fs::remove(PathOf(File("killed.db")));
        }
}

// What SQLite does not play back says nothing about whose it is.
TEST_F(OwnLogTest, AMarkThatIsDamagedInTheLogIsPassedOver)
{
    Add("1");
    WriteBack(m_site);
    Add("2");
    const std::string log = Content("site.db-wal");
    const std::string server = "NORVIK1";
    const std::size_t row = log.find(server);
    ASSERT_NE(row, log.npos);
    EXPECT_EQ(log.find(server, row + 1), log.npos);
    for (std::size_t at = row - 16; at < row + 64; ++at) {
        Copy("site.db", "killed.db");
        std::string damaged = log;
        damaged[at] = static_cast<char>(~damaged[at]);
        std::ofstream(PathOf(File("killed.db-wal")), std::ios::binary) << damaged;
        EXPECT_EQ(MessagesIn("killed.db"), 1U) << at - row;
        fs::remove(PathOf(File("killed.db")));
    }
}

TEST_F(OwnLogTest, AnOlderCopyIsRefused)
{
    Add("1");
    WriteBack(m_site);
    Copy("site.db", "copy.db");
    Add("2");
    WriteBack(m_site);
    Add("3");
    ExpectForeign("copy.db");
    ExpectOwn(3);
}

TEST_F(OwnLogTest, ANewerCopyIsRefused)
{
    Add("1");
    Copy("site.db-wal", "old.log");
    Add("2");
    WriteBack(m_site);
    Copy("site.db", "newer.db");
    ExpectForeign("newer.db", "old.log");
}

TEST_F(OwnLogTest, ACopyThatWentAnotherWayIsRefused)
{
    Add("1");
    WriteBack(m_site);
    Copy("site.db", "copy.db");
    {
        // As many changes as here, and one more.
        const Site copy = Site::Open(File("copy.db"));
        for (const char *subject : {"there", "too"})
            Objects(copy).CreateMessage(m_box.inbox, MakeMessage(subject));
    }
    Add("2");
    ExpectForeign("copy.db");
    Add("3");
    ExpectForeign("copy.db");
    Add("4");
    ExpectForeign("copy.db");
}

TEST_F(OwnLogTest, AnotherSiteIsRefused)
{
    Add("1");
    Site::Create(File("other.db"), "OTHER", "Norvik");
    ExpectForeign("other.db");
}

TEST_F(OwnLogTest, LogsOfOtherDatabasesAreRefused)
{
    for (const char *pageSize : {"8192", "4096", "65536"}) {
        SCOPED_TRACE(pageSize);
        const std::string other = File("other.db");
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(other.c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle,
                               ("PRAGMA page_size = " + std::string(pageSize) +
                                "; PRAGMA journal_mode = WAL; CREATE TABLE t (x); INSERT INTO t VALUES (1)")
                                   .c_str(),
                               nullptr, nullptr, nullptr),
                  SQLITE_OK);
        Copy("other.db-wal", "other.log");
        sqlite3_close(handle);
        Add("1");
        WriteBack(m_site);
        ExpectForeign("site.db", "other.log");
        fs::remove(PathOf(other));
    }
}

TEST_F(OwnLogTest, ACopyFromBeforeThereWereMarksIsRefused)
{
    Add("1");
    WriteBack(m_site);
    MakeOldCopy();
    Add("2");
    ExpectForeign("old.db");
}

TEST_F(OwnLogTest, TheLogOfAnUpgradeIsTheFilesOwn)
{
    Add("1");
    WriteBack(m_site);
    MakeOldCopy();
    const Site upgraded = Site::Open(File("old.db"));
    for (const bool andWritten : {false, true}) {
        if (andWritten)
            Objects(upgraded).CreateMessage(m_box.inbox, MakeMessage("2"));
        Copy("old.db", "killed.db");
        Copy("old.db-wal", "killed.db-wal");
        EXPECT_EQ(MessagesIn("killed.db"), andWritten ? 2U : 1U);
        fs::remove(PathOf(File("killed.db")));
    }
}

TEST_F(OwnLogTest, AFilesOwnLogIsPlayedBackWhereOthersHaveChangedTheSchema)
{
    Add("1");
    WriteBack(m_site);
    Execute(File("site.db"), "CREATE INDEX theirs ON object (modified)");
    ExpectOwn(1);
    Execute(File("site.db"), "ANALYZE");
    ExpectOwn(1);
    Add("2");
    ExpectOwn(2);
    Execute(File("site.db"), "PRAGMA wal_checkpoint(PASSIVE)");
    Add("3");
    ExpectOwn(3);
}

// What is no site is left alone with the log beside it: SQLite would play that back, or delete it.
TEST_F(OwnLogTest, WhatIsNoSiteIsNotTouchedAndNorIsTheLog)
{
    Add("1");
    Execute(File("theirs.db"), "PRAGMA page_size = 8192; CREATE TABLE t (x)");
    std::ofstream(PathOf(File("empty.db"))) << "";
    for (const char *file : {"theirs.db", "empty.db"}) {
        Copy(file, "restored.db");
        Copy("site.db-wal", "restored.db-wal");
        const std::string before = Content("restored.db"), log = Content("restored.db-wal");
        EXPECT_EQ(FaultOf([&] { Site::Open(File("restored.db")); }), Fault::NotASite) << file;
        EXPECT_EQ(Content("restored.db"), before);
        EXPECT_EQ(Content("restored.db-wal"), log);
    }
}

TEST_F(OwnLogTest, APackedCopyIsRefusedAlsoWhereNothingWasWrittenSince)
{
    Add("1");
    WriteBack(m_site);
    Add("2");
    Execute(File("site.db"), "VACUUM INTO '" + File("packed.db") + "'");
    ExpectForeign("packed.db");
    Add("3");
    ExpectForeign("packed.db");
    EXPECT_EQ(MessagesIn("packed.db"), 2U);
}

} // namespace

} // namespace localmapi::storage
