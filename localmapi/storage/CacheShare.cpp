#include "localmapi/storage/CacheShare.h"
#include <algorithm>
#include <atomic>

namespace localmapi::storage
{

namespace
{
std::atomic<std::int64_t> g_left{kCacheOfProcess};
}

CacheShare::CacheShare() noexcept
{
    std::int64_t left = g_left;
    do
        m_taken = std::min(kMostCache, left / 4);
    while (!g_left.compare_exchange_weak(left, left - m_taken));
}

CacheShare::~CacheShare()
{
    g_left += m_taken;
}

} // namespace localmapi::storage
