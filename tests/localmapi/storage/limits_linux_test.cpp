// Proves what a site says when the system itself refuses: a file that may not grow, and one that may not be written.
#include "Fixture.h"
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace localmapi::storage
{

namespace
{

TEST_F(SiteTest, AFileThatMayNotGrowIsFullAndKeepsWhatItHas)
{
    add("before");
    auto old = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    rlimit small = limit;
    small.rlim_cur = 512 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    std::optional<Fault> fault = faultOf([&] { add("big", {{kAttachData, Bytes(4 << 20)}}); });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, old);
    EXPECT_EQ(fault, Fault::Full);
    EXPECT_EQ(subjects(View(site, inbox())), (std::vector<std::string>{"before"}));
    add("after", {{kAttachData, Bytes(4 << 20)}});
    EXPECT_EQ(View(site, inbox()).count(), 2u);
    expectSound();
}

TEST_F(SiteTest, AFileThatMayNotBeWrittenIsRefusedForWriting)
{
    ASSERT_EQ(chmod(site.path().c_str(), 0444), 0);
    pid_t child = fork(); // as somebody without rights
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(1);
        try {
            Site::open(site.path());
            _exit(2);
        } catch (const Error &error) {
            _exit(error.fault() == Fault::NoAccess ? 0 : 3);
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace

} // namespace localmapi::storage
