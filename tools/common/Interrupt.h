// How a command that runs until it is told to end learns that it is: Ctrl-C, and on Linux SIGTERM and a
// SIGHUP that was not ignored.
#pragma once
#include <chrono>
#include <optional>

namespace tool
{

// While it lives, a first request does not kill the program but ends Wait; a second one kills. One at a time.
class Interrupt
{
  public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    // A request of the program's own; any thread.
    void Request();
    // Until there is a request, or this long at most: false where it was this long.
    bool Wait(std::optional<std::chrono::milliseconds> most);
};

} // namespace tool
