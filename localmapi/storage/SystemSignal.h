// What the system says of changes to files, each system in its own way. One thread listens and waits; any
// thread may wake it.
#pragma once
#include <chrono>
#include <memory>
#include <set>
#include <string>

namespace localmapi::storage
{

class SystemSignal
{
  public:
    SystemSignal();
    ~SystemSignal();
    SystemSignal(const SystemSignal &) = delete;
    SystemSignal &operator=(const SystemSignal &) = delete;

    // From now on of exactly these files; gives back those of which the system tells nothing.
    std::set<std::string> Listen(const std::set<std::string> &paths);
    // True when there may have been a change or somebody called Wake(); false when the time is over.
    bool Wait(std::chrono::milliseconds longest);
    void Wake() noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// Sets the times of a file to now, so that those who listen are told.
void Touch(const std::string &path) noexcept;

} // namespace localmapi::storage
