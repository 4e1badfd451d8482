// The sink as an object: its interfaces, its references, what it owns, and what it does with parts missing.
#include "notify/AdviseSink.h"
#include "notify/NotifyTest.h"

namespace
{

class SinkTest : public NotifyTest
{
  protected:
    // A sink with the tables named by their first letters: "rup" has them all.
    CAdviseSink *New(const std::string &tables, bool withStore = true)
    {
        IMAPITable *given[3] = {};
        const std::shared_ptr<TableData> all[] = {m_readItems, m_unreadItems, m_unreadPriorityItems};
        for (size_t i = 0; i < 3; ++i)
            if (tables.find("rup"[i]) != std::string::npos)
                given[i] = NewTable(all[i]);
        auto *made = new CAdviseSink("alice", withStore ? NewStore(m_mapi.world.mailboxes.at("alice")) : nullptr,
                                     given[0], given[1], given[2], &Callback, 9);
        for (IMAPITable *table : given)
            if (table) {
                EXPECT_EQ(table->Release(), 1u) << "the sink's own";
            }
        Forget();
        return made;
    }
    static ULONG NotifyDirectly(CAdviseSink *of)
    {
        NOTIFICATION notification = {};
        notification.ulEventType = fnevTableModified;
        return of->OnNotify(1, &notification);
    }
};

TEST_F(SinkTest, AnswersToItsTwoInterfacesWithItself)
{
    CAdviseSink *const made = New("rup");
    for (const IID &iid : {IID_IMAPIAdviseSink, IID_IUnknown}) {
        void *got = nullptr;
        EXPECT_EQ(made->QueryInterface(iid, &got), S_OK);
        EXPECT_EQ(got, static_cast<IMAPIAdviseSink *>(made));
        EXPECT_EQ(made->Release(), 1u);
    }
    void *got = made;
    EXPECT_EQ(made->QueryInterface(IID_IMAPITable, &got), E_NOINTERFACE);
    EXPECT_EQ(got, nullptr);
    EXPECT_EQ(made->AddRef(), 2u);
    EXPECT_EQ(made->Release(), 1u);
    EXPECT_EQ(made->Release(), 0u);
}

TEST_F(SinkTest, ItsLastReferenceReleasesTheTablesAndLogsTheMailboxOff)
{
    EXPECT_EQ(New("rup")->Release(), 0u);
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Table(read).Release()", "Table(unread).Release()", "Table(unread priority).Release()",
                            "Store(alice).StoreLogoff(NULL)", "Store(alice).Release()"));
    EXPECT_THAT(Lines(), ElementsAre(Like("> CAdviseSink::CAdviseSink(*: \"alice\")"), "< CAdviseSink::CAdviseSink()"));
}

TEST_F(SinkTest, AnExceptionFromALogoffStaysInsideAndTheMailboxIsReleased)
{
    m_mapi.script.Tell("Store(alice).StoreLogoff", Does([] { throw 5; }));
    EXPECT_EQ(New("rup")->Release(), 0u);
    EXPECT_EQ(m_mapi.recorder.Count("Store(alice).Release()"), 1);
    EXPECT_THAT(m_trace.Texts(kTraceAlways),
                ElementsAre(StartsWith("Exception has occurred in CAdviseSink::CAdviseSink")));
}

TEST_F(SinkTest, WithoutAllItsTablesItRegistersAndCountsNothing)
{
    for (const char *tables : {"up", "rp", "ru", ""}) {
        SCOPED_TRACE(tables);
        CAdviseSink *const made = New(tables);
        EXPECT_EQ(made->Advise(), E_INVALIDARG);
        EXPECT_EQ(static_cast<HRESULT>(NotifyDirectly(made)), E_FAIL);
        EXPECT_THAT(Calls(), IsEmpty());
        EXPECT_THAT(AllTold(), IsEmpty());
        EXPECT_EQ(made->Unadvise(), 0u);
    }
}

TEST_F(SinkTest, WithoutAMailboxItRegistersAndCountsAllTheSame)
{
    CAdviseSink *const made = New("rup", false);
    EXPECT_EQ(made->Advise(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("HrGetOneProp"), 0);
    EXPECT_EQ(AllTold().size(), 1u);
    EXPECT_EQ(made->Unadvise(), 0u);
}

TEST_F(SinkTest, TheResultOfItsRegistrationIsThatOfTheStepsBeforeTheCounts)
{
    const struct {
        const char *call;
        HRESULT told;
        HRESULT expected;
    } cases[] = {
        {"Table(unread).Advise", MAPI_E_NO_SUPPORT, MAPI_E_NO_SUPPORT},
        {"HrGetOneProp", MAPI_E_NETWORK_ERROR, MAPI_E_NETWORK_ERROR},
        {"HrGetOneProp", MAPI_E_NOT_FOUND, S_OK},
        {"Table(read).GetRowCount", MAPI_E_NETWORK_ERROR, S_OK},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.call);
        m_mapi.script.Clear();
        CAdviseSink *const made = New("rup");
        m_mapi.script.Tell(one.call, Fails(one.told));
        EXPECT_EQ(made->Advise(), one.expected);
        EXPECT_EQ(made->Unadvise(), 0u);
    }
}

TEST_F(SinkTest, UnadviseEndsItsRegistrationsInOrderAndGivesTheReferencesLeft)
{
    CAdviseSink *const made = New("rup");
    ASSERT_EQ(made->Advise(), S_OK);
    EXPECT_EQ(made->AddRef(), 5u) << "one a table, and two of ours";
    Forget();
    EXPECT_EQ(made->Unadvise(), 1u);
    EXPECT_THAT(Calls(),
                ElementsAre("Table(read).Unadvise()", "Table(unread).Unadvise()", "Table(unread priority).Unadvise()"));
    EXPECT_THAT(Lines(), ElementsAre("> CAdviseSink::Unadvise()", "< CAdviseSink::Unadvise()"));
    Forget();
    made->AddRef();
    EXPECT_EQ(made->Unadvise(), 1u);
    EXPECT_THAT(Calls(), IsEmpty()) << "they end once";
    EXPECT_EQ(made->Release(), 0u);
}

TEST_F(SinkTest, UnadviseEndsJustWhatWasRegistered)
{
    m_mapi.script.Tell("Table(unread).Advise", Fails(MAPI_E_NETWORK_ERROR));
    CAdviseSink *const made = New("rup");
    EXPECT_EQ(made->Advise(), MAPI_E_NETWORK_ERROR);
    Forget();
    EXPECT_EQ(made->Unadvise(), 0u);
    EXPECT_THAT(Calls(), ElementsAre("Table(read).Unadvise()", "Store(alice).StoreLogoff(NULL)"));
}

TEST_F(SinkTest, LivesUntilTheNotificationIsOverInWhichItsCallbackEndsIt)
{
    CAdviseSink *const made = New("rup");
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(made->Unadvise(), 1u) << "the notification's own";
        return 1;
    });
    EXPECT_EQ(static_cast<HRESULT>(NotifyDirectly(made)), S_OK);
    EXPECT_THAT(LiveObjects(), testing::Not(Contains("Store(alice)")));
    EXPECT_EQ(Lines().back(), "< CAdviseSink::OnNotify()") << "after all that it gave back";
}

TEST_F(SinkTest, ASinkThatNoSessionHasGivenOutIsEndedByOneAllTheSame)
{
    CAdviseSink *const made = New("rup");
    ASSERT_EQ(made->Advise(), S_OK);
    Forget();
    ULONG count = 99;
    EXPECT_EQ(Session()->Unadvise(made, &count), S_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_THAT(Lines(), Contains(Like("> CMAPIImpl::Unadvise(pSink: *, mailbox: \"alice\", ulCount: 99)")));
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_EQ(m_mapi.recorder.Count("Store(alice).StoreLogoff(NULL)"), 1);
    EXPECT_EQ(Counter(), 0) << "no session has counted it";
    count = 99;
    EXPECT_EQ(Session()->Unadvise(made, &count), S_OK) << "once";
    EXPECT_EQ(count, 99u);
}

TEST_F(SinkTest, ASinkThatEndedOrWasReleasedWithoutASessionIsNoneAnyMore)
{
    ULONG count = 99;
    CAdviseSink *made = New("rup");
    made->AddRef();
    EXPECT_EQ(made->Unadvise(), 1u);
    EXPECT_EQ(Session()->Unadvise(made, &count), S_OK);
    EXPECT_EQ(made->Release(), 0u) << "the reference was left alone";
    made = New("rup");
    EXPECT_EQ(made->Release(), 0u);
    EXPECT_EQ(Session()->Unadvise(made, &count), S_OK);
    EXPECT_EQ(count, 99u);
}

TEST_F(SinkTest, ATableThatWillNotLetGoKeepsNothingElse)
{
    CAdviseSink *const made = New("rup");
    ASSERT_EQ(made->Advise(), S_OK);
    m_mapi.script.Tell("Table(read).Unadvise", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.Tell("Table(unread).Unadvise", Does([] { throw 5; }));
    EXPECT_EQ(made->Unadvise(), 2u) << "those tables' own";
    EXPECT_THAT(Registrations(), ElementsAre("Table(read) 0x100", "Table(unread) 0x100"));
    // What they hold on to tells nobody any more.
    EXPECT_EQ(Notify("Table(read)"), std::vector<HRESULT>{E_FAIL});
    EXPECT_EQ(AllTold().size(), 1u);
    made->Release();
    made->Release();
    ForgetRegistrations();
}

} // namespace
