// Days of the calendar, as tests write them.
#pragma once
#include "localmapi/delivery/RecurrenceRule.h"

namespace localmapi::delivery
{

inline Day On(int y, unsigned m, unsigned d)
{
    return std::chrono::sys_days(std::chrono::year(y) / std::chrono::month(m) / std::chrono::day(d));
}

} // namespace localmapi::delivery
