// How an appointment recurs, its occurrences, and the published structure that says so to every client.
#pragma once
#include "localmapi/storage/Value.h"
#include <chrono>
#include <optional>
#include <string>

namespace localmapi::delivery
{

using Day = std::chrono::sys_days; // a date of the appointment's own local time

// Weekdays as bits: 1 is Sunday, 64 Saturday.
constexpr std::uint32_t kEveryDay = 0x7F;
constexpr std::uint32_t kWorkdays = 0x3E;
std::uint32_t WeekdayBit(Day day);

struct RecurrenceRule {
    enum class Kind {
        Days,        // every `interval` days
        Workdays,    // Monday to Friday
        Weeks,       // every `interval` weeks, on `weekdays`
        DayOfMonth,  // every `interval` months, on `day`; the last one of a month that is too short
        WeekOfMonth, // every `interval` months, the `week`-th (5: last) of `weekdays`
        DayOfYear,   // every `interval` years, on `day` of `month`
        WeekOfYear   // every `interval` years, the `week`-th (5: last) of `weekdays` in `month`
    };
    Kind kind = Kind::Days;
    unsigned interval = 1;
    std::uint32_t weekdays = 0;
    unsigned day = 0;
    unsigned week = 0;
    unsigned month = 0;
    // One of them at most; neither: for ever.
    std::optional<Day> until;
    std::optional<unsigned> times;
};

// What is wrong with a rule; empty where nothing is.
std::string MistakeIn(const RecurrenceRule &rule);

// The first day on or after `start` on which the rule falls, and the last; nothing where there is none (before the end
// that the rule has or, for one that has none, that the structure gives it).
std::optional<Day> FirstOccurrence(const RecurrenceRule &rule, Day start);
struct Occurrences {
    Day last;
    unsigned count = 0;
};
std::optional<Occurrences> OccurrencesFrom(const RecurrenceRule &rule, Day first); // of a rule that ends

// The structure for an appointment whose first occurrence is on `first`, from `startMinute` of its day for so long.
storage::Bytes RecurrenceStructure(const RecurrenceRule &rule, Day first, unsigned startMinute, unsigned minutes);

// "Every 2 weeks on Monday and Friday until 2026-12-31", as clients show it in a line.
std::string Describe(const RecurrenceRule &rule);

// The recurrence type that clients filter on: 1 daily, 2 weekly, 3 monthly, 4 yearly.
std::int32_t RecurrenceType(const RecurrenceRule &rule);

} // namespace localmapi::delivery
