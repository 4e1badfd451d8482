// The program's own operator new, which ControlledNew.cpp replaces: it counts, and fails on demand. For the programs
// that have that file among their sources.
#pragma once
#include <cstddef>
#include <cstdint>

namespace controlled_new
{

// While it lives, the next allocation of this thread that has at least `least` and at most `most` bytes fails, once.
class FailingAllocation
{
  public:
    explicit FailingAllocation(std::size_t least, std::size_t most = SIZE_MAX);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation &) = delete;
    FailingAllocation &operator=(const FailingAllocation &) = delete;

    // Whether there was such an allocation.
    bool HasFailed() const;
};

// While it lives, the n-th allocation of this thread from now on (1 is the next one) fails; where it lasts, all after
// it too. Those count that other allocators ask NextFails() for.
class FailingTurn
{
  public:
    explicit FailingTurn(std::size_t n, bool lasts);
    ~FailingTurn();
    FailingTurn(const FailingTurn &) = delete;
    FailingTurn &operator=(const FailingTurn &) = delete;

    bool HasFailed() const;
};

// Whether the allocation that is to be made now is to fail; counts it.
bool NextFails();

// Bytes that this thread asked for last.
std::size_t LastSize();
// Bytes that all threads have asked for since the program's start; what is freed again is not taken off.
std::size_t Total();

} // namespace controlled_new
