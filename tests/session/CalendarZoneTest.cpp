// A day's bounds in UTC where local time is not UTC. CTest starts the program with TZ set to a zone written out, which
// every target reads alike, and ORL_TEST_OFFSETS to the minutes by which it may be ahead of UTC today. The offset that
// holds now is that of every day, also of one on which summer time begins or ends.
#include "session/CalendarTest.h"
#include <cstdlib>
#include <sstream>

using namespace calendar_test;

namespace
{

constexpr LONGLONG kTicksAMinute = 600000000;

LONGLONG OffsetNow()
{
    SYSTEMTIME utc, local;
    GetSystemTime(&utc);
    EXPECT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local));
    return (static_cast<LONGLONG>(TicksOf(local)) - static_cast<LONGLONG>(TicksOf(utc))) / kTicksAMinute;
}

class CalendarZoneTest : public CalendarTest
{
  protected:
    void ExpectBounds(const char *date, SYSTEMTIME midnight)
    {
        SCOPED_TRACE(date);
        m_mapi.recorder.Forget();
        Subjects(date);
        const LONGLONG start = static_cast<LONGLONG>(TicksOf(midnight)) - OffsetNow() * kTicksAMinute;
        char from[32], to[32];
        std::snprintf(from, sizeof from, ">= 0x%llX)", static_cast<long long>(start));
        std::snprintf(to, sizeof to, "<= 0x%llX)", static_cast<long long>(start + 1439 * kTicksAMinute));
        EXPECT_THAT(m_mapi.recorder.Calls(),
                    testing::Contains(testing::AllOf(testing::HasSubstr(from), testing::HasSubstr(to))));
    }
};

TEST_F(CalendarZoneTest, TheZoneIsTheOneThatTheTestIsStartedIn)
{
    const char *expected = std::getenv("ORL_TEST_OFFSETS");
    ASSERT_NE(expected, nullptr);
    std::istringstream list(expected);
    std::vector<LONGLONG> offsets;
    for (LONGLONG offset; list >> offset;)
        offsets.push_back(offset);
    EXPECT_THAT(offsets, testing::Contains(OffsetNow()));
}

TEST_F(CalendarZoneTest, ADayIsTheLocalOne)
{
    ExpectBounds("11/23/2026", {2026, 11, 0, 23, 0, 0, 0, 0});
    ExpectBounds("7/1/2026", {2026, 7, 0, 1, 0, 0, 0, 0});
}

TEST_F(CalendarZoneTest, ADayWithAChangeOfTheOffsetIsAsLongAsAnyOther)
{
    ExpectBounds("3/29/2026", {2026, 3, 0, 29, 0, 0, 0, 0});
    ExpectBounds("10/25/2026", {2026, 10, 0, 25, 0, 0, 0, 0});
    ExpectBounds("3/8/2026", {2026, 3, 0, 8, 0, 0, 0, 0});
    ExpectBounds("11/1/2026", {2026, 11, 0, 1, 0, 0, 0, 0});
}

TEST_F(CalendarZoneTest, LeapDaysAndTheTurnOfTheYearAreDaysToo)
{
    ExpectBounds("2/29/2028", {2028, 2, 0, 29, 0, 0, 0, 0});
    ExpectBounds("12/31/2026", {2026, 12, 0, 31, 0, 0, 0, 0});
    ExpectBounds("1/1/2027", {2027, 1, 0, 1, 0, 0, 0, 0});
}

TEST_F(CalendarZoneTest, LocalTimeBecomesUtcWithTodaysOffset)
{
    const SYSTEMTIME local = {2026, 6, 0, 15, 12, 30, 15, 250};
    SYSTEMTIME utc = {};
    EXPECT_EQ(CMAPIImpl::UCTTimeFromLocalTime(&local, &utc), S_OK);
    EXPECT_EQ(static_cast<LONGLONG>(TicksOf(local) - TicksOf(utc)) / kTicksAMinute, OffsetNow());
    EXPECT_EQ(utc.wMilliseconds, 250);
    SYSTEMTIME fromText = {};
    EXPECT_EQ(CMAPIImpl::UCTTimeFromString(OLESTR("6/15/2026 12:30:15"), &fromText), S_OK);
    utc.wMilliseconds = 0;
    EXPECT_EQ(TextOf(fromText), TextOf(utc));
}

TEST_F(CalendarZoneTest, LocalTimeThatCannotBeConvertedIsReportedAndNoFailure)
{
    SYSTEMTIME utc = {7, 7, 7, 7, 7, 7, 7, 7};
    const SYSTEMTIME none = {2026, 13, 0, 1, 0, 0, 0, 0};
    ForgetTrace();
    EXPECT_EQ(CMAPIImpl::UCTTimeFromLocalTime(&none, &utc), S_OK);
    ASSERT_EQ(ErrorLines().size(), 1u);
    EXPECT_THAT(ErrorLines()[0],
                testing::AllOf(testing::StartsWith("CMAPIImpl::UCTTimeFromLocalTime[n]: Error 0x000057 ["),
                               testing::EndsWith("] from SystemTimeToFileTime.")));
    EXPECT_EQ(utc.wYear, 7);
}

// In the east the first hours of a day lie in the day before, in the west its last hours in the next.
TEST_F(CalendarZoneTest, ARecurringAppointmentFallsOnTheDateInUtcAtTheEndOfTheDay)
{
    RecurrenceBlob blob;
    blob.frequency = 0x200A;
    blob.start = static_cast<std::uint32_t>(TicksOf({2026, 1, 0, 5, 0, 0, 0, 0}) / 600000000);
    const SYSTEMTIME end = {2026, 11, 0, 23, 23, 59, 0, 0};
    FILETIME ticks;
    const ULONGLONG utc = TicksOf(end) - static_cast<ULONGLONG>(OffsetNow() * kTicksAMinute);
    ticks = {static_cast<DWORD>(utc), static_cast<DWORD>(utc >> 32)};
    SYSTEMTIME reference;
    ASSERT_TRUE(FileTimeToSystemTime(&ticks, &reference));
    EXPECT_EQ(reference.wDay, OffsetNow() < 0 ? 24 : 23);
    for (DWORD weekday = 0; weekday < 7; ++weekday) {
        blob.specific = {1u << weekday};
        m_calendar->contents->rows.clear();
        Add("Daily", {Bool(kRecurring, true), Binary(kRecurrence, blob.Bytes())});
        DayA day;
        Read(day);
        ASSERT_EQ(day.count, weekday == reference.wDayOfWeek ? 1u : 0u);
        if (day.count) {
            EXPECT_EQ(day.events[0].stStart.wDay, reference.wDay);
            EXPECT_EQ(day.events[0].stStart.wHour, 9);
        }
    }
}

} // namespace
