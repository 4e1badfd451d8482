// Text that looks like a format, through every field that reaches a trace line: an error line is read a second time as
// a format, and whatever it holds must do no harm.
#include "session/SessionTest.h"

namespace
{

const char kHostile[] = "%s%s%s%s%n%1000000d";
const char *const kAllHostile[] = {kHostile, "%n",           "%hhn%ln%lln", "%*d%*.*f",   "%5$s%1$n",
                                   "%",      "100%",         "%1000000.9s", "%ls%S%hs%C", "%I64d%Z%p",
                                   "%%n%%%", "%s%n\xFF\xE9", "%.999999999f"};

class HostileTextTest : public SessionTest, public testing::WithParamInterface<const char *>
{
  protected:
    const char *Hostile() const { return GetParam(); }
    // Each error line begins as it should, whatever its end became, and is one line of the trace.
    void ExpectErrorsFrom(const std::string &function, size_t atLeast = 1)
    {
        EXPECT_GE(Errors().size(), atLeast);
        for (const std::string &line : Errors())
            EXPECT_THAT(line, testing::AnyOf(Like("*" + function + "[#]: Error *"), Like("[#]: Need a default*")));
        for (const auto &line : m_trace.Lines())
            EXPECT_LE(line.whole.size(), 1023u);
    }
};

TEST_P(HostileTextTest, InTheNamesOfALogon)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, Hostile(), Hostile(), Hostile()), MAPI_E_LOGON_FAILED);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"" + std::string(Hostile()) + "\", NULL, 0x108032)"));
    ExpectErrorsFrom("CMAPIImpl::Connect");
    EXPECT_THAT(Lines(), Contains("Attempting to logon to MAPI using profile " + std::string(Hostile()) + "."));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, Hostile(), Hostile(), ""), MAPI_E_LOGON_FAILED);
    const WideText wide = FromAnsi(Hostile());
    EXPECT_EQ(OrlMapiConnectW(m_hConnection, wide.c_str(), wide.c_str(), wide.c_str()), MAPI_E_LOGON_FAILED);
}

TEST_P(HostileTextTest, InTheNameOfAProfileThatCannotBeMade)
{
    EXPECT_EQ(Session()->CreateMailboxProfile(Hostile()), E_INVALIDARG);
    ExpectErrorsFrom("");
}

TEST_P(HostileTextTest, InAnObjectsOwnErrorText)
{
    m_mapi.script.SetLastError("*", {Hostile(), Hostile(), 0xFFFFFFFF});
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    ExpectErrorsFrom("CMAPIImpl::Connect");
    EXPECT_THAT(Errors(), Contains(StartsWith("CMAPIImpl::Connect[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                                              "GetMsgStoresTable (")));
}

TEST_P(HostileTextTest, InTheNameOfAMailbox)
{
    Connect();
    OrlMailbox mailbox = 0;
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, Hostile()), MAPI_E_NOT_FOUND);
    ExpectErrorsFrom("");
    for (const char *call : {"AddrBook.OpenEntry", "Container.GetHierarchyTable", "Container.GetContentsTable",
                             "AddrBook.ResolveName", "HrQueryAllRows"}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Fails(MAPI_E_NETWORK_ERROR));
        EXPECT_TRUE(FAILED(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, Hostile())));
    }
    m_mapi.script.Clear();
}

TEST_P(HostileTextTest, InEveryPropertyOfAnAddressBookEntry)
{
    Connect();
    m_mapi.world.globalAddressList->contents->rows.clear();
    m_mapi.world.users.clear();
    m_mapi.world.AddUser(Hostile(), Hostile(), Hostile(), Hostile());
    MailboxIdentity identity;
    EXPECT_EQ(Session()->FindAddressBookEntry(Hostile(), identity), S_FALSE);
    EXPECT_THAT(Lines(), Contains(Like("*Ignoring address entry type *")));
    Set(m_mapi.world.users[0]->props, Text(PR_ADDRTYPE_A, "EX"));
    EXPECT_EQ(Session()->FindAddressBookEntry(Hostile(), identity), S_OK);
    EXPECT_EQ(identity.strEmailAddress, Hostile());
    OrlMailbox mailbox = 0;
    Forget();
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, Hostile()), MAPI_E_NOT_FOUND); // no such store
    ExpectErrorsFrom("CMAPIImpl::Logon");
    for (const char *property : {"PR_ADDRTYPE_A", "PR_EMAIL_ADDRESS_A", "PR_DISPLAY_NAME_A"}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell("HrGetOneProp(User(" + std::string(Hostile()) + "), " + property + ")",
                           Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        Session()->ObtainMailboxName(Hostile(), identity);
        ExpectErrorsFrom("");
    }
}

TEST_P(HostileTextTest, InTheServersName)
{
    Connect(Hostile(), Hostile(), Hostile());
    OrlMailbox mailbox = 0;
    m_mapi.script.Tell("ManageStore.CreateStoreEntryID", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), MAPI_E_NETWORK_ERROR);
    ExpectErrorsFrom("CMAPIImpl::Logon");
    m_mapi.script.Clear();
    ASSERT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), S_OK);
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, mailbox), S_OK);
}

TEST_P(HostileTextTest, InListsOfRecipients)
{
    Connect();
    LPADRLIST list = nullptr;
    EXPECT_EQ(Session()->CreateAddressList(&list, Hostile()), MAPI_E_NOT_FOUND);
    ExpectErrorsFrom("CMAPIImpl::CreateAddressList");
    FreePadrlist(list);
}

TEST_P(HostileTextTest, InTheNamesOfProfilesAndServers)
{
    m_mapi.world.profiles->rows = {{Text(PR_DISPLAY_NAME_A, Hostile())}};
    m_mapi.world.globalSection->props = {Text(PR_PROFILE_HOME_SERVER, Hostile()), Text(PR_PROFILE_NAME_A, Hostile()),
                                         Text(PR_PROFILE_UNRESOLVED_NAME, Hostile())};
    ExchangeProfileA *profiles = nullptr;
    ULONG count = 0;
    ASSERT_EQ(OrlGetExchangeProfilesA(m_hConnection, &profiles, &count), S_OK);
    EXPECT_STREQ(profiles[0].pszDisplayName, Hostile());
    EXPECT_EQ(OrlMapiFreeBuffer(profiles), S_OK);
    ExchangeServerNameA *name = nullptr;
    ASSERT_EQ(OrlGetExchangeServerNameA(m_hConnection, &name, Hostile()), S_OK);
    EXPECT_STREQ(name->pszHomeServer, Hostile());
    EXPECT_EQ(name->bProfileMatched, 1);
    EXPECT_EQ(OrlMapiFreeBuffer(name), S_OK);
    EXPECT_THAT(Lines(), Contains("GetExchangeServerName - profile home server is \"" + std::string(Hostile()) + "\""));
}

INSTANTIATE_TEST_SUITE_P(Formats, HostileTextTest, testing::ValuesIn(kAllHostile),
                         [](const auto &format) { return "Format" + std::to_string(format.index); });

class OddTextTest : public SessionTest
{
};

TEST_F(OddTextTest, TheSecondReadingFindsArgumentsThatAreZero)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.SetLastError("Session", {"[%d] [%s] [%%]", "c", 1});
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Errors(), ElementsAre("CMAPIImpl::Connect[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                                      "GetMsgStoresTable ([0] [(null)] [%] : c[1]) trying to get the message stores "
                                      "table."));
}

TEST_F(OddTextTest, NullTextsInAnErrorRecordDoNoHarm)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.SetLastError("Session", {nullptr, nullptr, 7});
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Errors(), ElementsAre(Like("CMAPIImpl::Connect[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                                           "GetMsgStoresTable (* : *[7]) trying to get the message stores table.")));
}

TEST_F(OddTextTest, AFailedGetLastErrorDropsThePart)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.SetLastError("Session", {"text", "component", 7});
    m_mapi.script.Tell("Session.GetLastError", Fails(E_FAIL));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Connect", MAPI_E_NETWORK_ERROR, "GetMsgStoresTable",
                                                "trying to get the message stores table.")));
}

TEST_F(OddTextTest, AnExceptionInGetLastErrorIsReportedAndTheLineIsStillWritten)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.Tell("Session.GetLastError", Does([] { throw 1; }));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(m_trace.Texts(), Contains("Exception has occurred in TraceError (OrlMapi32[1613])"));
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Connect", MAPI_E_NETWORK_ERROR, "GetMsgStoresTable",
                                                "trying to get the message stores table.")));
}

TEST_F(OddTextTest, VeryLongNamesAreCutInTheTraceOnly)
{
    const std::string name(100000, 'n');
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, name.c_str(), name.c_str(), name.c_str()), MAPI_E_LOGON_FAILED);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"" + name + "\", NULL, 0x108032)"));
    for (const auto &line : m_trace.Lines())
        EXPECT_LE(line.whole.size(), 1023u);
}

} // namespace
