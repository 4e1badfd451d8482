// What a sink does with what MAPI tells it: one counting and one call of the callback for each change to a table, and
// the result of each.
#include "notify/NotifyTest.h"
#include <stdexcept>

namespace
{

class OnNotifyTest : public NotifyTest
{
  protected:
    void SetUp() override
    {
        NotifyTest::SetUp();
        Watch();
    }
    void TearDown() override
    {
        EXPECT_EQ(Unadvise(m_sink), S_OK);
        NotifyTest::TearDown();
    }
};
using Results = std::vector<HRESULT>;

TEST_F(OnNotifyTest, AChangeToAnyTableCountsAllThreeAndTellsThem)
{
    for (const char *table : {"Table(read)", "Table(unread)", "Table(unread priority)"}) {
        SCOPED_TRACE(table);
        SetCounts(5, 7, 4);
        Forget();
        EXPECT_EQ(Notify(table), Results{S_OK});
        EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("Table(read).GetRowCount(0)", "Table(unread).GetRowCount(0)",
                                                         "Table(unread priority).GetRowCount(0)"));
        EXPECT_EQ(TakeTold(), std::vector<std::string>{"7 unread (4) 5 read"});
    }
    const Told last = AllTold().back();
    EXPECT_EQ(last.mailbox, OLESTR("alice"));
    EXPECT_EQ(last.context, 7u);
    EXPECT_NE(last.thread, std::this_thread::get_id()) << "on the thread that MAPI notifies on";
}

TEST_F(OnNotifyTest, WritesTheseLines)
{
    SetCounts(0, 9, 2);
    NotifyHere("Table(unread)");
    EXPECT_THAT(IndentedLines(),
                ElementsAre(Like("> CAdviseSink::OnNotify(*: \"alice\")"),
                            "  OnNotify - Telling \"alice\" it has 9 unread (2 with priority) and 0 read messages",
                            "< CAdviseSink::OnNotify()"));
}

TEST_F(OnNotifyTest, ABatchIsCountedAndToldForEachOfItsChanges)
{
    EXPECT_EQ(Notify("Table(unread)", {fnevTableModified, fnevTableModified, fnevTableModified}), Results{S_OK});
    EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), 9);
    EXPECT_EQ(TakeTold().size(), 3u);
}

TEST_F(OnNotifyTest, OtherEventsAreSkipped)
{
    EXPECT_EQ(Notify("Table(unread)", {fnevNewMail, fnevObjectModified, fnevCriticalError}), Results{E_FAIL});
    EXPECT_THAT(TakeTold(), IsEmpty());
    EXPECT_EQ(Notify("Table(unread)", {fnevNewMail, fnevTableModified, fnevObjectModified}), Results{S_OK});
    EXPECT_EQ(TakeTold().size(), 1u);
    EXPECT_EQ(Notify("Table(unread)", {}), Results{E_FAIL});
    EXPECT_THAT(TakeTold(), IsEmpty());
}

TEST_F(OnNotifyTest, ACountThatFailsIsReportedUnderAdviseAndTheNextChangeIsLookedAt)
{
    const char *const tables[] = {"read", "unread", "unread priority"};
    for (int failing = 0; failing < 3; ++failing) {
        SCOPED_TRACE(tables[failing]);
        m_mapi.script.Clear();
        m_mapi.script.Tell("Table(" + std::string(tables[failing]) + ").GetRowCount",
                           Fails(MAPI_E_NETWORK_ERROR).Once());
        Forget();
        EXPECT_EQ(NotifyHere("Table(unread)", {fnevTableModified, fnevTableModified}), Results{S_OK});
        EXPECT_THAT(Errors(),
                    ElementsAre(CountingFailed("CAdviseSink::OnNotify", std::string(tables[failing]) + " items")));
        EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), failing + 1 + 3);
        EXPECT_EQ(TakeTold(), std::vector<std::string>{"3 unread (1) 2 read"});
    }
}

TEST_F(OnNotifyTest, TheResultOfAFailingCountIsGivenAndNothingIsTold)
{
    m_mapi.script.Tell("Table.GetRowCount", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Notify("Table(read)", {fnevTableModified, fnevTableModified}), Results{MAPI_E_NETWORK_ERROR});
    EXPECT_THAT(TakeTold(), IsEmpty());
    m_mapi.script.Clear();
    m_mapi.script.Tell("Table(unread priority).GetRowCount", Fails(MAPI_E_BUSY).Nth(2));
    EXPECT_EQ(Notify("Table(read)", {fnevTableModified, fnevTableModified}), Results{MAPI_E_BUSY}) << "the last one's";
    EXPECT_EQ(TakeTold().size(), 1u);
}

TEST_F(OnNotifyTest, ZeroEndsTheCallsAndLeavesTheRegistrations)
{
    Answer([](const Told &) { return 0; });
    EXPECT_EQ(Notify("Table(unread)"), Results{S_OK});
    EXPECT_EQ(TakeTold().size(), 1u);
    Answer(nullptr);
    Forget();
    EXPECT_EQ(Notify("Table(unread)"), Results{E_FAIL});
    EXPECT_EQ(Notify("Table(read)"), Results{E_FAIL});
    EXPECT_THAT(TakeTold(), IsEmpty());
    EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), 0);
    EXPECT_EQ(Registrations().size(), 3u);
}

TEST_F(OnNotifyTest, ZeroInTheMiddleOfABatchEndsItThere)
{
    int calls = 0;
    Answer([&](const Told &) { return ++calls < 2 ? 17 : 0; });
    Forget();
    EXPECT_EQ(Notify("Table(unread)", {fnevTableModified, fnevTableModified, fnevTableModified, fnevTableModified}),
              Results{S_OK});
    EXPECT_EQ(TakeTold().size(), 2u);
    EXPECT_EQ(m_mapi.recorder.Count("Table.GetRowCount"), 6);
}

TEST_F(OnNotifyTest, AfterZeroTheResultIsThatOfTheLastCount)
{
    m_mapi.script.Tell("Table(unread priority).GetRowCount", Warns(MAPI_W_APPROX_COUNT));
    EXPECT_EQ(Notify("Table(unread)"), Results{S_OK}) << "more is wanted";
    Answer([](const Told &) { return 0; });
    EXPECT_EQ(Notify("Table(unread)"), Results{MAPI_W_APPROX_COUNT});
}

TEST_F(OnNotifyTest, AnExceptionFromTheCallbackStaysInside)
{
    Answer([](const Told &) -> BOOL { throw std::runtime_error("from above"); });
    EXPECT_EQ(Notify("Table(unread)"), Results{S_OK}) << "that of the last count";
    EXPECT_THAT(m_trace.Texts(kTraceAlways),
                ElementsAre(Like("Exception has occurred in CAdviseSink::OnNotify (OrlMapi32[*])")));
    Answer(nullptr);
    TakeTold();
    EXPECT_EQ(Notify("Table(unread)"), Results{S_OK});
    EXPECT_EQ(TakeTold().size(), 1u) << "it is called again";
}

TEST_F(OnNotifyTest, AnExceptionFromMapiStaysInsideToo)
{
    m_mapi.script.Tell("Table(unread).GetRowCount", Does([] { throw 5; }).Once());
    EXPECT_EQ(Notify("Table(unread)"), Results{E_FAIL});
    EXPECT_THAT(TakeTold(), IsEmpty());
}

TEST_F(OnNotifyTest, TheCallbackMayWorkOnItsOwnConnection)
{
    std::string listed;
    m_mapi.world.mailboxes.at("bob")->inbox->contentsInTurn.clear();
    Answer([&](const Told &) -> BOOL {
        OrlMailbox bob = 0;
        EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
        EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &bob, "bob"), S_OK);
        listed = ObjectName(reinterpret_cast<void *>(bob));
        EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, bob), S_OK);
        return 1;
    });
    EXPECT_EQ(Notify("Table(unread)"), Results{S_OK});
    EXPECT_EQ(listed, "Store(bob)");
}

} // namespace
