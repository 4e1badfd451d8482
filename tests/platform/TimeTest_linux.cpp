// Proves what Windows refuses in times and Wine lets pass, so that it is not in the shared tests.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
TEST(SystemTimeOnLinux, of_a_29th_February_without_leap_year_is_refused)
{
    for (const WORD year : {WORD{1900}, WORD{2023}, WORD{2100}}) {
        const SYSTEMTIME time = {year, 2, 0, 29, 0, 0, 0, 0};
        FILETIME ticks;
        SetLastError(0);
        EXPECT_FALSE(SystemTimeToFileTime(&time, &ticks)) << year;
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    }
}

TEST(SystemTimeOnLinux, may_lie_in_the_year_30827_and_no_later)
{
    FILETIME ticks;
    SYSTEMTIME time = {30827, 12, 0, 31, 23, 59, 59, 999};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    time.wYear = 30828;
    EXPECT_FALSE(SystemTimeToFileTime(&time, &ticks));
}

TEST(DosTimeOnLinux, that_is_no_time_leaves_an_error)
{
    FILETIME ticks;
    SetLastError(0);
    EXPECT_FALSE(DosDateTimeToFileTime(0, 0, &ticks));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(TimeZoneOnLinux, is_the_processes_own_alone)
{
    const SYSTEMTIME time = {2024, 2, 0, 29, 0, 0, 0, 0};
    SYSTEMTIME converted;
    const auto *other = reinterpret_cast<const TIME_ZONE_INFORMATION *>(&time);
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToTzSpecificLocalTime(other, &time, &converted));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}
} // namespace
