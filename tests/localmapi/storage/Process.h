// Another process, started, waited for and killed.
#pragma once
#include <memory>
#include <string>
#include <vector>

namespace localmapi::storage
{

class Process
{
  public:
    Process(const std::string &program, const std::vector<std::string> &arguments);
    ~Process(); // kills it if it still runs
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    int Wait(); // its exit status; some other number than it gives itself when it was killed
    void Kill();

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace localmapi::storage
