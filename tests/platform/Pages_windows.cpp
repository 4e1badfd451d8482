#include "Pages.h"
#include <windows.h>

Pages::Pages()
    : m_begin(static_cast<char *>(VirtualAlloc(nullptr, 2 * Size(), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE)))
{
    DWORD before;
    VirtualProtect(End(), Size(), PAGE_NOACCESS, &before);
}
Pages::~Pages()
{
    VirtualFree(m_begin, 0, MEM_RELEASE);
}
std::size_t Pages::Size() const
{
    return 4096;
}
void Pages::MakeReadOnly()
{
    DWORD before;
    VirtualProtect(m_begin, Size(), PAGE_READONLY, &before);
}
