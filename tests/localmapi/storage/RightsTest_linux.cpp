// Proves that a site and what lies beside it are their owner's alone whatever the umask says, that a group gets in
// where it is let in, and that files keep the mode that they have.
#include "Fixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Rights.h"
#include <csignal>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
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
            for (const char *suffix : {"", "-wal", "-shm", "-reserve"})
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

// Another account, in a process of its own; begun while no site is open here.
class As
{
  public:
    As(uid_t account, const std::function<bool()> &work) : m_process(fork())
    {
        if (m_process != 0)
            return;
        int status = 2;
        try {
            if (setgroups(0, nullptr) == 0 && setgid(account) == 0 && setuid(account) == 0)
                status = work() ? 0 : 1;
        } catch (const std::exception &error) {
            std::fprintf(stderr, "as %u: %s\n", static_cast<unsigned>(account), error.what());
        }
        _exit(status);
    }
    As(const As &) = delete;
    As &operator=(const As &) = delete;
    bool Succeeds() const
    {
        int status = 0;
        return waitpid(m_process, &status, 0) == m_process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    void Kill() const
    {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }

  private:
    const pid_t m_process;
};

Subjects UsersOf(const Site &site)
{
    Subjects aliases;
    for (const User &user : Directory(site).Users())
        aliases.push_back(user.alias);
    return aliases;
}

Site OpenToRead(const std::string &path)
{
    OpenOptions options;
    options.readOnly = true;
    return Site::Open(path, options);
}

struct Readers : Rights {
    Readers() { Directory(Site::Create(path, "S", "O")).AddUser("alice", "Alice"); }
    // But for the reserve, which its owner has made.
    Subjects Files() const
    {
        Subjects names;
        for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()))
            if (const std::string name = entry.path().filename().string(); !name.ends_with("-reserve"))
                names.push_back(name);
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(Readers, OfASiteThatIsNotToBeWrittenLeaveNothingBesideIt)
{
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    {
        const Site site = OpenToRead(path);
        EXPECT_EQ(UsersOf(site), Subjects{"alice"});
        EXPECT_THAT(Check(site, false), testing::IsEmpty());
        EXPECT_EQ(Files(), Subjects{"site.db"});
    }
    EXPECT_EQ(Files(), Subjects{"site.db"});
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_NO_THROW(Directory(Site::Open(path)).AddUser("bob", "Bob"));
}

TEST_F(Readers, OfAnotherAccountAreNotInTheOwnersWay)
{
    constexpr uid_t kOwner = 1234, kReader = 4321;
    if (geteuid() != 0)
        GTEST_SKIP() << "only an administrator can be others";
    ASSERT_EQ(chmod(std::filesystem::path(path).parent_path().c_str(), 0777), 0);
    ASSERT_EQ(chown(path.c_str(), kOwner, kOwner), 0);
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    const auto reads = [&](const Subjects &wanted) {
        return As(kReader, [&] { return UsersOf(OpenToRead(path)) == wanted; }).Succeeds();
    };
    // Nobody has it open.
    EXPECT_TRUE(reads({"alice"}));
    EXPECT_TRUE(As(kReader, [&] { return FaultOf([&] { Site::Open(path); }) == Fault::NoAccess; }).Succeeds());
    EXPECT_EQ(Files(), Subjects{"site.db"});
    EXPECT_TRUE(
        As(kOwner, [&] { return !Directory(Site::Open(path)).AddUser("bob", "Bob").alias.empty(); }).Succeeds());

    // Its owner writes, before and after the reader came, and is killed.
    int written[2], read[2];
    ASSERT_EQ(pipe(written) | pipe(read), 0);
    char byte = 0;
    const As owner(kOwner, [&] {
        const Site site = Site::Open(path);
        Directory(site).AddUser("carol", "Carol");
        bool ok = write(written[1], &byte, 1) == 1 && ::read(read[0], &byte, 1) == 1;
        Directory(site).AddUser("dave", "Dave");
        ok = ok && write(written[1], &byte, 1) == 1;
        pause();
        return ok;
    });
    ASSERT_EQ(::read(written[0], &byte, 1), 1);
    EXPECT_TRUE(As(kReader, [&] {
                    const Site site = OpenToRead(path);
                    return UsersOf(site) == Subjects{"alice", "bob", "carol"} && write(read[1], &byte, 1) == 1 &&
                           ::read(written[0], &byte, 1) == 1 &&
                           UsersOf(site) == Subjects{"alice", "bob", "carol", "dave"};
                }).Succeeds());
    owner.Kill();
    for (const int end : {written[0], written[1], read[0], read[1]})
        close(end);
    EXPECT_EQ(Files(), (Subjects{"site.db", "site.db-shm", "site.db-wal"}));
    EXPECT_TRUE(reads({"alice", "bob", "carol", "dave"}));
    // The log alone is for who may write.
    ASSERT_EQ(unlink((path + "-shm").c_str()), 0);
    EXPECT_TRUE(As(kReader, [&] { return FaultOf([&] { OpenToRead(path); }) == Fault::NoAccess; }).Succeeds());
    EXPECT_EQ(Files(), (Subjects{"site.db", "site.db-wal"}));
    EXPECT_TRUE(As(kOwner, [&] { return UsersOf(Site::Open(path)).size() == 4; }).Succeeds());
    // An administrator's files are the owner's.
    EXPECT_EQ(UsersOf(OpenToRead(path)).size(), 4u);
    EXPECT_TRUE(
        As(kOwner, [&] { return !Directory(Site::Open(path)).AddUser("eve", "Eve").alias.empty(); }).Succeeds());
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
