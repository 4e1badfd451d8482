// Proves what a site says when the system itself refuses: a file that may not grow, and one that may not be written.
#include "Fixture.h"
#include "localmapi/storage/Spool.h"
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace localmapi::storage
{

namespace
{

// Files of this process may not grow beyond it.
class Room
{
  public:
    explicit Room(rlim_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN))
    {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_former), 0);
        rlimit small = m_former;
        small.rlim_cur = bytes;
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    }
    Room(const Room &) = delete;
    Room &operator=(const Room &) = delete;
    ~Room()
    {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &m_former), 0);
        std::signal(SIGXFSZ, m_signal);
    }

  private:
    rlimit m_former{};
    void (*m_signal)(int);
};

TEST_F(SiteTest, AFileThatMayNotGrowIsFullAndKeepsWhatItHas)
{
    Add("before");
    std::optional<Fault> fault;
    {
        const Room room(512 * 1024);
        fault = FaultOf([&] { Add("big", {{kAttachData, Bytes(4 << 20)}}); });
    }
    EXPECT_EQ(fault, Fault::Full);
    EXPECT_EQ(SubjectsIn(View(m_site, Inbox())), (std::vector<std::string>{"before"}));
    Add("after", {{kAttachData, Bytes(4 << 20)}});
    EXPECT_EQ(View(m_site, Inbox()).Count(), 2u);
    ExpectSound();
}

// What is written in pieces lies in a file of its own meanwhile.
TEST(SpoolsWithoutRoom, LoseNothingAndGoOnOnceThereIsRoom)
{
    constexpr std::size_t kBlock = 100000;
    constexpr std::uint64_t kBlocks = 80;
    const auto block = [](std::uint64_t number, std::uint64_t time) {
        return std::vector<std::uint8_t>(kBlock, static_cast<std::uint8_t>(number * 3 + time));
    };
    Spool spool;
    // Written, and then each block again over what is there; what was refused is written in another round.
    for (const std::uint64_t time : {1, 2}) {
        std::vector<std::uint64_t> again;
        for (std::uint64_t number = 0; number < kBlocks; ++number) {
            const auto bytes = block(number, time);
            const Room room(number * 50000 + time * 300000);
            const auto fault = FaultOf([&] { spool.Write(number * kBlock, bytes.data(), bytes.size()); });
            if (!fault)
                continue;
            EXPECT_EQ(fault, Fault::Full);
            again.push_back(number);
        }
        EXPECT_FALSE(again.empty());
        for (const std::uint64_t number : again)
            spool.Write(number * kBlock, block(number, time).data(), kBlock);
        ASSERT_EQ(spool.size(), kBlocks * kBlock);
        for (std::uint64_t number = 0; number < kBlocks; ++number) {
            std::vector<std::uint8_t> bytes(kBlock);
            EXPECT_EQ(spool.Read(number * kBlock, bytes.data(), kBlock), kBlock);
            EXPECT_TRUE(bytes == block(number, time)) << "block " << number << ", time " << time;
        }
    }
}

TEST_F(SiteTest, AFileThatMayNotBeWrittenIsRefusedForWriting)
{
    ASSERT_EQ(chmod(m_site.Path().c_str(), 0444), 0);
    pid_t child = fork(); // as somebody without rights
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(1);
        try {
            Site::Open(m_site.Path());
            _exit(2);
        } catch (const Error &error) {
            _exit(error.GetFault() == Fault::NoAccess ? 0 : 3);
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace

} // namespace localmapi::storage
