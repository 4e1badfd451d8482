#include "Pages.h"
#include <sys/mman.h>
#include <unistd.h>

Pages::Pages()
    : m_begin(
          static_cast<char *>(mmap(nullptr, 2 * Size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
{
    mprotect(End(), Size(), PROT_NONE);
}
Pages::~Pages()
{
    munmap(m_begin, 2 * Size());
}
std::size_t Pages::Size() const
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}
void Pages::MakeReadOnly()
{
    mprotect(m_begin, Size(), PROT_READ);
}
