// Proves how files of older versions become ones of this: all of them, with a copy of what they were.
// --make-older FILE VERSION makes of a site's file one of a former version instead.
#include "Fixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Schema.h"
#include <cstdlib>
#include <cstring>
#include <thread>

namespace localmapi::storage
{

namespace
{

class UpgradeTest : public SiteTest
{
  protected:
    // "old.db", of the version, with a message.
    std::string MakeOld(std::int64_t version)
    {
        Add("kept", {{kBody, std::string(20000, 'b')}});
        const std::string old = m_folder.File("old.db");
        std::filesystem::remove(PathOf(old));
        Backup(m_site, old);
        MakeOlder(old, version);
        return old;
    }
    static std::int64_t VersionOf(const std::string &file)
    {
        return Connection(file, SQLITE_OPEN_READONLY, 0).Integer("PRAGMA user_version");
    }
    static void ExpectWhole(const Site &site)
    {
        EXPECT_TRUE(Check(site, false).empty());
        const User user = *Directory(site).UserByAlias("alice");
        const View view(site, {Container::Kind::Contents, Directory(site).GetMailbox(user.mailbox).inbox});
        EXPECT_GE(view.Count(), 1u);
    }
};

TEST_F(UpgradeTest, EveryFormerVersionIsUpgradedAndKept)
{
    for (std::int64_t version = 1; version < kSchemaVersion; ++version) {
        const std::string old = MakeOld(version);
        const std::string copy = old + ".format-" + std::to_string(version);
        {
            const Site site = Site::Open(old);
            ASSERT_TRUE(site.UpgradedFrom()) << version;
            EXPECT_EQ(site.UpgradedFrom()->version, version);
            EXPECT_EQ(site.UpgradedFrom()->copy, copy);
            ExpectWhole(site);
        }
        EXPECT_EQ(VersionOf(old), kSchemaVersion);
        EXPECT_EQ(VersionOf(copy), version) << "as programs of that version know it";
        EXPECT_FALSE(Site::Open(old).UpgradedFrom()) << "once";
        ExpectWhole(Site::Open(copy, {.keepsOldCopy = false}));
    }
}

TEST_F(UpgradeTest, ACopyThatIsThereIsLeftAlone)
{
    const std::string old = MakeOld(kSchemaVersion - 1);
    const std::string copy = old + ".format-" + std::to_string(kSchemaVersion - 1);
    Connection(copy, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0).Execute("CREATE TABLE mine (one)");
    EXPECT_EQ(Site::Open(old).UpgradedFrom()->copy, copy + "-2");
    EXPECT_EQ(Connection(copy, SQLITE_OPEN_READONLY, 0).Integer("SELECT count(*) FROM mine"), 0);
}

TEST_F(UpgradeTest, NoneIsKeptWhereNoneIsWanted)
{
    const std::string old = MakeOld(kSchemaVersion - 1);
    EXPECT_EQ(Site::Open(old, {.keepsOldCopy = false}).UpgradedFrom()->copy, "");
    EXPECT_FALSE(std::filesystem::exists(PathOf(old + ".format-" + std::to_string(kSchemaVersion - 1))));
}

TEST_F(UpgradeTest, ManyWhoOpenItAtOnceKeepOneCopy)
{
    const std::string old = MakeOld(kSchemaVersion - 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { ExpectWhole(Site::Open(old)); });
    for (std::thread &thread : threads)
        thread.join();
    int copies = 0;
    for (const auto &file : std::filesystem::directory_iterator(PathOf(old).parent_path()))
        copies += Utf8(file.path()).find(".format-") != std::string::npos;
    EXPECT_EQ(copies, 1);
}

TEST_F(UpgradeTest, WhatOthersWriteWhileItIsCopiedIsInTheCopy)
{
    const std::string old = MakeOld(kSchemaVersion - 1);
    Connection other(old, SQLITE_OPEN_READWRITE, 30000);
    int writes = 0;
    OpenOptions options;
    options.copying = [&](std::uint64_t, std::uint64_t) {
        if (writes < 2) {
            other.Execute("UPDATE site SET change = change + 1");
            ++writes;
        }
    };
    // More pages than are copied in one step.
    other.Execute("CREATE TABLE large (data); INSERT INTO large VALUES (zeroblob(20000000))");
    const std::int64_t before = other.Integer("SELECT change FROM site");
    const auto former = Site::Open(old, options).UpgradedFrom();
    ASSERT_TRUE(former);
    EXPECT_GT(writes, 0);
    EXPECT_EQ(Connection(former->copy, SQLITE_OPEN_READONLY, 0).Integer("SELECT change FROM site"), before + writes);
}

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--make-older") == 0) {
        const int version = std::atoi(argv[3]);
        if (version < 1 || version >= localmapi::storage::kSchemaVersion)
            return 2;
        localmapi::storage::MakeOlder(argv[2], version);
        return 0;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
