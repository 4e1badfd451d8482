// The fixture of the conversations about the calendar: Alice's calendar folder with its named properties, and a day of
// it read through the exports. These tests run where local time is UTC.
#pragma once
#include "messages/MessagesTest.h"
#include "session/RecurrenceBlob.h"

namespace calendar_test
{

using namespace messages_test;

// Identifiers as the folder of these tests has them.
constexpr ULONG kRecurring = PROP_TAG(PT_BOOLEAN, 0x8001);
constexpr ULONG kBusyStatus = PROP_TAG(PT_LONG, 0x8002);
constexpr ULONG kLocation = PROP_TAG(PT_UNICODE, 0x8003);
constexpr ULONG kStart = PROP_TAG(PT_SYSTIME, 0x8004);
constexpr ULONG kEnd = PROP_TAG(PT_SYSTIME, 0x8005);
constexpr ULONG kDuration = PROP_TAG(PT_LONG, 0x8006);
constexpr ULONG kRecurrence = PROP_TAG(PT_BINARY, 0x8007);
constexpr ULONG kRecurrenceType = PROP_TAG(PT_LONG, 0x8008);
constexpr ULONG kSubject = PROP_TAG(PT_STRING8, 0x0E1D);
constexpr ULONG kBody = PROP_TAG(PT_STRING8, 0x1000);
constexpr ULONG kCalendarId = PROP_TAG(PT_BINARY, 0x36D0);

ULONGLONG TicksOf(SYSTEMTIME time);
std::string TextOf(const SYSTEMTIME &time); // "2026-11-23(1) 09:00:00"

template <class Record> struct Day {
    Record *events = nullptr;
    ULONG count = 0xEEEEEEEE;
    HRESULT hr = E_FAIL;
    Day() = default;
    Day(const Day &) = delete;
    Day &operator=(const Day &) = delete;
    ~Day() { OrlMapiFreeBuffer(events); }
};
using DayA = Day<CalendarEventA>;
using DayW = Day<CalendarEventW>;

class CalendarTest : public MessagesTest
{
  protected:
    CalendarTest();

    // An appointment on 23rd November 2026 from 9:00 to 9:30, busy, unless `more` says otherwise.
    Row &Add(const std::string &subject, Row more = {});
    void Read(DayA &day, const char *date = "11/23/2026") const;
    void Read(DayW &day, const WCHAR *date = OLESTR("11/23/2026")) const;
    std::vector<std::string> Subjects(const char *date = "11/23/2026") const;

    std::shared_ptr<FolderData> m_calendar = std::make_shared<FolderData>("alice/Calendar");
};

} // namespace calendar_test
