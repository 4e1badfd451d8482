// Proves the forms of times and what they refuse, with the limits of each.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
constexpr DWORD kUntouched = 0xDEAD;

std::string Text(const SYSTEMTIME &time)
{
    return Formats("%hu-%02hu-%02hu(%hu) %02hu:%02hu:%02hu.%03hu", time.wYear, time.wMonth, time.wDay, time.wDayOfWeek,
                   time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
}

FILETIME Ticks(ULONGLONG ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
ULONGLONG Ticks(const FILETIME &time)
{
    return static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

TEST(FileTime, AndSystemTimeSayTheSame)
{
    const struct {
        ULONGLONG ticks;
        const char *text;
    } cases[] = {
        {0, "1601-01-01(1) 00:00:00.000"},
        {864000000000 - 1, "1601-01-01(1) 23:59:59.999"},
        {116444736000000000, "1970-01-01(4) 00:00:00.000"},
        {125963423999990000, "2000-02-29(2) 23:59:59.999"},
        {0x7FFFFFFFFFFFFFFF, "30828-09-14(4) 02:48:05.477"},
    };
    for (const auto &example : cases) {
        const FILETIME time = Ticks(example.ticks);
        SYSTEMTIME parts;
        ASSERT_TRUE(FileTimeToSystemTime(&time, &parts));
        EXPECT_EQ(example.text, Text(parts));
        FILETIME back;
        if (parts.wYear <= 30827) {
            ASSERT_TRUE(SystemTimeToFileTime(&parts, &back)) << example.text;
            EXPECT_EQ(example.ticks / 10000 * 10000, Ticks(back)) << example.text;
        }
    }
}

TEST(FileTime, AboveTheLargestIsRefused)
{
    const FILETIME time = Ticks(0x8000000000000000);
    SYSTEMTIME parts;
    SetLastError(kUntouched);
    EXPECT_FALSE(FileTimeToSystemTime(&time, &parts));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(SystemTime, ThatIsNoTimeIsRefused)
{
    const SYSTEMTIME bad[] = {
        {1600, 12, 0, 31, 0, 0, 0, 0}, {2024, 0, 0, 1, 0, 0, 0, 0},  {2024, 13, 0, 1, 0, 0, 0, 0},
        {2024, 1, 0, 0, 0, 0, 0, 0},   {2024, 1, 0, 32, 0, 0, 0, 0}, {2024, 1, 0, 1, 24, 0, 0, 0},
        {2024, 1, 0, 1, 0, 60, 0, 0},  {2024, 1, 0, 1, 0, 0, 60, 0}, {2024, 1, 0, 1, 0, 0, 0, 1000},
    };
    for (const SYSTEMTIME &time : bad) {
        FILETIME ticks = {1, 2};
        SetLastError(kUntouched);
        EXPECT_FALSE(SystemTimeToFileTime(&time, &ticks)) << Text(time);
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError()) << Text(time);
        EXPECT_EQ(1u, ticks.dwLowDateTime);
    }
    const SYSTEMTIME leapDay = {2024, 2, 7, 29, 0, 0, 0, 0}; // the weekday is not looked at
    FILETIME ticks;
    EXPECT_TRUE(SystemTimeToFileTime(&leapDay, &ticks));
}

TEST(LocalTime, GoesThereAndBack)
{
    const FILETIME time = Ticks(133541568000000000);
    FILETIME local, back;
    ASSERT_TRUE(FileTimeToLocalFileTime(&time, &local));
    ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
    EXPECT_EQ(Ticks(time), Ticks(back));
    SYSTEMTIME utc, there;
    ASSERT_TRUE(FileTimeToSystemTime(&time, &utc));
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &there));
    SYSTEMTIME again;
    ASSERT_TRUE(TzSpecificLocalTimeToSystemTime(nullptr, &there, &again));
    EXPECT_EQ(Text(utc), Text(again));
    utc.wMonth = 13;
    EXPECT_FALSE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &there));
}

TEST(Clock, TellsTheSameTimeInEveryForm)
{
    SYSTEMTIME utc, local;
    FILETIME before, now, after;
    GetSystemTimeAsFileTime(&before);
    GetSystemTime(&utc);
    GetLocalTime(&local);
    GetSystemTimeAsFileTime(&after);
    ASSERT_TRUE(SystemTimeToFileTime(&utc, &now));
    EXPECT_LE(Ticks(before) / 10000, Ticks(now) / 10000);
    EXPECT_LE(Ticks(now), Ticks(after));
    FILETIME localTicks, fromLocal;
    ASSERT_TRUE(SystemTimeToFileTime(&local, &localTicks));
    ASSERT_TRUE(LocalFileTimeToFileTime(&localTicks, &fromLocal));
    EXPECT_LE(Ticks(before) / 10000, Ticks(fromLocal) / 10000);
    EXPECT_LE(Ticks(fromLocal), Ticks(after));
    EXPECT_EQ(0, CompareFileTime(&localTicks, &localTicks));
    EXPECT_EQ(-1, CompareFileTime(&before, &(localTicks = Ticks(Ticks(before) + 1))));
    EXPECT_EQ(1, CompareFileTime(&localTicks, &before));
}

TEST(Ticks, CountMilliseconds)
{
    const DWORD before = GetTickCount();
    const ULONGLONG before64 = GetTickCount64();
    Sleep(60);
    const DWORD passed = GetTickCount() - before;
    EXPECT_LE(45u, passed);
    EXPECT_LE(45u, GetTickCount64() - before64);
    EXPECT_GT(60000u, passed);
}

TEST(DosTime, IsReadByItsFields)
{
    const struct {
        WORD date, time;
        const char *text; // null: refused
    } cases[] = {
        {0x0021, 0x0000, "1980-01-01(2) 00:00:00.000"},
        {0x5A6F, 0x6B2F, "2025-03-15(6) 13:25:30.000"},
        {0x0021, 29, "1980-01-01(2) 00:00:58.000"},
        {0x0021, 30, nullptr},
        {0x0021, 60 << 5, nullptr},
        {0x0021, 24 << 11, nullptr},
        {0xFF9F, 0xBF7D, "2107-12-31(6) 23:59:58.000"},
        {0, 0, nullptr},
        {0xFFFF, 0, nullptr},
        {0x005D, 0, "1980-02-29(5) 00:00:00.000"},
    };
    for (const auto &example : cases) {
        FILETIME ticks;
        SYSTEMTIME parts;
        if (example.text) {
            ASSERT_TRUE(DosDateTimeToFileTime(example.date, example.time, &ticks)) << example.text;
            ASSERT_TRUE(FileTimeToSystemTime(&ticks, &parts));
            EXPECT_EQ(example.text, Text(parts));
        } else {
            EXPECT_FALSE(DosDateTimeToFileTime(example.date, example.time, &ticks));
        }
    }
}
} // namespace
