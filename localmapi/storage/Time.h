// Times as they are stored (Type::Time): ticks of 100 ns since the beginning of 1601, UTC.
#pragma once
#include <chrono>
#include <cstdint>

namespace localmapi::storage
{

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
constexpr std::int64_t kTicksPerSecond = Ticks::period::den;
constexpr std::int64_t kTicksPerMinute = 60 * kTicksPerSecond;

// The day that times, and dates in minutes and months, are counted from.
constexpr std::chrono::year kFirstYear{1601};
constexpr std::chrono::sys_days kFirstDay = kFirstYear / std::chrono::January / 1;

// 1970, from which the system counts, as a stored time.
constexpr std::int64_t kUnixEpoch = std::chrono::duration_cast<Ticks>(-kFirstDay.time_since_epoch()).count();

std::int64_t CurrentTime();

} // namespace localmapi::storage
