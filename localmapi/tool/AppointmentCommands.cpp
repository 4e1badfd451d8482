// localmapi appointment: dates, times and recurrence from the command line.
#include "localmapi/delivery/Appointment.h"
#include "localmapi/storage/Time.h"
#include "localmapi/tool/AppointmentOptions.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"
#include <cstdio>
#include <windows.h>

namespace localmapi::tool
{

using namespace localmapi::delivery;
using std::chrono::year_month_day;

namespace
{

struct LocalTime {
    Day day;
    unsigned minute = 0; // of the day
};

std::optional<Day> DayOf(int year, unsigned month, unsigned day)
{
    const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    // As far as the structure for recurring appointments reaches.
    return date.ok() && year >= static_cast<int>(storage::kFirstYear) && year < 4500 ? std::optional(Day(date))
                                                                                     : std::nullopt;
}

Day ParseDay(const std::string &option, const std::string &text)
{
    int year = 0, end = 0;
    unsigned month = 0, day = 0;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2u%n", &year, &month, &day, &end) == 3 &&
        static_cast<std::size_t>(end) == text.size())
        if (const auto parsed = DayOf(year, month, day))
            return *parsed;
    throw ::tool::Misuse(option + ": \"" + text + "\" is not a date (2026-11-23)");
}

LocalTime ParseTime(const std::string &option, const std::string &text)
{
    int year = 0, end = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0;
    char separator = 0;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2u%c%2u:%2u%n", &year, &month, &day, &separator, &hour, &minute, &end) ==
            6 &&
        static_cast<std::size_t>(end) == text.size() && (separator == ' ' || separator == 'T') && hour < 24 &&
        minute < 60)
        if (const auto parsed = DayOf(year, month, day))
            return {*parsed, hour * 60 + minute};
    throw ::tool::Misuse(option + ": \"" + text + "\" is not a date and time (2026-11-23 09:00)");
}

// With the offset to UTC that holds at the date.
std::int64_t UtcOf(const LocalTime &time)
{
    const year_month_day date(time.day);
    const SYSTEMTIME local = {static_cast<WORD>(static_cast<int>(date.year())),
                              static_cast<WORD>(static_cast<unsigned>(date.month())),
                              0,
                              static_cast<WORD>(static_cast<unsigned>(date.day())),
                              static_cast<WORD>(time.minute / 60),
                              static_cast<WORD>(time.minute % 60),
                              0,
                              0};
    SYSTEMTIME utc;
    FILETIME ticks;
    if (!TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc) || !SystemTimeToFileTime(&utc, &ticks))
        throw ::tool::Misuse("the time can't be converted to UTC");
    return static_cast<std::int64_t>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

std::uint32_t WeekdaysOf(const std::vector<std::string> &names)
{
    static constexpr const char *kDays[] = {"sun", "mon", "tue", "wed", "thu", "fri", "sat"};
    std::uint32_t weekdays = 0;
    for (const std::string &name : names) {
        if (name == "day")
            weekdays |= kEveryDay;
        if (name == "weekday")
            weekdays |= kWorkdays;
        for (unsigned i = 0; i < 7; ++i)
            if (name == kDays[i])
                weekdays |= 1u << i;
    }
    return weekdays;
}

void Refuse(bool given, const std::string &option, const std::string &recur)
{
    if (given)
        throw ::tool::Misuse(option + " says nothing with --recur " + recur);
}

RecurrenceRule RuleOf(const AppointmentOptions &options, Day start)
{
    using Kind = RecurrenceRule::Kind;
    static constexpr const char *kWeeks[] = {"first", "second", "third", "fourth", "last"};
    const year_month_day date(start);
    const std::string &recur = options.recur;
    RecurrenceRule rule;
    rule.interval = options.every;
    rule.weekdays = WeekdaysOf(options.on);
    rule.day = options.day ? options.day : static_cast<unsigned>(date.day());
    rule.month = options.month ? options.month : static_cast<unsigned>(date.month());
    for (unsigned i = 0; i < 5; ++i)
        if (options.week == kWeeks[i])
            rule.week = i + 1;

    const bool byMonth = recur == "monthly" || recur == "yearly";
    Refuse(!byMonth && !options.week.empty(), "--week", recur);
    Refuse(!byMonth && options.day != 0, "--day", recur);
    Refuse(recur != "yearly" && options.month != 0, "--month", recur);
    if (recur == "daily") {
        if (!options.on.empty() && (rule.weekdays != kWorkdays || options.every != 1))
            throw ::tool::Misuse("--recur daily falls on every weekday (--on weekday) or on every --every days");
        rule.kind = options.on.empty() ? Kind::Days : Kind::Workdays;
    } else if (recur == "weekly") {
        rule.kind = Kind::Weeks;
        if (options.on.empty())
            rule.weekdays = WeekdayBit(start);
    } else if (rule.week != 0) {
        if (options.day != 0)
            throw ::tool::Misuse("a month's day is given by --day or by --week and --on, not by both");
        rule.kind = recur == "monthly" ? Kind::WeekOfMonth : Kind::WeekOfYear;
        if (options.on.empty())
            rule.weekdays = WeekdayBit(start);
    } else {
        if (!options.on.empty())
            throw ::tool::Misuse("--on needs --week with --recur " + recur);
        rule.kind = recur == "monthly" ? Kind::DayOfMonth : Kind::DayOfYear;
    }
    if (options.until)
        rule.until = ParseDay("--until", *options.until);
    if (options.times)
        rule.times = options.times;
    const std::string mistake = MistakeIn(rule);
    if (!mistake.empty())
        throw ::tool::Misuse(mistake);
    return rule;
}

// A series begins with its first occurrence on or after the day that was given.
void SetRule(Appointment &appointment, const AppointmentOptions &options, LocalTime &start, LocalTime &end)
{
    appointment.rule = RuleOf(options, start.day);
    const auto first = FirstOccurrence(*appointment.rule, start.day);
    if (!first || ((appointment.rule->until || appointment.rule->times) && !OccurrencesFrom(*appointment.rule, *first)))
        throw ::tool::Misuse("the series has no such occurrences");
    end.day += *first - start.day;
    start.day = *first;
    appointment.first = start.day;
    appointment.startMinute = start.minute;
}

BusyStatus BusyStatusOf(const std::string &text)
{
    return text == "free"        ? BusyStatus::Free
           : text == "tentative" ? BusyStatus::Tentative
           : text == "oof"       ? BusyStatus::OutOfOffice
                                 : BusyStatus::Busy;
}

} // namespace

void AddAppointment(const Common &common, const AppointmentOptions &options)
{
    Appointment appointment;
    LocalTime start = ParseTime("--start", options.start);
    LocalTime end = ParseTime("--end", options.end);
    if (!options.recur.empty())
        SetRule(appointment, options, start, end);
    else if (options.until || options.times || !options.on.empty() || !options.week.empty() || options.day ||
             options.month || options.every != 1)
        throw ::tool::Misuse("what says how an appointment recurs needs --recur");
    appointment.subject = options.subject;
    appointment.location = options.location;
    appointment.body = options.body;
    appointment.busy = BusyStatusOf(options.busy);
    appointment.start = UtcOf(start);
    appointment.end = UtcOf(end);
    if (appointment.end < appointment.start)
        throw ::tool::Misuse("the appointment ends before it starts");
    if ((appointment.end - appointment.start) / storage::kTicksPerMinute > 0x7FFFFFFF)
        throw ::tool::Misuse("the appointment is too long");

    const storage::Site site = OpenSite(common);
    const storage::User user = UserNamed(site, options.user);
    const storage::ObjectId calendar = storage::Directory(site).GetMailbox(user.mailbox).calendar;
    storage::Objects(site).CreateMessage(calendar, Compose(site, appointment, user));
    const std::string recurrence = appointment.rule ? Describe(*appointment.rule) : "";
    if (common.json)
        PrintJson({{"user", user.alias},
                   {"subject", options.subject},
                   {"start", IsoTime(appointment.start)},
                   {"end", IsoTime(appointment.end)},
                   {"recurrence", recurrence}});
    else
        PrintLine("put into the calendar of " + user.alias + ": " + options.subject +
                  (recurrence.empty() ? "" : " (" + recurrence + ")"));
}

} // namespace localmapi::tool
