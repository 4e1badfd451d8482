// Finding a mailbox's identity: the walk of the global address list and MAPI's own name resolution after it.
#include "session/SessionTest.h"
#include <algorithm>

namespace
{

class AddressBookTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        Connect();
    }
    HRESULT Find(const char *name = "alice") { return Session()->FindAddressBookEntry(name, m_identity); }
    HRESULT Obtain(const char *name = "alice") { return Session()->ObtainMailboxName(name, m_identity); }
    void ExpectClean()
    {
        EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)"));
        EXPECT_THAT(LiveBlocks(), IsEmpty());
    }
    void TearDown() override
    {
        ExpectClean();
        SessionTest::TearDown();
    }
    MailboxIdentity m_identity;
};

const char *const kWalk[] = {"Session.OpenAddressBook(0, NULL, 0x1)",
                             "AddrBook.OpenEntry(eid(), NULL, 0x210)",
                             "Container(root).GetHierarchyTable(0)",
                             ("HrQueryAllRows(Table(hierarchy), [PR_ENTRYID], PROPERTY(PR_DISPLAY_TYPE == 131072), "
                              "NULL, 0)"),
                             "AddrBook.OpenEntry(eid(ab:gal), *, 0x210)",
                             "Container(GAL).GetContentsTable(0)",
                             "HrQueryAllRows(Table(GAL), [PR_ENTRYID], PROPERTY(PR_ANR_A == \"alice\"), NULL, 0)",
                             "Container(GAL).OpenEntry(eid(user:alice), *, 0x210)",
                             "HrGetOneProp(User(alice), PR_ADDRTYPE_A)",
                             "HrGetOneProp(User(alice), PR_EMAIL_ADDRESS_A)",
                             "HrGetOneProp(User(alice), PR_DISPLAY_NAME_A)"};

TEST_F(AddressBookTest, TheWalkAsksTheGlobalAddressList)
{
    EXPECT_EQ(Find(), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "Alice Archer");
    EXPECT_EQ(m_identity.strEmailAddress, kAliceDN);
    EXPECT_EQ(m_identity.strAddressType, "EX");
    const auto calls = Calls();
    ASSERT_EQ(calls.size(), std::size(kWalk));
    for (size_t i = 0; i < calls.size(); ++i)
        EXPECT_THAT(calls[i], Like(kWalk[i]));
    EXPECT_THAT(IndentedLines(),
                ElementsAre("> FindAddressBookEntry(szMailbox: \"alice\")",
                            "  Processing [alice] - Address Type=EX, Email=" + kAliceDN + ", DisplayName=Alice Archer",
                            "< FindAddressBookEntry()"));
}

TEST_F(AddressBookTest, ObtainingEndsWithAFoundEntry)
{
    EXPECT_EQ(Obtain(), S_OK);
    EXPECT_EQ(Calls().size(), std::size(kWalk));
    EXPECT_EQ(Lines().front(), "> CMAPIImpl::ObtainMailboxName(szMailbox: \"alice\")");
}

TEST_F(AddressBookTest, AnEntryOfAnotherAddressTypeIsIgnoredAndTheNextOneTaken)
{
    m_mapi.world.globalAddressList->contents->rows.clear();
    m_mapi.world.users.clear();
    m_mapi.world.AddUser("ann1", "Ann One", "SMTP", "ann@elsewhere.example");
    m_mapi.world.AddUser("ann2", "Ann Two", "ex");
    EXPECT_EQ(Find("ann"), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "Ann Two");
    EXPECT_EQ(m_identity.strAddressType, "ex") << "the type is compared without case and copied as it is";
    EXPECT_THAT(m_trace.Texts(0x00660005),
                ElementsAre(Like("FindAddressBookEntry[*]: Ignoring address entry type SMTP for ann.")));
    EXPECT_THAT(m_trace.Texts(0x00660008), Contains(StartsWith("Processing [ann] - Address Type=SMTP, ")));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(AddressBookTest, TheFirstExchangeEntryEndsTheWalk)
{
    m_mapi.world.AddUser("alice2", "Alice Two");
    EXPECT_EQ(Find(), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "Alice Archer");
    EXPECT_EQ(m_mapi.recorder.Count("Container(GAL).OpenEntry"), 1);
}

TEST_F(AddressBookTest, AnExchangeEntryWithoutAnEmailAddressIsSkippedSilently)
{
    auto &props = m_mapi.world.users[0]->props;
    props.erase(std::remove_if(props.begin(), props.end(), [](const Value &v) { return v.tag == PR_EMAIL_ADDRESS_A; }),
                props.end());
    m_identity.strEmailAddress = "kept";
    EXPECT_EQ(Find(), S_FALSE);
    EXPECT_EQ(m_identity.strEmailAddress, "kept");
    EXPECT_THAT(Errors(), ElementsAre(Like("*FindAddressBookEntry[#]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                           "HrGetOneProp trying to get the email address property for the mailbox "
                                           "entry for alice.")));
    EXPECT_THAT(Lines(), Contains("Processing [alice] - Address Type=EX, DisplayName=Alice Archer"));
    EXPECT_THAT(Lines(), testing::Not(Contains(testing::HasSubstr("Ignoring"))));
}

TEST_F(AddressBookTest, AMissingDisplayNameIsReportedAndDoesNotMatter)
{
    m_mapi.script.Tell("HrGetOneProp(User(alice), PR_DISPLAY_NAME_A)", Fails(MAPI_E_NOT_FOUND));
    m_identity.strDisplayName = "kept";
    EXPECT_EQ(Find(), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "kept");
    EXPECT_EQ(m_identity.strEmailAddress, kAliceDN);
    EXPECT_THAT(Errors(), ElementsAre(Like("*from HrGetOneProp trying to get the display name property for the mailbox "
                                           "entry for alice.")));
}

TEST_F(AddressBookTest, AMissingAddressTypeMakesTheEntryNoExchangeEntry)
{
    m_mapi.script.Tell("HrGetOneProp(User(alice), PR_ADDRTYPE_A)", Fails(MAPI_E_NOT_FOUND));
    EXPECT_EQ(Find(), S_FALSE);
    EXPECT_THAT(Errors(), ElementsAre(Like("*from HrGetOneProp trying to get the email address type for the mailbox "
                                           "entry for alice.")));
    EXPECT_THAT(Lines(), Contains("Processing [alice] - Email=" + kAliceDN + ", DisplayName=Alice Archer"));
}

TEST_F(AddressBookTest, NobodyOfThatNameIsNoFailureOfTheWalk)
{
    EXPECT_EQ(Find("nobody"), S_FALSE);
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(AddressBookTest, WithoutAGlobalAddressListMapiResolvesTheName)
{
    m_mapi.world.rootContainer->hierarchy->rows.clear();
    EXPECT_EQ(Obtain(), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "Alice Archer");
    EXPECT_THAT(Errors(), ElementsAre(Like("*FindAddressBookEntry[#]: Error * from HrQueryAllRows no rows retrieved "
                                           "from the global address book.")));
    const auto calls = Calls();
    const auto tail = std::find_if(calls.rbegin(), calls.rend(), [](const std::string &c) {
                          return c.find("OpenAddressBook") != std::string::npos;
                      }).base();
    EXPECT_THAT(std::vector<std::string>(tail, calls.end()),
                ElementsAre("AddrBook.ResolveName(0, 0, NULL, [PR_DISPLAY_NAME_A=\"alice\"])",
                            Like("PpropFindProp(*, PR_ENTRYID)"), Like("AddrBook.OpenEntry(eid(user:alice), *, 0x210)"),
                            "HrGetOneProp(User(alice), PR_ADDRTYPE_A)", "HrGetOneProp(User(alice), PR_EMAIL_ADDRESS_A)",
                            "HrGetOneProp(User(alice), PR_DISPLAY_NAME_A)"));
}

TEST_F(AddressBookTest, TheListForTheNameResolutionIsBuiltOfTwoRootsAndOneChild)
{
    m_mapi.world.rootContainer->hierarchy->rows.clear();
    Forget();
    EXPECT_EQ(Obtain(), S_OK);
    std::vector<std::string> allocations;
    for (const std::string &call : m_mapi.recorder.Memory())
        if (call.find("MAPIAllocate") == 0)
            allocations.push_back(call);
    EXPECT_THAT(allocations, ElementsAre("MAPIAllocateBuffer(" + std::to_string(CbNewADRLIST(1)) + ")",
                                         "MAPIAllocateBuffer(" + std::to_string(sizeof(SPropValue)) + ")",
                                         "MAPIAllocateMore(6, block 2)"));
    EXPECT_THAT(m_mapi.recorder.Memory(), Contains("FreePadrlist(block 1)"));
}

TEST_F(AddressBookTest, AListThatCannotBeAllocatedIsReportedAndNothingIsResolved)
{
    m_mapi.world.globalAddressList->contents->rows.clear();
    const std::pair<const char *, int> allocations[] = {
        {"MAPIAllocateBuffer", 1}, {"MAPIAllocateBuffer", 2}, {"MAPIAllocateMore", 1}};
    for (const auto &[call, nth] : allocations) {
        SCOPED_TRACE(call + std::to_string(nth));
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Fails(E_OUTOFMEMORY).Nth(nth));
        Forget();
        EXPECT_EQ(Obtain(), E_OUTOFMEMORY);
        EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::UpdateAddressList", E_OUTOFMEMORY, call, "")));
        EXPECT_EQ(m_mapi.recorder.Count("AddrBook.ResolveName"), 0);
        ExpectClean();
    }
}

TEST_F(AddressBookTest, WhatWasReadBeforeAFailureStaysWithTheCaller)
{
    m_mapi.world.globalAddressList->contents->rows.clear();
    m_mapi.script.Tell("HrGetOneProp(User(alice), PR_DISPLAY_NAME_A)", Fails(MAPI_E_NETWORK_ERROR));
    m_identity.strDisplayName = "kept";
    EXPECT_EQ(Obtain(), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_identity.strAddressType, "EX");
    EXPECT_EQ(m_identity.strEmailAddress, kAliceDN);
    EXPECT_EQ(m_identity.strDisplayName, "kept");
}

TEST_F(AddressBookTest, AnyFailureOfTheWalkFallsBackToTheNameResolution)
{
    for (const char *call : {"AddrBook.OpenEntry(eid(), NULL, 0x210)", "Container.GetHierarchyTable",
                             "Container.GetContentsTable", "Container.OpenEntry"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Obtain(), S_OK);
        EXPECT_EQ(m_mapi.recorder.Count("AddrBook.ResolveName"), 1);
        EXPECT_EQ(Errors().size(), 1u);
        ExpectClean();
    }
}

TEST_F(AddressBookTest, EveryStepOfTheWalkHasItsSentence)
{
    const struct {
        const char *call;
        const char *reported;
    } cases[] = {
        {"Session.OpenAddressBook", "OpenAddressBook trying to open the MAPI integrated address book."},
        {"AddrBook.OpenEntry(eid(), NULL, 0x210)", "OpenEntry trying to open the root address book entry for alice."},
        {"Container(root).GetHierarchyTable",
         "GetHierarchyTable trying to get the hierarchy table for the address book for alice."},
        {"HrQueryAllRows(Table(hierarchy), [PR_ENTRYID], PROPERTY(PR_DISPLAY_TYPE == 131072), NULL, 0)",
         "HrQueryAllRows trying to get the row for the global address book."},
        {"Container(GAL).GetContentsTable",
         "GetContentsTable trying to get the contents table for the address book for alice."},
        {"HrQueryAllRows(Table(GAL), [PR_ENTRYID], PROPERTY(PR_ANR_A == \"alice\"), NULL, 0)",
         "HrQueryAllRows trying to get the rows from the global address book."},
        {"Container(GAL).OpenEntry", "OpenEntry trying to open the mailbox entry for alice."},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(expected.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Find(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(Errors(),
                    ElementsAre(Like("*FindAddressBookEntry[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " +
                                     std::string(expected.reported))));
        ExpectClean();
    }
    m_mapi.script.Clear();
    m_mapi.script.Tell("AddrBook.OpenEntry", Fails(MAPI_E_NETWORK_ERROR).Nth(2));
    Forget();
    EXPECT_EQ(Find(), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Errors(), ElementsAre(Like("*from OpenEntry trying to open the global address book for alice.")));
}

TEST_F(AddressBookTest, EveryStepOfTheNameResolutionHasItsSentence)
{
    m_mapi.world.globalAddressList->contents->rows.clear(); // the walk finds nobody, without a line
    const struct {
        const char *call;
        Answer answer;
        const char *reported;
    } cases[] = {
        {"Session.OpenAddressBook", Fails(MAPI_E_NETWORK_ERROR).Nth(2),
         "OpenAddressBook trying to open the MAPI integrated address book."},
        {"AddrBook.ResolveName", Fails(MAPI_E_NETWORK_ERROR),
         "PpropFindProp trying to get the entry ID for the mailbox alice."},
        {"AddrBook.OpenEntry", Fails(MAPI_E_NETWORK_ERROR).Nth(3),
         "OpenEntry trying to open the mailbox entry for alice."},
        {"HrGetOneProp(User(alice), PR_DISPLAY_NAME_A)", Fails(MAPI_E_NETWORK_ERROR),
         "HrGetOneProp trying to get the display name property for the mailbox entry for alice."},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(expected.call, expected.answer);
        Forget();
        EXPECT_EQ(Obtain(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(Errors(), ElementsAre(Like("*ObtainMailboxName[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " +
                                               std::string(expected.reported))));
        ExpectClean();
    }
}

TEST_F(AddressBookTest, TheNameResolutionGoesOnAfterAMissingPropertyAndItsLastReadDecides)
{
    m_mapi.world.globalAddressList->contents->rows.clear();
    m_mapi.script.Tell("HrGetOneProp(User(alice), PR_ADDRTYPE_A)", Fails(MAPI_E_NOT_FOUND));
    m_mapi.script.Tell("HrGetOneProp(User(alice), PR_EMAIL_ADDRESS_A)", Fails(MAPI_E_NOT_FOUND));
    m_identity.strAddressType = "kept";
    m_identity.strEmailAddress = "kept";
    EXPECT_EQ(Obtain(), S_OK);
    EXPECT_EQ(m_identity.strDisplayName, "Alice Archer");
    EXPECT_EQ(m_identity.strAddressType, "kept");
    EXPECT_EQ(m_identity.strEmailAddress, "kept");
    EXPECT_THAT(Errors(),
                ElementsAre(Like("*trying to get the address type property for the mailbox entry for alice."),
                            Like("*trying to get the email address property for the mailbox entry for alice.")));
}

TEST_F(AddressBookTest, ANameResolvedWithoutAnEntryIdCannotBeOpened)
{
    m_mapi.world.globalAddressList->contents->rows.clear();
    m_mapi.script.Tell("PpropFindProp", GivesNull());
    EXPECT_TRUE(FAILED(Obtain()));
    EXPECT_THAT(Errors(), ElementsAre(Like("*from OpenEntry trying to open the mailbox entry for alice.")));
}

TEST_F(AddressBookTest, AnUnknownAndAnAmbiguousNameFailAsMapiSays)
{
    EXPECT_EQ(Obtain("nobody"), MAPI_E_NOT_FOUND);
    m_mapi.world.globalAddressList->contents->rows.clear();
    EXPECT_EQ(Obtain(""), MAPI_E_AMBIGUOUS_RECIP);
}

TEST_F(AddressBookTest, AnAddressBookThatDoesNotKnowTheNoCacheFlagIsAskedOnceMore)
{
    m_mapi.script.Tell("AddrBook.OpenEntry(eid(), NULL, 0x210)", Fails(MAPI_E_UNKNOWN_FLAGS).WithOutput());
    m_mapi.script.Tell("Container(GAL).OpenEntry", Fails(MAPI_E_UNKNOWN_FLAGS).Once());
    EXPECT_EQ(Find(), S_OK);
    EXPECT_THAT(Calls(), Contains("AddrBook.OpenEntry(eid(), NULL, 0x10)"));
    EXPECT_THAT(Calls(), Contains(Like("Container(GAL).OpenEntry(eid(user:alice), *, 0x10)")));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(AddressBookTest, NamesOfAnyScriptAreLookedUpAsTheyAre)
{
    for (const char *name :
         {"J\xC3\xBCrgen", "\xCE\x93\xCE\xB9\xCF\x8E", "\xE5\xB1\xB1\xE7\x94\xB0", "\xF0\x9F\x8E\xA4", "\xE9\xFF"}) {
        SCOPED_TRACE(name);
        m_mapi.world.AddUser(name, "Somebody");
        Forget();
        EXPECT_EQ(Find(name), S_OK);
        EXPECT_THAT(Calls(),
                    Contains(Like("HrQueryAllRows(Table(GAL), *PROPERTY(PR_ANR_A == \"" + std::string(name) + "\")*")));
    }
}

TEST_F(AddressBookTest, RowsThatHoldNoEntryIdDoNoHarm)
{
    m_mapi.world.rootContainer->hierarchy->rows = {{Long(PR_DISPLAY_TYPE, 0x20000)}};
    EXPECT_TRUE(FAILED(Find()));
    m_mapi.world.rootContainer->hierarchy->rows = {{Null(PR_ENTRYID)}};
    Find();
    m_mapi.world.rootContainer->hierarchy->raw = true;
    m_mapi.world.rootContainer->hierarchy->rows = {{}};
    EXPECT_TRUE(FAILED(Find()));
}

TEST_F(AddressBookTest, BothLookUpsNeedASession)
{
    OrlMapiDisconnect(m_hConnection);
    Forget();
    LPADRLIST list = nullptr;
    EXPECT_EQ(Obtain(), E_FAIL);
    EXPECT_EQ(Session()->CreateAddressList(&list, "alice"), E_FAIL);
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    OrlMapiConnectA(m_hConnection, "s", "m", "p");
    EXPECT_EQ(Obtain(), MAPI_E_LOGON_FAILED);
    EXPECT_EQ(Session()->CreateAddressList(&list, "alice"), MAPI_E_LOGON_FAILED);
    EXPECT_EQ(list, nullptr);
    m_mapi.script.Clear();
    Connect();
}

} // namespace
