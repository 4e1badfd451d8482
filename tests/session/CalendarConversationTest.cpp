// What reading a day of the calendar asks MAPI, in which order and with which flags, what it traces, and what it does
// with every failure.
#include "session/CalendarTest.h"
#include "session/calendar/CalendarEvent.h"
#include <algorithm>

using namespace calendar_test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

const char *const kNames =
    "[{6ed8da90-450b-101b-98da-00aa003f1305}/0x5, {00062002-0000-0000-c000-000000000046}/0x8205, "
    "{00062002-0000-0000-c000-000000000046}/0x8208, {00062002-0000-0000-c000-000000000046}/0x820d, "
    "{00062002-0000-0000-c000-000000000046}/0x820e, {00062002-0000-0000-c000-000000000046}/0x8213, "
    "{00062002-0000-0000-c000-000000000046}/0x8216, {00062002-0000-0000-c000-000000000046}/0x8231], 0";

// The double shows values of no type as "?".
std::string QueryOf(const std::string &columns, const std::string &end, const std::string &start,
                    const std::string &recurring, bool typed = true)
{
    const auto value = [&](const char *text) { return std::string(typed ? text : "?"); };
    return "HrQueryAllRows(Table(alice/Calendar), [" + columns + ", 0x0E1D001E, PR_BODY_A], OR(AND(PROPERTY(" + end +
           " <= " + value("0x1DD7BA69BD1FA00") + "), PROPERTY(" + start + " >= " + value("0x1DD7ADD952B8000") +
           ")), PROPERTY(" + recurring + " == " + value("TRUE") + ")), SORT(" + start + " ASC), 0)";
}

TEST_F(CalendarTest, ADayIsOneQueryOfTheCalendarFolder)
{
    Add("Meeting");
    m_mapi.recorder.Forget();
    EXPECT_THAT(Subjects(), ElementsAre("Meeting"));
    EXPECT_EQ(TicksOf({2026, 11, 0, 23, 0, 0, 0, 0}), 0x1DD7ADD952B8000u);
    EXPECT_EQ(TicksOf({2026, 11, 0, 23, 23, 59, 0, 0}), 0x1DD7BA69BD1FA00u);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Store(alice).GetReceiveFolder(NULL, 0, NULL)",
                            "Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)",
                            "Folder(alice/Inbox).GetProps([0x36D00102], 0)",
                            "Store(alice).OpenEntry(eid(folder:alice/Calendar), IMAPIFolder, 0x210)",
                            "Folder(alice/Calendar).GetContentsTable(0)",
                            std::string("Folder(alice/Calendar).GetIDsFromNames(") + kNames + ")",
                            QueryOf("0x8001000B, 0x80020003, 0x8003001F, 0x80040040, 0x80050040, 0x80060003, "
                                    "0x80070102, 0x80080003",
                                    "0x80050040", "0x80040040", "0x8001000B")));
}

TEST_F(CalendarTest, WhatIsHeldIsGivenBackBeforeTheFolderThatItCameFrom)
{
    Add("Meeting");
    DayA day;
    m_mapi.recorder.Forget();
    Read(day);
    const std::vector<std::string> all = m_mapi.recorder.Everything();
    const auto at = [&](const std::string &call) {
        const auto found = std::find(all.begin(), all.end(), call);
        EXPECT_NE(found, all.end()) << call;
        return found - all.begin();
    };
    const auto rows =
        std::find_if(all.begin(), all.end(), [](const auto &call) { return call.find("FreeProws") == 0; });
    ASSERT_NE(rows, all.end());
    EXPECT_LT(rows - all.begin(), at("Table(alice/Calendar).Release()"));
    EXPECT_LT(at("Table(alice/Calendar).Release()"), at("Folder(alice/Calendar).Release()"));
    EXPECT_LT(at("MAPIFreeBuffer(property tags)"), at("Table(alice/Calendar).Release()"));
    EXPECT_LT(at("Folder(alice/Calendar).Release()"), at("MAPIFreeBuffer(properties of alice/Inbox)"));
    EXPECT_LT(at("MAPIFreeBuffer(properties of alice/Inbox)"), at("Folder(alice/Inbox).Release()"));
    EXPECT_LT(at("MAPIFreeBuffer(receive folder ID)"), at("Folder(alice/Inbox).Release()"));
}

TEST_F(CalendarTest, NamesThatCannotBeResolvedLeaveTheBareIdentifiers)
{
    const std::string bare = QueryOf("0x00050000, 0x82050000, 0x82080000, 0x820D0000, 0x820E0000, 0x82130000, "
                                     "0x82160000, 0x82310000",
                                     "0x820E0000", "0x820D0000", "0x00050000", false);
    for (const bool gives : {false, true}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell("Folder.GetIDsFromNames", gives ? GivesNull() : Fails(MAPI_E_NO_SUPPORT));
        Forget();
        EXPECT_THAT(Subjects(), IsEmpty());
        EXPECT_THAT(m_mapi.recorder.Calls(), Contains(bare));
        EXPECT_THAT(ErrorLines(), IsEmpty());
    }
}

TEST_F(CalendarTest, ANameThatTheFolderDoesNotKnowKeepsItsType)
{
    m_calendar->ids.erase("{00062002-0000-0000-c000-000000000046}/0x8208");
    Add("Meeting");
    EXPECT_THAT(Subjects(), ElementsAre("Meeting"));
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains(HasSubstr("[0x8001000B, 0x80020003, 0x0000001F, 0x80040040,")));
}

TEST_F(CalendarTest, ADayIsTraced)
{
    Add("Meeting");
    Add("Lunch");
    ForgetTrace();
    Subjects();
    const std::vector<std::string> lines = Lines();
    EXPECT_THAT(lines, Contains(AllOf(StartsWith("> CMAPIImpl::ObtainCalendarEvents(pIMsgStore: "),
                                      EndsWith(", szDate: \"11/23/2026\", ...)"))));
    EXPECT_THAT(lines, Contains(AllOf(StartsWith("> CMAPIImpl::ScanCalendarFolder(pIMsgStore: "),
                                      HasSubstr(", EntryID: "), EndsWith(", szDate: \"11/23/2026\", ...)"))));
    EXPECT_THAT(lines, Contains("OrlMapiObtainCalendarEventsA: ObtainCalendarEvents returned 2 events"));
    EXPECT_EQ(CountLines("< CMAPIImpl::ObtainCalendarEvents()"), 1);
    for (const TraceLine &line : Trace())
        if (line.text.find("returned 2 events") != std::string::npos) {
            EXPECT_EQ(line.level, '8');
        }
    ForgetTrace();
    DayW day;
    Read(day);
    EXPECT_EQ(CountLines("OrlMapiObtainCalendarEventsW: ObtainCalendarEvents returned 2 events"), 1);
}

TEST_F(CalendarTest, TheNumberOfEventsIsTracedAfterAFailureToo)
{
    m_mapi.script.Tell("HrQueryAllRows", Fails(MAPI_E_NETWORK_ERROR));
    DayA day;
    Read(day);
    EXPECT_EQ(day.hr, MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(CountLines("OrlMapiObtainCalendarEventsA: ObtainCalendarEvents returned 0 events"), 1);
}

TEST_F(CalendarTest, FailuresAreNamed)
{
    const struct {
        const char *call;
        int nth;
        const char *report;
    } cases[] = {
        {"Store.GetReceiveFolder", 1,
         "CMAPIImpl::ObtainCalendarEvents[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from GetReceiveFolder trying to "
         "obtain the ID for the receive folder."},
        {"Store.OpenEntry", 1,
         "CMAPIImpl::ObtainCalendarEvents[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from HrOpenEntry trying to "
         "access "
         "and open the receive folder."},
        {"Folder.GetProps", 1,
         "CMAPIImpl::ObtainCalendarEvents[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from GetProps trying to "
         "determine "
         "the ID for the Outlook Calendar."},
        {"Store.OpenEntry", 2,
         "CMAPIImpl::ScanCalendarFolder[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from HrOpenEntry trying to access "
         "and open the Calender folder."},
        {"Folder.GetContentsTable", 1,
         "CMAPIImpl::ScanCalendarFolder[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from GetContentsTable trying to "
         "retrieve the contents table for the Calender folder."},
        {"HrQueryAllRows", 1,
         "CMAPIImpl::ScanCalendarFolder[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from HrQueryAllRows trying to get "
         "the rows from Calender folder."},
    };
    Add("Meeting");
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR).Nth(failing.nth));
        ForgetTrace();
        DayA day;
        Read(day);
        EXPECT_EQ(day.hr, MAPI_E_NETWORK_ERROR);
        EXPECT_EQ(day.count, 0u);
        EXPECT_EQ(day.events, nullptr);
        EXPECT_THAT(ErrorLines(), ElementsAre(failing.report));
        EXPECT_EQ(OpenObjects(), 0);
    }
}

TEST_F(CalendarTest, WhatAnObjectSaysAboutItsFailureIsReported)
{
    m_mapi.script.Tell("HrQueryAllRows", Fails(MAPI_E_TOO_COMPLEX));
    m_mapi.script.SetLastError("Table(alice/Calendar)", {"Too much at once", "Store", 7});
    DayA day;
    Read(day);
    ASSERT_EQ(ErrorLines().size(), 1u);
    EXPECT_THAT(ErrorLines()[0], HasSubstr("Too much at once"));
}

TEST_F(CalendarTest, AMailboxWithoutCalendarHasNoEvents)
{
    m_mapi.world.mailboxes.at("alice")->inbox->props = {
        Binary(PR_ENTRYID, m_mapi.world.mailboxes.at("alice")->inbox->entryId)};
    DayA day;
    Read(day);
    EXPECT_TRUE(SUCCEEDED(day.hr));
    EXPECT_EQ(day.count, 0u);
    EXPECT_NE(day.events, nullptr);
    EXPECT_EQ(m_mapi.recorder.Count("Folder.GetContentsTable"), 0);

    // A value of another type is not the calendar's.
    m_mapi.world.mailboxes.at("alice")->inbox->raw = true;
    m_mapi.world.mailboxes.at("alice")->inbox->props = {Text(PROP_TAG(PT_STRING8, 0x36D0), "calendar")};
    DayA other;
    Read(other);
    EXPECT_TRUE(SUCCEEDED(other.hr));
    EXPECT_EQ(m_mapi.recorder.Count("Folder.GetContentsTable"), 0);
}

TEST_F(CalendarTest, EveryCalendarThatTheFolderNamesIsReadAndTheLastOneSaysHowItWent)
{
    Add("Meeting");
    FolderData &inbox = *m_mapi.world.mailboxes.at("alice")->inbox;
    inbox.raw = true;
    inbox.props = {Binary(kCalendarId, m_calendar->entryId), Binary(kCalendarId, m_calendar->entryId)};
    EXPECT_THAT(Subjects(), ElementsAre("Meeting", "Meeting"));
    inbox.props = {Binary(kCalendarId, EntryIdOf("gone")), Binary(kCalendarId, m_calendar->entryId)};
    EXPECT_THAT(Subjects(), ElementsAre("Meeting"));
    std::swap(inbox.props[0], inbox.props[1]);
    DayA day;
    Read(day);
    EXPECT_EQ(day.hr, MAPI_E_NOT_FOUND);
    EXPECT_EQ(day.count, 0u);
}

TEST_F(CalendarTest, UnknownConnectionsAndMailboxesAreRefused)
{
    DayA day;
    for (const DWORD unknown : {DWORD{0}, DWORD{40000}}) {
        day.count = 9;
        EXPECT_EQ(OrlMapiObtainCalendarEventsA(unknown, m_mailbox, "11/23/2026", &day.events, &day.count),
                  E_INVALIDARG);
        EXPECT_EQ(day.count, 0u);
    }
    day.count = 9;
    EXPECT_EQ(OrlMapiObtainCalendarEventsA(m_connection, 0, "11/23/2026", &day.events, &day.count), E_INVALIDARG);
    EXPECT_EQ(day.count, 0u);
    EXPECT_EQ(day.events, nullptr);
    DayW wide;
    EXPECT_EQ(OrlMapiObtainCalendarEventsW(m_connection, 0, OLESTR("11/23/2026"), &wide.events, &wide.count),
              E_INVALIDARG);
    EXPECT_EQ(wide.count, 0u);
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
}

TEST_F(CalendarTest, TheMemberRefusesANullStore)
{
    std::vector<CalendarEvent> events(1);
    EXPECT_EQ(CMAPIImpl::Locate(m_connection)->ObtainCalendarEvents(nullptr, "11/23/2026", events), E_POINTER);
    EXPECT_EQ(CountLines("CMAPIImpl::ObtainCalendarEvents[n]: Error pIMsgStore is NULL."), 1);
}

TEST_F(CalendarTest, TheMemberBeginsWithAnEmptyList)
{
    Add("Meeting");
    std::vector<CalendarEvent> events(3);
    auto *store = reinterpret_cast<IMsgStore *>(m_mailbox);
    EXPECT_EQ(CMAPIImpl::Locate(m_connection)->ObtainCalendarEvents(store, "11/23/2026", events), S_OK);
    EXPECT_EQ(events.size(), 1u);
    m_mapi.script.Tell("Store.GetReceiveFolder", Fails(MAPI_E_NOT_FOUND));
    EXPECT_EQ(CMAPIImpl::Locate(m_connection)->ObtainCalendarEvents(store, "11/23/2026", events), MAPI_E_NOT_FOUND);
    EXPECT_TRUE(events.empty());
}

TEST_F(CalendarTest, ATextThatIsNoDateEndsTheScan)
{
    const std::string longText(300, '1');
    for (const char *date : {"nonsense", "2/30/2026", "11/23/2026 10:00", longText.c_str()}) {
        SCOPED_TRACE(date);
        Forget();
        DayA day;
        Read(day, date);
        EXPECT_EQ(day.hr, static_cast<HRESULT>(0x80020005));
        EXPECT_EQ(day.count, 0u);
        EXPECT_EQ(m_mapi.recorder.Count("HrQueryAllRows"), 0);
        ASSERT_EQ(ErrorLines().size(), 1u);
        EXPECT_THAT(ErrorLines()[0], AllOf(StartsWith("CMAPIImpl::UCTTimeFromString[n]: Error 0x80020005 ["),
                                           EndsWith("] from VarDateFromStr.")));
        EXPECT_EQ(OpenObjects(), 0);
    }
}

TEST_F(CalendarTest, ADateBeforeAllFileTimesIsReportedByEachConversion)
{
    DayA day;
    Read(day, "1/1/1600");
    EXPECT_EQ(day.hr, E_INVALIDARG);
    EXPECT_EQ(m_mapi.recorder.Count("HrQueryAllRows"), 0);
    EXPECT_THAT(ErrorLines(), ElementsAre(AllOf(StartsWith("CMAPIImpl::UCTTimeFromLocalTime[n]: Error 0x000057 ["),
                                                EndsWith("] from SystemTimeToFileTime.")),
                                          AllOf(StartsWith("CMAPIImpl::ScanCalendarFolder[n]: Error 0x000057 ["),
                                                EndsWith("] from SystemTimeToFileTime."))));
}

TEST_F(CalendarTest, AnEmptyOrMissingDateIsTheFirstOfVariantDates)
{
    for (const char *date : {"", static_cast<const char *>(nullptr)}) {
        Forget();
        EXPECT_THAT(Subjects(date), IsEmpty());
        char bound[32];
        std::snprintf(bound, sizeof bound, ">= 0x%llX)",
                      static_cast<unsigned long long>(TicksOf({1899, 12, 0, 30, 0, 0, 0, 0})));
        EXPECT_THAT(m_mapi.recorder.Calls(), Contains(HasSubstr(bound)));
    }
    EXPECT_EQ(CountLines("Assertion failed: Invalid string passed to tstring::tstring"), 0);
    EXPECT_THAT(Lines(), Contains(StartsWith("Assertion failed: Invalid string passed to tstring::tstring")));
}

// Every fallible call and allocation, failed one after the other.
TEST_F(CalendarTest, EveryFailureIsTheResultOnceReportedAndNothingIsLeft)
{
    Add("Meeting", {Wide(kLocation, OLESTR("Room 1")), Text(kBody, "Agenda")});
    Add("Lunch");
    for (const bool wide : {false, true}) {
        HRESULT hr = E_FAIL;
        ULONG count = 0;
        void *block = nullptr;
        const int calls = Sweep(
            [&] {
                OrlMapiFreeBuffer(std::exchange(block, nullptr));
                count = 9;
                Forget();
            },
            [&] {
                if (wide)
                    hr = OrlMapiObtainCalendarEventsW(m_connection, m_mailbox, OLESTR("11/23/2026"),
                                                      reinterpret_cast<CalendarEventW **>(&block), &count);
                else
                    hr = OrlMapiObtainCalendarEventsA(m_connection, m_mailbox, "11/23/2026",
                                                      reinterpret_cast<CalendarEventA **>(&block), &count);
            },
            [&](const Round &round) {
                EXPECT_EQ(OpenObjects(), 0);
                EXPECT_EQ(LiveObjects(), std::vector<std::string>{"Store(alice)"});
                if (round.call.method == "GetIDsFromNames" && !round.onwards) {
                    EXPECT_EQ(hr, S_OK);
                    EXPECT_THAT(ErrorLines(), IsEmpty());
                    return;
                }
                EXPECT_EQ(hr, round.hr);
                const bool named = round.call.method == "GetIDsFromNames";
                const std::string from = " from " + (round.call.method == "OpenEntry" ? std::string("HrOpenEntry")
                                                     : named                          ? std::string("HrQueryAllRows")
                                                                                      : round.call.method);
                ASSERT_EQ(ErrorLines().size(), 1u) << testing::PrintToString(ErrorLines());
                EXPECT_THAT(ErrorLines()[0], HasSubstr(from));
                const bool inTheBlock = round.call.method == "MAPIAllocateMore";
                EXPECT_EQ(block != nullptr, inTheBlock);
                EXPECT_EQ(LiveBlocks().empty(), !inTheBlock);
                // Calls 1 to 8 come before the first text; each event has three.
                EXPECT_EQ(count, inTheBlock ? static_cast<ULONG>((round.at - 9) / 3) : 0u);
            },
            {E_FAIL, E_OUTOFMEMORY, MAPI_E_NETWORK_ERROR});
        EXPECT_EQ(calls, 14);
        OrlMapiFreeBuffer(block);
    }
}

TEST_F(CalendarTest, AStoreThatKnowsNoCacheFlagIsAskedAgain)
{
    Add("Meeting");
    m_mapi.script.Tell("Store(alice).OpenEntry(eid(folder:alice/Calendar), IMAPIFolder, 0x210)",
                       Fails(MAPI_E_UNKNOWN_FLAGS));
    EXPECT_THAT(Subjects(), ElementsAre("Meeting"));
    EXPECT_THAT(m_mapi.recorder.Calls(),
                Contains("Store(alice).OpenEntry(eid(folder:alice/Calendar), IMAPIFolder, 0x10)"));
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(CalendarTest, SuccessesThatGiveNothingAreFailures)
{
    for (const char *call : {"Store.GetReceiveFolder", "Store.OpenEntry", "Folder.GetContentsTable"}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        DayA day;
        Read(day);
        EXPECT_EQ(day.hr, E_FAIL) << call;
    }
    for (const char *call : {"Folder.GetProps", "HrQueryAllRows"}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        EXPECT_THAT(Subjects(), IsEmpty()) << call;
    }
}

} // namespace
