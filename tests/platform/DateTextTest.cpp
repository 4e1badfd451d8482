// Proves the texts of dates and times: the default forms, pictures, flags, and what is refused.
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
constexpr LCID kAmerican = 0x409;
const SYSTEMTIME kTime = {2024, 3, 0, 5, 14, 7, 9, 123};

std::string DateText(const char *picture, DWORD flags = 0, SYSTEMTIME time = kTime)
{
    char text[128];
    SetLastError(0);
    const int count = GetDateFormatA(kAmerican, flags, &time, picture, text, sizeof text);
    return count == 0                                         ? Formats("<error %lu>", GetLastError())
           : count == static_cast<int>(std::strlen(text)) + 1 ? text
                                                              : "<wrong length>";
}
std::string TimeText(const char *picture, DWORD flags = 0, SYSTEMTIME time = kTime)
{
    char text[128];
    SetLastError(0);
    const int count = GetTimeFormatA(kAmerican, flags, &time, picture, text, sizeof text);
    return count == 0                                         ? Formats("<error %lu>", GetLastError())
           : count == static_cast<int>(std::strlen(text)) + 1 ? text
                                                              : "<wrong length>";
}

TEST(DateText, HasADefaultForm)
{
    EXPECT_EQ("3/5/2024", DateText(nullptr));
    EXPECT_EQ("3/5/2024", DateText(nullptr, DATE_SHORTDATE));
    EXPECT_EQ("Tuesday, March 5, 2024", DateText(nullptr, DATE_LONGDATE));
}

TEST(DateText, FollowsAPicture)
{
    const struct {
        const char *picture, *text;
    } cases[] = {
        {"yyyy-MM-dd", "2024-03-05"},
        {"d/M/yy y", "5/3/24 24"},
        {"ddd dddd MMM MMMM", "Tue Tuesday Mar March"},
        {"'d' yyyy 'it''s'", "d 2024 it's"},
        {"yyy|yyyyy|", "2024|2024|"},
        {"hh:mm", "hh:mm"},
        {"a b c'", "a b c"},
        {"", ""},
        {"MMMMM ddddd", "March Tuesday"},
    };
    for (const auto &example : cases)
        EXPECT_EQ(example.text, DateText(example.picture)) << example.picture;
}

TEST(DateText, BelievesNoWeekdayAndNoTimeOfDay)
{
    SYSTEMTIME time = kTime;
    time.wDayOfWeek = 5;
    time.wHour = 25;
    EXPECT_EQ("Tuesday", DateText("dddd", 0, time));
}

TEST(DateText, RefusesWhatIsNoDate)
{
    EXPECT_EQ("<error 87>", DateText(nullptr, 0, {2024, 13, 0, 5, 0, 0, 0, 0}));
    EXPECT_EQ("<error 87>", DateText(nullptr, 0, {2024, 4, 0, 31, 0, 0, 0, 0}));
    EXPECT_EQ("<error 87>", DateText(nullptr, 0, {1600, 4, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ("<error 1004>", DateText("yyyy", DATE_SHORTDATE));
    EXPECT_EQ("<error 1004>", DateText(nullptr, DATE_SHORTDATE | DATE_LONGDATE));
}

TEST(TimeText, HasADefaultForm)
{
    EXPECT_EQ("2:07:09 PM", TimeText(nullptr));
    EXPECT_EQ("12:07:09 AM", TimeText(nullptr, 0, {2024, 3, 0, 5, 0, 7, 9, 0}));
    EXPECT_EQ("12:07:09 PM", TimeText(nullptr, 0, {2024, 3, 0, 5, 12, 7, 9, 0}));
    EXPECT_EQ("2:07:09 PM", TimeText(nullptr, 0, {2024, 13, 0, 5, 14, 7, 9, 0}));
}

TEST(TimeText, FollowsAPicture)
{
    EXPECT_EQ("14:07:09", TimeText("HH:mm:ss"));
    EXPECT_EQ("2:7:9 P", TimeText("h:m:s t"));
    EXPECT_EQ("02 PM o'clock", TimeText("hh tt 'o''clock'"));
    EXPECT_EQ("02 07 09 PM", TimeText("hhh mmm sss ttt"));
    EXPECT_EQ("yyyy d", TimeText("yyyy d"));
    EXPECT_EQ("", TimeText(""));
}

TEST(TimeText, LeavesOutWhatTheFlagsSay)
{
    EXPECT_EQ("2 PM", TimeText(nullptr, TIME_NOMINUTESORSECONDS));
    EXPECT_EQ("2:07 PM", TimeText(nullptr, TIME_NOSECONDS));
    EXPECT_EQ("2:07:09", TimeText(nullptr, TIME_NOTIMEMARKER));
    EXPECT_EQ("14:07:09 PM", TimeText(nullptr, TIME_FORCE24HOURFORMAT));
    EXPECT_EQ("14:07:09", TimeText(nullptr, TIME_FORCE24HOURFORMAT | TIME_NOTIMEMARKER));
    EXPECT_EQ("14:07 PM", TimeText("HH:mm:ss tt", TIME_NOSECONDS));
    EXPECT_EQ("14 PM", TimeText("HH:mm:ss tt", TIME_NOMINUTESORSECONDS));
}

TEST(TimeText, RefusesWhatIsNoTime)
{
    EXPECT_EQ("<error 87>", TimeText(nullptr, 0, {2024, 3, 0, 5, 24, 0, 0, 0}));
    EXPECT_EQ("<error 87>", TimeText(nullptr, 0, {2024, 3, 0, 5, 0, 60, 0, 0}));
    EXPECT_EQ("<error 87>", TimeText(nullptr, 0, {2024, 3, 0, 5, 0, 0, 60, 0}));
    EXPECT_EQ("<error 87>", TimeText(nullptr, 0, {2024, 3, 0, 5, 0, 0, 0, 1000}));
}

TEST(DateAndTimeText, SayHowMuchRoomTheyNeed)
{
    char text[16];
    EXPECT_EQ(9, GetDateFormatA(kAmerican, 0, &kTime, nullptr, nullptr, 0));
    EXPECT_EQ(9, GetDateFormatA(kAmerican, 0, &kTime, nullptr, text, 9));
    EXPECT_EQ(0, GetDateFormatA(kAmerican, 0, &kTime, nullptr, text, 8));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    EXPECT_EQ(11, GetTimeFormatA(kAmerican, 0, &kTime, nullptr, nullptr, 0));
    EXPECT_EQ(0, GetTimeFormatA(kAmerican, 0, &kTime, nullptr, text, 10));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    EXPECT_LT(0, GetDateFormatA(kAmerican, 0, nullptr, "yyyy", text, sizeof text));
    EXPECT_LT(0, GetTimeFormatA(kAmerican, 0, nullptr, "HH", text, sizeof text));
}
} // namespace
