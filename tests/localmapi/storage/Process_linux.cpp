#include "Process.h"
#include <csignal>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace localmapi::storage
{

struct Process::Impl {
    pid_t id = 0;
    bool ended = false;
    int status = 0;
};

Process::Process(const std::string &program, const std::vector<std::string> &arguments)
    : m_impl(std::make_unique<Impl>())
{
    std::vector<char *> words{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    if (posix_spawn(&m_impl->id, program.c_str(), nullptr, nullptr, words.data(), environ) != 0)
        throw std::runtime_error("can't start " + program);
}

Process::~Process()
{
    Kill();
    Wait();
}

int Process::Wait()
{
    if (!m_impl->ended) {
        waitpid(m_impl->id, &m_impl->status, 0);
        m_impl->ended = true;
    }
    return WIFEXITED(m_impl->status) ? WEXITSTATUS(m_impl->status) : -WTERMSIG(m_impl->status);
}

void Process::Kill()
{
    if (!m_impl->ended)
        ::kill(m_impl->id, SIGKILL);
}

} // namespace localmapi::storage
