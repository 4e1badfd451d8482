#include "localmapi/storage/Time.h"

namespace localmapi::storage
{

std::int64_t CurrentTime()
{
    auto now = std::chrono::system_clock::now().time_since_epoch();
    return kUnixEpoch + std::chrono::duration_cast<Ticks>(now).count();
}

} // namespace localmapi::storage
