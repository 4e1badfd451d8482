#include "common/Interrupt.h"
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace tool
{

namespace
{

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// A signal handler can write to a pipe and little else.
int g_pipe[2] = {-1, -1};

void WriteRequest()
{
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(g_pipe[1], "", 1); // a full pipe holds a request already
    errno = error;
}

void OnSignal(int)
{
    WriteRequest();
}

// A hangup that nohup has had ignored stays so. An ignored SIGINT does not: a shell starts what runs in the background
// with it.
bool IsForNobody(int signal)
{
    struct sigaction now = {};
    return signal == SIGHUP && sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

} // namespace

Interrupt::Interrupt()
{
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "a pipe could not be made");
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : kSignals)
        if (!IsForNobody(signal))
            sigaction(signal, &action, nullptr);
}

Interrupt::~Interrupt()
{
    for (const int signal : kSignals)
        if (!IsForNobody(signal))
            std::signal(signal, SIG_DFL);
    close(g_pipe[0]);
    close(g_pipe[1]);
}

void Interrupt::Request()
{
    WriteRequest();
}

bool Interrupt::Wait(std::optional<std::chrono::milliseconds> most)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    pollfd readable = {g_pipe[0], POLLIN, 0};
    for (;;) {
        int left = -1;
        if (most) {
            const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
            if (waited >= *most)
                return false;
            left = static_cast<int>(std::min<long long>((*most - waited).count(), 1 << 30));
        }
        if (poll(&readable, 1, left) > 0)
            return true;
    }
}

} // namespace tool
