// Opening a user's mailbox by name and closing it again: the conversation, the server's and the mailbox's names, the
// open-object counter, and every failing call.
#include "session/SessionTest.h"

namespace
{

const std::string kServerDN = "/cn=Configuration/cn=Servers/cn=NORVIK1/cn=Microsoft Private MDB";

class MailboxTest : public SessionTest
{
  protected:
    HRESULT Open(const char *name = "alice") { return OrlMapiConnectToMailboxA(m_hConnection, &m_mailbox, name); }
    void Leave()
    {
        if (m_mailbox) {
            EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, m_mailbox), S_OK);
        }
        m_mailbox = 0;
    }
    void TearDown() override
    {
        Leave();
        SessionTest::TearDown();
    }
    // The calls after the address book was asked.
    std::vector<std::string> StoreCalls() const
    {
        std::vector<std::string> result;
        bool past = false;
        for (const std::string &call : Calls()) {
            past = past || StartsWithAny(call, {"Store(default).QueryInterface", "Session.AdminServices"});
            if (past)
                result.push_back(call);
        }
        return result;
    }
    static bool StartsWithAny(const std::string &text, std::initializer_list<std::string> starts)
    {
        for (const std::string &start : starts)
            if (text.compare(0, start.size(), start) == 0)
                return true;
        return false;
    }
    OrlMailbox m_mailbox = 0;
};

TEST_F(MailboxTest, IsOpenedThroughTheDefaultStoresAdministration)
{
    Connect();
    ASSERT_EQ(Open(), S_OK);
    EXPECT_THAT(StoreCalls(),
                ElementsAre("Store(default).QueryInterface(IExchangeManageStore)",
                            "ManageStore(default).CreateStoreEntryID(\"" + kServerDN + "\", \"" + kAliceDN + "\", 0xC)",
                            "Session.OpenMsgStore(0, eid(store:alice), NULL, 0x131)"));
    EXPECT_THAT(Lines(),
                testing::IsSupersetOf({"alice - DisplayName=Alice Archer, Email=" + kAliceDN + ", Address Type=EX",
                                       "CMAPIImpl::Logon[#]: Successfully opened the message store (ServerDN=" +
                                           kServerDN + ", MailboxDN=" + kAliceDN + "). FolderCount[3]"}));
    EXPECT_THAT(Lines().front(), Like("> CMAPIImpl::Logon(szMailbox: \"alice\", pMailboxMDB: *, FolderCounter=[0])"));
    EXPECT_EQ(Lines().back(), "< CMAPIImpl::Logon()");
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_EQ(Counter(), 1) << "one open mailbox";
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)", "Store(alice)"));
    EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(MailboxTest, IsClosedWithoutFlags)
{
    Connect();
    ASSERT_EQ(Open(), S_OK);
    Forget();
    Leave();
    EXPECT_THAT(m_mapi.recorder.Everything(), ElementsAre("Store(alice).StoreLogoff(NULL)", "Store(alice).Release()"));
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(Lines(),
                ElementsAre(Like("> CMAPIImpl::Logoff(lpMailboxMDB: *, FolderCount=[1])"), "< CMAPIImpl::Logoff()"));
}

TEST_F(MailboxTest, ClosingSucceedsWhateverTheStoreSays)
{
    Connect();
    ASSERT_EQ(Open(), S_OK);
    m_mapi.script.Tell("Store.StoreLogoff", Fails(MAPI_E_NETWORK_ERROR));
    Leave();
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
}

TEST_F(MailboxTest, AnExceptionWhileClosingStillReleasesAndUncountsTheStore)
{
    Connect();
    ASSERT_EQ(Open(), S_OK);
    m_mapi.script.Tell("Store.StoreLogoff", Does([] { throw 1; }));
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, m_mailbox), E_UNEXPECTED);
    m_mailbox = 0;
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
}

TEST_F(MailboxTest, ClosingNoMailboxIsTraced)
{
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, 0), S_OK);
    EXPECT_THAT(Lines(),
                ElementsAre(Like("> CMAPIImpl::Logoff(lpMailboxMDB: 0*0, FolderCount=[0])"), "< CMAPIImpl::Logoff()"));
}

TEST_F(MailboxTest, TheWideNameIsTheSameMailbox)
{
    Connect();
    ASSERT_EQ(OrlMapiConnectToMailboxW(m_hConnection, &m_mailbox, OLESTR("alice")), S_OK);
    EXPECT_THAT(LiveObjects(), Contains("Store(alice)"));
    Leave();
    const WideText wide = OLESTR("Jürgen");
    m_mapi.world.AddMailbox(InAnsi(wide), "A friend");
    ASSERT_EQ(OrlMapiConnectToMailboxW(m_hConnection, &m_mailbox, wide.c_str()), S_OK);
    EXPECT_THAT(LiveObjects(), Contains("Store(" + InAnsi(wide) + ")"));
}

TEST_F(MailboxTest, TwoMailboxesCountTwo)
{
    Connect();
    ASSERT_EQ(Open("alice"), S_OK);
    OrlMailbox second = 0;
    ASSERT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &second, "bob"), S_OK);
    EXPECT_EQ(Counter(), 2);
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, second), S_OK);
    EXPECT_EQ(Counter(), 1);
}

TEST_F(MailboxTest, NeverConnectedMeansEFail)
{
    EXPECT_EQ(Open(), E_FAIL);
    EXPECT_EQ(m_mailbox, 0u);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(MailboxTest, AfterAFailedConnectItsFailureIsTheAnswer)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_LOGON_FAILED);
    Forget();
    EXPECT_EQ(Open(), MAPI_E_LOGON_FAILED);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(MailboxTest, AfterADisconnectTheSuccessfulConnectIsNoAnswerAndNoEarlierFailureIsEither)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED).Once());
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_LOGON_FAILED);
    Connect();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_EQ(Open(), E_FAIL);
}

TEST_F(MailboxTest, WithoutADefaultStoreItCannotBeOpened)
{
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    Forget();
    EXPECT_EQ(Open(), E_UNEXPECTED);
    EXPECT_THAT(Errors(), ElementsAre("CMAPIImpl::Logon[#]: Error m_lpMDB is NULL."));
    EXPECT_EQ(Counter(), 0);
}

TEST_F(MailboxTest, AnEmptyServerNameIsFilledFromTheProfileOnce)
{
    Connect("", "vm", "Voicemail");
    m_mapi.world.globalSection->props = {Text(PR_PROFILE_HOME_SERVER, "HOME7"), Text(PR_PROFILE_NAME_A, "Voicemail")};
    ASSERT_EQ(Open(), S_OK);
    EXPECT_THAT(StoreCalls(),
                ElementsAre("Session.AdminServices(0)",
                            "ServiceAdmin(session).OpenProfileSection(global section, NULL, 0)",
                            Like("ProfSect(global).GetProps(*)"), "Store(default).QueryInterface(IExchangeManageStore)",
                            Like("ManageStore(default).CreateStoreEntryID(\"/cn=Configuration/cn=Servers/cn=HOME7/cn="
                                 "Microsoft Private MDB\", *"),
                            "Session.OpenMsgStore(0, eid(store:alice), NULL, 0x131)"));
    EXPECT_THAT(Lines(), Contains("> CMAPIImpl::GetExchangeServerName(szProfile: Voicemail)"));
    Leave();
    Forget();
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("Session.AdminServices"), 0) << "the server's name is known now";
}

TEST_F(MailboxTest, IsOpenedOnTheSecondAttemptWhereItRefusesToBeOnline)
{
    Connect();
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_UNKNOWN_FLAGS).Once().WithOutput());
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(Calls().back(), "Session.OpenMsgStore(0, eid(store:alice), NULL, 0x31)");
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_EQ(Counter(), 1);
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)", "Store(alice)"));
}

TEST_F(MailboxTest, TheDistinguishedNamesOrganisationDoesNotReachTheServersName)
{
    for (const char *dn : {"/o=Org/ou=Site/cn=Recipients/cn=x", "/o=Org", "/ou=Site", "o=", "/o", ""}) {
        SCOPED_TRACE(dn);
        m_mapi.world.mailboxes["alice"]->distinguishedName = dn;
        Set(m_mapi.world.users[0]->props, Text(PR_EMAIL_ADDRESS_A, dn));
        OrlMapiDisconnect(m_hConnection);
        Connect();
        EXPECT_EQ(Open(), S_OK);
        EXPECT_THAT(StoreCalls(),
                    Contains("ManageStore(default).CreateStoreEntryID(\"" + kServerDN + "\", \"" + dn + "\", 0xC)"));
        Leave();
    }
}

TEST_F(MailboxTest, EveryFailingStepIsReportedAndCounted)
{
    const struct {
        const char *call;
        std::string reported;
        LONG counter; // afterwards
    } cases[] = {
        {"Store(default).QueryInterface",
         "QueryInterface(IID_IExchangeManageStore) trying to query the interface to managing Exchange message stores",
         0},
        {"ManageStore.CreateStoreEntryID",
         "CreateStoreEntryID trying to create a store entry ID (Server=NORVIK1, Mailbox=" + kAliceDN + ")", 1},
        {"Session.OpenMsgStore",
         "OpenMsgStore trying to open the message store (Server=NORVIK1, Mailbox=" + kAliceDN + ").", 0},
    };
    Connect();
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(expected.call, Fails(MAPI_E_NETWORK_ERROR));
        Session()->OpenObjects() = 0;
        Forget();
        EXPECT_EQ(Open(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(Errors(), ElementsAre("CMAPIImpl::Logon[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " +
                                          expected.reported));
        EXPECT_EQ(Counter(), expected.counter);
        EXPECT_EQ(m_mailbox, 0u);
        EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
        EXPECT_THAT(LiveBlocks(), IsEmpty());
    }
}

TEST_F(MailboxTest, AnEntryIdHandedBackTogetherWithAFailureIsFreedAndUncounted)
{
    Connect();
    m_mapi.script.Tell("ManageStore.CreateStoreEntryID", Fails(MAPI_E_NETWORK_ERROR).WithOutput());
    EXPECT_EQ(Open(), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(m_mapi.recorder.Memory(), Contains("MAPIFreeBuffer(store entry ID)"));
    EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(MailboxTest, ASweepLeavesNothingAndTheNextOpenWorks)
{
    Connect("", "vm", "Voicemail");
    HRESULT hr = S_OK;
    Sweep(
        [&] {
            Leave();
            OrlMapiDisconnect(m_hConnection);
            OrlMapiConnectA(m_hConnection, "", "vm", "Voicemail"); // so that the server's name is asked for again
            Forget();
        },
        [&] { hr = Open(); },
        [&](const Round &round) {
            if (round.onwards) {
                EXPECT_TRUE(FAILED(hr) || round.call.Is("HrGetOneProp"));
            }
            EXPECT_EQ(SUCCEEDED(hr), m_mailbox != 0);
            EXPECT_THAT(LiveObjects().size(), SUCCEEDED(hr) ? 3u : 2u);
            EXPECT_THAT(LiveBlocks(), IsEmpty());
            Leave();
            EXPECT_EQ(Open(), S_OK);
        });
}

TEST_F(MailboxTest, NothingHandedBackTogetherWithASuccessIsAFailureOfThatStep)
{
    Connect("", "vm", "Voicemail");
    const struct {
        const char *call;
        bool opens; // because MAPI's own name resolution or an empty server's name takes its place
    } cases[] = {
        {"Store(default).QueryInterface", false},
        {"ManageStore.CreateStoreEntryID", false},
        {"Session.OpenMsgStore", false},
        {"Session.OpenAddressBook", false},
        {"AddrBook.OpenEntry", false},
        {"Container.GetHierarchyTable", true},
        {"Container.GetContentsTable", true},
        {"Container.OpenEntry", true},
        {"HrQueryAllRows", true},
        {"HrGetOneProp", false},
        {"Session.AdminServices", true},
        {"ServiceAdmin.OpenProfileSection", true},
        {"ProfSect.GetProps", true},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(expected.call, GivesNull());
        const HRESULT hr = Open();
        EXPECT_EQ(SUCCEEDED(hr), expected.opens);
        EXPECT_EQ(m_mailbox != 0, expected.opens);
        Leave();
        EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
        EXPECT_THAT(LiveBlocks(), IsEmpty());
    }
}

} // namespace
