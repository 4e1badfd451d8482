// Watching a mailbox: the whole conversation with MAPI, every trace line, the first counts, and what each failing step
// leaves.
#include "notify/NotifyTest.h"
#include <stdexcept>

namespace
{

constexpr char kThrownAway[] = "HrGetOneProp(Store(alice), PR_SPLUS_FREE_BUSY_ENTRYID)";

class AdviseTest : public NotifyTest
{
  protected:
    static std::string ClassTerm() { return "PROPERTY(PR_MESSAGE_CLASS_A == \"IPM.Note.Microsoft.Voicemail.UM\")"; }
    static std::vector<std::string> TableCalls(const std::string &table, const std::string &terms)
    {
        return {"Folder(alice/Inbox).GetContentsTable(0)",
                "Table(" + table + ").SetColumns([PR_MESSAGE_CLASS_A, PR_MESSAGE_FLAGS], 0)",
                "Table(" + table + ").Restrict(AND(" + ClassTerm() + ", " + terms + "), 0)",
                "Table(" + table + ").SortTable(SORT(PR_CLIENT_SUBMIT_TIME ASC), 0)"};
    }
    std::vector<std::string> CallsAfterLogon() const
    {
        return After(Calls(), "Session.OpenMsgStore(0, eid(store:alice), NULL, 0x131)");
    }
    std::vector<std::string> LinesAfterLogon() const { return After(IndentedLines(), "  < CMAPIImpl::Logon()"); }
};

TEST_F(AdviseTest, OpensThreeFilteredTablesRegistersOnThemAndTellsTheirCounts)
{
    ASSERT_EQ(Advise(), S_OK);
    std::vector<std::string> expected = {"Store(alice).GetReceiveFolder(NULL, 0, NULL)",
                                         "Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)"};
    for (const auto &calls :
         {TableCalls("read", "BITMASK(PR_MESSAGE_FLAGS & 0x1 != 0)"),
          TableCalls("unread", "BITMASK(PR_MESSAGE_FLAGS & 0x1 == 0)"),
          TableCalls("unread priority", "BITMASK(PR_MESSAGE_FLAGS & 0x1 == 0), PROPERTY(PR_IMPORTANCE == 2)"),
          {"Table(read).Advise(0x100, sink)", "Table(unread).Advise(0x100, sink)",
           "Table(unread priority).Advise(0x100, sink)", kThrownAway, "Table(read).GetRowCount(0)",
           "Table(unread).GetRowCount(0)", "Table(unread priority).GetRowCount(0)"}})
        expected.insert(expected.end(), calls.begin(), calls.end());
    EXPECT_EQ(CallsAfterLogon(), expected);
    EXPECT_EQ(m_mapi.recorder.Count("Folder(alice/Inbox).Release()"), 1);
    EXPECT_EQ(TakeTold(), std::vector<std::string>{"3 unread (1) 2 read"});
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(AdviseTest, WritesTheseLines)
{
    ASSERT_EQ(Advise(), S_OK);
    EXPECT_THAT(IndentedLines().at(0), "> CMAPIImpl::Advise(szMailbox: \"alice\")");
    EXPECT_THAT(IndentedLines().at(1), "  CMAPIImpl::Advise[#]: At entry, counter=[0]");
    EXPECT_THAT(LinesAfterLogon(),
                ElementsAre(Like("  > HrOpenEntry(pIMsgStore: *)"), "  < HrOpenEntry()",
                            Like("  > CAdviseSink::CAdviseSink(*: alice)"), "  < CAdviseSink::CAdviseSink()",
                            Like("  > CAdviseSink::Advise(*: \"alice\")"),
                            "    Advise - Telling \"alice\" it has 3 unread (1 with priority) and 2 read messages",
                            "  < CAdviseSink::Advise()", "  CMAPIImpl::Advise[#]: At Exit, counter=[1]",
                            "< CMAPIImpl::Advise()"));
    const auto levelOf = [&](const std::string &part) {
        for (const TraceCapture::Line &line : m_trace.Lines())
            if (line.text.find(part) != std::string::npos)
                return line.value;
        return DWORD{0};
    };
    EXPECT_EQ(levelOf("Telling"), 0x660009u);
    EXPECT_EQ(levelOf("> CAdviseSink::Advise"), 0x660008u);
    EXPECT_EQ(levelOf("> CMAPIImpl::Advise"), 0x660008u);
    Unadvise(m_sink);
}

TEST_F(AdviseTest, GivesTheSinkAndTheMailboxItselfAndHandsTheContextBack)
{
    const ULONG_PTR context = static_cast<ULONG_PTR>(0) - 3;
    ASSERT_EQ(Advise("alice", context), S_OK);
    EXPECT_EQ(ObjectName(reinterpret_cast<void *>(m_mailbox)), "Store(alice)");
    EXPECT_NE(m_sink, 0u);
    EXPECT_NE(m_sink, kNoSink);
    ASSERT_EQ(AllTold().size(), 1u);
    EXPECT_EQ(AllTold()[0].context, context);
    EXPECT_EQ(AllTold()[0].mailbox, OLESTR("alice"));
    EXPECT_EQ(AllTold()[0].thread, std::this_thread::get_id());
    EXPECT_THAT(Registrations(),
                ElementsAre("Table(read) 0x100", "Table(unread) 0x100", "Table(unread priority) 0x100"));
    Unadvise(m_sink);
}

TEST_F(AdviseTest, TheMailboxCanBeWorkedWithUntilItsSinkEnds)
{
    m_mapi.world.mailboxes.at("alice")->inbox->contentsInTurn.clear();
    ASSERT_EQ(Advise(), S_OK);
    const std::string id = EntryIdOf("message:m1");
    EXPECT_EQ(OrlSetEmailReadFlag(m_hConnection, m_mailbox, static_cast<ULONG>(id.size()),
                                  reinterpret_cast<const BYTE *>(id.data()), 1),
              S_OK);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(AdviseTest, TheWideTwinAsksTheSame)
{
    ASSERT_EQ(Advise(), S_OK);
    const std::vector<std::string> narrow = CallsAfterLogon();
    Unadvise(m_sink);
    Forget();
    EXPECT_EQ(OrlAdviseW(m_hConnection, &m_sink, OLESTR("alice"), &Callback, 8, &m_mailbox), S_OK);
    EXPECT_EQ(CallsAfterLogon(), narrow);
    ASSERT_EQ(AllTold().size(), 2u);
    EXPECT_EQ(AllTold()[1].mailbox, OLESTR("alice"));
    EXPECT_EQ(AllTold()[1].context, 8u);
    Unadvise(m_sink);
}

TEST_F(AdviseTest, ANameThatIsUtf8IsToldAsSuchAndAnyOtherAsAnsiText)
{
    const WideText name = OLESTR("Zo\u00eb");
    const std::string utf8 = "Zo\xC3\xAB";
    m_mapi.world.AddMailbox("utf", utf8);
    ASSERT_EQ(Advise(utf8.c_str()), S_OK);
    EXPECT_EQ(AllTold().back().mailbox, name);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
    const std::string ansi = InAnsi(name);
    if (ansi != utf8)
        m_mapi.world.AddMailbox("ansi", ansi);
    ASSERT_EQ(OrlAdviseW(m_hConnection, &m_sink, name.c_str(), &Callback, 8, &m_mailbox), S_OK);
    EXPECT_EQ(AllTold().back().mailbox, name);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(AdviseTest, AnUnknownConnectionChangesNothing)
{
    const DWORD unknown = 40000;
    EXPECT_EQ(OrlAdviseA(unknown, &m_sink, "alice", &Callback, 1, &m_mailbox), E_INVALIDARG);
    EXPECT_EQ(OrlAdviseW(0, &m_sink, OLESTR("alice"), &Callback, 1, &m_mailbox), E_INVALIDARG);
    EXPECT_EQ(m_sink, kNoSink);
    EXPECT_EQ(m_mailbox, kNoMailbox);
    EXPECT_THAT(AllTold(), IsEmpty());
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(AdviseTest, AMailboxThatCannotBeOpenedIsAllThatGoesWrong)
{
    EXPECT_EQ(Advise("nobody"), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_sink, kNoSink);
    EXPECT_EQ(m_mailbox, kNoMailbox);
    EXPECT_EQ(m_mapi.recorder.Count("Store.GetReceiveFolder"), 0);
    EXPECT_THAT(Lines(), testing::Not(Contains(testing::HasSubstr("Failed to create"))));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::Advise[#]: At Exit, counter=[0]"));
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    Forget();
    EXPECT_EQ(Advise(), E_FAIL) << "not connected";
}

TEST_F(AdviseTest, AReceiveFolderThatCannotBeHadFailsAndLogsTheMailboxOff)
{
    const struct {
        const char *call;
        const char *reported;
        const char *sentence;
    } cases[] = {
        {"Store(alice).GetReceiveFolder", "GetReceiveFolder", "trying to obtain the ID for the receive folder."},
        {"Store(alice).OpenEntry", "HrOpenEntry", "trying to access and open the receive folder."},
    };
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Advise(), MAPI_E_NETWORK_ERROR);
        EXPECT_EQ(m_sink, kNoSink);
        EXPECT_EQ(m_mailbox, kNoMailbox);
        EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Advise", MAPI_E_NETWORK_ERROR, failing.reported,
                                                    failing.sentence),
                                          "CMAPIImpl::Advise[#]: Failed to create message tables for alice"));
        EXPECT_EQ(m_mapi.recorder.Count("Folder.GetContentsTable"), 0);
        EXPECT_EQ(m_mapi.recorder.Count("Store(alice).StoreLogoff(NULL)"), 1);
        EXPECT_EQ(m_mapi.recorder.Count("Store(alice).Release()"), 1);
        EXPECT_EQ(Counter(), 0);
    }
}

TEST_F(AdviseTest, WithTablesMissingTheResultIsThatOfTheLastCall)
{
    const struct {
        const char *method;
        const char *sentence;
    } steps[] = {
        {"GetContentsTable", "trying to retrieve the contents table for the receive folder."},
        {"SetColumns", "trying to set the column data set for the table."},
        {"Restrict", "trying to specify the restrictions/filter for the table."},
        {"SortTable", "trying to sort the table in ascending order."},
    };
    const char *const tables[] = {"read", "unread", "unread priority"};
    const auto calls = [&](const std::string &method) {
        int count = m_mapi.recorder.Count("Folder." + method);
        for (const char *table : tables)
            count += m_mapi.recorder.Count("Table(" + std::string(table) + ")." + method);
        return count;
    };
    for (int table = 1; table <= 3; ++table)
        for (size_t step = 0; step < 4; ++step) {
            SCOPED_TRACE(std::string(steps[step].method) + " of table " + std::to_string(table));
            m_mapi.world.mailboxes.at("alice")->inbox->turn = 0;
            m_mapi.script.Clear();
            if (step == 0)
                m_mapi.script.Tell("Folder.GetContentsTable", Fails(MAPI_E_NETWORK_ERROR).Nth(table));
            else
                m_mapi.script.Tell("Table(" + std::string(tables[table - 1]) + ")." + steps[step].method,
                                   Fails(MAPI_E_NETWORK_ERROR));
            Forget();
            TakeTold();
            const HRESULT hr = Advise();
            const bool last = table == 3;
            EXPECT_EQ(hr, last ? MAPI_E_NETWORK_ERROR : S_OK);
            EXPECT_EQ(m_sink, last ? kNoSink : 0);
            EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Advise", MAPI_E_NETWORK_ERROR, steps[step].method,
                                                        steps[step].sentence),
                                              "CMAPIImpl::Advise[#]: Failed to create message tables for alice"));
            // The rest of that table's steps is left out; the other tables have all of theirs.
            for (size_t other = 0; other < 4; ++other)
                EXPECT_EQ(calls(steps[other].method), other <= step ? 3 : 2) << steps[other].method;
            EXPECT_EQ(m_mapi.recorder.Count("Table.Advise"), 0);
            EXPECT_THAT(TakeTold(), IsEmpty());
            EXPECT_EQ(m_mapi.recorder.Count("Store(alice).StoreLogoff"), last ? 1 : 0);
            if (last) {
                EXPECT_EQ(m_mailbox, kNoMailbox);
            } else {
                EXPECT_EQ(ObjectName(reinterpret_cast<void *>(m_mailbox)), "Store(alice)") << "it is the caller's";
                EXPECT_EQ(Counter(), 1);
                EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, m_mailbox), S_OK);
            }
            EXPECT_EQ(Counter(), 0);
        }
}

TEST_F(AdviseTest, ATableThatIsNotGivenIsMissing)
{
    m_mapi.script.Tell("Folder.GetContentsTable", GivesNull().Nth(3));
    EXPECT_EQ(Advise(), E_FAIL);
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Advise", E_FAIL, "GetContentsTable",
                                                "trying to retrieve the contents table for the receive folder."),
                                      "CMAPIImpl::Advise[#]: Failed to create message tables for alice"));
    EXPECT_EQ(Counter(), 0);
}

TEST_F(AdviseTest, ARegistrationThatFailsIsReportedAndTheCountsAreToldAllTheSame)
{
    const char *const tables[] = {"read", "unread", "unread priority"};
    for (int failing = 0; failing < 3; ++failing) {
        SCOPED_TRACE(tables[failing]);
        m_mapi.script.Clear();
        m_mapi.script.Tell("Table(" + std::string(tables[failing]) + ").Advise", Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        TakeTold();
        ASSERT_EQ(Advise(), S_OK);
        EXPECT_THAT(Errors(), ElementsAre(RegistrationFailed(std::string(tables[failing]) + " items")));
        EXPECT_EQ(Registrations().size(), static_cast<size_t>(failing)) << "none is tried after it";
        EXPECT_EQ(m_mapi.recorder.Count("Table.Advise"), failing + 1);
        EXPECT_EQ(m_mapi.recorder.Count(kThrownAway), 0);
        EXPECT_EQ(TakeTold(), std::vector<std::string>{"3 unread (1) 2 read"});
        EXPECT_EQ(Unadvise(m_sink), S_OK);
        EXPECT_EQ(m_mapi.recorder.Count("Table.Unadvise"), failing);
    }
}

TEST_F(AdviseTest, ThePropertyThatIsReadAndThrownAwayMattersToNobody)
{
    for (const HRESULT hr : {MAPI_E_NOT_FOUND, MAPI_E_NETWORK_ERROR}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(kThrownAway, Fails(hr));
        Forget();
        TakeTold();
        ASSERT_EQ(Advise(), S_OK);
        EXPECT_THAT(Errors(), IsEmpty());
        EXPECT_EQ(TakeTold().size(), 1u);
        Unadvise(m_sink);
    }
    m_mapi.script.Clear();
    Set(m_mapi.world.mailboxes.at("alice")->props, Binary(PR_SPLUS_FREE_BUSY_ENTRYID, "some bytes"));
    ASSERT_EQ(Advise(), S_OK);
    EXPECT_THAT(LiveBlocks(), IsEmpty()) << "the value is freed at once";
    Unadvise(m_sink);
}

TEST_F(AdviseTest, FirstCountsThatFailAreReportedUnderAdviseAndNotTold)
{
    const char *const tables[] = {"read", "unread", "unread priority"};
    for (int failing = 0; failing < 3; ++failing) {
        SCOPED_TRACE(tables[failing]);
        m_mapi.script.Clear();
        m_mapi.script.Tell("Table(" + std::string(tables[failing]) + ").GetRowCount", Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        ASSERT_EQ(Advise(), S_OK);
        EXPECT_THAT(Errors(),
                    ElementsAre(CountingFailed("CAdviseSink::Advise", std::string(tables[failing]) + " items")));
        EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), failing + 1);
        EXPECT_THAT(AllTold(), IsEmpty());
        EXPECT_EQ(Registrations().size(), 3u);
        Unadvise(m_sink);
    }
}

TEST_F(AdviseTest, AnApproximateCountIsACount)
{
    m_mapi.script.Tell("Table.GetRowCount", Warns(MAPI_W_APPROX_COUNT));
    ASSERT_EQ(Advise(), S_OK);
    EXPECT_EQ(TakeTold(), std::vector<std::string>{"3 unread (1) 2 read"});
    EXPECT_THAT(Errors(), IsEmpty());
    Unadvise(m_sink);
}

TEST_F(AdviseTest, AMailboxWithoutVoiceMailIsToldAsZeros)
{
    SetCounts(0, 0, 0);
    ASSERT_EQ(Advise(), S_OK);
    EXPECT_EQ(TakeTold(), std::vector<std::string>{"0 unread (0) 0 read"});
    Unadvise(m_sink);
}

TEST_F(AdviseTest, WithoutACallbackNothingIsCounted)
{
    ASSERT_EQ(OrlAdviseA(m_hConnection, &m_sink, "alice", nullptr, 1, &m_mailbox), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), 0);
    EXPECT_EQ(Registrations().size(), 3u);
    EXPECT_EQ(Notify("Table(read)"), std::vector<HRESULT>{E_FAIL});
    EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), 0);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(AdviseTest, TheAnswerToTheFirstCallIsNotLookedAt)
{
    Answer([](const Told &) { return 0; });
    Watch();
    SetCounts(0, 4, 0);
    Notify("Table(unread)");
    EXPECT_EQ(TakeTold(), std::vector<std::string>{"4 unread (0) 0 read"});
    Unadvise(m_sink);
}

TEST_F(AdviseTest, AnExceptionFromTheFirstCallEndsTheSinkAndItsMailbox)
{
    Answer([](const Told &) -> BOOL { throw std::runtime_error("from above"); });
    EXPECT_EQ(Advise(), E_UNEXPECTED);
    EXPECT_EQ(m_sink, kNoSink);
    EXPECT_EQ(m_mailbox, kNoMailbox);
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_EQ(m_mapi.recorder.Count("Store(alice).StoreLogoff(NULL)"), 1);
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(m_trace.Texts(kTraceAlways), Contains(StartsWith("Exception has occurred in OrlAdviseA (OrlMapi32[")));
}

TEST_F(AdviseTest, EverySinkIsAnother)
{
    ASSERT_EQ(Advise(), S_OK);
    const OrlSink first = m_sink;
    ASSERT_EQ(Advise("bob"), S_OK);
    EXPECT_NE(m_sink, first);
    EXPECT_EQ(Registrations().size(), 6u);
    EXPECT_EQ(Unadvise(first), S_OK);
    EXPECT_EQ(Registrations().size(), 3u);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

} // namespace
