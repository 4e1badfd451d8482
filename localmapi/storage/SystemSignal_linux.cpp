// A commit sets the times of the site's file to now, and whoever listens is told by inotify: after the commit can be
// seen, without a file of its own, across processes and users, and gone with the listener however it ends.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/SystemSignal.h"
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace localmapi::storage
{

struct SystemSignal::Impl {
    int woken = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    int inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC); // -1 when the user has as many as he may have
    std::map<std::string, int> watches;
};

SystemSignal::SystemSignal() : m_impl(std::make_unique<Impl>())
{
    if (m_impl->woken < 0) {
        if (m_impl->inotify >= 0)
            close(m_impl->inotify);
        throw Error(Fault::Failed, "The system has no more event descriptors.");
    }
}

SystemSignal::~SystemSignal()
{
    close(m_impl->woken);
    if (m_impl->inotify >= 0)
        close(m_impl->inotify);
}

std::set<std::string> SystemSignal::Listen(const std::set<std::string> &paths)
{
    if (m_impl->inotify < 0)
        return paths;
    std::erase_if(m_impl->watches, [&](const auto &watch) {
        if (paths.count(watch.first))
            return false;
        inotify_rm_watch(m_impl->inotify, watch.second);
        return true;
    });
    std::set<std::string> deaf;
    for (const std::string &path : paths) {
        int watch = inotify_add_watch(m_impl->inotify, path.c_str(), IN_ATTRIB | IN_MODIFY | IN_MOVE_SELF);
        if (watch >= 0)
            m_impl->watches[path] = watch;
        else
            deaf.insert(path);
    }
    return deaf;
}

bool SystemSignal::Wait(std::chrono::milliseconds longest)
{
    pollfd sources[] = {{m_impl->woken, POLLIN, 0}, {m_impl->inotify, POLLIN, 0}};
    if (poll(sources, m_impl->inotify < 0 ? 1 : 2, static_cast<int>(longest.count())) <= 0)
        return false;
    // What the events say does not matter.
    char buffer[4096];
    for (const pollfd &source : sources)
        while (source.revents && read(source.fd, buffer, sizeof buffer) > 0) {
        }
    return true;
}

void SystemSignal::Wake() noexcept
{
    const std::uint64_t one = 1;
    while (write(m_impl->woken, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void Touch(const std::string &path) noexcept
{
    // By name: a descriptor of the file that is closed would take SQLite's locks on it along. Where it is refused, the
    // others find the change when they look of their own accord.
    utimensat(AT_FDCWD, path.c_str(), nullptr, 0);
}

} // namespace localmapi::storage
