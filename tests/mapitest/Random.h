// Numbers that follow from a seed alone, the same on every system.
#pragma once
#include <cstdint>
#include <vector>

namespace mapitest
{

class Random
{
  public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}
    std::uint64_t Next()
    {
        std::uint64_t mixed = m_state += 0x9E3779B97F4A7C15ULL;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9ULL;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
        return mixed ^ (mixed >> 31);
    }
    // 0 to `below` - 1.
    int Below(int below) { return static_cast<int>(Next() % static_cast<std::uint64_t>(below)); }
    int Between(int least, int most) { return least + Below(most - least + 1); }
    bool OneIn(int times) { return Below(times) == 0; }
    template <class T> const T &Of(const std::vector<T> &list)
    {
        return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
    }

  private:
    std::uint64_t m_state;
};

} // namespace mapitest
