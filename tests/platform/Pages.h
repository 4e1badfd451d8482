// Memory whose end is where reading must stop: two pages, of which the second can't be read.
#pragma once
#include <cstddef>

class Pages
{
  public:
    Pages();
    ~Pages();
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;
    std::size_t Size() const;
    char *Begin() const { return m_begin; }
    char *End() const { return m_begin + Size(); }
    // Leaves the first page readable only.
    void MakeReadOnly();

  private:
    char *m_begin;
};
