// Whether a recurring appointment falls on a day, and the occurrence of that day.
#pragma once
#include "session/calendar/CalendarEvent.h"
#include "session/calendar/RecurrencePattern.h"

// A day of local time, in UTC.
struct CalendarDay {
    FILETIME ftStart = {};
    FILETIME ftEnd = {};         // its last minute
    SYSTEMTIME stReference = {}; // the same instant; its date and weekday stand for the day
};

bool MatchesDay(const RecurrencePattern &pattern, const CalendarDay &day);

// Moves an appointment to the day: it keeps its time of day, and ends when its duration is over.
void MoveToDay(CalendarEvent &event, const SYSTEMTIME &stReference);
