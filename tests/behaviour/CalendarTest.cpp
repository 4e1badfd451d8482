// A day of a real calendar: single and recurring appointments, the day's ends, and what is left out. The program runs
// where local time is UTC.
#include "behaviour/BehaviourTest.h"
#include "localmapi/delivery/Appointment.h"

using namespace localmapi;
using delivery::RecurrenceRule;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{

constexpr std::int64_t kMinute = 600000000;

delivery::Day On(int y, unsigned m, unsigned d)
{
    return std::chrono::sys_days(std::chrono::year(y) / std::chrono::month(m) / std::chrono::day(d));
}
std::int64_t Ticks(delivery::Day day, unsigned minute)
{
    return ((day - On(1601, 1, 1)).count() * 1440 + minute) * kMinute;
}
std::string TextOf(const SYSTEMTIME &time)
{
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute);
    return text;
}

class CalendarBehaviour : public BehaviourTest
{
  protected:
    void SetUp() override
    {
        Connect();
        m_mailbox = Open("alice");
        ASSERT_NE(0U, m_mailbox);
    }

    void Add(const std::string &subject, delivery::Day day, unsigned start, unsigned minutes,
             std::optional<RecurrenceRule> rule = {}, delivery::BusyStatus busy = delivery::BusyStatus::Busy)
    {
        delivery::Appointment appointment;
        appointment.subject = subject;
        appointment.location = "Room of " + subject;
        appointment.body = "About " + subject;
        appointment.busy = busy;
        appointment.start = Ticks(day, start);
        appointment.end = Ticks(day, start + minutes);
        appointment.rule = rule;
        appointment.first = day;
        appointment.startMinute = start;
        const storage::Directory directory(GetSite());
        const storage::User owner = *directory.UserByAlias("alice");
        storage::Objects(GetSite()).CreateMessage(directory.GetMailbox(owner.mailbox).calendar,
                                                  Compose(GetSite(), appointment, owner));
    }

    struct Event {
        std::string subject, location, body, start, end;
        LONG minutes;
    };
    std::vector<Event> Read(const char *date)
    {
        CalendarEventA *events = nullptr;
        ULONG count = 99;
        EXPECT_HR(0, OrlMapiObtainCalendarEventsA(m_connection, m_mailbox, date, &events, &count));
        EXPECT_NE(nullptr, events);
        std::vector<Event> result;
        for (ULONG i = 0; i < count; ++i)
            result.push_back({events[i].pszSubject, events[i].pszLocation, events[i].pszBody, TextOf(events[i].stStart),
                              TextOf(events[i].stEnd), events[i].lDuration});
        EXPECT_HR(0, OrlMapiFreeBuffer(events));
        return result;
    }
    std::vector<std::string> Subjects(const char *date)
    {
        std::vector<std::string> subjects;
        for (const Event &event : Read(date))
            subjects.push_back(event.subject);
        return subjects;
    }
    static RecurrenceRule Rule(RecurrenceRule::Kind kind, std::uint32_t weekdays = 0, unsigned day = 0,
                               unsigned week = 0, unsigned month = 0)
    {
        RecurrenceRule rule;
        rule.kind = kind;
        rule.weekdays = weekdays;
        rule.day = day;
        rule.week = week;
        rule.month = month;
        return rule;
    }

    OrlMailbox m_mailbox = 0;
};

using Kind = RecurrenceRule::Kind;

TEST_F(CalendarBehaviour, ADayWithoutAppointmentsIsAnEmptyBlock)
{
    EXPECT_THAT(Read("11/23/2026"), IsEmpty());
    Add("Other day", On(2026, 11, 24), 540, 30);
    EXPECT_THAT(Read("11/23/2026"), IsEmpty());
}

TEST_F(CalendarBehaviour, AnAppointmentHasAllThatWasWritten)
{
    Add("Meeting", On(2026, 11, 23), 540, 90);
    const auto events = Read("November 23, 2026");
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].subject, "Meeting");
    EXPECT_EQ(events[0].location, "Room of Meeting");
    EXPECT_EQ(events[0].body, "About Meeting");
    EXPECT_EQ(events[0].start, "2026-11-23 09:00");
    EXPECT_EQ(events[0].end, "2026-11-23 10:30");
    EXPECT_EQ(events[0].minutes, 90);
}

TEST_F(CalendarBehaviour, TextsComeWideToo)
{
    Add("J\xC3\xA4ger \xF0\x9F\x93\x9E", On(2026, 11, 23), 540, 90);
    CalendarEventW *events = nullptr;
    ULONG count = 0;
    ASSERT_HR(0, OrlMapiObtainCalendarEventsW(m_connection, m_mailbox, OLESTR("2026-11-23"), &events, &count));
    ASSERT_EQ(count, 1u);
    // What the narrow text of the store keeps of it; the rest depends on the system's code page.
    EXPECT_EQ(events[0].pszSubject[0], 'J');
    EXPECT_EQ(events[0].lDuration, 90);
    EXPECT_HR(0, OrlMapiFreeBuffer(events));
}

TEST_F(CalendarBehaviour, AppointmentsComeInTheOrderOfTheirStart)
{
    Add("third", On(2026, 11, 23), 900, 30);
    Add("first", On(2026, 11, 23), 0, 30);
    Add("second", On(2026, 11, 23), 600, 30);
    EXPECT_THAT(Subjects("11/23/2026"), ElementsAre("first", "second", "third"));
}

TEST_F(CalendarBehaviour, WhatPassesAnEndOfTheDayIsNotListed)
{
    Add("from midnight", On(2026, 11, 23), 0, 1);
    Add("to the last minute", On(2026, 11, 23), 1380, 59);
    Add("to midnight", On(2026, 11, 23), 1380, 60);
    Add("over midnight", On(2026, 11, 23), 1380, 90);
    Add("from the day before", On(2026, 11, 22), 1439, 30);
    EXPECT_THAT(Subjects("11/23/2026"), ElementsAre("from midnight", "to the last minute"));
    EXPECT_THAT(Subjects("11/24/2026"), IsEmpty());
}

TEST_F(CalendarBehaviour, FreeTimeIsNeverListed)
{
    using delivery::BusyStatus;
    Add("free", On(2026, 11, 23), 540, 30, {}, BusyStatus::Free);
    Add("free each week", On(2026, 11, 16), 540, 30, Rule(Kind::Weeks, 2), BusyStatus::Free);
    Add("tentative", On(2026, 11, 23), 540, 30, {}, BusyStatus::Tentative);
    Add("away", On(2026, 11, 23), 600, 30, {}, BusyStatus::OutOfOffice);
    EXPECT_THAT(Subjects("11/23/2026"), ElementsAre("tentative", "away"));
}

TEST_F(CalendarBehaviour, ADayOfASingleAWeeklyAndAMonthlyAppointmentIsRead)
{
    Add("single", On(2026, 11, 23), 480, 30);
    Add("weekly", On(2026, 11, 9), 540, 60, Rule(Kind::Weeks, 2));
    Add("monthly", On(2026, 1, 23), 600, 45, Rule(Kind::DayOfMonth, 0, 23));
    Add("monthly by week", On(2026, 1, 26), 660, 15, Rule(Kind::WeekOfMonth, 2, 0, 4));
    Add("yearly", On(2020, 11, 23), 720, 10, Rule(Kind::DayOfYear, 0, 23, 0, 11));
    Add("each weekday", On(2026, 11, 2), 780, 10, Rule(Kind::Workdays));
    const auto events = Read("11/23/2026");
    std::vector<std::string> lines;
    for (const Event &event : events)
        lines.push_back(event.subject + " " + event.start + " " + event.end);
    EXPECT_THAT(lines,
                UnorderedElementsAre(
                    "single 2026-11-23 08:00 2026-11-23 08:30", "weekly 2026-11-23 09:00 2026-11-23 10:00",
                    "monthly 2026-11-23 10:00 2026-11-23 10:45", "monthly by week 2026-11-23 11:00 2026-11-23 11:15",
                    "yearly 2026-11-23 12:00 2026-11-23 12:10", "each weekday 2026-11-23 13:00 2026-11-23 13:10"));
    EXPECT_THAT(Subjects("11/22/2026"), IsEmpty());
}

TEST_F(CalendarBehaviour, AWeeklySeriesOfMondaysAndWednesdaysListsMondaysOnly)
{
    Add("series", On(2026, 11, 2), 540, 30, Rule(Kind::Weeks, 2 | 8));
    EXPECT_THAT(Subjects("11/9/2026"), ElementsAre("series"));
    EXPECT_THAT(Subjects("11/11/2026"), IsEmpty());
    EXPECT_THAT(Subjects("11/16/2026"), ElementsAre("series"));
}

TEST_F(CalendarBehaviour, AFirstTuesdayOnThe7thIsNotListed)
{
    Add("first Tuesday", On(2026, 3, 3), 540, 30, Rule(Kind::WeekOfMonth, 4, 0, 1));
    EXPECT_THAT(Subjects("4/7/2026"), IsEmpty());
    EXPECT_THAT(Subjects("5/5/2026"), ElementsAre("first Tuesday"));
}

TEST_F(CalendarBehaviour, TheLastDayOfASeriesIsNotListed)
{
    RecurrenceRule rule = Rule(Kind::Weeks, 2);
    rule.times = 3;
    Add("three times", On(2026, 11, 2), 540, 30, rule);
    EXPECT_THAT(Subjects("11/2/2026"), ElementsAre("three times"));
    EXPECT_THAT(Subjects("11/9/2026"), ElementsAre("three times"));
    EXPECT_THAT(Subjects("11/16/2026"), IsEmpty());
}

TEST_F(CalendarBehaviour, ADailySeriesIsListedOnItsFirstDayAlone)
{
    Add("daily", On(2026, 11, 23), 540, 30, Rule(Kind::Days));
    EXPECT_THAT(Subjects("11/23/2026"), ElementsAre("daily"));
    EXPECT_THAT(Subjects("11/24/2026"), IsEmpty());
}

TEST_F(CalendarBehaviour, ATextThatIsNoDateIsRefused)
{
    CalendarEventA *events = nullptr;
    ULONG count = 99;
    EXPECT_HR(static_cast<HRESULT>(0x80020005),
              OrlMapiObtainCalendarEventsA(m_connection, m_mailbox, "some day", &events, &count));
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(events, nullptr);
}

TEST_F(CalendarBehaviour, EveryMailboxHasItsOwn)
{
    Add("hers", On(2026, 11, 23), 540, 30);
    m_mailbox = Open("bob");
    EXPECT_THAT(Subjects("11/23/2026"), IsEmpty());
}

} // namespace
