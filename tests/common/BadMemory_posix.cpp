#include "BadMemory.h"
#include <sys/mman.h>
#include <unistd.h>

PageBeforeGap::PageBeforeGap() : m_size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
{
    m_page = static_cast<char *>(mmap(nullptr, 2 * m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(m_page + m_size, m_size, PROT_NONE);
}

PageBeforeGap::~PageBeforeGap()
{
    munmap(m_page, 2 * m_size);
}
