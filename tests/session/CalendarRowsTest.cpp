// What becomes of the rows of a day: their fields, which of them are left out, recurring ones, and the block that the
// caller gets.
#include "session/CalendarTest.h"
#include "session/calendar/CalendarEvent.h"

using namespace calendar_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// A rule that began on a Monday long ago.
std::string Weekly(std::uint32_t weekdays, std::uint32_t period = 1)
{
    RecurrenceBlob blob;
    blob.period = period;
    blob.specific = {weekdays};
    blob.start = static_cast<std::uint32_t>(TicksOf({2026, 1, 0, 5, 0, 0, 0, 0}) / 600000000);
    return blob.Bytes() + AppointmentTail();
}

Row Recurring(std::string blob, Row more = {})
{
    Row row = {Bool(kRecurring, true),
               Binary(kRecurrence, std::move(blob)),
               Time(kStart, TicksOf({2026, 1, 0, 5, 14, 15, 0, 0})),
               Time(kEnd, TicksOf({2026, 1, 0, 5, 15, 0, 0, 0})),
               Long(kDuration, 45),
               Long(kRecurrenceType, 2)};
    for (Value &value : more)
        Set(row, std::move(value));
    return row;
}

TEST_F(CalendarTest, ARowBecomesARecord)
{
    Add("Meeting", {Wide(kLocation, OLESTR("Room 1")), Text(kBody, "Agenda"), Long(kRecurrenceType, 0)});
    DayA day;
    Read(day);
    ASSERT_EQ(day.hr, S_OK);
    ASSERT_EQ(day.count, 1u);
    const CalendarEventA &event = day.events[0];
    EXPECT_EQ(event.lDuration, 30);
    EXPECT_STREQ(event.pszLocation, "Room 1");
    EXPECT_STREQ(event.pszSubject, "Meeting");
    EXPECT_STREQ(event.pszBody, "Agenda");
    EXPECT_EQ(TextOf(event.stStart), "2026-11-23(1) 09:00:00");
    EXPECT_EQ(TextOf(event.stEnd), "2026-11-23(1) 09:30:00");
}

TEST_F(CalendarTest, TheFlagsOfARecordAreLeftAsTheAllocatorLeftThem)
{
    for (const int status : {1, 2, 3}) {
        m_calendar->contents->rows.clear();
        Add("Meeting", {Long(kBusyStatus, status)});
        DayA day;
        Read(day);
        ASSERT_EQ(day.count, 1u);
        EXPECT_EQ(day.events[0].bBusy, 0xCD);
        EXPECT_EQ(day.events[0].bOutOfOffice, 0xCD);
        EXPECT_EQ(day.events[0].bTentative, 0xCD);
        DayW wide;
        Read(wide);
        ASSERT_EQ(wide.count, 1u);
        EXPECT_EQ(wide.events[0].bBusy, 0xCD);
        EXPECT_EQ(wide.events[0].bOutOfOffice, 0xCD);
        EXPECT_EQ(wide.events[0].bTentative, 0xCD);
    }
}

TEST_F(CalendarTest, TheSessionKnowsTheBusyStatus)
{
    for (const int status : {1, 2, 3, 4, -1})
        Add("Meeting", {Long(kBusyStatus, status)});
    std::vector<CalendarEvent> events;
    ASSERT_EQ(CMAPIImpl::Locate(m_connection)
                  ->ObtainCalendarEvents(reinterpret_cast<IMsgStore *>(m_mailbox), "11/23/2026", events),
              S_OK);
    std::vector<std::string> flags;
    for (const CalendarEvent &event : events)
        flags.push_back(std::to_string(event.bBusy) + std::to_string(event.bOutOfOffice) +
                        std::to_string(event.bTentative));
    EXPECT_THAT(flags, ElementsAre("001", "100", "010", "000", "000"));
}

TEST_F(CalendarTest, AFreeAppointmentIsNeverListed)
{
    Add("Free", {Long(kBusyStatus, 0)});
    Add("Free, recurring", Recurring(Weekly(0x02), {Long(kBusyStatus, 0)}));
    Add("Free, with a rule that cannot be read", Recurring("?", {Long(kBusyStatus, 0)}));
    Add("Busy");
    EXPECT_THAT(Subjects(), ElementsAre("Busy"));
}

TEST_F(CalendarTest, ADayWithoutAppointmentsIsAnEmptyBlock)
{
    DayA day;
    Read(day);
    EXPECT_EQ(day.hr, S_OK);
    EXPECT_EQ(day.count, 0u);
    EXPECT_NE(day.events, nullptr);
    EXPECT_THAT(m_mapi.recorder.Memory(), testing::Contains("MAPIAllocateBuffer(0)"));
}

TEST_F(CalendarTest, ARowWithoutValuesIsAnEmptyAppointment)
{
    m_calendar->contents->rows.push_back({});
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_EQ(day.events[0].lDuration, 0);
    EXPECT_STREQ(day.events[0].pszLocation, "");
    EXPECT_STREQ(day.events[0].pszSubject, "");
    EXPECT_STREQ(day.events[0].pszBody, "");
    EXPECT_EQ(TextOf(day.events[0].stStart), "0000-00-00(0) 00:00:00");
    EXPECT_EQ(TextOf(day.events[0].stEnd), "0000-00-00(0) 00:00:00");
}

TEST_F(CalendarTest, ValuesOfOtherTypesSayNothing)
{
    m_calendar->contents->raw = true;
    m_calendar->contents->rows.push_back(
        {Long(CHANGE_PROP_TYPE(kRecurring, PT_LONG), 1), Text(CHANGE_PROP_TYPE(kBusyStatus, PT_STRING8), "0"),
         Long(CHANGE_PROP_TYPE(kLocation, PT_LONG), 77), Long(CHANGE_PROP_TYPE(kStart, PT_LONG), 5),
         Missing(CHANGE_PROP_TYPE(kEnd, PT_ERROR)), Text(CHANGE_PROP_TYPE(kRecurrence, PT_STRING8), "blob"),
         Missing(CHANGE_PROP_TYPE(kSubject, PT_ERROR), MAPI_E_NOT_ENOUGH_MEMORY),
         Missing(CHANGE_PROP_TYPE(kBody, PT_ERROR))});
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_STREQ(day.events[0].pszLocation, "");
    EXPECT_STREQ(day.events[0].pszSubject, "");
    EXPECT_EQ(TextOf(day.events[0].stStart), "0000-00-00(0) 00:00:00");
}

TEST_F(CalendarTest, ALocationMayBeNarrow)
{
    m_calendar->contents->raw = true;
    m_calendar->contents->rows.push_back({Text(CHANGE_PROP_TYPE(kLocation, PT_STRING8), "Room 2")});
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_STREQ(day.events[0].pszLocation, "Room 2");
}

TEST_F(CalendarTest, TextsWithoutAPointerAreReportedAndEmpty)
{
    m_calendar->contents->raw = true;
    m_calendar->contents->rows.push_back({Null(kLocation), Null(kSubject), Null(kBody), Null(kRecurrence)});
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_STREQ(day.events[0].pszSubject, "");
    EXPECT_THAT(Lines(), testing::Contains(testing::StartsWith("Assertion failed: Invalid string passed to tstring::"
                                                               "operator=")));
}

TEST_F(CalendarTest, ATimeThatIsNoneIsReportedAndEmpty)
{
    Add("Meeting", {Time(kStart, 0x8000000000000000)});
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_EQ(day.events[0].stStart.wYear, 0);
    EXPECT_EQ(TextOf(day.events[0].stEnd), "2026-11-23(1) 09:30:00");
    ASSERT_EQ(ErrorLines().size(), 1u);
    EXPECT_THAT(ErrorLines()[0], testing::EndsWith(" from FileTimeToSystemTime."));
}

TEST_F(CalendarTest, WideTextsAreAsLongAsTheirCharacters)
{
    Add("J\xC3\xA4ger", {Text(kBody, "\xF0\x9F\x93\x9E call")});
    m_mapi.recorder.Forget();
    DayW day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_EQ(WideText(day.events[0].pszSubject), OLESTR("J\u00E4ger"));
    EXPECT_EQ(WideText(day.events[0].pszBody), OLESTR("\U0001F4DE call"));
    const std::string block = "MAPIAllocateBuffer(" + std::to_string(sizeof(CalendarEventW)) + ")";
    EXPECT_THAT(m_mapi.recorder.Memory(), testing::IsSupersetOf({block, std::string("MAPIAllocateMore(2, block 1)"),
                                                                 std::string("MAPIAllocateMore(12, block 1)"),
                                                                 std::string("MAPIAllocateMore(16, block 1)")}));
    m_mapi.recorder.Forget();
    DayA narrow;
    Read(narrow);
    ASSERT_EQ(narrow.count, 1u);
    EXPECT_STREQ(narrow.events[0].pszSubject, "J\xC3\xA4ger");
    std::vector<std::string> more;
    for (const std::string &call : m_mapi.recorder.Memory())
        if (call.find("MAPIAllocateMore") == 0)
            more.push_back(call.substr(0, call.find(',')));
    EXPECT_THAT(more, ElementsAre("MAPIAllocateMore(1", "MAPIAllocateMore(7", "MAPIAllocateMore(10"))
        << "location, subject, body";
}

TEST_F(CalendarTest, AnOccurrenceIsMovedToTheDay)
{
    Add("Weekly", Recurring(Weekly(0x02)));
    DayA day;
    Read(day);
    ASSERT_EQ(day.count, 1u);
    EXPECT_EQ(TextOf(day.events[0].stStart), "2026-11-23(1) 14:15:00");
    EXPECT_EQ(TextOf(day.events[0].stEnd), "2026-11-23(1) 15:00:00");
    EXPECT_EQ(day.events[0].lDuration, 45);
    EXPECT_THAT(Subjects("11/24/2026"), IsEmpty());
}

TEST_F(CalendarTest, AWeeklySeriesOfTwoDaysListsThoseAWholeWeekAfterItsFirst)
{
    Add("Mondays and Wednesdays", Recurring(Weekly(0x02 | 0x08)));
    EXPECT_EQ(Subjects("11/23/2026").size(), 1u);
    EXPECT_EQ(Subjects("11/25/2026").size(), 0u);
    EXPECT_EQ(Subjects("11/30/2026").size(), 1u);
}

TEST_F(CalendarTest, ARuleThatCannotBeReadKeepsTheStoredTimes)
{
    Add("Unreadable", Recurring("nonsense"));
    Row &none = Add("No rule at all", Recurring(""));
    none.erase(none.begin() + 6, none.end());
    Set(none, Text(kSubject, "No rule at all"));
    DayA day;
    Read(day, "7/7/2027");
    ASSERT_EQ(day.count, 2u);
    EXPECT_EQ(TextOf(day.events[0].stStart), "2026-01-05(1) 14:15:00");
    EXPECT_EQ(TextOf(day.events[0].stEnd), "2026-01-05(1) 15:00:00");
}

TEST_F(CalendarTest, ARuleOfAnAppointmentThatIsNotRecurringIsNotLookedAt)
{
    Add("Single", {Binary(kRecurrence, Weekly(0x04))});
    EXPECT_THAT(Subjects(), ElementsAre("Single"));
}

TEST_F(CalendarTest, AnUnknownFrequencyFallsOnNoDay)
{
    RecurrenceBlob blob;
    blob.frequency = 0x2000;
    Add("Never", Recurring(blob.Bytes()));
    EXPECT_THAT(Subjects(), IsEmpty());
}

TEST_F(CalendarTest, RecordsFollowEachOtherInTheOrderOfTheRows)
{
    for (const char *subject : {"one", "two", "three"})
        Add(subject);
    EXPECT_THAT(Subjects(), ElementsAre("one", "two", "three"));
}

} // namespace
