// Proves that a site and what lies beside it are their owner's alone whatever the umask says, that a group gets in
// where it is let in, and that files keep the mode that they have.
#include "Fixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Rights.h"
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace localmapi::storage
{

namespace
{

mode_t ModeOf(const std::string &path)
{
    struct stat status;
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class WithUmask
{
  public:
    explicit WithUmask(mode_t mask) : m_before(umask(mask)) {}
    ~WithUmask() { umask(m_before); }
    WithUmask(const WithUmask &) = delete;
    WithUmask &operator=(const WithUmask &) = delete;

  private:
    const mode_t m_before;
};

struct Rights : testing::Test {
    Folder folder;
    std::string path = folder.File("site.db");
};

TEST_F(Rights, ASiteItsLogAndItsCopiesAreTheOwnersAloneWhateverTheUmask)
{
    for (const mode_t mask : {0, 022, 0277}) {
        SCOPED_TRACE(mask);
        const WithUmask masked(mask);
        {
            const Site site = Site::Create(path, "S", "O");
            Directory(site).AddUser("alice", "Alice");
            for (const char *suffix : {"", "-wal", "-shm"})
                EXPECT_EQ(ModeOf(path + suffix), 0600U) << suffix;
            EXPECT_FALSE(MayEverybodyRead(path));
            Backup(site, folder.File("copy.db"));
        }
        EXPECT_EQ(ModeOf(folder.File("copy.db")), 0600U);
        std::filesystem::remove(path);
        Restore(folder.File("copy.db"), path);
        EXPECT_EQ(ModeOf(path), 0600U);
        std::filesystem::remove(path);
        std::filesystem::remove(folder.File("copy.db"));
    }
}

TEST_F(Rights, FoldersThatAreMadeAreTheOwnersAloneAndThoseThatAreThereStay)
{
    const WithUmask masked(0277);
    const std::string there = folder.File("there");
    ASSERT_EQ(mkdir(there.c_str(), 0700), 0);
    ASSERT_EQ(chmod(there.c_str(), 0755), 0);
    EXPECT_FALSE(MakePrivateFolders(there));
    EXPECT_EQ(ModeOf(there), 0755U);
    EXPECT_TRUE(MakePrivateFolders(there + "/a/b"));
    EXPECT_EQ(ModeOf(there + "/a"), 0700U);
    EXPECT_EQ(ModeOf(there + "/a/b"), 0700U);
    EXPECT_FALSE(MakePrivateFolders(there + "/a/b"));
    EXPECT_EQ(FaultOf([&] { MakePrivateFolders("/proc/none/of/these"); }), Fault::NoAccess);
}

TEST_F(Rights, ASiteKeepsTheModeThatItHas)
{
    Site::Create(path, "S", "O");
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    const Site site = Site::Open(path);
    Directory(site).AddUser("alice", "Alice");
    EXPECT_EQ(ModeOf(path), 0644U);
    EXPECT_EQ(ModeOf(path + "-wal"), 0644U);
    EXPECT_TRUE(MayEverybodyRead(path));
}

TEST_F(Rights, AGroupThatIsAdmittedReadsAndWritesFilesAndFolders)
{
    const group *own = getgrgid(getegid());
    ASSERT_NE(own, nullptr);
    const Group group(own->gr_name);
    const std::string inside = folder.File("inside");
    ASSERT_TRUE(MakePrivateFolders(inside));
    EXPECT_FALSE(group.MayWriteIn(inside));
    group.Admit(inside);
    EXPECT_TRUE(group.MayWriteIn(inside));
    EXPECT_EQ(ModeOf(inside), 02770U);
    Site::Create(inside + "/site.db", "S", "O");
    group.Admit(inside + "/site.db");
    EXPECT_EQ(ModeOf(inside + "/site.db"), 0660U);
    const Site site = Site::Open(inside + "/site.db");
    Directory(site).AddUser("alice", "Alice");
    EXPECT_EQ(ModeOf(inside + "/site.db-wal"), 0660U);
    EXPECT_FALSE(MayEverybodyRead(inside + "/site.db"));
}

TEST_F(Rights, AGroupThatIsNotThereIsSaidToBe)
{
    EXPECT_EQ(FaultOf([] { Group("no such group, I hope"); }), Fault::NotFound);
}

TEST_F(Rights, APrivateFileIsNew)
{
    MakePrivateFile(path);
    EXPECT_EQ(ModeOf(path), 0600U);
    EXPECT_EQ(FaultOf([&] { MakePrivateFile(path); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { MakePrivateFile(folder.File("no/such/folder")); }), Fault::NoAccess);
}

} // namespace

} // namespace localmapi::storage
