#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/SystemSignal.h"
#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

namespace localmapi::storage
{

namespace
{
// How often the times of files are looked at of which the system tells nothing.
constexpr std::chrono::milliseconds kLook{10};
} // namespace

struct ChangeSignal::Impl {
    using Time = std::filesystem::file_time_type;
    SystemSignal system;
    std::map<std::string, Time> looked; // the files of which the system tells nothing, as they were
    bool again = false;                 // a change in the same tick of the clock as the last one can't be seen

    static Time TimeOf(const std::string &path)
    {
        std::error_code ignored;
        return std::filesystem::last_write_time(PathOf(path), ignored);
    }

    bool Changed()
    {
        bool any = std::exchange(again, false);
        for (auto &[path, time] : looked)
            if (Time now = TimeOf(path); now != time) {
                time = now;
                any = again = true;
            }
        return any;
    }
};

ChangeSignal::ChangeSignal() : m_impl(std::make_unique<Impl>())
{
}
ChangeSignal::~ChangeSignal() = default;

bool ChangeSignal::Listen(const std::set<std::string> &paths)
{
    std::map<std::string, Impl::Time> looked;
    for (const std::string &path : m_impl->system.Listen(paths))
        looked[path] = Impl::TimeOf(path);
    m_impl->looked = std::move(looked);
    return m_impl->looked.empty();
}

void ChangeSignal::Wait(std::chrono::milliseconds longest)
{
    if (m_impl->looked.empty()) {
        m_impl->system.Wait(longest);
        return;
    }
    for (auto left = longest; left.count() > 0; left -= kLook)
        if (m_impl->system.Wait(std::min(left, kLook)) || m_impl->Changed())
            return;
}

void ChangeSignal::Wake() noexcept
{
    m_impl->system.Wake();
}

void ChangeSignal::Announce(const std::string &path) noexcept
{
    Touch(path);
}

} // namespace localmapi::storage
