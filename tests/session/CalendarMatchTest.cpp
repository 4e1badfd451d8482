// Which recurring appointments fall on a day: every branch of the rules, with the points in which they are not what a
// calendar shows, and the occurrence of the day.
#include "session/calendar/CalendarEvent.h"
#include "session/calendar/RecurrenceMatch.h"
#include <gtest/gtest.h>
#include <string>

namespace
{

constexpr DWORD kMinutesADay = 1440;
constexpr DWORD kForEver = 0x5AE980DF;
constexpr DWORD kSunday = 1, kMonday = 2, kTuesday = 4, kWednesday = 8, kWorkdays = 0x3E;

FILETIME TimeOf(const SYSTEMTIME &time)
{
    FILETIME ticks = {};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    return ticks;
}
ULONGLONG Ticks(const FILETIME &time)
{
    return static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}
// Midnight of a date, in minutes since 1601.
DWORD Minutes(WORD year, WORD month, WORD day)
{
    return static_cast<DWORD>(Ticks(TimeOf({year, month, 0, day, 0, 0, 0, 0})) / 600000000);
}

// A day where local time is UTC.
CalendarDay Day(WORD year, WORD month, WORD day)
{
    CalendarDay result;
    result.ftStart = TimeOf({year, month, 0, day, 0, 0, 0, 0});
    result.ftEnd = TimeOf({year, month, 0, day, 23, 59, 0, 0});
    EXPECT_TRUE(FileTimeToSystemTime(&result.ftEnd, &result.stReference));
    return result;
}

RecurrencePattern Pattern(WORD frequency, WORD type, DWORD period, DWORD specific, DWORD n = 0)
{
    RecurrencePattern pattern;
    pattern.wRecurFrequency = frequency;
    pattern.wPatternType = type;
    pattern.dwPeriod = period;
    pattern.dwPatternTypeSpecific = specific;
    pattern.dwN = n;
    pattern.dwStartDate = Minutes(2026, 1, 5); // a Monday
    pattern.dwEndDate = kForEver;
    return pattern;
}

// The days of a month of 2026 on which a pattern falls.
std::string DaysOf(const RecurrencePattern &pattern, WORD month, WORD year = 2026)
{
    static constexpr WORD kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const WORD last = month == 2 && year % 4 == 0 ? 29 : kDays[month - 1];
    std::string days;
    for (WORD day = 1; day <= last; ++day)
        if (MatchesDay(pattern, Day(year, month, day)))
            days += (days.empty() ? "" : " ") + std::to_string(day);
    return days;
}

struct Case {
    const char *what;
    RecurrencePattern pattern;
    WORD month;
    const char *days;
};

void Expect(const std::vector<Case> &cases)
{
    for (const Case &example : cases)
        EXPECT_EQ(DaysOf(example.pattern, example.month), example.days) << example.what;
}

TEST(RecurrenceMatchTest, DailyRulesCountTheirPeriodAsItStands)
{
    Expect({
        {"every day, as it is written: 1440 minutes", Pattern(kDaily, 0, kMinutesADay, 0), 1, "5"},
        {"a period of 1", Pattern(kDaily, 0, 1, 0), 1,
         "5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31"},
        {"a period of 10", Pattern(kDaily, 0, 10, 0), 1, "5 15 25"},
        {"a period of 10 goes on in the next month", Pattern(kDaily, 0, 10, 0), 2, "4 14 24"},
        {"no period", Pattern(kDaily, 0, 0, 0), 1, ""},
        {"a period beyond 31 bits", Pattern(kDaily, 0, 0x80000000, 0), 1, "5"},
        {"every weekday, whatever the period", Pattern(kDaily, 1, 0, kWorkdays), 1,
         "5 6 7 8 9 12 13 14 15 16 19 20 21 22 23 26 27 28 29 30"},
        {"one weekday", Pattern(kDaily, 1, 1, kSunday), 1, "11 18 25"},
        {"by the day of the month", Pattern(kDaily, 2, 1, 6), 1, ""},
        {"by the week of the month", Pattern(kDaily, 3, 1, kMonday, 2), 1, ""},
    });
    // 1440 days later.
    EXPECT_EQ(DaysOf(Pattern(kDaily, 0, kMinutesADay, 0), 12, 2029), "15");
}

TEST(RecurrenceMatchTest, WeeklyRulesFallOnWholePeriodsAfterTheirFirstDay)
{
    Expect({
        {"Mondays", Pattern(kWeekly, 1, 1, kMonday), 1, "5 12 19 26"},
        {"Mondays and Wednesdays, begun on a Monday", Pattern(kWeekly, 1, 1, kMonday | kWednesday), 1, "5 12 19 26"},
        {"Wednesdays, begun on a Monday", Pattern(kWeekly, 1, 1, kWednesday), 1, ""},
        {"every second Monday", Pattern(kWeekly, 1, 2, kMonday), 1, "5 19"},
        {"no day of the week", Pattern(kWeekly, 1, 1, 0), 1, ""},
        {"a bit beyond the week", Pattern(kWeekly, 1, 1, 0x80), 1, ""},
        {"no period", Pattern(kWeekly, 1, 0, kMonday), 1, ""},
        {"a period whose days pass 32 bits", Pattern(kWeekly, 1, 0x24924925, kMonday), 1, "5"},
        {"another type", Pattern(kWeekly, 0, 1, kMonday), 1, ""},
        {"a third type", Pattern(kWeekly, 2, 1, 5), 1, ""},
    });
}

TEST(RecurrenceMatchTest, MonthlyRulesByDayFallOnThatDayAlone)
{
    for (const WORD frequency : {kMonthly, kYearly})
        for (const WORD type : {WORD{2}, WORD{4}, WORD{10}, WORD{12}}) {
            SCOPED_TRACE(std::to_string(frequency) + "/" + std::to_string(type));
            Expect({
                {"every month", Pattern(frequency, type, 1, 17), 4, "17"},
                {"every second month from January", Pattern(frequency, type, 2, 17), 3, "17"},
                {"every second month from January", Pattern(frequency, type, 2, 17), 4, ""},
                {"every twelfth month", Pattern(frequency, type, 12, 17), 1, "17"},
                {"every twelfth month", Pattern(frequency, type, 12, 17), 12, ""},
                {"the 31st of a month that has one", Pattern(frequency, type, 1, 31), 3, "31"},
                {"the 31st of a month that has none", Pattern(frequency, type, 1, 31), 4, ""},
                {"no period", Pattern(frequency, type, 0, 17), 4, ""},
                {"no day", Pattern(frequency, type, 1, 0), 4, ""},
            });
        }
    // Months are compared, not years: every 5 months from January is June and November, and January again.
    for (const WORD month : {WORD{1}, WORD{6}, WORD{11}})
        EXPECT_EQ(DaysOf(Pattern(kMonthly, 2, 5, 17), month, 2027), "17") << month;
    EXPECT_EQ(DaysOf(Pattern(kMonthly, 2, 5, 17), 4, 2027), "");
}

TEST(RecurrenceMatchTest, MonthsAreComparedInBothDirections)
{
    RecurrencePattern pattern = Pattern(kMonthly, 2, 3, 17);
    pattern.dwStartDate = Minutes(2025, 10, 1);
    EXPECT_EQ(DaysOf(pattern, 1), "17");
    EXPECT_EQ(DaysOf(pattern, 2), "");
    EXPECT_EQ(DaysOf(pattern, 4), "17");
    EXPECT_EQ(DaysOf(pattern, 10), "17");
}

TEST(RecurrenceMatchTest, WeeksOfAMonthBeginWithTheMultiplesOfSeven)
{
    for (const WORD frequency : {kMonthly, kYearly})
        for (const WORD type : {WORD{3}, WORD{11}}) {
            SCOPED_TRACE(std::to_string(frequency) + "/" + std::to_string(type));
            // April 2026 begins on a Wednesday: its Tuesdays are the 7th, 14th, 21st and 28th.
            Expect({
                {"the first Tuesday: the 7th is in the second week", Pattern(frequency, type, 1, kTuesday, 1), 4, ""},
                {"the second", Pattern(frequency, type, 1, kTuesday, 2), 4, "7"},
                {"the third", Pattern(frequency, type, 1, kTuesday, 3), 4, "14"},
                {"the fourth", Pattern(frequency, type, 1, kTuesday, 4), 4, "21"},
                {"the last", Pattern(frequency, type, 1, kTuesday, 5), 4, "28"},
                {"the first Monday", Pattern(frequency, type, 1, kMonday, 1), 4, "6"},
                {"the last Monday", Pattern(frequency, type, 1, kMonday, 5), 4, "27"},
                // May begins on a Friday: its Mondays are the 4th, 11th, 18th and 25th.
                {"the last one on the 25th", Pattern(frequency, type, 1, kMonday, 5), 5, "25"},
                {"the last of 28 days: the 24th is too early", Pattern(frequency, type, 1, kTuesday, 5), 2, ""},
                {"the last Sunday of 31 days", Pattern(frequency, type, 1, kSunday, 5), 5, "31"},
                {"every second month", Pattern(frequency, type, 2, kTuesday, 2), 4, ""},
                {"every third month", Pattern(frequency, type, 3, kTuesday, 2), 4, "7"},
                {"no period", Pattern(frequency, type, 0, kTuesday, 2), 4, ""},
                {"no week", Pattern(frequency, type, 1, kTuesday, 0), 4, ""},
                {"a week that no month has", Pattern(frequency, type, 1, kTuesday, 6), 4, ""},
                {"no day of the week", Pattern(frequency, type, 1, 0, 2), 4, ""},
            });
        }
}

TEST(RecurrenceMatchTest, OtherTypesAndFrequenciesNeverFallOnADay)
{
    for (const WORD frequency : {kMonthly, kYearly})
        for (const WORD type : {WORD{0}, WORD{1}, WORD{5}, WORD{9}, WORD{13}})
            EXPECT_EQ(DaysOf(Pattern(frequency, type, 1, 0x7F, 1), 1), "") << type;
    for (const WORD frequency : {WORD{0}, WORD{0x2009}, WORD{0x200E}, WORD{0xFFFF}})
        for (const WORD type : {WORD{0}, WORD{1}, WORD{2}, WORD{3}})
            EXPECT_EQ(DaysOf(Pattern(frequency, type, 1, 0x7F, 1), 1), "") << frequency;
}

TEST(RecurrenceMatchTest, ADayBeforeTheFirstOrOnTheLastDayNeverMatches)
{
    RecurrencePattern pattern = Pattern(kDaily, 0, 1, 0);
    pattern.dwStartDate = Minutes(2026, 1, 28);
    pattern.dwEndDate = Minutes(2026, 1, 31);
    EXPECT_EQ(DaysOf(pattern, 1), "28 29 30");
    EXPECT_EQ(DaysOf(pattern, 2), "");
    // A minute after midnight of the first day that day has begun already; 23:59 of the last one is enough.
    ++pattern.dwStartDate;
    EXPECT_EQ(DaysOf(pattern, 1), "29 30");
    pattern.dwEndDate = Minutes(2026, 1, 31) + 1439;
    EXPECT_EQ(DaysOf(pattern, 1), "29 30 31");
    --pattern.dwEndDate;
    EXPECT_EQ(DaysOf(pattern, 1), "29 30");
}

TEST(RecurrenceMatchTest, EastAndWestOfGreenwichTheDayIsTheOneInWhichItEnds)
{
    // 5th January at UTC+9 begins and ends while UTC has the 4th and the 5th; at UTC-5 it ends on the 6th.
    CalendarDay east;
    east.ftStart = TimeOf({2026, 1, 0, 4, 15, 0, 0, 0});
    east.ftEnd = TimeOf({2026, 1, 0, 5, 14, 59, 0, 0});
    ASSERT_TRUE(FileTimeToSystemTime(&east.ftEnd, &east.stReference));
    EXPECT_FALSE(MatchesDay(Pattern(kWeekly, 1, 1, kMonday), east)) << "the first day has begun before its midnight";
    RecurrencePattern before = Pattern(kWeekly, 1, 1, kMonday);
    before.dwStartDate = Minutes(2025, 12, 29);
    EXPECT_TRUE(MatchesDay(before, east));

    CalendarDay west;
    west.ftStart = TimeOf({2026, 1, 0, 5, 5, 0, 0, 0});
    west.ftEnd = TimeOf({2026, 1, 0, 6, 4, 59, 0, 0});
    ASSERT_TRUE(FileTimeToSystemTime(&west.ftEnd, &west.stReference));
    EXPECT_FALSE(MatchesDay(before, west));
    EXPECT_FALSE(MatchesDay(Pattern(kWeekly, 1, 1, kTuesday), west)) << "a day and a bit is no whole week";
    EXPECT_TRUE(MatchesDay(Pattern(kDaily, 1, 1, kTuesday), west));
    EXPECT_TRUE(MatchesDay(Pattern(kMonthly, 2, 1, 6), west));
}

TEST(RecurrenceMatchTest, DatesAtTheEndsOfTimeAreSafe)
{
    RecurrencePattern pattern = Pattern(kDaily, 0, 1, 0);
    pattern.dwStartDate = 0;
    pattern.dwEndDate = 0xFFFFFFFF;
    EXPECT_TRUE(MatchesDay(pattern, Day(2026, 1, 1)));
    EXPECT_FALSE(MatchesDay(pattern, Day(9999, 12, 31))) << "after the largest number of minutes";
    pattern.dwStartDate = 0xFFFFFFFF;
    EXPECT_FALSE(MatchesDay(pattern, Day(2026, 1, 1)));
    // The UTC form of a day may lie in the year 10000, which is no variant date.
    CalendarDay day = Day(2026, 1, 1);
    day.stReference.wYear = 10000;
    pattern.dwStartDate = 0;
    EXPECT_FALSE(MatchesDay(pattern, day));
}

CalendarEvent Event(SYSTEMTIME start, LONG duration)
{
    CalendarEvent event;
    event.stStart = start;
    event.stEnd = {2001, 2, 6, 3, 4, 5, 6, 0};
    event.lDuration = duration;
    return event;
}
std::string ToTheMillisecond(const SYSTEMTIME &time)
{
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d(%d) %02d:%02d:%02d.%03d", time.wYear, time.wMonth, time.wDay,
                  time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
}

TEST(RecurrenceMatchTest, AnOccurrenceKeepsItsTimeOfDayAndLength)
{
    const struct {
        SYSTEMTIME start;
        LONG duration;
        const char *startText, *endText;
    } cases[] = {
        {{2020, 5, 1, 4, 9, 30, 15, 250}, 45, "2026-02-28(6) 09:30:15.250", "2026-02-28(6) 10:15:15.000"},
        {{2020, 5, 1, 4, 23, 30, 0, 0}, 60, "2026-02-28(6) 23:30:00.000", "2026-03-01(0) 00:30:00.000"},
        {{2020, 5, 1, 4, 0, 0, 0, 0}, 0, "2026-02-28(6) 00:00:00.000", "2026-02-28(6) 00:00:00.000"},
        {{2020, 5, 1, 4, 12, 0, 0, 0}, 1440 * 3 + 1, "2026-02-28(6) 12:00:00.000", "2026-03-03(2) 12:01:00.000"},
        {{2020, 5, 1, 4, 12, 0, 0, 0}, -90, "2026-02-28(6) 12:00:00.000", "2026-02-28(6) 10:30:00.000"},
    };
    for (const auto &example : cases) {
        CalendarEvent event = Event(example.start, example.duration);
        MoveToDay(event, Day(2026, 2, 28).stReference);
        EXPECT_EQ(ToTheMillisecond(event.stStart), example.startText);
        EXPECT_EQ(ToTheMillisecond(event.stEnd), example.endText);
    }
}

TEST(RecurrenceMatchTest, AnOccurrenceThatEndsBeyondAllDatesKeepsItsStoredEnd)
{
    for (const LONG duration : {LONG{0x7FFFFFFF}, static_cast<LONG>(0x80000000)}) {
        CalendarEvent event = Event({2020, 5, 1, 4, 12, 0, 0, 0}, duration);
        MoveToDay(event, Day(9000, 1, 1).stReference);
        EXPECT_EQ(ToTheMillisecond(event.stStart).substr(0, 10), "9000-01-01");
        if (duration > 0) {
            EXPECT_EQ(ToTheMillisecond(event.stEnd), "2001-02-03(6) 04:05:06.000");
        } else {
            EXPECT_EQ(event.stEnd.wYear, 4916);
        }
    }
}

} // namespace
