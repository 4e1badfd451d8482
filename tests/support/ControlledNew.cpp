// What fails is asked of the thread that allocates; the blocks themselves are malloc's.
#include "support/ControlledNew.h"
#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

struct Demand {
    bool armed = false;
    std::size_t least = 0, most = 0;
};
thread_local Demand t_demand;
thread_local std::size_t t_left = 0; // until the one that fails; 0 is none
thread_local bool t_lasts = false, t_struck = false;
thread_local std::size_t t_last = 0;
std::atomic<std::size_t> g_total{0};

// Not inlined, as is Return: the compiler would take new and free for a mismatched pair.
[[gnu::noinline]] void *Allocate(std::size_t size) noexcept
{
    t_last = size;
    g_total += size;
    if (t_demand.armed && size >= t_demand.least && size <= t_demand.most) {
        t_demand.armed = false;
        return nullptr;
    }
    if (controlled_new::NextFails())
        return nullptr;
    return std::malloc(size ? size : 1);
}

[[gnu::noinline]] void Return(void *block) noexcept
{
    std::free(block);
}

} // namespace

namespace controlled_new
{

FailingAllocation::FailingAllocation(std::size_t least, std::size_t most)
{
    t_demand = {true, least, most};
}

FailingAllocation::~FailingAllocation()
{
    t_demand.armed = false;
}

bool FailingAllocation::HasFailed() const
{
    return !t_demand.armed;
}

FailingTurn::FailingTurn(std::size_t n, bool lasts)
{
    t_lasts = lasts;
    t_struck = false;
    t_left = n;
}

FailingTurn::~FailingTurn()
{
    t_left = 0;
}

bool FailingTurn::HasFailed() const
{
    return t_struck;
}

bool NextFails()
{
    if (t_left == 0)
        return false;
    if (t_left > 1) {
        --t_left;
        return false;
    }
    t_struck = true;
    if (!t_lasts)
        t_left = 0;
    return true;
}

std::size_t LastSize()
{
    return t_last;
}

std::size_t Total()
{
    return g_total;
}

} // namespace controlled_new

void *operator new(std::size_t size)
{
    if (void *block = Allocate(size))
        return block;
    throw std::bad_alloc();
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return Allocate(size);
}

void operator delete(void *block) noexcept
{
    Return(block);
}

void operator delete(void *block, std::size_t) noexcept
{
    Return(block);
}

void operator delete(void *block, const std::nothrow_t &) noexcept
{
    Return(block);
}
