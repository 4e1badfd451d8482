// Proves that a site and what lies beside it are not for everybody, also in a folder that is, and that an account gets
// in where it is let in.
#include "Fixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Rights.h"

namespace localmapi::storage
{

namespace
{

struct Rights : testing::Test {
    Folder folder;
    std::string path = folder.File("site.db");
    const Group everybody{"Everyone"};
};

TEST_F(Rights, ASiteItsLogAndItsCopiesAreNotForEverybodyInAFolderThatIs)
{
    const std::string inside = folder.File("inside");
    MakePrivateFolders(inside);
    EXPECT_FALSE(everybody.MayWriteIn(inside));
    everybody.Admit(inside);
    EXPECT_TRUE(everybody.MayWriteIn(inside));
    const Site site = Site::Create(inside + "\\site.db", "S", "O");
    Directory(site).AddUser("alice", "Alice");
    for (const char *suffix : {"", "-wal", "-shm", "-reserve"})
        EXPECT_FALSE(MayEverybodyRead(site.Path() + suffix)) << suffix;
    Backup(site, inside + "\\copy.db");
    EXPECT_FALSE(MayEverybodyRead(inside + "\\copy.db"));
    everybody.Admit(site.Path());
    EXPECT_TRUE(MayEverybodyRead(site.Path()));
}

TEST_F(Rights, AnAccountThatIsNotThereIsSaidToBe)
{
    EXPECT_EQ(FaultOf([] { Group("no such account, I hope"); }), Fault::NotFound);
}

TEST_F(Rights, APrivateFileIsNew)
{
    MakePrivateFile(path);
    EXPECT_FALSE(MayEverybodyRead(path));
    EXPECT_EQ(FaultOf([&] { MakePrivateFile(path); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { MakePrivateFile(folder.File("no\\such\\folder")); }), Fault::NoAccess);
}

} // namespace

} // namespace localmapi::storage
