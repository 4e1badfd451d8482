// The structure is the one of the published appointment and meeting object protocol: a recurrence pattern, then the
// appointment's own part of it.
#include "localmapi/delivery/RecurrenceRule.h"
#include "localmapi/storage/Time.h"
#include <algorithm>
#include <array>

namespace localmapi::delivery
{

using namespace std::chrono;

namespace
{

using Kind = RecurrenceRule::Kind;

constexpr Day kNoEnd = sys_days(year(4500) / August / 31); // the end of what never ends
constexpr std::uint32_t kMinutesADay = 1440;
constexpr unsigned kMostDays = 999, kMostWeeks = 99, kMostMonths = 99, kMostTimes = 999;

constexpr std::array kWeekdays = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::array kMonths = {"January", "February", "March",     "April",   "May",      "June",
                                "July",    "August",   "September", "October", "November", "December"};
constexpr std::array kWeeks = {"first", "second", "third", "fourth", "last"};

std::uint32_t MinutesOf(Day day)
{
    return static_cast<std::uint32_t>((day - storage::kFirstDay).count()) * kMinutesADay;
}

int MonthNumber(const year_month_day &date)
{
    return static_cast<int>((date.year() - storage::kFirstYear).count()) * 12 +
           static_cast<int>(static_cast<unsigned>(date.month())) - 1;
}

unsigned DaysIn(const year_month_day &date)
{
    return static_cast<unsigned>((date.year() / date.month() / last).day());
}

// Whether the day is the n-th, or the last, of those of its month that fall on the weekdays.
bool IsInWeek(const RecurrenceRule &rule, Day day)
{
    if (!(rule.weekdays & WeekdayBit(day)))
        return false;
    const year_month_day date(day);
    unsigned place = 0, behind = 0;
    for (unsigned other = 1; other <= DaysIn(date); ++other) {
        if (!(rule.weekdays & WeekdayBit(sys_days(date.year() / date.month() / other))))
            continue;
        (other <= static_cast<unsigned>(date.day()) ? place : behind) += 1;
    }
    return rule.week == 5 ? behind == 0 : place == rule.week;
}

bool IsDayOfMonth(const RecurrenceRule &rule, const year_month_day &date)
{
    return static_cast<unsigned>(date.day()) == std::min(rule.day, DaysIn(date));
}

bool IsMonth(const RecurrenceRule &rule, const year_month_day &date)
{
    return static_cast<unsigned>(date.month()) == rule.month;
}

// Whether the rule falls on the day, whatever its interval.
bool FallsOn(const RecurrenceRule &rule, Day day)
{
    const year_month_day date(day);
    switch (rule.kind) {
    case Kind::Days:
        return true;
    case Kind::Workdays:
        return (kWorkdays & WeekdayBit(day)) != 0;
    case Kind::Weeks:
        return (rule.weekdays & WeekdayBit(day)) != 0;
    case Kind::DayOfMonth:
        return IsDayOfMonth(rule, date);
    case Kind::WeekOfMonth:
        return IsInWeek(rule, day);
    case Kind::DayOfYear:
        return IsMonth(rule, date) && IsDayOfMonth(rule, date);
    case Kind::WeekOfYear:
        return IsMonth(rule, date) && IsInWeek(rule, day);
    }
    return false;
}

Day WeekOf(Day day)
{
    return day - days(weekday(day).c_encoding());
}

// Whether a day is a whole number of intervals after the first one.
bool IsInInterval(const RecurrenceRule &rule, Day first, Day day)
{
    const auto interval = static_cast<int>(rule.interval);
    switch (rule.kind) {
    case Kind::Days:
        return (day - first).count() % interval == 0;
    case Kind::Workdays:
        return true;
    case Kind::Weeks:
        return (WeekOf(day) - WeekOf(first)).count() / 7 % interval == 0;
    case Kind::DayOfMonth:
    case Kind::WeekOfMonth:
        return (MonthNumber(day) - MonthNumber(first)) % interval == 0;
    case Kind::DayOfYear:
    case Kind::WeekOfYear:
        return (MonthNumber(day) - MonthNumber(first)) % (interval * 12) == 0;
    }
    return false;
}

class ByteWriter
{
  public:
    void Put(std::uint32_t value, int count)
    {
        for (int i = 0; i < count; ++i)
            m_bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    storage::Bytes Take() { return std::move(m_bytes); }

  private:
    storage::Bytes m_bytes;
};

struct Shape {
    std::uint16_t frequency, type;
    std::uint32_t period;
};

Shape ShapeOf(const RecurrenceRule &rule)
{
    constexpr std::uint16_t kDaily = 0x200A, kWeekly = 0x200B, kMonthly = 0x200C, kYearly = 0x200D;
    constexpr std::uint16_t kDay = 0, kWeek = 1, kMonth = 2, kMonthNth = 3;
    switch (rule.kind) {
    case Kind::Days:
        return {kDaily, kDay, rule.interval * kMinutesADay};
    case Kind::Workdays:
        return {kDaily, kWeek, 1};
    case Kind::Weeks:
        return {kWeekly, kWeek, rule.interval};
    case Kind::DayOfMonth:
        return {kMonthly, kMonth, rule.interval};
    case Kind::WeekOfMonth:
        return {kMonthly, kMonthNth, rule.interval};
    case Kind::DayOfYear:
        return {kYearly, kMonth, rule.interval * 12};
    case Kind::WeekOfYear:
        return {kYearly, kMonthNth, rule.interval * 12};
    }
    return {};
}

// Where the counting of periods begins: the first day of the period that the first occurrence lies in, less the whole
// cycles since 1601.
std::uint32_t FirstDateTime(const RecurrenceRule &rule, const Shape &shape, Day first)
{
    switch (rule.kind) {
    case Kind::Days:
        return MinutesOf(first) % shape.period;
    case Kind::Workdays:
    case Kind::Weeks: {
        // The first week of 1601 begins in 1600.
        const std::uint32_t cycle = shape.period * 7 * kMinutesADay;
        return (MinutesOf(WeekOf(first) + days(7)) + cycle - 7 * kMinutesADay) % cycle;
    }
    default: {
        const int months = MonthNumber(first) % static_cast<int>(shape.period);
        return MinutesOf(sys_days(year_month_day(storage::kFirstDay) + std::chrono::months(months)));
    }
    }
}

std::string ListOf(std::uint32_t weekdays)
{
    if (weekdays == kEveryDay)
        return "day";
    if (weekdays == kWorkdays)
        return "weekday";
    std::string list;
    for (unsigned i = 0; i < 7; ++i)
        if (weekdays & 1u << i)
            list += (list.empty() ? "" : " and ") + std::string(kWeekdays[i]);
    return list;
}

std::string Every(unsigned interval, const std::string &unit)
{
    return interval == 1 ? "Every " + unit : "Every " + std::to_string(interval) + " " + unit + "s";
}

} // namespace

std::uint32_t WeekdayBit(Day day)
{
    return 1u << weekday(day).c_encoding();
}

std::string MistakeIn(const RecurrenceRule &rule)
{
    const bool byMonth = rule.kind == Kind::DayOfMonth || rule.kind == Kind::WeekOfMonth;
    const bool byYear = rule.kind == Kind::DayOfYear || rule.kind == Kind::WeekOfYear;
    const bool byWeek = rule.kind == Kind::WeekOfMonth || rule.kind == Kind::WeekOfYear;
    const unsigned most = rule.kind == Kind::Days    ? kMostDays
                          : rule.kind == Kind::Weeks ? kMostWeeks
                          : byYear                   ? kMostMonths / 12
                          : byMonth                  ? kMostMonths
                                                     : 1;
    if (rule.interval < 1 || rule.interval > most)
        return "the interval must be 1 to " + std::to_string(most);
    if ((rule.kind == Kind::Weeks || byWeek) && (rule.weekdays == 0 || rule.weekdays > kEveryDay))
        return "a day of the week is missing";
    if (byWeek && (rule.week < 1 || rule.week > 5))
        return "the week of the month must be 1 to 5";
    if ((rule.kind == Kind::DayOfMonth || rule.kind == Kind::DayOfYear) && (rule.day < 1 || rule.day > 31))
        return "the day of the month must be 1 to 31";
    if (byYear && (rule.month < 1 || rule.month > 12))
        return "the month must be 1 to 12";
    if (rule.until && rule.times)
        return "a series ends on a day or after a number of times, not both";
    if (rule.until && *rule.until >= kNoEnd)
        return "the last day is too late";
    if (rule.times && (*rule.times < 1 || *rule.times > kMostTimes))
        return "the number of times must be 1 to " + std::to_string(kMostTimes);
    return "";
}

std::optional<Day> FirstOccurrence(const RecurrenceRule &rule, Day start)
{
    const Day end = rule.until.value_or(kNoEnd - days(1));
    for (Day day = start; day <= end; day += days(1))
        if (FallsOn(rule, day))
            return day;
    return std::nullopt;
}

std::optional<Occurrences> OccurrencesFrom(const RecurrenceRule &rule, Day first)
{
    const Day end = rule.until.value_or(kNoEnd - days(1));
    Occurrences found{first, 0};
    for (Day day = first; day <= end; day += days(1)) {
        if (!FallsOn(rule, day) || !IsInInterval(rule, first, day))
            continue;
        found.last = day;
        if (++found.count == rule.times)
            return found;
    }
    return rule.times || found.count == 0 ? std::nullopt : std::optional(found);
}

storage::Bytes RecurrenceStructure(const RecurrenceRule &rule, Day first, unsigned startMinute, unsigned minutes)
{
    constexpr std::uint32_t kUntil = 0x2021, kTimes = 0x2022, kForEver = 0x2023;
    constexpr std::uint32_t kForEverCount = 10, kForEverEnd = 0x5AE980DF;
    constexpr std::uint32_t kFirstDayOfWeek = 0; // Sunday
    const Shape shape = ShapeOf(rule);
    const auto occurrences = rule.until || rule.times ? OccurrencesFrom(rule, first) : std::nullopt;

    ByteWriter bytes;
    bytes.Put(0x3004, 2); // reader and writer version
    bytes.Put(0x3004, 2);
    bytes.Put(shape.frequency, 2);
    bytes.Put(shape.type, 2);
    bytes.Put(0, 2); // the default calendar
    bytes.Put(FirstDateTime(rule, shape, first), 4);
    bytes.Put(shape.period, 4);
    bytes.Put(0, 4); // no sliding
    switch (rule.kind) {
    case Kind::Days:
        break;
    case Kind::Workdays:
        bytes.Put(kWorkdays, 4);
        break;
    case Kind::Weeks:
        bytes.Put(rule.weekdays, 4);
        break;
    case Kind::DayOfMonth:
    case Kind::DayOfYear:
        bytes.Put(rule.day, 4);
        break;
    case Kind::WeekOfMonth:
    case Kind::WeekOfYear:
        bytes.Put(rule.weekdays, 4);
        bytes.Put(rule.week, 4);
        break;
    }
    bytes.Put(!occurrences ? kForEver : rule.times ? kTimes : kUntil, 4);
    bytes.Put(occurrences ? occurrences->count : kForEverCount, 4);
    bytes.Put(kFirstDayOfWeek, 4);
    bytes.Put(0, 4); // deleted and changed occurrences
    bytes.Put(0, 4);
    bytes.Put(MinutesOf(first), 4);
    bytes.Put(occurrences ? MinutesOf(occurrences->last) : kForEverEnd, 4);

    bytes.Put(0x3006, 4); // reader and writer version of the appointment's part
    bytes.Put(0x3009, 4);
    bytes.Put(startMinute, 4);
    bytes.Put(startMinute + minutes, 4);
    bytes.Put(0, 2); // exceptions
    bytes.Put(0, 4); // the two reserved blocks, both empty
    bytes.Put(0, 4);
    return bytes.Take();
}

std::string Describe(const RecurrenceRule &rule)
{
    std::string text;
    const auto week = [&] { return std::string(kWeeks[rule.week - 1]) + " " + ListOf(rule.weekdays); };
    const auto month = [&] { return std::string(kMonths[rule.month - 1]); };
    switch (rule.kind) {
    case Kind::Days:
        text = Every(rule.interval, "day");
        break;
    case Kind::Workdays:
        text = "Every weekday";
        break;
    case Kind::Weeks:
        text = Every(rule.interval, "week") + " on " + ListOf(rule.weekdays);
        break;
    case Kind::DayOfMonth:
        text = Every(rule.interval, "month") + " on day " + std::to_string(rule.day);
        break;
    case Kind::WeekOfMonth:
        text = Every(rule.interval, "month") + " on the " + week();
        break;
    case Kind::DayOfYear:
        text = Every(rule.interval, "year") + " on " + month() + " " + std::to_string(rule.day);
        break;
    case Kind::WeekOfYear:
        text = Every(rule.interval, "year") + " on the " + week() + " of " + month();
        break;
    }
    if (rule.times)
        text += ", " + std::to_string(*rule.times) + (*rule.times == 1 ? " time" : " times");
    if (rule.until) {
        const year_month_day date(*rule.until);
        char day[32];
        std::snprintf(day, sizeof day, "%04d-%02u-%02u", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
        text += " until " + std::string(day);
    }
    return text;
}

std::int32_t RecurrenceType(const RecurrenceRule &rule)
{
    switch (rule.kind) {
    case Kind::Days:
    case Kind::Workdays:
        return 1;
    case Kind::Weeks:
        return 2;
    case Kind::DayOfMonth:
    case Kind::WeekOfMonth:
        return 3;
    default:
        return 4;
    }
}

} // namespace localmapi::delivery
