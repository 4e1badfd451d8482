// Times between their forms.
#include "last_error.h"
#include <time.h>
#include <windows.h>

namespace
{
constexpr ULONGLONG kTicksPerSecond = 10000000;
constexpr ULONGLONG kTicksPerDay = 86400 * kTicksPerSecond;
// From 1601 to 1970.
constexpr LONGLONG kDaysFrom1601ToUnix = 134774;

ULONGLONG Ticks(const FILETIME &time)
{
    return static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

FILETIME FromTicks(ULONGLONG ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

bool IsLeapYear(int year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

bool IsValid(const SYSTEMTIME &time)
{
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (time.wYear < 1601 || time.wYear > 30827 || time.wMonth < 1 || time.wMonth > 12)
        return false;
    const int days = kDays[time.wMonth - 1] + (time.wMonth == 2 && IsLeapYear(time.wYear) ? 1 : 0);
    return time.wDay >= 1 && time.wDay <= days && time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 &&
           time.wMilliseconds < 1000;
}

// Days since 1601-01-01. Years are counted from March, so that the leap day is the last one.
LONGLONG DaysOf(const SYSTEMTIME &time)
{
    const LONGLONG year = time.wYear - (time.wMonth <= 2 ? 1 : 0);
    const LONGLONG month = (time.wMonth + 9) % 12;
    return year * 365 + year / 4 - year / 100 + year / 400 + (month * 153 + 2) / 5 + time.wDay - 1 - 584694;
}

SYSTEMTIME FromTm(const tm &time, WORD milliseconds)
{
    return {static_cast<WORD>(time.tm_year + 1900), static_cast<WORD>(time.tm_mon + 1),
            static_cast<WORD>(time.tm_wday),        static_cast<WORD>(time.tm_mday),
            static_cast<WORD>(time.tm_hour),        static_cast<WORD>(time.tm_min),
            static_cast<WORD>(time.tm_sec),         milliseconds};
}

tm ToTm(const SYSTEMTIME &time)
{
    tm result{};
    result.tm_year = time.wYear - 1900;
    result.tm_mon = time.wMonth - 1;
    result.tm_mday = time.wDay;
    result.tm_hour = time.wHour;
    result.tm_min = time.wMinute;
    result.tm_sec = time.wSecond;
    result.tm_isdst = -1;
    return result;
}

// What local time is ahead of UTC, now.
ULONGLONG LocalOffset()
{
    const time_t now = time(nullptr);
    tm local;
    localtime_r(&now, &local);
    return static_cast<ULONGLONG>(static_cast<LONGLONG>(local.tm_gmtoff) * static_cast<LONGLONG>(kTicksPerSecond));
}
} // namespace

BOOL SystemTimeToFileTime(const SYSTEMTIME *lpSystemTime, LPFILETIME lpFileTime)
{
    if (!IsValid(*lpSystemTime))
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    const ULONGLONG seconds = (lpSystemTime->wHour * 60ull + lpSystemTime->wMinute) * 60ull + lpSystemTime->wSecond;
    *lpFileTime = FromTicks(static_cast<ULONGLONG>(DaysOf(*lpSystemTime)) * kTicksPerDay + seconds * kTicksPerSecond +
                            lpSystemTime->wMilliseconds * 10000ull);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME *lpFileTime, LPSYSTEMTIME lpSystemTime)
{
    const ULONGLONG ticks = Ticks(*lpFileTime);
    if (ticks >> 63)
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    const auto seconds = static_cast<time_t>(ticks / kTicksPerSecond) - kDaysFrom1601ToUnix * 86400;
    tm utc;
    gmtime_r(&seconds, &utc);
    *lpSystemTime = FromTm(utc, static_cast<WORD>(ticks % kTicksPerSecond / 10000));
    return TRUE;
}

BOOL FileTimeToLocalFileTime(const FILETIME *lpFileTime, LPFILETIME lpLocalFileTime)
{
    *lpLocalFileTime = FromTicks(Ticks(*lpFileTime) + LocalOffset());
    return TRUE;
}

BOOL LocalFileTimeToFileTime(const FILETIME *lpLocalFileTime, LPFILETIME lpFileTime)
{
    *lpFileTime = FromTicks(Ticks(*lpLocalFileTime) - LocalOffset());
    return TRUE;
}

BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION *lpTimeZone, const SYSTEMTIME *lpUniversalTime,
                                     LPSYSTEMTIME lpLocalTime)
{
    if (lpTimeZone || !IsValid(*lpUniversalTime))
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    tm utc = ToTm(*lpUniversalTime);
    const time_t seconds = timegm(&utc);
    tm local;
    localtime_r(&seconds, &local);
    *lpLocalTime = FromTm(local, lpUniversalTime->wMilliseconds);
    return TRUE;
}

BOOL TzSpecificLocalTimeToSystemTime(const TIME_ZONE_INFORMATION *lpTimeZone, const SYSTEMTIME *lpLocalTime,
                                     LPSYSTEMTIME lpUniversalTime)
{
    if (lpTimeZone || !IsValid(*lpLocalTime))
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    tm local = ToTm(*lpLocalTime);
    const time_t seconds = mktime(&local);
    tm utc;
    gmtime_r(&seconds, &utc);
    *lpUniversalTime = FromTm(utc, lpLocalTime->wMilliseconds);
    return TRUE;
}

LONG CompareFileTime(const FILETIME *lpFileTime1, const FILETIME *lpFileTime2)
{
    const ULONGLONG left = Ticks(*lpFileTime1), right = Ticks(*lpFileTime2);
    return left < right ? -1 : left > right ? 1 : 0;
}

BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime)
{
    const SYSTEMTIME time{static_cast<WORD>(1980 + (wFatDate >> 9)),
                          static_cast<WORD>(wFatDate >> 5 & 15),
                          0,
                          static_cast<WORD>(wFatDate & 31),
                          static_cast<WORD>(wFatTime >> 11),
                          static_cast<WORD>(wFatTime >> 5 & 63),
                          static_cast<WORD>((wFatTime & 31) * 2),
                          0};
    return SystemTimeToFileTime(&time, lpFileTime);
}
