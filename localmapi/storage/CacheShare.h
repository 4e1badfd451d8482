// What a connection's cache may hold of a site's pages: a part of what all of a process may hold together, so that a
// host of many threads and sites does not grow with them. Any thread.
#pragma once
#include <cstdint>

namespace localmapi::storage
{

// All connections of a process together, the least that each gets in any case not counted.
constexpr std::int64_t kCacheOfProcess = 128 * 1024; // KiB
constexpr std::int64_t kMostCache = 16000;
constexpr std::int64_t kLeastCache = 512;

// A quarter of what is left of the whole, for as long as this lives.
class CacheShare
{
  public:
    CacheShare() noexcept;
    ~CacheShare();
    CacheShare(const CacheShare &) = delete;
    CacheShare &operator=(const CacheShare &) = delete;
    std::int64_t KiB() const { return m_taken > kLeastCache ? m_taken : kLeastCache; }

  private:
    std::int64_t m_taken = 0;
};

} // namespace localmapi::storage
