#include "messages/CountedNew.h"
#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<std::size_t> g_allocated{0};

} // namespace

std::size_t messages_test::AllocatedByNew()
{
    return g_allocated;
}

void *operator new(std::size_t size)
{
    g_allocated += size;
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}
