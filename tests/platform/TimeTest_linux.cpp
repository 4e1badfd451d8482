// Proves what Windows refuses in times and Wine lets pass, so that it is not in the shared tests.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
TEST(SystemTimeOnLinux, OfA29thFebruaryWithoutLeapYearIsRefused)
{
    for (const WORD year : {WORD{1900}, WORD{2023}, WORD{2100}}) {
        const SYSTEMTIME time = {year, 2, 0, 29, 0, 0, 0, 0};
        FILETIME ticks;
        SetLastError(0);
        EXPECT_FALSE(SystemTimeToFileTime(&time, &ticks)) << year;
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    }
}

TEST(SystemTimeOnLinux, MayLieInTheYear30827AndNoLater)
{
    FILETIME ticks;
    SYSTEMTIME time = {30827, 12, 0, 31, 23, 59, 59, 999};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    time.wYear = 30828;
    EXPECT_FALSE(SystemTimeToFileTime(&time, &ticks));
}

TEST(DosTimeOnLinux, ThatIsNoTimeLeavesAnError)
{
    FILETIME ticks;
    SetLastError(0);
    EXPECT_FALSE(DosDateTimeToFileTime(0, 0, &ticks));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(TimeZoneOnLinux, IsTheProcessesOwnAlone)
{
    const SYSTEMTIME time = {2024, 2, 0, 29, 0, 0, 0, 0};
    SYSTEMTIME converted;
    const auto *other = reinterpret_cast<const TIME_ZONE_INFORMATION *>(&time);
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToTzSpecificLocalTime(other, &time, &converted));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}
} // namespace
