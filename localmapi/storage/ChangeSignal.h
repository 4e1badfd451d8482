// A signal: tells those who listen, in this process and in others, that entries may have been written to one of several
// sites. One thread waits; any thread may wake it.
#pragma once
#include <chrono>
#include <memory>
#include <set>
#include <string>

namespace localmapi::storage
{

class ChangeSignal
{
  public:
    ChangeSignal();
    ~ChangeSignal();
    ChangeSignal(const ChangeSignal &) = delete;
    ChangeSignal &operator=(const ChangeSignal &) = delete;

    // Listens for changes of exactly these files from now on. False where the system does not tell of every one of
    // them: then it looks at their times every few milliseconds.
    bool Listen(const std::set<std::string> &paths);
    // Returns when a site may have changed, when somebody called Wake(), or after that time.
    void Wait(std::chrono::milliseconds longest);
    void Wake() noexcept;

    // Tells everybody who listens, in every process, that a site has changed. Who was not reached finds the change when
    // looking for it.
    static void Announce(const std::string &path) noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace localmapi::storage
