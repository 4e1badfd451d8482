// Logging on: the choice of the profile, the service profile that is made and deleted again, the default store, and
// logging off; every MAPI call with its arguments, every trace line, and every failing call.
#include "session/SessionTest.h"

namespace
{

const std::string kQueryStores = "HrQueryAllRows(Table(stores), [PR_ENTRYID, PR_DEFAULT_STORE], "
                                 "PROPERTY(PR_DEFAULT_STORE == TRUE), NULL, 0)";
const std::string kQueryServices = "HrQueryAllRows(Table(services), [PR_SERVICE_NAME_A, PR_SERVICE_UID], "
                                   "CONTENT(PR_SERVICE_NAME_A FULLSTRING \"MSEMS\"), NULL, 0)";
const std::vector<std::string> kOpenDefaultStore = {"Session.GetMsgStoresTable(0)", kQueryStores,
                                                    "Session.OpenMsgStore(0, eid(store:default), NULL, 0x111)"};
const std::vector<std::string> kMakeServiceProfile = {
    "MAPIAdminProfiles(0)",
    "ProfAdmin.DeleteProfile(\"MAPIImpl\", 0)",
    "ProfAdmin.CreateProfile(\"MAPIImpl\", \"\", 0, 0)",
    "ProfAdmin.AdminServices(\"MAPIImpl\", \"\", 0, 0)",
    "ServiceAdmin(MAPIImpl).CreateMsgService(\"MSEMS\", \"Microsoft Exchange Server\", 0, 0)",
    "ServiceAdmin(MAPIImpl).GetMsgServiceTable(0)",
    kQueryServices,
    "ServiceAdmin(MAPIImpl).ConfigureMsgService(uid(30313233343536373839616263646566), 0, 0, "
    "[PR_PROFILE_UNRESOLVED_NAME=\"vm\", PR_PROFILE_UNRESOLVED_SERVER=\"NORVIK1\"])"};
const std::vector<std::string> kDeleteServiceProfile = {"MAPIAdminProfiles(0)",
                                                        "ProfAdmin.DeleteProfile(\"MAPIImpl\", 0)"};

std::vector<std::string> operator+(std::vector<std::string> left, const std::vector<std::string> &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class ConnectTest : public SessionTest
{
  protected:
    HRESULT ConnectWith(const char *profile, const char *server = "NORVIK1", const char *mailbox = "vm")
    {
        return OrlMapiConnectA(m_hConnection, server, mailbox, profile);
    }
};

TEST_F(ConnectTest, LogsOnToTheGivenProfileAndOpensItsDefaultStoreOnline)
{
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(Calls(), ElementsAreArray(std::vector<std::string>{"MAPILogonEx(0, \"Voicemail\", NULL, 0x108032)"} +
                                          kOpenDefaultStore));
    EXPECT_THAT(IndentedLines(),
                ElementsAre("> CMAPIImpl::Connect(Exchange Server: <NORVIK1>, Default Mailbox: <vm>, "
                            "Profile: <Voicemail>)",
                            "  > CMAPIImpl::Disconnect()", "  < CMAPIImpl::Disconnect()",
                            "  Attempting to logon to MAPI using profile Voicemail.", "< CMAPIImpl::Connect()"));
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
    EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(ConnectTest, MakesAServiceProfileForNoProfileAndDeletesItAgain)
{
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_THAT(Calls(), ElementsAreArray(kMakeServiceProfile +
                                          std::vector<std::string>{"MAPILogonEx(0, \"MAPIImpl\", NULL, 0x108032)"} +
                                          kOpenDefaultStore + kDeleteServiceProfile));
    EXPECT_THAT(IndentedLines(),
                ElementsAre("> CMAPIImpl::Connect(Exchange Server: <NORVIK1>, Default Mailbox: <vm>, Profile: <>)",
                            "  > CMAPIImpl::Disconnect()", "  < CMAPIImpl::Disconnect()",
                            "  > CMAPIImpl::CreateMailboxProfile(szProfile: \"MAPIImpl\")",
                            "  < CMAPIImpl::CreateMailboxProfile()",
                            "  Attempting to logon to MAPI using profile MAPIImpl.", "< CMAPIImpl::Connect()"));
    EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
    EXPECT_EQ(Counter(), 0);
}

TEST_F(ConnectTest, ASecondConnectStartsWithADisconnect)
{
    Connect();
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(),
                testing::IsSupersetOf({"Store(default).Release()", "Session.Logoff(0, 0, 0)", "Session.Release()"}));
    EXPECT_EQ(Calls().front(), "Session.Logoff(0, 0, 0)");
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
}

TEST_F(ConnectTest, FallsBackToTheDefaultProfileWithoutServerOrMailbox)
{
    const std::vector<std::pair<const char *, const char *>> cases = {{"", "vm"}, {"NORVIK1", ""}, {"", ""}};
    for (const auto &[server, mailbox] : cases) {
        SCOPED_TRACE(std::string("server <") + server + ">, mailbox <" + mailbox + ">");
        Forget();
        EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
        Forget();
        EXPECT_EQ(ConnectWith("", server, mailbox), S_OK);
        EXPECT_THAT(Calls(), ElementsAreArray(std::vector<std::string>{"MAPILogonEx(0, NULL, NULL, 0x108062)"} +
                                              kOpenDefaultStore + kDeleteServiceProfile));
        EXPECT_THAT(
            Errors(),
            ElementsAre("[#]: Need a default mailbox and server name in-order to create the profile \"MAPIImpl\""));
        EXPECT_THAT(Lines(), Contains("Attempting to logon to MAPI using default profile."));
    }
}

TEST_F(ConnectTest, AServiceLogsOnAsAService)
{
    DWORD asService = 0;
    ASSERT_EQ(OrlCreateConnection(&asService, 1), S_OK);
    Forget();
    EXPECT_EQ(OrlMapiConnectA(asService, "NORVIK1", "vm", "Voicemail"), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"Voicemail\", NULL, 0x118032)"));
    EXPECT_THAT(Lines(), testing::IsSupersetOf(
                             {"Configuring for service.", "Attempting to logon to MAPI using profile Voicemail."}));
    EXPECT_EQ(OrlCloseConnection(&asService), S_OK);
    DWORD notAsService = 0; // the flag last given holds for the process
    ASSERT_EQ(OrlCreateConnection(&notAsService, 0), S_OK);
    EXPECT_EQ(OrlCloseConnection(&notAsService), S_OK);
    Forget();
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"Voicemail\", NULL, 0x108032)"));
}

TEST_F(ConnectTest, OpensTheStoreOnTheSecondAttemptWhereItRefusesToBeOnline)
{
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_UNKNOWN_FLAGS).Once());
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(Calls(),
                ElementsAreArray(std::vector<std::string>{"MAPILogonEx(0, \"Voicemail\", NULL, 0x108032)"} +
                                 kOpenDefaultStore +
                                 std::vector<std::string>{"Session.OpenMsgStore(0, eid(store:default), NULL, 0x11)"}));
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
}

TEST_F(ConnectTest, AStoreHandedBackWithTheRefusalIsReleased)
{
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_UNKNOWN_FLAGS).Once().WithOutput());
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
}

TEST_F(ConnectTest, ACreateProfileWithoutAccessCountsAsDone)
{
    m_mapi.script.Tell("ProfAdmin.CreateProfile", Fails(E_ACCESSDENIED));
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"MAPIImpl\", NULL, 0x108032)"));
}

TEST_F(ConnectTest, ResultsOfDeletingTheServiceProfileDoNotMatter)
{
    m_mapi.script.Tell("ProfAdmin.DeleteProfile", Fails(MAPI_E_NOT_FOUND));
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_EQ(m_mapi.recorder.Count("ProfAdmin.DeleteProfile"), 2);
}

TEST_F(ConnectTest, AFailedLogonIsReportedWithoutASentenceAndStillDeletesTheServiceProfile)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(ConnectWith(""), MAPI_E_LOGON_FAILED);
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Connect", MAPI_E_LOGON_FAILED, "MAPILogonEx", "")));
    const auto calls = Calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(std::vector<std::string>(calls.end() - 2, calls.end()), kDeleteServiceProfile);
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
}

TEST_F(ConnectTest, ALogonWithoutASessionFails)
{
    m_mapi.script.Tell("MAPILogonEx", GivesNull());
    EXPECT_EQ(ConnectWith("Voicemail"), E_FAIL);
    EXPECT_THAT(Errors(), ElementsAre(Like("CMAPIImpl::Connect[#]: Error * from MAPILogonEx Call succeeded but default "
                                           "session is NULL.")));
}

TEST_F(ConnectTest, ASessionHandedBackWithAFailedLogonIsNotLeft)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED).WithOutput());
    EXPECT_EQ(ConnectWith("Voicemail"), MAPI_E_LOGON_FAILED);
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
}

TEST_F(ConnectTest, AMissingDefaultStoreFailsWithoutReadingBeyondTheRows)
{
    m_mapi.world.stores->rows.clear();
    EXPECT_TRUE(FAILED(ConnectWith("Voicemail")));
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Session.OpenMsgStore"), 0);
}

TEST_F(ConnectTest, ADefaultStoreWithoutAnEntryIdFails)
{
    m_mapi.world.stores->rows = {{Bool(PR_DEFAULT_STORE, true)}};
    EXPECT_TRUE(FAILED(ConnectWith("Voicemail")));
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
}

TEST_F(ConnectTest, TheFirstOfSeveralDefaultStoresIsTaken)
{
    m_mapi.world.stores->rows.push_back({Binary(PR_ENTRYID, EntryIdOf("store:alice")), Bool(PR_DEFAULT_STORE, true)});
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(LiveObjects(), Contains("Store(default)"));
}

TEST_F(ConnectTest, AServiceTableWithoutTheExchangeServiceFallsBackToTheDefaultProfile)
{
    m_mapi.world.services->rows.clear();
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)"));
    EXPECT_EQ(m_mapi.recorder.Count("ServiceAdmin.ConfigureMsgService"), 0);
}

TEST_F(ConnectTest, DisconnectReleasesTheStoreThenLogsOff)
{
    Connect();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Store(default).Release()", "Session.Logoff(0, 0, 0)", "Session.Release()"));
    EXPECT_THAT(Lines(), ElementsAre("> CMAPIImpl::Disconnect()", "< CMAPIImpl::Disconnect()"));
    Forget();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(ConnectTest, DisconnectIgnoresAFailedLogoffAndKeepsTheRegistries)
{
    Connect();
    const DWORD bookmark = Session()->StoreObject(BOOKMARK{5});
    m_mapi.script.Tell("Session.Logoff", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_EQ(Session()->LocateBookmark(bookmark), 5u);
}

TEST_F(ConnectTest, TheObjectsOwnWordsAreInTheErrorLine)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.SetLastError("Session", {"the server is down", "Exchange", 42});
    EXPECT_EQ(ConnectWith("Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Errors(), ElementsAre("CMAPIImpl::Connect[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                                      "GetMsgStoresTable (the server is down : Exchange[42]) trying to get the message "
                                      "stores table."));
    EXPECT_THAT(Calls(), Contains("Session.GetLastError(MAPI_E_NETWORK_ERROR, 0)"));
}

TEST_F(ConnectTest, CreateMailboxProfileNeedsServerAndMailboxOfAConnect)
{
    EXPECT_EQ(Session()->CreateMailboxProfile("Mine"), E_INVALIDARG);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Errors(),
                ElementsAre("[#]: Need a default mailbox and server name in-order to create the profile \"Mine\""));
    Connect();
    EXPECT_EQ(Session()->CreateMailboxProfile("Mine"), S_OK);
    EXPECT_THAT(Calls(), Contains("ProfAdmin.CreateProfile(\"Mine\", \"\", 0, 0)"));
}

TEST_F(ConnectTest, TheTextsKeepTheirOrderOfArguments)
{
    EXPECT_EQ(Session()->Connect("server", "mailbox", ""), S_OK);
    EXPECT_THAT(Calls(), Contains(Like("*[PR_PROFILE_UNRESOLVED_NAME=\"mailbox\", "
                                       "PR_PROFILE_UNRESOLVED_SERVER=\"server\"])")));
}

} // namespace
