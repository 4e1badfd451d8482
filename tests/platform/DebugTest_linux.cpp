// Proves where debug output goes. The sink is chosen once in a process, so each case runs in a child process.
#include "Text.h"
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
namespace fs = std::filesystem;

std::string ContentOf(const fs::path &file)
{
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class DebugSink : public testing::Test
{
  protected:
    DebugSink()
    {
        char name[] = "/tmp/debug_test.XXXXXX";
        m_folder = mkdtemp(name);
    }
    ~DebugSink() override { fs::remove_all(m_folder); }
    // What the body's child writes to standard error.
    template <class Body> std::string ErrorsOf(const std::string &sink, Body body) const
    {
        const fs::path errors = m_folder / "stderr";
        const pid_t child = fork();
        if (child == 0) {
            const int file = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(file, STDERR_FILENO);
            setenv("ORLMAPI_DEBUG", sink.c_str(), 1);
            body();
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
        return ContentOf(errors);
    }
    fs::path m_folder;
};

TEST_F(DebugSink, MayBeStandardError)
{
    EXPECT_EQ("one\nzwei \xC3\xA9\n", ErrorsOf("stderr", [] {
                  OutputDebugStringA("one\n");
                  OutputDebugStringW(u"zwei \u00E9\n");
              }));
}

TEST_F(DebugSink, IsNoneWhenNoneIsNamed)
{
    EXPECT_EQ("", ErrorsOf("", [] { OutputDebugStringA("one\n"); }));
    EXPECT_EQ("", ErrorsOf("syslog", [] { OutputDebugStringA("one\n"); }));
    EXPECT_EQ("", ErrorsOf("/no/such/folder/file", [] { OutputDebugStringA("one\n"); }));
}

TEST_F(DebugSink, MayBeAFileThatIsAppendedTo)
{
    const fs::path trace = m_folder / "trace.log";
    std::ofstream(trace) << "before\n";
    EXPECT_EQ("", ErrorsOf(trace, [] { OutputDebugStringA("one\n"); }));
    EXPECT_EQ("", ErrorsOf(trace, [] { OutputDebugStringA("two\n"); }));
    EXPECT_EQ("before\none\ntwo\n", ContentOf(trace));
}

TEST_F(DebugSink, KeepsItsFileToTheOwner)
{
    const fs::path trace = m_folder / "trace.log";
    ErrorsOf(trace, [] { OutputDebugStringA("one\n"); });
    EXPECT_EQ(fs::perms(0600), fs::status(trace).permissions());
}

TEST_F(DebugSink, KeepsTheLinesOfSeveralThreadsWhole)
{
    const fs::path trace = m_folder / "trace.log";
    ErrorsOf(trace, [] {
        std::vector<std::thread> threads;
        for (const char letter : {'a', 'b', 'c', 'd'})
            threads.emplace_back([letter] {
                const std::string line = std::string(200, letter) + "\n";
                for (int i = 0; i < 200; ++i)
                    OutputDebugStringA(line.c_str());
            });
        for (std::thread &thread : threads)
            thread.join();
    });
    std::ifstream in(trace);
    int lines = 0;
    for (std::string line; std::getline(in, line); ++lines)
        ASSERT_EQ(std::string(200, line[0]), line);
    EXPECT_EQ(800, lines);
}

TEST_F(DebugSink, TakesNoHarmFromABadPointer)
{
    EXPECT_EQ("after\n", ErrorsOf("stderr", [] {
                  OutputDebugStringA(nullptr);
                  OutputDebugStringA(reinterpret_cast<char *>(0x10));
                  OutputDebugStringW(reinterpret_cast<WCHAR *>(0x10));
                  OutputDebugStringA("after\n");
              }));
}

TEST(DebuggerDeathTest, IsWhatDebugBreakStopsIn)
{
    EXPECT_EXIT(DebugBreak(), testing::KilledBySignal(SIGTRAP), "");
}

TEST(Debugger, IsPresentWhenAnotherProcessTracesThisOne)
{
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(3);
        raise(SIGSTOP);
        _exit(IsDebuggerPresent() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 3)
        GTEST_SKIP() << "tracing is not allowed here";
    ASSERT_TRUE(WIFSTOPPED(status));
    ptrace(PTRACE_CONT, child, nullptr, nullptr);
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
}
} // namespace
