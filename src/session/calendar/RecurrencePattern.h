// The rule of a recurring appointment, out of the published binary structure.
#pragma once
#include <windows.h>

// Values of the structure's own fields.
constexpr WORD kDaily = 0x200A;
constexpr WORD kWeekly = 0x200B;
constexpr WORD kMonthly = 0x200C;
constexpr WORD kYearly = 0x200D;

constexpr WORD kPatternDay = 0;
constexpr WORD kPatternWeek = 1;
constexpr WORD kPatternMonth = 2;
constexpr WORD kPatternMonthNth = 3;
constexpr WORD kPatternMonthEnd = 4;
constexpr WORD kPatternHjMonth = 10;
constexpr WORD kPatternHjMonthNth = 11;
constexpr WORD kPatternHjMonthEnd = 12;

struct RecurrencePattern {
    WORD wRecurFrequency = 0;
    WORD wPatternType = 0;
    DWORD dwPeriod = 0;              // in the structure's unit: minutes of a daily rule, weeks, months
    DWORD dwPatternTypeSpecific = 0; // a weekday mask (1 is Sunday) or a day of the month
    DWORD dwN = 0;                   // week of the month, 5 is the last one
    DWORD dwStartDate = 0;           // midnight of the first and of the last day, in minutes since 1601
    DWORD dwEndDate = 0;
};

// Reads the pattern at the beginning of the structure; what follows it is not looked at. False, and an untouched
// pattern, where the bytes end before it does or its type is unknown.
bool ReadRecurrencePattern(const BYTE *pBytes, ULONG cb, RecurrencePattern &pattern);
