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
std::atomic<std::uint64_t> theBytes{0};
std::atomic<std::uint64_t> thePeak{0};

void *allocate(std::size_t size)
{
    auto block = static_cast<std::size_t *>(std::malloc(size + kHead));
    if (!block)
        throw std::bad_alloc();
    *block = size;
    const std::uint64_t now = theBytes += size;
    for (std::uint64_t peak = thePeak; peak < now && !thePeak.compare_exchange_weak(peak, now);) {
    }
    return reinterpret_cast<char *>(block) + kHead;
}

void release(void *memory) noexcept
{
    if (!memory)
        return;
    auto block = reinterpret_cast<std::size_t *>(static_cast<char *>(memory) - kHead);
    theBytes -= *block;
    std::free(block);
}

} // namespace

void *operator new(std::size_t size)
{
    return allocate(size);
}
// The library's temporary buffers come from this one and go through the same delete.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    try {
        return allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void *memory, const std::nothrow_t &) noexcept
{
    release(memory);
}
void operator delete(void *memory) noexcept
{
    release(memory);
}
void operator delete(void *memory, std::size_t) noexcept
{
    release(memory);
}

namespace localmapi::storage
{

std::uint64_t memoryInUse()
{
    return theBytes + static_cast<std::uint64_t>(sqlite3_memory_used());
}

std::uint64_t memoryPeak()
{
    return thePeak + static_cast<std::uint64_t>(sqlite3_memory_highwater(0));
}

void forgetPeak()
{
    thePeak = theBytes.load();
    sqlite3_memory_highwater(1);
}

} // namespace localmapi::storage
