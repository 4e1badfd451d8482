// Proves that dates are read in the order in which a locale writes them, whether or not that locale is installed here.
// What is expected is what automation makes of the same texts in that locale.
#include "Text.h"
#include <gtest/gtest.h>
#include <oleauto.h>
#include <platform_test.h>

namespace
{
std::string ReadAs(const char *form, const std::string &text)
{
    const WideText wide(text.begin(), text.end());
    DATE date = -9;
    if (const HRESULT hr = PlatformReadDateAs(form, wide.c_str(), &date))
        return Formats("<%08lx>", hr);
    SYSTEMTIME time;
    if (!VariantTimeToSystemTime(date, &time))
        return "<no time>";
    return Formats("%04hu-%02hu-%02hu %02hu:%02hu", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute);
}

constexpr char kAmerican[] = "%m/%d/%Y", kBritish[] = "%d/%m/%y", kGerman[] = "%d.%m.%Y", kSwedish[] = "%Y-%m-%d";

TEST(DateReadingOnLinux, FollowsTheLocalesOrder)
{
    const struct {
        const char *text, *american, *british, *swedish;
    } cases[] = {
        {"1/2/3", "2003-01-02 00:00", "2003-02-01 00:00", "2001-02-03 00:00"},
        {"01/02/2026 11:59 pm", "2026-01-02 23:59", "2026-02-01 23:59", "2026-01-02 23:59"},
        {"3/4/05", "2005-03-04 00:00", "2005-04-03 00:00", "2003-04-05 00:00"},
        {"26-11-23", "2026-11-23 00:00", "2023-11-26 00:00", "2026-11-23 00:00"},
        {"5/1/32", "2032-05-01 00:00", "2032-01-05 00:00", "2032-05-01 00:00"},
        {"99/11/23", "1999-11-23 00:00", "1999-11-23 00:00", "1999-11-23 00:00"},
        {"2026-11-23", "2026-11-23 00:00", "2026-11-23 00:00", "2026-11-23 00:00"},
        {"23/11/2026", "2026-11-23 00:00", "2026-11-23 00:00", "2026-11-23 00:00"},
        {"1/1/029", "2029-01-01 00:00", "2029-01-01 00:00", "2001-01-29 00:00"},
        {"14/13/12", "2014-12-13 00:00", "2014-12-13 00:00", "2014-12-13 00:00"},
        {"13/14/15", "<80020005>", "<80020005>", "<80020005>"},
    };
    for (const auto &example : cases) {
        EXPECT_EQ(example.american, ReadAs(kAmerican, example.text)) << example.text;
        EXPECT_EQ(example.british, ReadAs(kBritish, example.text)) << example.text;
        EXPECT_EQ(example.swedish, ReadAs(kSwedish, example.text)) << example.text;
    }
}

TEST(DateReadingOnLinux, TakesPointsWhereTheLocaleWritesThem)
{
    EXPECT_EQ("2026-11-23 00:00", ReadAs(kGerman, "23.11.2026 00:00 am"));
    EXPECT_EQ("2026-11-23 23:59", ReadAs(kGerman, "23.11.2026 11:59 pm"));
    EXPECT_EQ("2026-11-23 23:59", ReadAs(kGerman, "2026.11.23 11:59 pm"));
    EXPECT_EQ("2026-11-23 23:59", ReadAs(kGerman, "23/11/2026 11:59 pm"));
    EXPECT_EQ("<80020005>", ReadAs(kGerman, "11.59 pm"));
    EXPECT_EQ("<80020005>", ReadAs(kBritish, "23.11.2026 11:59 pm"));
    EXPECT_EQ("<80020005>", ReadAs(kAmerican, "23.11.2026 11:59 pm"));
}

TEST(DateReadingOnLinux, FindsTheOrderInAnyForm)
{
    for (const char *dayFirst : {"%d/%m/%Y", "%d. %m. %Y", "%-d.%-m.%Y", "%e.%m.%y", "%A %d %b %Y"})
        EXPECT_EQ("2026-02-01 00:00", ReadAs(dayFirst, "1/2/2026")) << dayFirst;
    for (const char *monthFirst : {"%m/%d/%y", "%D", "%b %d, %Y", "", "%", "none"})
        EXPECT_EQ("2003-01-02 00:00", ReadAs(monthFirst, "1/2/3")) << monthFirst;
    for (const char *yearFirst : {"%Y/%m/%d", "%F", "%y.%m.%d"})
        EXPECT_EQ("2001-02-03 00:00", ReadAs(yearFirst, "1/2/3")) << yearFirst;
}

TEST(DateReadingOnLinux, TakesTheDayBeforeAMonthsNameAndTheYearBehindIt)
{
    for (const char *form : {kAmerican, kBritish, kGerman})
        EXPECT_EQ("2026-11-23 00:00", ReadAs(form, "23-Nov-26")) << form;
    EXPECT_EQ("2023-11-26 00:00", ReadAs(kSwedish, "23-Nov-26"));
}

TEST(DateReadingOnLinux, WantsATextAPlaceAndNoOtherFlag)
{
    OLECHAR text[] = OLESTR("11/23/2026");
    DATE date = 0;
    EXPECT_EQ(E_INVALIDARG, VarDateFromStr(nullptr, LOCALE_USER_DEFAULT, 0, &date));
    EXPECT_EQ(E_INVALIDARG, VarDateFromStr(text, LOCALE_USER_DEFAULT, 0, nullptr));
    EXPECT_EQ(E_INVALIDARG, VarDateFromStr(text, LOCALE_USER_DEFAULT, 1, &date));
    EXPECT_EQ(S_OK, VarDateFromStr(text, LOCALE_USER_DEFAULT, LOCALE_NOUSEROVERRIDE, &date));
}
} // namespace
