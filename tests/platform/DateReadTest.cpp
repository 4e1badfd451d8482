// Proves which texts are read as dates and times, what they mean, and which are refused, in the American forms.
#include "Text.h"
#include <gtest/gtest.h>
#include <oleauto.h>

namespace
{
std::string Read(const std::string &text, ULONG flags = LOCALE_NOUSEROVERRIDE)
{
    WideText wide(text.begin(), text.end());
    DATE date = -9;
    const HRESULT hr = VarDateFromStr(wide.data(), LOCALE_USER_DEFAULT, flags, &date);
    if (hr != S_OK)
        return Formats("<%08lx>", hr);
    SYSTEMTIME time;
    if (!VariantTimeToSystemTime(date, &time))
        return "<no time>";
    return Formats("%04hu-%02hu-%02hu %02hu:%02hu:%02hu", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                   time.wSecond);
}
const char *const kRefused = "<80020005>";

struct Example {
    const char *text, *date;
};
template <std::size_t Count> void Expect(const Example (&examples)[Count])
{
    for (const Example &example : examples)
        EXPECT_EQ(example.date, Read(example.text)) << example.text;
}

TEST(DateReading, TakesADaysFirstAndLastMinute)
{
    Expect({{"11/23/2026 00:00 am", "2026-11-23 00:00:00"},
            {"11/23/2026 11:59 pm", "2026-11-23 23:59:00"},
            {"2026-11-23 00:00 am", "2026-11-23 00:00:00"},
            {"2026-11-23 11:59 pm", "2026-11-23 23:59:00"},
            {"November 23, 2026 11:59 pm", "2026-11-23 23:59:00"},
            {"2/29/2028 00:00 am", "2028-02-29 00:00:00"},
            {"2/29/2028 11:59 pm", "2028-02-29 23:59:00"},
            {"12/31/2026 11:59 pm", "2026-12-31 23:59:00"}});
}

TEST(DateReading, TakesNumbersInTheLocalesOrderOrAsTheyFit)
{
    Expect({{"1/2/2026", "2026-01-02 00:00:00"},
            {"23/11/2026", "2026-11-23 00:00:00"},
            {"2026/11/23", "2026-11-23 00:00:00"},
            {"11-23-2026", "2026-11-23 00:00:00"},
            {"11 23 2026", "2026-11-23 00:00:00"},
            {"11,23,2026", "2026-11-23 00:00:00"},
            {"11 / 23 / 2026", "2026-11-23 00:00:00"},
            {"11-23/2026", "2026-11-23 00:00:00"},
            {"26-11-23", "2026-11-23 00:00:00"},
            {"99/11/23", "1999-11-23 00:00:00"},
            {"2026-13-01", "2026-01-13 00:00:00"},
            {"14/13/12", "2014-12-13 00:00:00"},
            {"2026/31/12", "2026-12-31 00:00:00"},
            {"32/1/5", "2032-01-05 00:00:00"},
            {"00011/023/2026", "2026-11-23 00:00:00"}});
}

TEST(DateReading, TakesMonthsByTheirNames)
{
    Expect({{"Nov 23, 2026", "2026-11-23 00:00:00"},
            {"November 23 2026", "2026-11-23 00:00:00"},
            {"NOVEMBER, 23, 2026", "2026-11-23 00:00:00"},
            {"23 November 2026", "2026-11-23 00:00:00"},
            {"23-Nov-2026", "2026-11-23 00:00:00"},
            {"Nov/23/2026", "2026-11-23 00:00:00"},
            {"2026 Nov 23", "2026-11-23 00:00:00"},
            {"2026 23 Nov", "2026-11-23 00:00:00"},
            {"May 5 2026", "2026-05-05 00:00:00"},
            {"Nov 23 26", "2026-11-23 00:00:00"},
            {"Feb 29 28", "2028-02-29 00:00:00"},
            {"Nov 2026", "2026-11-01 00:00:00"},
            {"2026 Nov", "2026-11-01 00:00:00"},
            {"Nov 31", "2031-11-01 00:00:00"}});
}

TEST(DateReading, PassesOverWeekdaysRightOrWrong)
{
    Expect({{"Monday, November 23, 2026 11:59 pm", "2026-11-23 23:59:00"},
            {"Tuesday, 11/23/2026", "2026-11-23 00:00:00"},
            {"11/23/2026 Mon 10:10", "2026-11-23 10:10:00"},
            {"Monday", kRefused}});
}

TEST(DateReading, TakesThisYearWhereNoneIsGiven)
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    const std::string year = Formats("%04hu-", now.wYear);
    for (const char *text : {"11/23 11:59 pm", "23/11 11:59 pm", "Nov 23 11:59 pm", "23 Nov 11:59 pm"})
        EXPECT_EQ(year + "11-23 23:59:00", Read(text)) << text;
}

TEST(DateReading, TakesTheFirstOfAMonthWhereNoDayIsGiven)
{
    Expect({{"11/2026", "2026-11-01 00:00:00"},
            {"2026/11", "2026-11-01 00:00:00"},
            {"11/32", "2032-11-01 00:00:00"},
            {"60/1", "1960-01-01 00:00:00"}});
}

TEST(DateReading, PutsYearsOfTwoDigitsBetween1950And2049)
{
    Expect({{"1/2/0", "2000-01-02 00:00:00"},
            {"1/2/49", "2049-01-02 00:00:00"},
            {"1/2/50", "1950-01-02 00:00:00"},
            {"1/2/99", "1999-01-02 00:00:00"},
            {"1/2/100", "0100-01-02 00:00:00"},
            {"1/1/9999 11:59 pm", "9999-01-01 23:59:00"},
            {"1/1/1600", "1600-01-01 00:00:00"}});
}

TEST(DateReading, TakesATimeOf12Or24HoursBeforeOrBehindTheDate)
{
    Expect({{"11/23/2026 12:00 am", "2026-11-23 00:00:00"},
            {"11/23/2026 12:00 pm", "2026-11-23 12:00:00"},
            {"11/23/2026 0:00 pm", "2026-11-23 12:00:00"},
            {"11/23/2026 13:00 pm", "2026-11-23 13:00:00"},
            {"11/23/2026 23:59 am", "2026-11-23 23:59:00"},

            {"11/23/2026 1 pm", "2026-11-23 13:00:00"},
            {"11/23/2026 11:59PM", "2026-11-23 23:59:00"},
            {"11/23/2026 23:59", "2026-11-23 23:59:00"},
            {"11/23/2026 10:10:10 pm", "2026-11-23 22:10:10"},
            {"10:10 11/23/2026", "2026-11-23 10:10:00"},
            {"10 am 11/23/2026", "2026-11-23 10:00:00"},
            {"11/23/2026, 11:59 pm", "2026-11-23 23:59:00"},
            {"11/23/2026 10.30", "2026-11-23 10:30:00"},
            {"  11/23/2026\t11:59   pm  ", "2026-11-23 23:59:00"}});
}

TEST(DateReading, TakesATimeAloneAsOneOfTheFirstDay)
{
    Expect(
        {{" 00:00 am", "1899-12-30 00:00:00"}, {" 11:59 pm", "1899-12-30 23:59:00"}, {"3 pm", "1899-12-30 15:00:00"}});
    OLECHAR text[] = OLESTR("12/29/1899 06:00");
    DATE date = -9;
    EXPECT_EQ(S_OK, VarDateFromStr(text, LOCALE_USER_DEFAULT, 0, &date));
    EXPECT_DOUBLE_EQ(-1.25, date);
}

TEST(DateReading, RefusesWhatIsNoDate)
{
    for (const char *text : {"",
                             "   ",
                             "nonsense 11:59 pm",
                             "today 11:59 pm",
                             "20261123 00:00 am",
                             "2026 11:59 pm",
                             "23 11:59 pm",
                             "January",
                             "2/29/2027 11:59 pm",
                             "2/29/1900",
                             "2/30/2028 11:59 pm",
                             "2026-02-30",
                             "13/13/2026",
                             "32/12/2026",
                             "0/1/2026",
                             "1/0/2026",
                             "1/1/10000",
                             "1/1/99999999999999999999",
                             "31/2026/12",
                             "31/13",
                             "11/23/2026x",
                             "x11/23/2026",
                             "11//23//2026",
                             "/11/23/2026",
                             "11/23/2026/",
                             "11/23/2026,",
                             "-1/1/2026",
                             "1/2/2026/3",
                             "1 2 3 4 11:59 pm",
                             "11/23/2026 10:30 11:59 pm",
                             "11/23/2026 am",
                             "11/23/2026 am 10:10",
                             "11/23/2026 24:00",
                             "11/23/2026 11:60 pm",
                             "11/23/2026 10:10:60",
                             "10:",
                             "1:2:3:4",
                             "11/23/2026 - 10:10",
                             "2026-11-23T10:00:00Z",
                             "23rd November 2026",
                             "Novem 23 2026",
                             "5 Nov 6 Nov",
                             "1e5",
                             "46349.5",
                             "11/23/2026 11:59 pm AD"})
        EXPECT_EQ(kRefused, Read(text)) << text;
}
} // namespace
