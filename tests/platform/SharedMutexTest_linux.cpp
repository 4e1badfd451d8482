// Proves that mutexes with global names are shared by processes that are given the same file, and how they fail.
#include "NewEvent.h"
#include "shared_names.h"
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{
std::string g_namesFile;
} // namespace

std::size_t PlatformSharedNamesFile(char *path, std::size_t size)
{
    if (g_namesFile.empty() || g_namesFile.size() >= size)
        return 0;
    std::strcpy(path, g_namesFile.c_str());
    return g_namesFile.size();
}

namespace
{

constexpr char kName[] = "Global\\shared";

class SharedMutex : public testing::Test
{
  protected:
    SharedMutex()
    {
        std::string folder = testing::TempDir() + "shared_mutex_XXXXXX";
        m_folder = mkdtemp(folder.data());
        std::filesystem::permissions(m_folder, std::filesystem::perms(0755));
        g_namesFile = m_folder / "names";
        std::ofstream(g_namesFile) << "";
    }
    ~SharedMutex() override
    {
        g_namesFile.clear();
        std::filesystem::remove_all(m_folder);
    }
    std::filesystem::path LockFile() const { return m_folder / "names-shared"; }
    static HANDLE Create(const char *name = kName) { return CreateMutexA(nullptr, FALSE, name); }

    std::filesystem::path m_folder;
};

// Another process, begun before this one has the mutex, that does as it is told.
class Process
{
  public:
    Process()
    {
        int tell[2], told[2];
        EXPECT_EQ(0, pipe(tell));
        EXPECT_EQ(0, pipe(told));
        m_process = fork();
        if (m_process == 0) {
            close(tell[1]);
            Obey(tell[0], told[1]);
        }
        close(tell[0]);
        close(told[1]);
        m_tell = tell[1];
        m_told = told[0];
    }
    ~Process() { End(); }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    bool Take() { return Ask('t'); }
    bool Release() { return Ask('r'); }
    // Ends at once, whatever it has.
    void End()
    {
        if (m_process <= 0)
            return;
        close(m_tell);
        close(m_told);
        int status = 0;
        EXPECT_EQ(m_process, waitpid(m_process, &status, 0));
        EXPECT_EQ(0, status);
        m_process = 0;
    }

  private:
    bool Ask(char what)
    {
        char answer = 0;
        EXPECT_EQ(1, write(m_tell, &what, 1));
        EXPECT_EQ(1, read(m_told, &answer, 1));
        return answer == 'y';
    }
    [[noreturn]] static void Obey(int from, int to)
    {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, kName);
        for (char what; read(from, &what, 1) == 1;) {
            const bool done = what == 't' ? WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0 : ReleaseMutex(mutex);
            if (write(to, done ? "y" : "n", 1) != 1)
                _exit(2);
        }
        _exit(0);
    }

    pid_t m_process;
    int m_tell, m_told;
};

TEST_F(SharedMutex, IsOneProcesssAtATime)
{
    Process other;
    const Handle mutex(Create());
    ASSERT_TRUE(other.Take());
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(mutex, 0));
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(mutex, 30));
    EXPECT_FALSE(ReleaseMutex(mutex));
    EXPECT_EQ(DWORD{ERROR_NOT_OWNER}, GetLastError());
    EXPECT_TRUE(other.Release());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, kBound));
    EXPECT_FALSE(other.Take());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(other.Take());
}

TEST_F(SharedMutex, IsWaitedForUntilItIsGivenBack)
{
    Process other;
    const Handle mutex(Create());
    ASSERT_TRUE(other.Take());
    DWORD bounded = WAIT_FAILED;
    std::thread waiter([&] {
        bounded = WaitForSingleObject(mutex, kBound);
        ReleaseMutex(mutex);
    });
    EXPECT_TRUE(other.Release());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, INFINITE));
    EXPECT_TRUE(ReleaseMutex(mutex));
    waiter.join();
    EXPECT_EQ(WAIT_OBJECT_0, bounded);
}

TEST_F(SharedMutex, EndsWithAProcessThatDoesNotGiveItBack)
{
    Process other;
    const Handle mutex(Create());
    ASSERT_TRUE(other.Take());
    other.End();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, kBound));
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(SharedMutex, CountsWithinItsThreadAndIsAbandonedByItsEnd)
{
    Process other;
    const Handle mutex(Create()), again(Create());
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(again, 0));
    std::thread([&] { EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(again, 0)); }).join();
    EXPECT_TRUE(ReleaseMutex(again));
    EXPECT_FALSE(other.Take());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(other.Take());
    EXPECT_TRUE(other.Release());
    std::thread([&] { EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0)); }).join();
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(mutex, kBound));
    EXPECT_FALSE(other.Take());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(other.Take());
}

TEST_F(SharedMutex, AnotherFileIsAnotherMutexOfTheSameName)
{
    const Handle mutex(Create());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    g_namesFile = m_folder / "others";
    const Handle other(Create());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
    std::thread([&] {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(other, 0));
        EXPECT_TRUE(ReleaseMutex(other));
    }).join();
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(SharedMutex, NamesBelongToTheImageWithoutAFileOrTheWordGlobal)
{
    const Handle local(Create("shared"));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(local, 0));
    EXPECT_FALSE(std::filesystem::exists(LockFile()));
    g_namesFile.clear();
    Process other;
    const Handle global(Create());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(global, 0));
    EXPECT_TRUE(other.Take());
    EXPECT_FALSE(std::filesystem::exists(LockFile()));
}

TEST_F(SharedMutex, ItsFileHasTheRightsOfTheOneBesideItWhateverTheUmask)
{
    for (const mode_t mode : {0600, 0660, 0644}) {
        ASSERT_EQ(0, chmod(g_namesFile.c_str(), mode));
        for (const mode_t mask : {0, 077}) {
            const mode_t before = umask(mask);
            const Handle mutex(Create());
            umask(before);
            struct stat status;
            ASSERT_EQ(0, stat(LockFile().c_str(), &status));
            EXPECT_EQ(mode, status.st_mode & 07777);
            std::filesystem::remove(LockFile());
        }
    }
}

TEST_F(SharedMutex, IsStillOneProcesssWhereItsFileWasDeletedMeanwhile)
{
    const Handle mutex(Create());
    std::filesystem::remove(LockFile());
    Process other;
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
    EXPECT_FALSE(other.Take());
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(other.Take());
}

TEST_F(SharedMutex, IsStillOneProcesssWhereItsFileWasMovedWhileItIsOpen)
{
    const Handle open(Create());
    std::filesystem::rename(LockFile(), m_folder / "moved");
    Process other;
    const Handle again(Create());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(again, 0));
    EXPECT_FALSE(other.Take());
    EXPECT_TRUE(ReleaseMutex(again));
    EXPECT_TRUE(other.Take());
}

TEST_F(SharedMutex, ItsFileBelongsToTheOwnerOfTheOneBesideItWhoeverMakesIt)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root makes files for others";
    ASSERT_EQ(0, chown(g_namesFile.c_str(), 65534, 65533));
    const Handle mutex(Create());
    struct stat status;
    ASSERT_EQ(0, stat(LockFile().c_str(), &status));
    EXPECT_EQ(65534U, status.st_uid);
    EXPECT_EQ(65533U, status.st_gid);
}

// Somebody else has made it, and this user may read it.
TEST_F(SharedMutex, AFileThatCanOnlyBeReadIsEnough)
{
    std::ofstream(LockFile()) << "";
    ASSERT_EQ(0, chmod(LockFile().c_str(), 0444));
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(3);
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, kName);
        _exit(mutex && WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST_F(SharedMutex, AFileThatCannotBeHadIsAnError)
{
    g_namesFile = m_folder / "no such folder" / "names";
    EXPECT_EQ(nullptr, Create());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    g_namesFile = m_folder / "names";
    std::filesystem::create_symlink(m_folder / "elsewhere", LockFile());
    EXPECT_EQ(nullptr, Create());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    EXPECT_FALSE(std::filesystem::exists(m_folder / "elsewhere"));
}

TEST_F(SharedMutex, IsWaitedForAloneAndTakenByWaitingOnly)
{
    const Handle mutex(Create()), event(NewEvent(true, true));
    const HANDLE both[] = {mutex, event};
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(2, both, FALSE, 0));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, GetLastError());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(1, both, TRUE, 0));
    EXPECT_EQ(nullptr, CreateMutexA(nullptr, TRUE, kName));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, GetLastError());
}

} // namespace
