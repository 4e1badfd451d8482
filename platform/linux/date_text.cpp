// GetDateFormat and GetTimeFormat: pictures, and a locale's own forms.
#include "last_error.h"
#include "time_locale.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <windows.h>

namespace
{
using platform::TimeLocale;

std::string Digits(unsigned value, std::size_t least)
{
    const std::string text = std::to_string(value);
    return text.size() < least ? std::string(least - text.size(), '0') + text : text;
}

// Steps through a picture: text in quotes and characters that are no token stand for themselves.
template <class TokenText> std::string FromPicture(const char *picture, TokenText tokenText)
{
    std::string result;
    while (*picture) {
        if (*picture == '\'') {
            for (++picture; *picture; ++picture) {
                if (*picture == '\'' && *++picture != '\'')
                    break;
                result += *picture;
            }
            continue;
        }
        const std::size_t count = std::strspn(picture, std::string(1, *picture).c_str());
        if (!tokenText(*picture, count, result))
            result.append(count, *picture);
        picture += count;
    }
    return result;
}

int Give(const std::string &text, LPSTR target, int size)
{
    const int needed = static_cast<int>(text.size()) + 1;
    if (size == 0)
        return needed;
    if (size < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(text.c_str(), text.c_str() + needed, target);
    return needed;
}

tm ToTm(const SYSTEMTIME &time)
{
    tm result{};
    result.tm_year = time.wYear - 1900;
    result.tm_mon = time.wMonth - 1;
    result.tm_mday = time.wDay;
    result.tm_wday = time.wDayOfWeek;
    result.tm_hour = time.wHour;
    result.tm_min = time.wMinute;
    result.tm_sec = time.wSecond;
    return result;
}

std::string DateFromPicture(const char *picture, const tm &time, const TimeLocale &locale)
{
    return FromPicture(picture, [&](char token, std::size_t count, std::string &result) {
        const auto year = static_cast<unsigned>(time.tm_year + 1900);
        switch (token) {
        case 'd':
            result += count == 3  ? locale.Item(ABDAY_1, time.tm_wday)
                      : count > 3 ? locale.Item(DAY_1, time.tm_wday)
                                  : Digits(static_cast<unsigned>(time.tm_mday), count);
            return true;
        case 'M':
            result += count == 3  ? locale.Item(ABMON_1, time.tm_mon)
                      : count > 3 ? locale.Item(MON_1, time.tm_mon)
                                  : Digits(static_cast<unsigned>(time.tm_mon + 1), count);
            return true;
        case 'y':
            result += count > 2 ? Digits(year, 4) : Digits(year % 100, count);
            return true;
        case 'g':
            result += "AD";
            return true;
        default:
            return false;
        }
    });
}

struct TimePicture {
    const SYSTEMTIME &time;
    DWORD flags;

    bool LeavesOut(char token) const
    {
        return (token == 't' && (flags & TIME_NOTIMEMARKER)) ||
               (token == 's' && (flags & (TIME_NOSECONDS | TIME_NOMINUTESORSECONDS))) ||
               (token == 'm' && (flags & TIME_NOMINUTESORSECONDS));
    }
    bool operator()(char token, std::size_t count, std::string &result) const
    {
        if (std::strchr("hHmst", token) == nullptr)
            return false;
        if (LeavesOut(token)) {
            // With what separates it from the token before.
            while (!result.empty() && std::strchr(" :.", result.back()) != nullptr)
                result.pop_back();
            return true;
        }
        const std::size_t digits = std::min<std::size_t>(count, 2);
        const char *marker = time.wHour < 12 ? "AM" : "PM";
        if (token == 't')
            result.append(marker, digits);
        else if (token == 'h' && !(flags & TIME_FORCE24HOURFORMAT))
            result += Digits((time.wHour + 11u) % 12 + 1, digits);
        else
            result += Digits(token == 'm' ? time.wMinute : token == 's' ? time.wSecond : time.wHour, digits);
        return true;
    }
};
} // namespace

int GetDateFormatA(LCID, DWORD dwFlags, const SYSTEMTIME *lpDate, LPCSTR lpFormat, LPSTR lpDateStr, int cchDate)
{
    constexpr DWORD kForms = DATE_SHORTDATE | DATE_LONGDATE;
    if (cchDate < 0 || (cchDate > 0 && !lpDateStr))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    if ((lpFormat && (dwFlags & kForms)) || (dwFlags & kForms) == kForms)
        return Fail<int>(ERROR_INVALID_FLAGS);
    SYSTEMTIME date;
    if (lpDate)
        date = *lpDate;
    else
        GetLocalTime(&date);
    // Only the date counts; its weekday is found, not believed.
    date.wHour = date.wMinute = date.wSecond = date.wMilliseconds = 0;
    FILETIME checked;
    if (!SystemTimeToFileTime(&date, &checked) || !FileTimeToSystemTime(&checked, &date))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    const TimeLocale locale;
    const tm time = ToTm(date);
    if (lpFormat)
        return Give(DateFromPicture(lpFormat, time, locale), lpDateStr, cchDate);
    const bool longForm = (dwFlags & DATE_LONGDATE) != 0;
    if (locale.IsAmerican())
        return Give(DateFromPicture(longForm ? "dddd, MMMM d, yyyy" : "M/d/yyyy", time, locale), lpDateStr, cchDate);
    return Give(longForm ? locale.Format("%A, %-d %B %Y", time) : locale.Format(D_FMT, time), lpDateStr, cchDate);
}

int GetTimeFormatA(LCID, DWORD dwFlags, const SYSTEMTIME *lpTime, LPCSTR lpFormat, LPSTR lpTimeStr, int cchTime)
{
    constexpr DWORD kPictureFlags =
        TIME_NOMINUTESORSECONDS | TIME_NOSECONDS | TIME_NOTIMEMARKER | TIME_FORCE24HOURFORMAT;
    if (cchTime < 0 || (cchTime > 0 && !lpTimeStr))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    SYSTEMTIME now;
    if (!lpTime) {
        GetLocalTime(&now);
        lpTime = &now;
    }
    if (lpTime->wHour > 23 || lpTime->wMinute > 59 || lpTime->wSecond > 59 || lpTime->wMilliseconds > 999)
        return Fail<int>(ERROR_INVALID_PARAMETER);
    const TimeLocale locale;
    if (!lpFormat && !locale.IsAmerican() && !(dwFlags & kPictureFlags)) {
        // Only the time of day counts.
        tm time{};
        time.tm_mday = 1;
        time.tm_hour = lpTime->wHour;
        time.tm_min = lpTime->wMinute;
        time.tm_sec = lpTime->wSecond;
        return Give(locale.Format(T_FMT, time), lpTimeStr, cchTime);
    }
    const char *picture = lpFormat ? lpFormat : locale.IsAmerican() ? "h:mm:ss tt" : "HH:mm:ss";
    return Give(FromPicture(picture, TimePicture{*lpTime, dwFlags}), lpTimeStr, cchTime);
}
