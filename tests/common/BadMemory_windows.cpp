#include "BadMemory.h"
#include <windows.h>

PageBeforeGap::PageBeforeGap() : m_size(0x1000)
{
    auto *pages = static_cast<char *>(VirtualAlloc(nullptr, 2 * m_size, MEM_RESERVE, PAGE_NOACCESS));
    m_page = static_cast<char *>(VirtualAlloc(pages, m_size, MEM_COMMIT, PAGE_READWRITE));
}

PageBeforeGap::~PageBeforeGap()
{
    VirtualFree(m_page, 0, MEM_RELEASE);
}
