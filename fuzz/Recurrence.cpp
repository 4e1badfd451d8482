// An appointment's recurrence structure, as any program may have written it: read, and matched with days.
#include "Fuzz.h"
#include "session/calendar/RecurrenceMatch.h"
#include "session/calendar/RecurrencePattern.h"

namespace
{

CalendarDay DayAt(ULONGLONG minutes)
{
    CalendarDay day;
    const ULONGLONG start = minutes * 600000000;
    const ULONGLONG end = (minutes + 1439) * 600000000;
    day.ftStart = {static_cast<DWORD>(start), static_cast<DWORD>(start >> 32)};
    day.ftEnd = {static_cast<DWORD>(end), static_cast<DWORD>(end >> 32)};
    Confirm(FileTimeToSystemTime(&day.ftEnd, &day.stReference), "a day is a date");
    return day;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    RecurrencePattern pattern;
    if (!ReadRecurrencePattern(data, static_cast<ULONG>(size), pattern))
        return 0;
    Confirm(size >= 50, "a pattern was read from bytes that are there");
    Confirm(!ReadRecurrencePattern(data, 49, pattern), "no pattern is shorter than the shortest");
    // The first days, the first and last ones of the pattern itself, and one in between.
    for (const ULONGLONG minutes :
         {ULONGLONG{0}, ULONGLONG{pattern.dwStartDate}, ULONGLONG{pattern.dwStartDate} + 10080,
          (ULONGLONG{pattern.dwStartDate} + pattern.dwEndDate) / 2, ULONGLONG{pattern.dwEndDate}}) {
        const CalendarDay day = DayAt(minutes);
        if (!MatchesDay(pattern, day))
            continue;
        Confirm(pattern.dwStartDate <= minutes && minutes + 1439 <= pattern.dwEndDate,
                "an occurrence lies between the first day and the last");
        CalendarEvent event;
        event.lDuration = static_cast<LONG>(pattern.dwPeriod);
        event.stStart = {2026, 11, 1, 23, 9, 30, 0, 0};
        MoveToDay(event, day.stReference);
        Confirm(event.stStart.wDay == day.stReference.wDay && event.stStart.wHour == 9,
                "an occurrence is on the day, at its own time");
    }
    return 0;
}
