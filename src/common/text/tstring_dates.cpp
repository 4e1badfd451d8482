// tstring from dates and times, in the user's locale.
#include "common/text/TextReports.h"
#include "common/text/tstring.h"
#include "common/trace/debug.h"

namespace
{

bool IsDate(const SYSTEMTIME &time)
{
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (time.wMonth < 1 || time.wMonth > 12)
        return false;
    const int year = time.wYear;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const int days = kDays[time.wMonth - 1] + (time.wMonth == 2 && leap ? 1 : 0);
    return time.wDay >= 1 && time.wDay <= days;
}

void ReportError(const char *format, const char *szMember)
{
    const DWORD error = GetLastError();
    DebugOutputA(kTraceText, format, szMember, error);
}

// Appends the date or the time; false, and a report, where the platform refuses it.
bool AppendDate(std::string &text, const SYSTEMTIME &time, const char *szMember)
{
    char szDate[128];
    const int length = GetDateFormatA(LOCALE_USER_DEFAULT, 0, &time, nullptr, szDate, sizeof(szDate));
    if (length == 0) {
        ReportError("%s: GetDateFormat failed with the error %#010x\n", szMember);
        return false;
    }
    text += szDate;
    return true;
}

bool AppendTime(std::string &text, const SYSTEMTIME &time, const char *szMember)
{
    char szTime[128];
    const int length = GetTimeFormatA(LOCALE_USER_DEFAULT, 0, &time, nullptr, szTime, sizeof(szTime));
    if (length == 0) {
        ReportError("%s: GetTimeFormat failed with the error %#010x\n", szMember);
        return false;
    }
    text += szTime;
    return true;
}

std::string DateText(const SYSTEMTIME &time, tstring::Show show, const char *szMember)
{
    if (show != tstring::Show::Time && !IsDate(time)) {
        DebugOutputA(kTraceText, "%s: Invalid date \"%02d - %02d - %04d\"\n", szMember, time.wDay, time.wMonth,
                     time.wYear);
        return {};
    }
    std::string text;
    if (show != tstring::Show::Time && !AppendDate(text, time, szMember))
        return {};
    if (show == tstring::Show::DateAndTime)
        text += ' ';
    if (show != tstring::Show::Date && !AppendTime(text, time, szMember))
        return {};
    return text;
}

std::string DateText(const FILETIME &localTime, tstring::Show show, const char *szMember)
{
    SYSTEMTIME time;
    if (!FileTimeToSystemTime(&localTime, &time)) {
        ReportError("%s: FileTimeToSystemTime failed with the error %#010x\n", szMember);
        return {};
    }
    return DateText(time, show, szMember);
}

} // namespace

tstring &tstring::FromSystemTime(const SYSTEMTIME *pTime, Show show)
{
    constexpr const char *szMember = "tstring::FromSystemTime";
    assign(IsReadable(pTime, szMember) ? DateText(*pTime, show, szMember) : std::string());
    return *this;
}

tstring &tstring::FromFileTime(const FILETIME *pTime, Show show)
{
    constexpr const char *szMember = "tstring::FromFileTime";
    clear();
    if (!IsReadable(pTime, szMember))
        return *this;
    FILETIME localTime;
    if (FileTimeToLocalFileTime(pTime, &localTime))
        assign(DateText(localTime, show, szMember));
    else
        ReportError("%s: FileTimeToLocalFileTime failed with the error %#010x\n", szMember);
    return *this;
}

tstring &tstring::FromDosDateTime(WORD wDate, WORD wTime, Show show)
{
    constexpr const char *szMember = "tstring::FromDosDateTime";
    clear();
    FILETIME localTime;
    if (DosDateTimeToFileTime(wDate, wTime, &localTime))
        assign(DateText(localTime, show, szMember));
    else
        ReportError("%s: DosDateTimeToFileTime failed with the error %#010x\n", szMember);
    return *this;
}

tstring &tstring::FromVariantTime(DATE date, Show show)
{
    constexpr const char *szMember = "tstring::FromVariantTime";
    clear();
    SYSTEMTIME time;
    if (VariantTimeToSystemTime(date, &time))
        assign(DateText(time, show, szMember));
    else
        DebugOutputA(kTraceText, "%s: VariantTimeToSystemTime failed\n", szMember);
    return *this;
}
