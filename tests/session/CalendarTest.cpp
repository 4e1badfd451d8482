#include "session/CalendarTest.h"

namespace calendar_test
{

ULONGLONG TicksOf(SYSTEMTIME time)
{
    FILETIME ticks = {};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    return static_cast<ULONGLONG>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

std::string TextOf(const SYSTEMTIME &time)
{
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d(%d) %02d:%02d:%02d", time.wYear, time.wMonth, time.wDay,
                  time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond);
    return text;
}

CalendarTest::CalendarTest()
{
    const std::string meeting = "{6ed8da90-450b-101b-98da-00aa003f1305}/";
    const std::string appointment = "{00062002-0000-0000-c000-000000000046}/";
    m_mapi.world.Enter(m_calendar, "folder:alice/Calendar");
    m_calendar->ids = {{meeting + "0x5", USHORT{0x8001}},        {appointment + "0x8205", USHORT{0x8002}},
                       {appointment + "0x8208", USHORT{0x8003}}, {appointment + "0x820d", USHORT{0x8004}},
                       {appointment + "0x820e", USHORT{0x8005}}, {appointment + "0x8213", USHORT{0x8006}},
                       {appointment + "0x8216", USHORT{0x8007}}, {appointment + "0x8231", USHORT{0x8008}}};
    m_calendar->contents = std::make_shared<TableData>("alice/Calendar");
    Set(m_mapi.world.mailboxes.at("alice")->inbox->props, Binary(kCalendarId, m_calendar->entryId));
}

Row &CalendarTest::Add(const std::string &subject, Row more)
{
    Row row = {Bool(kRecurring, false),
               Long(kBusyStatus, 2),
               Time(kStart, TicksOf({2026, 11, 0, 23, 9, 0, 0, 0})),
               Time(kEnd, TicksOf({2026, 11, 0, 23, 9, 30, 0, 0})),
               Long(kDuration, 30),
               Text(kSubject, subject)};
    for (Value &value : more)
        Set(row, std::move(value));
    m_calendar->contents->rows.push_back(row);
    return m_calendar->contents->rows.back();
}

void CalendarTest::Read(DayA &day, const char *date) const
{
    day.hr = OrlMapiObtainCalendarEventsA(m_connection, m_mailbox, date, &day.events, &day.count);
}

void CalendarTest::Read(DayW &day, const WCHAR *date) const
{
    day.hr = OrlMapiObtainCalendarEventsW(m_connection, m_mailbox, date, &day.events, &day.count);
}

std::vector<std::string> CalendarTest::Subjects(const char *date) const
{
    DayA day;
    Read(day, date);
    EXPECT_EQ(day.hr, S_OK);
    std::vector<std::string> subjects;
    for (ULONG i = 0; SUCCEEDED(day.hr) && i < day.count; ++i)
        subjects.emplace_back(day.events[i].pszSubject);
    return subjects;
}

} // namespace calendar_test
