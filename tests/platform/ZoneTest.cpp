// Proves how local time is found, in a zone with daylight saving. CTest starts the program with TZ set to that of
// central Europe, written out, which every target reads alike.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
std::string Local(WORD month, WORD day, WORD hour)
{
    const SYSTEMTIME utc = {2024, month, 0, day, hour, 30, 15, 123};
    SYSTEMTIME local;
    if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return "<refused>";
    return Formats("%02hu-%02hu(%hu) %02hu:%02hu:%02hu.%03hu", local.wMonth, local.wDay, local.wDayOfWeek, local.wHour,
                   local.wMinute, local.wSecond, local.wMilliseconds);
}

TEST(Zone, IsThatOfTheDateForASystemTime)
{
    EXPECT_EQ("01-15(1) 13:30:15.123", Local(1, 15, 12));
    EXPECT_EQ("07-15(1) 14:30:15.123", Local(7, 15, 12));
    EXPECT_EQ("12-31(2) 00:30:15.123", Local(12, 30, 23));
}

TEST(Zone, IsThatOfTodayForAFileTime)
{
    SYSTEMTIME utc, local;
    FILETIME now, there;
    GetSystemTime(&utc);
    ASSERT_TRUE(SystemTimeToFileTime(&utc, &now));
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local));
    ASSERT_TRUE(SystemTimeToFileTime(&local, &there));
    const auto ticks = [](const FILETIME &time) {
        return static_cast<LONGLONG>(static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
    };
    const LONGLONG offset = ticks(there) - ticks(now);
    EXPECT_TRUE(offset == 36000000000 || offset == 72000000000) << offset;
    for (const WORD month : {WORD{1}, WORD{7}}) {
        const SYSTEMTIME date = {2024, month, 0, 15, 12, 0, 0, 0};
        FILETIME time, converted;
        ASSERT_TRUE(SystemTimeToFileTime(&date, &time));
        ASSERT_TRUE(FileTimeToLocalFileTime(&time, &converted));
        EXPECT_EQ(offset, ticks(converted) - ticks(time)) << month;
        ASSERT_TRUE(LocalFileTimeToFileTime(&time, &converted));
        EXPECT_EQ(-offset, ticks(converted) - ticks(time)) << month;
    }
}
} // namespace
