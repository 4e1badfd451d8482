// The rules of recurring appointments: their occurrences, what makes no sense, their description, and the published
// structure, byte for byte.
#include "Days.h"
#include <gmock/gmock.h>

namespace localmapi::delivery
{

namespace
{

using namespace std::chrono;
using Kind = RecurrenceRule::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kMonday = 2, kTuesday = 4, kThursday = 16, kFriday = 32, kSunday = 1;

RecurrenceRule Rule(Kind kind, unsigned interval = 1)
{
    RecurrenceRule rule;
    rule.kind = kind;
    rule.interval = interval;
    return rule;
}
RecurrenceRule Weekly(std::uint32_t weekdays, unsigned interval = 1)
{
    RecurrenceRule rule = Rule(Kind::Weeks, interval);
    rule.weekdays = weekdays;
    return rule;
}
RecurrenceRule ByDay(Kind kind, unsigned day, unsigned month = 0, unsigned interval = 1)
{
    RecurrenceRule rule = Rule(kind, interval);
    rule.day = day;
    rule.month = month;
    return rule;
}
RecurrenceRule ByWeek(Kind kind, unsigned week, std::uint32_t weekdays, unsigned month = 0)
{
    RecurrenceRule rule = Rule(kind);
    rule.week = week;
    rule.weekdays = weekdays;
    rule.month = month;
    return rule;
}

std::string TextOf(Day day)
{
    const year_month_day date(day);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text;
}

// The first occurrences from a day on, found one by one.
std::vector<std::string> Days(RecurrenceRule rule, Day start, unsigned count)
{
    std::vector<std::string> found;
    const auto first = FirstOccurrence(rule, start);
    for (unsigned times = 1; first && times <= count; ++times) {
        rule.times = times;
        const auto occurrences = OccurrencesFrom(rule, *first);
        if (!occurrences)
            break;
        EXPECT_EQ(occurrences->count, times);
        found.push_back(TextOf(occurrences->last));
    }
    return found;
}

TEST(RecurrenceRule, DailyRulesFallOnEveryNthDay)
{
    EXPECT_THAT(Days(Rule(Kind::Days), On(2028, 2, 28), 3), ElementsAre("2028-02-28", "2028-02-29", "2028-03-01"));
    EXPECT_THAT(Days(Rule(Kind::Days, 10), On(2026, 12, 25), 3), ElementsAre("2026-12-25", "2027-01-04", "2027-01-14"));
    EXPECT_THAT(Days(Rule(Kind::Workdays), On(2026, 11, 21), 6),
                ElementsAre("2026-11-23", "2026-11-24", "2026-11-25", "2026-11-26", "2026-11-27", "2026-11-30"));
}

TEST(RecurrenceRule, WeeklyRulesCountWeeksThatBeginOnSunday)
{
    EXPECT_THAT(Days(Weekly(kMonday | kFriday), On(2026, 11, 24), 4),
                ElementsAre("2026-11-27", "2026-11-30", "2026-12-04", "2026-12-07"));
    EXPECT_THAT(Days(Weekly(kMonday | kFriday, 2), On(2026, 11, 27), 4),
                ElementsAre("2026-11-27", "2026-12-07", "2026-12-11", "2026-12-21"));
    EXPECT_THAT(Days(Weekly(kSunday, 3), On(2026, 11, 22), 2), ElementsAre("2026-11-22", "2026-12-13"));
}

TEST(RecurrenceRule, MonthlyRulesByDayFallOnTheLastDayOfShortMonths)
{
    EXPECT_THAT(Days(ByDay(Kind::DayOfMonth, 31), On(2026, 1, 31), 4),
                ElementsAre("2026-01-31", "2026-02-28", "2026-03-31", "2026-04-30"));
    EXPECT_THAT(Days(ByDay(Kind::DayOfMonth, 15, 0, 5), On(2026, 11, 20), 3),
                ElementsAre("2026-12-15", "2027-05-15", "2027-10-15"));
}

TEST(RecurrenceRule, MonthlyRulesByWeekCountTheDaysThatAreMeant)
{
    EXPECT_THAT(Days(ByWeek(Kind::WeekOfMonth, 1, kTuesday), On(2026, 4, 1), 3),
                ElementsAre("2026-04-07", "2026-05-05", "2026-06-02"));
    EXPECT_THAT(Days(ByWeek(Kind::WeekOfMonth, 5, kFriday), On(2026, 11, 1), 2),
                ElementsAre("2026-11-27", "2026-12-25"));
    EXPECT_THAT(Days(ByWeek(Kind::WeekOfMonth, 5, kWorkdays), On(2026, 5, 1), 2),
                ElementsAre("2026-05-29", "2026-06-30"));
    EXPECT_THAT(Days(ByWeek(Kind::WeekOfMonth, 2, kEveryDay), On(2026, 5, 1), 2),
                ElementsAre("2026-05-02", "2026-06-02"));
}

TEST(RecurrenceRule, YearlyRulesFallInTheirMonth)
{
    EXPECT_THAT(Days(ByDay(Kind::DayOfYear, 29, 2), On(2027, 3, 1), 3),
                ElementsAre("2028-02-29", "2029-02-28", "2030-02-28"));
    EXPECT_THAT(Days(ByDay(Kind::DayOfYear, 24, 12, 4), On(2026, 1, 1), 2), ElementsAre("2026-12-24", "2030-12-24"));
    EXPECT_THAT(Days(ByWeek(Kind::WeekOfYear, 4, kThursday, 11), On(2026, 11, 1), 2),
                ElementsAre("2026-11-26", "2027-11-25"));
}

TEST(RecurrenceRule, ASeriesEndsWithItsLastOccurrenceBeforeTheDayGiven)
{
    RecurrenceRule rule = Weekly(kMonday);
    rule.until = On(2026, 12, 10);
    const auto occurrences = OccurrencesFrom(rule, On(2026, 11, 23));
    ASSERT_TRUE(occurrences);
    EXPECT_EQ(TextOf(occurrences->last), "2026-12-07");
    EXPECT_EQ(occurrences->count, 3u);
    rule.until = On(2026, 11, 22);
    EXPECT_FALSE(FirstOccurrence(rule, On(2026, 11, 20)));
    EXPECT_FALSE(OccurrencesFrom(rule, On(2026, 11, 23)));
}

TEST(RecurrenceRule, MoreTimesThanThereAreDaysAreNoSeries)
{
    RecurrenceRule rule = ByDay(Kind::DayOfYear, 1, 1, 8);
    rule.times = 999;
    EXPECT_FALSE(OccurrencesFrom(rule, On(2026, 1, 1)));
}

TEST(RecurrenceRule, ThatMakesNoSenseIsToldWhy)
{
    EXPECT_EQ(MistakeIn(Rule(Kind::Days, 999)), "");
    EXPECT_EQ(MistakeIn(Rule(Kind::Days, 1000)), "the interval must be 1 to 999");
    EXPECT_EQ(MistakeIn(Rule(Kind::Days, 0)), "the interval must be 1 to 999");
    EXPECT_EQ(MistakeIn(Rule(Kind::Workdays, 2)), "the interval must be 1 to 1");
    EXPECT_EQ(MistakeIn(Weekly(kMonday, 99)), "");
    EXPECT_EQ(MistakeIn(Weekly(kMonday, 100)), "the interval must be 1 to 99");
    EXPECT_EQ(MistakeIn(Weekly(0)), "a day of the week is missing");
    EXPECT_EQ(MistakeIn(Weekly(0x80)), "a day of the week is missing");
    EXPECT_EQ(MistakeIn(ByDay(Kind::DayOfMonth, 31, 0, 99)), "");
    EXPECT_EQ(MistakeIn(ByDay(Kind::DayOfMonth, 32)), "the day of the month must be 1 to 31");
    EXPECT_EQ(MistakeIn(ByDay(Kind::DayOfMonth, 0)), "the day of the month must be 1 to 31");
    EXPECT_EQ(MistakeIn(ByDay(Kind::DayOfYear, 1, 13)), "the month must be 1 to 12");
    EXPECT_EQ(MistakeIn(ByDay(Kind::DayOfYear, 1, 1, 9)), "the interval must be 1 to 8");
    EXPECT_EQ(MistakeIn(ByWeek(Kind::WeekOfMonth, 6, kMonday)), "the week of the month must be 1 to 5");
    EXPECT_EQ(MistakeIn(ByWeek(Kind::WeekOfYear, 1, 0, 1)), "a day of the week is missing");
    RecurrenceRule rule = Rule(Kind::Days);
    rule.times = 999;
    EXPECT_EQ(MistakeIn(rule), "");
    rule.times = 1000;
    EXPECT_EQ(MistakeIn(rule), "the number of times must be 1 to 999");
    rule.until = On(2026, 1, 1);
    EXPECT_EQ(MistakeIn(rule), "a series ends on a day or after a number of times, not both");
    rule.times.reset();
    rule.until = On(4500, 8, 31);
    EXPECT_EQ(MistakeIn(rule), "the last day is too late");
}

std::string Hex(const storage::Bytes &bytes)
{
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        hex += digits;
    }
    return hex;
}

// The protocol's own example: Mondays, Thursdays and Fridays from 10:00 to 10:30, 12 times.
TEST(RecurrenceRule, IsWrittenAsThePublishedExampleOfAWeeklySeries)
{
    RecurrenceRule rule = Weekly(kMonday | kThursday | kFriday);
    rule.times = 12;
    EXPECT_EQ(Hex(RecurrenceStructure(rule, On(2007, 3, 26), 600, 30)),
              "043004300B2001000000C0210000010000000000000032000000222000000C0000000000000000000000000000008020BC0C20AD"
              "BC0C0630000009300000580200007602000000000000000000000000");
}

// The protocol's example of a daily series, every third day from 8:00 to 8:30, without the days that it deletes.
TEST(RecurrenceRule, IsWrittenAsThePublishedExampleOfADailySeries)
{
    RecurrenceRule rule = Rule(Kind::Days, 3);
    rule.until = On(2011, 5, 4);
    EXPECT_EQ(Hex(RecurrenceStructure(rule, On(2011, 4, 7), 480, 30)),
              "043004300A2000000000A0050000E010000000000000212000000A000000000000000000000000000000207EDC0C0016DD0C0630"
              "000009300000E0010000FE01000000000000000000000000");
}

std::uint32_t NumberAt(const storage::Bytes &bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | bytes.at(at + i);
    return value;
}

TEST(RecurrenceRule, OfMonthsAndYearsIsWrittenWithItsMonths)
{
    const struct {
        RecurrenceRule rule;
        std::uint32_t frequencyAndType, firstDateTime, period;
        std::vector<std::uint32_t> specific;
    } cases[] = {
        {Rule(Kind::Workdays), 0x0001200A, 8640, 1, {0x3E}},
        {ByDay(Kind::DayOfMonth, 17), 0x0002200C, 0, 1, {17}},
        // April 2026 is month 5103 since 1601: of every two, the second; of twelve, the fourth.
        {ByDay(Kind::DayOfMonth, 17, 0, 2), 0x0002200C, 31 * 1440, 2, {17}},
        {ByWeek(Kind::WeekOfMonth, 5, kFriday), 0x0003200C, 0, 1, {32, 5}},
        {ByDay(Kind::DayOfYear, 7, 4), 0x0002200D, 90 * 1440, 12, {7}},
        {ByWeek(Kind::WeekOfYear, 1, kTuesday, 4), 0x0003200D, 90 * 1440, 12, {4, 1}},
    };
    for (const auto &example : cases) {
        SCOPED_TRACE(Describe(example.rule));
        const storage::Bytes bytes = RecurrenceStructure(example.rule, On(2026, 4, 7), 540, 60);
        EXPECT_EQ(NumberAt(bytes, 4), example.frequencyAndType);
        EXPECT_EQ(NumberAt(bytes, 10), example.firstDateTime);
        EXPECT_EQ(NumberAt(bytes, 14), example.period);
        std::size_t at = 22;
        for (const std::uint32_t specific : example.specific) {
            EXPECT_EQ(NumberAt(bytes, at), specific);
            at += 4;
        }
        EXPECT_EQ(NumberAt(bytes, at), 0x2023u) << "it never ends";
        EXPECT_EQ(NumberAt(bytes, at + 4), 10u);
        EXPECT_EQ(NumberAt(bytes, at + 24), 0x5AE980DFu);
        EXPECT_EQ(NumberAt(bytes, at + 36), 540u);
        EXPECT_EQ(NumberAt(bytes, at + 40), 600u);
        EXPECT_EQ(bytes.size(), at + 54);
    }
}

// 1601 begins on a Monday: its first week, from which weeks are counted, began in 1600.
TEST(RecurrenceRule, OfWeeksIsCountedFromTheFirstWeekOf1601)
{
    const auto firstDateTime = [](const RecurrenceRule &rule, Day first) {
        return NumberAt(RecurrenceStructure(rule, first, 0, 0), 10);
    };
    EXPECT_EQ(firstDateTime(Weekly(kMonday), On(1601, 1, 1)), 6u * 1440);
    EXPECT_EQ(firstDateTime(Weekly(kMonday, 2), On(1601, 1, 1)), 13u * 1440);
    EXPECT_EQ(firstDateTime(Weekly(kMonday, 99), On(1601, 1, 1)), (99u * 7 - 1) * 1440);
    EXPECT_EQ(firstDateTime(Rule(Kind::Workdays), On(1601, 1, 5)), 6u * 1440);
    EXPECT_EQ(firstDateTime(Weekly(kMonday, 2), On(1601, 1, 8)), 6u * 1440);
    EXPECT_EQ(firstDateTime(Weekly(kSunday, 2), On(1601, 1, 14)), 13u * 1440);
}

TEST(RecurrenceRule, IsDescribedInALine)
{
    EXPECT_EQ(Describe(Rule(Kind::Days)), "Every day");
    EXPECT_EQ(Describe(Rule(Kind::Days, 3)), "Every 3 days");
    EXPECT_EQ(Describe(Rule(Kind::Workdays)), "Every weekday");
    RecurrenceRule weekly = Weekly(kMonday | kFriday, 2);
    weekly.until = On(2026, 12, 31);
    EXPECT_EQ(Describe(weekly), "Every 2 weeks on Monday and Friday until 2026-12-31");
    RecurrenceRule monthly = ByDay(Kind::DayOfMonth, 31);
    monthly.times = 1;
    EXPECT_EQ(Describe(monthly), "Every month on day 31, 1 time");
    monthly.times = 5;
    EXPECT_EQ(Describe(monthly), "Every month on day 31, 5 times");
    EXPECT_EQ(Describe(ByWeek(Kind::WeekOfMonth, 5, kWorkdays)), "Every month on the last weekday");
    EXPECT_EQ(Describe(ByWeek(Kind::WeekOfMonth, 1, kEveryDay)), "Every month on the first day");
    EXPECT_EQ(Describe(ByDay(Kind::DayOfYear, 24, 12, 2)), "Every 2 years on December 24");
    EXPECT_EQ(Describe(ByWeek(Kind::WeekOfYear, 4, kThursday, 11)), "Every year on the fourth Thursday of November");
}

TEST(RecurrenceRule, HasATypeForClients)
{
    EXPECT_EQ(RecurrenceType(Rule(Kind::Days)), 1);
    EXPECT_EQ(RecurrenceType(Rule(Kind::Workdays)), 1);
    EXPECT_EQ(RecurrenceType(Rule(Kind::Weeks)), 2);
    EXPECT_EQ(RecurrenceType(Rule(Kind::DayOfMonth)), 3);
    EXPECT_EQ(RecurrenceType(Rule(Kind::WeekOfMonth)), 3);
    EXPECT_EQ(RecurrenceType(Rule(Kind::DayOfYear)), 4);
    EXPECT_EQ(RecurrenceType(Rule(Kind::WeekOfYear)), 4);
}

} // namespace

} // namespace localmapi::delivery
