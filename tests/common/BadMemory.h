// Memory that can't be read, for tests.
#pragma once
#include <cstddef>

// Two pages: the first can be read and written, the second not at all.
class PageBeforeGap
{
  public:
    PageBeforeGap();
    ~PageBeforeGap();
    PageBeforeGap(const PageBeforeGap &) = delete;
    PageBeforeGap &operator=(const PageBeforeGap &) = delete;

    // The end of what can be read.
    char *End() const { return m_page + m_size; }

  private:
    char *m_page;
    std::size_t m_size;
};

// An address at which nothing is mapped, well aligned for wide text.
template <class T> const T *Unreadable()
{
    return reinterpret_cast<const T *>(0x10);
}
