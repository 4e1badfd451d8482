// Variant dates: days since 1899-12-30 with the time of day as fraction, which counts away from zero before that day.
#include <cmath>
#include <ctime>
#include <oleauto.h>

namespace
{
constexpr double kFirst = -657435; // below 1st January 100
constexpr double kEnd = 2958466;   // 1st January 10000
constexpr long long kSecondsPerDay = 86400;
// From 1899-12-30 to 1970-01-01.
constexpr long long kDaysFrom1899ToUnix = 25569;
} // namespace

INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime)
{
    if (!(vtime > kFirst && vtime < kEnd))
        return 0;
    const double day = std::trunc(vtime);
    // To the nearest second; the last one of a day may be the next day's first.
    const auto seconds = static_cast<long long>(std::floor(std::fabs(vtime - day) * kSecondsPerDay + 0.5));
    const time_t unixTime = (static_cast<long long>(day) - kDaysFrom1899ToUnix) * kSecondsPerDay + seconds;
    tm utc;
    gmtime_r(&unixTime, &utc);
    *lpSystemTime = {static_cast<WORD>(utc.tm_year + 1900), static_cast<WORD>(utc.tm_mon + 1),
                     static_cast<WORD>(utc.tm_wday),        static_cast<WORD>(utc.tm_mday),
                     static_cast<WORD>(utc.tm_hour),        static_cast<WORD>(utc.tm_min),
                     static_cast<WORD>(utc.tm_sec),         0};
    return 1;
}

INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE *pvtime)
{
    const SYSTEMTIME &time = *lpSystemTime;
    if (time.wYear > 9999 || time.wMonth > 12 || time.wDay > 31)
        return 0;
    // What lies outside a month or a day counts on from there (31st February); two digits mean 1930 to 2029.
    tm utc{};
    utc.tm_year = (time.wYear < 30 ? 2000 : time.wYear < 100 ? 1900 : 0) + time.wYear - 1900;
    utc.tm_mon = time.wMonth - 1;
    utc.tm_mday = time.wDay;
    utc.tm_hour = time.wHour;
    utc.tm_min = time.wMinute;
    utc.tm_sec = time.wSecond;
    const long long seconds = timegm(&utc) + kDaysFrom1899ToUnix * kSecondsPerDay;
    const double day = std::floor(static_cast<double>(seconds) / kSecondsPerDay);
    const double part = static_cast<double>(seconds - static_cast<long long>(day) * kSecondsPerDay) / kSecondsPerDay;
    const double value = day < 0 ? day - part : day + part;
    if (!(value > kFirst && value < kEnd))
        return 0;
    *pvtime = value;
    return 1;
}
