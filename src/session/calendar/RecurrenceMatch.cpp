// Whether a series falls on a day, by rules of the library's own, as the contract has it: a daily period counts in the
// structure's minutes, weekly rules match whole periods after their first day only, months are compared without their
// years, and the pattern's dates, which are local, with the day's bounds, which are not.
#include "session/calendar/RecurrenceMatch.h"
#include "common/errors/errors.h"
#include <cmath>
#include <optional>

namespace
{

constexpr double kMinutesPerDay = 1440;

FILETIME FileTimeOf(DWORD dwMinutes)
{
    const ULONGLONG ticks = ULONGLONG{dwMinutes} * 600000000;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

std::optional<double> VariantTimeOf(SYSTEMTIME time, int nLine = __builtin_LINE())
{
    double date = 0;
    if (SystemTimeToVariantTime(&time, &date))
        return date;
    TraceHResult("CMAPIImpl::ScanCalendarFolder", nLine, static_cast<HRESULT>(GetLastError()),
                 "SystemTimeToVariantTime", nullptr);
    return std::nullopt;
}

bool IsWholePeriods(LONGLONG count, ULONGLONG period)
{
    return period != 0 && count % static_cast<LONGLONG>(period) == 0;
}

// A recurrence's first day, and how far from it a day is.
class Distance
{
  public:
    Distance(const RecurrencePattern &pattern, const SYSTEMTIME &stFirst, const SYSTEMTIME &stDay, double days)
        : m_pattern(pattern), m_stDay(stDay), m_days(static_cast<LONGLONG>(std::trunc(days))),
          m_months(std::abs(stFirst.wMonth - stDay.wMonth))
    {
    }

    bool Matches() const
    {
        switch (m_pattern.wRecurFrequency) {
        case kDaily:
            return IsOnDays();
        case kWeekly:
            return m_pattern.wPatternType == kPatternWeek && IsOnWeekday() &&
                   IsWholePeriods(m_days, ULONGLONG{m_pattern.dwPeriod} * 7);
        case kMonthly:
        case kYearly:
            return IsOnDayOfMonth();
        default:
            return false;
        }
    }

  private:
    bool IsOnWeekday() const { return (m_pattern.dwPatternTypeSpecific & (1u << m_stDay.wDayOfWeek)) != 0; }
    bool IsOnDays() const
    {
        if (m_pattern.wPatternType == kPatternDay)
            return IsWholePeriods(m_days, m_pattern.dwPeriod);
        return m_pattern.wPatternType == kPatternWeek && IsOnWeekday();
    }
    bool IsOnDayOfMonth() const
    {
        switch (m_pattern.wPatternType) {
        case kPatternMonth:
        case kPatternMonthEnd:
        case kPatternHjMonth:
        case kPatternHjMonthEnd:
            return m_pattern.dwPatternTypeSpecific == m_stDay.wDay && IsWholePeriods(m_months, m_pattern.dwPeriod);
        case kPatternMonthNth:
        case kPatternHjMonthNth:
            return IsOnWeekday() && IsWholePeriods(m_months, m_pattern.dwPeriod) && IsInWeek();
        default:
            return false;
        }
    }
    bool IsInWeek() const
    {
        return m_stDay.wDay / 7u + 1 == m_pattern.dwN || (m_pattern.dwN == 5 && m_stDay.wDay > 24);
    }

    const RecurrencePattern &m_pattern;
    const SYSTEMTIME &m_stDay;
    const LONGLONG m_days;
    const LONGLONG m_months;
};

} // namespace

bool MatchesDay(const RecurrencePattern &pattern, const CalendarDay &day)
{
    const FILETIME ftFirst = FileTimeOf(pattern.dwStartDate);
    const FILETIME ftLast = FileTimeOf(pattern.dwEndDate);
    if (CompareFileTime(&ftFirst, &day.ftStart) > 0 || CompareFileTime(&day.ftEnd, &ftLast) > 0)
        return false;
    // Any number of minutes in 32 bits is a date.
    SYSTEMTIME stFirst = {};
    FileTimeToSystemTime(&ftFirst, &stFirst);
    const auto first = VariantTimeOf(stFirst);
    const auto reference = VariantTimeOf(day.stReference);
    if (!first || !reference)
        return false;
    return Distance(pattern, stFirst, day.stReference, *reference - *first).Matches();
}

void MoveToDay(CalendarEvent &event, const SYSTEMTIME &stReference)
{
    event.stStart.wYear = stReference.wYear;
    event.stStart.wMonth = stReference.wMonth;
    event.stStart.wDayOfWeek = stReference.wDayOfWeek;
    event.stStart.wDay = stReference.wDay;
    const auto start = VariantTimeOf(event.stStart);
    if (start && !VariantTimeToSystemTime(*start + event.lDuration / kMinutesPerDay, &event.stEnd))
        TraceHResult("CMAPIImpl::ScanCalendarFolder", __LINE__, static_cast<HRESULT>(GetLastError()),
                     "VariantTimeToSystemTime", nullptr);
}
