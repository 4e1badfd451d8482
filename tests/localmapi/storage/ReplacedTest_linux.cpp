// Proves that a site whose path comes to name another file, or none, says so before anything is acknowledged, and
// leaves alone what is there now. On Windows the system sees to it.
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Reserve.h"
#include "localmapi/storage/Sizes.h"
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

class ReplacedTest : public SiteTest
{
  protected:
    std::string File(const std::string &name) const { return m_folder.File(name); }
    // The site's files, those of its log included, under another name.
    void Rename(const std::string &from, const std::string &to) const
    {
        for (const char *suffix : {"", "-wal", "-shm"})
            if (fs::exists(File(from + suffix)))
                fs::rename(File(from + suffix), File(to + suffix));
    }
    void ExpectReplaced(const std::function<void()> &work)
    {
        try {
            work();
            ADD_FAILURE() << "it was not noticed";
        } catch (const Error &error) {
            EXPECT_EQ(error.GetFault(), Fault::Replaced);
            EXPECT_THAT(error.what(), testing::HasSubstr("'" + File("site.db") + "' was replaced, moved or deleted"));
        }
    }
    std::size_t MessagesIn(const std::string &name) const
    {
        const Site site = Site::Open(File(name));
        const User user = *Directory(site).UserByAlias("alice");
        return View(site, {Container::Kind::Contents, Directory(site).GetMailbox(user.mailbox).inbox}, {}, {}).Count();
    }
};

TEST_F(ReplacedTest, NothingIsReadOrWrittenAnyMoreWhereItWasDeletedReplacedOrMoved)
{
    Add("before");
    Site::Create(File("other.db"), "OTHER", "Norvik");
    const std::function<void()> ways[] = {
        [&] { fs::remove(File("site.db")); },
        [&] { fs::rename(File("other.db"), File("site.db")); },
        [&] { fs::rename(File("site.db"), File("elsewhere.db")); },
    };
    fs::create_hard_link(File("site.db"), File("kept.db"));
    for (const auto &way : ways) {
        way();
        EXPECT_FALSE(m_site.IsInPlace());
        ExpectReplaced([&] { Add("after"); });
        ExpectReplaced([&] { m_site.Info(); });
        // Back where it was, it is what it was.
        fs::remove(File("site.db"));
        fs::create_hard_link(File("kept.db"), File("site.db"));
        EXPECT_TRUE(m_site.IsInPlace());
        EXPECT_EQ(m_site.Info().server, "NORVIK1");
    }
    Add("after");
    EXPECT_EQ(m_site.Info().server, "NORVIK1");
}

// What is written back to the file has to fit behind it, however it is named.
TEST_F(ReplacedTest, AFileThatALinkNamesNeedsNoMoreRoomThanItself)
{
    Add("large", {{kAttachData, Bytes(5 << 20)}});
    Connection(File("site.db"), SQLITE_OPEN_READWRITE, 1000).Execute("PRAGMA wal_checkpoint");
    const std::string link = File("link.db");
    std::filesystem::create_symlink("site.db", link);
    const Site linked = Site::Open(link);
    Reserve::Ask([](const std::string &) { return std::optional(std::uint64_t{1} << 20); });
    EXPECT_EQ(FaultOf([&] {
                  Objects(linked).CreateMessage(m_box.inbox, MakeMessage("m", {{kBody, std::string(100000, 'b')}}));
              }),
              std::nullopt);
    Reserve::Ask(nullptr);
}

TEST_F(ReplacedTest, WhatIsSetAsideLiesBesideTheFileAndNotBesideALink)
{
    m_site = Site::Create(File("other.db"), "OTHER", "Norvik");
    fs::remove(File("site.db-reserve"));
    fs::create_directory(File("elsewhere"));
    fs::create_symlink("../site.db", File("elsewhere/link.db"));
    const Site linked = Site::Open(File("elsewhere/link.db"));
    EXPECT_TRUE(fs::exists(File("site.db-reserve")));
    EXPECT_FALSE(fs::exists(File("elsewhere/link.db-reserve")));
    Objects(linked).CreateMessage(m_box.inbox, MakeMessage("m"));
    const FileSizes sizes = SizesOfFile(linked);
    EXPECT_EQ(sizes.reserve, std::int64_t{Reserve::kSize});
    EXPECT_EQ(static_cast<std::uintmax_t>(sizes.log), fs::file_size(File("site.db-wal")));
    EXPECT_GT(sizes.log, 0);
}

TEST_F(ReplacedTest, ALinkThatNamesAnotherFileIsNoticed)
{
    Site::Create(File("other.db"), "OTHER", "Norvik");
    fs::create_symlink("site.db", File("link.db"));
    const Site site = Site::Open(File("link.db"));
    EXPECT_EQ(site.Info().server, "NORVIK1");
    fs::remove(File("link.db"));
    fs::create_symlink("other.db", File("link.db"));
    EXPECT_EQ(FaultOf([&] { site.Info(); }), Fault::Replaced);
    EXPECT_EQ(Site::Open(File("link.db")).Info().server, "OTHER");
}

TEST_F(ReplacedTest, ACommitIntoAFileWithoutItsNameIsNotAcknowledged)
{
    Writer writer(m_site.GetDatabase());
    Rename("site.db", "elsewhere.db");
    ExpectReplaced([&] { writer.Commit(); });
}

// Those whose connections are all in use open another one, by the path.
TEST_F(ReplacedTest, ConnectionsToTwoFilesAreNeverMixed)
{
    const Reader reader(m_site.GetDatabase());
    Rename("site.db", "elsewhere.db");
    Site::Create(File("site.db"), "OTHER", "Norvik");
    ExpectReplaced([&] { m_site.Info(); });
    EXPECT_EQ(Site::Open(File("site.db")).Info().server, "OTHER");
}

// The log is written back and deleted by name.
TEST_F(ReplacedTest, ClosingAFileLeavesTheLogOfTheOneThatHasItsNameNow)
{
    std::optional<Site> old(Site::Open(File("site.db")));
    std::optional<Reader> reading(std::in_place, old->GetDatabase());
    Add("in the old one");
    Rename("site.db", "elsewhere.db");
    const Site now = Site::Create(File("site.db"), "NORVIK1", "Norvik");
    const User alice = Directory(now).AddUser("alice", "Alice Archer");
    Objects(now).CreateMessage(Directory(now).GetMailbox(alice.mailbox).inbox, MakeMessage("in the new one"));
    ASSERT_GT(fs::file_size(File("site.db-wal")), 0U);

    reading.reset();
    old.reset();
    m_objects = Objects(now);
    m_site = now;
    ASSERT_TRUE(fs::exists(File("site.db-wal")));
    // What a process that is killed at this moment leaves.
    for (const char *suffix : {"", "-wal"})
        fs::copy_file(File(std::string("site.db") + suffix), File(std::string("copy.db") + suffix));
    EXPECT_EQ(MessagesIn("copy.db"), 1U);
    EXPECT_EQ(MessagesIn("elsewhere.db"), 1U);
}

} // namespace

} // namespace localmapi::storage
