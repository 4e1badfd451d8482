#include "MemoryGauge.h"
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <sqlite3.h>

namespace
{

// Every block of the C++ allocator is preceded by its size.
constexpr std::size_t kHead = alignof(std::max_align_t);
std::atomic<std::uint64_t> g_bytes{0};
std::atomic<std::uint64_t> g_peak{0};

void *Allocate(std::size_t size)
{
    auto block = static_cast<std::size_t *>(std::malloc(size + kHead));
    if (!block)
        throw std::bad_alloc();
    *block = size;
    const std::uint64_t now = g_bytes += size;
    for (std::uint64_t peak = g_peak; peak < now && !g_peak.compare_exchange_weak(peak, now);) {
    }
    return reinterpret_cast<char *>(block) + kHead;
}

void Release(void *memory) noexcept
{
    if (!memory)
        return;
    auto block = reinterpret_cast<std::size_t *>(static_cast<char *>(memory) - kHead);
    g_bytes -= *block;
    std::free(block);
}

} // namespace

void *operator new(std::size_t size)
{
    return Allocate(size);
}
// The library's temporary buffers come from this one and go through the same delete.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    try {
        return Allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void *memory, const std::nothrow_t &) noexcept
{
    Release(memory);
}
void operator delete(void *memory) noexcept
{
    Release(memory);
}
void operator delete(void *memory, std::size_t) noexcept
{
    Release(memory);
}

namespace localmapi::storage
{

std::uint64_t MemoryInUse()
{
    return g_bytes + static_cast<std::uint64_t>(sqlite3_memory_used());
}

std::uint64_t MemoryPeak()
{
    return g_peak + static_cast<std::uint64_t>(sqlite3_memory_highwater(0));
}

void ForgetPeak()
{
    g_peak = g_bytes.load();
    sqlite3_memory_highwater(1);
}

} // namespace localmapi::storage
