// The two queries about profiles: which there are, and a profile's home server; with the result blocks of their
// exports, narrow and wide.
#include "session/SessionTest.h"
#include <cstring>

namespace
{

const std::vector<std::string> kProfileQuery = {"MAPIAdminProfiles(0)", "ProfAdmin.GetProfileTable(0)",
                                                "HrQueryAllRows(Table(profiles), [PR_DISPLAY_NAME_A], NULL, NULL, 0)"};
const char *const kSectionQuery =
    "ProfSect(global).GetProps([PR_PROFILE_HOME_SERVER, PR_PROFILE_NAME_A, PR_PROFILE_UNRESOLVED_NAME], *)";

class ProfilesTest : public SessionTest
{
  protected:
    void SetProfiles(const std::vector<std::string> &names)
    {
        m_mapi.world.profiles->rows.clear();
        for (const std::string &name : names)
            m_mapi.world.profiles->rows.push_back({Text(PR_DISPLAY_NAME_A, name)});
    }
    ULONG m_count = 99;
    ExchangeProfileA *m_profilesA = nullptr;
    ExchangeProfileW *m_profilesW = nullptr;
};

TEST_F(ProfilesTest, AreListedInTheOrderOfTheTable)
{
    SetProfiles({"Voicemail", "Zeta", "Alpha"});
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count), S_OK);
    ASSERT_EQ(m_count, 3u);
    EXPECT_STREQ(m_profilesA[0].pszDisplayName, "Voicemail");
    EXPECT_STREQ(m_profilesA[1].pszDisplayName, "Zeta");
    EXPECT_STREQ(m_profilesA[2].pszDisplayName, "Alpha");
    for (ULONG i = 0; i < m_count; ++i)
        EXPECT_EQ(m_profilesA[i].bFlag, 0);
    EXPECT_THAT(Calls(), ElementsAreArray(kProfileQuery));
    EXPECT_THAT(IndentedLines(), ElementsAre("> CMAPIImpl::GetAvailableProfiles()",
                                             "  CMAPIImpl::GetAvailableProfiles[#]: At entry, counter=[0]",
                                             "  GetAvailableProfiles - profile is \"Voicemail\"",
                                             "  GetAvailableProfiles - profile is \"Zeta\"",
                                             "  GetAvailableProfiles - profile is \"Alpha\"",
                                             "  CMAPIImpl::GetAvailableProfiles[#]: At exit, counter=[0]",
                                             "< CMAPIImpl::GetAvailableProfiles()"));
    EXPECT_THAT(m_mapi.recorder.Memory(),
                ElementsAre("FreeProws(rows of profiles)",
                            "MAPIAllocateBuffer(" + std::to_string(3 * sizeof(ExchangeProfileA)) + ")",
                            "MAPIAllocateMore(10, block 1)", "MAPIAllocateMore(5, block 1)",
                            "MAPIAllocateMore(6, block 1)"));
    EXPECT_THAT(LiveBlocks(), ElementsAre("block 1"));
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesA), S_OK);
}

TEST_F(ProfilesTest, WhatIsHeldCountsAsOpen)
{
    LONG atTable = -1;
    LONG atQuery = -1;
    m_mapi.script.Tell("ProfAdmin.GetProfileTable", Does([&] { atTable = Counter(); }));
    m_mapi.script.Tell("HrQueryAllRows", Does([&] { atQuery = Counter(); }));
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count), S_OK);
    EXPECT_EQ(atTable, 1) << "the administration";
    EXPECT_EQ(atQuery, 2) << "and the table";
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesA), S_OK);
}

TEST_F(ProfilesTest, NoProfilesAreNoErrorAndNoBuffer)
{
    SetProfiles({});
    auto *untouched = reinterpret_cast<ExchangeProfileA *>(0x10);
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &untouched, &m_count), S_OK);
    EXPECT_EQ(m_count, 0u);
    EXPECT_EQ(untouched, reinterpret_cast<ExchangeProfileA *>(0x10));
    EXPECT_THAT(m_mapi.recorder.Memory(), ElementsAre("FreeProws(rows of profiles)"));
    m_count = 99;
    EXPECT_EQ(OrlGetExchangeProfilesW(m_hConnection, &m_profilesW, &m_count), S_OK);
    EXPECT_EQ(m_count, 0u);
    EXPECT_EQ(m_profilesW, nullptr);
}

TEST_F(ProfilesTest, AreWidenedAsUtf8AndAsAnsiTextWhereTheyAreNotUtf8)
{
    const std::string valid[] = {"J\xC3\xBCrgen", "\xCE\x93\xCE\xB9\xCF\x8E\xCF\x81\xCE\xB3\xCE\xBF\xCF\x82",
                                 "\xE5\xB1\xB1\xE7\x94\xB0", "\xF0\x9F\x8E\xA4 mail", ""};
    const std::string broken[] = {"\xE9t\xE9", "cut \xF0\x9F\x8E", "\xC0\xAF"};
    std::vector<std::string> names(std::begin(valid), std::end(valid));
    names.insert(names.end(), std::begin(broken), std::end(broken));
    SetProfiles(names);
    EXPECT_EQ(OrlGetExchangeProfilesW(m_hConnection, &m_profilesW, &m_count), S_OK);
    ASSERT_EQ(m_count, names.size());
    const auto memory = m_mapi.recorder.Memory();
    ASSERT_EQ(memory.size(), names.size() + 2);
    for (size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(i);
        const WideText expected = i < std::size(valid) ? FromUtf8(names[i]) : FromAnsi(names[i]);
        EXPECT_EQ(WideText(m_profilesW[i].pszDisplayName), expected);
        EXPECT_EQ(memory[i + 2], "MAPIAllocateMore(" + std::to_string(names[i].size() * 2 + 2) + ", block 1)");
    }
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesW), S_OK);
    // The narrow export gives every byte as it is.
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count), S_OK);
    for (size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(m_profilesA[i].pszDisplayName, names[i]);
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesA), S_OK);
}

TEST_F(ProfilesTest, ARowWithoutANameDoesNoHarm)
{
    m_mapi.world.profiles->rows = {{Text(PR_DISPLAY_NAME_A, "first")}, {}, {Null(PR_DISPLAY_NAME_A)}};
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count), S_OK);
    EXPECT_EQ(m_count, 3u);
    EXPECT_STREQ(m_profilesA[0].pszDisplayName, "first");
    EXPECT_STREQ(m_profilesA[1].pszDisplayName, "");
    EXPECT_STREQ(m_profilesA[2].pszDisplayName, "");
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesA), S_OK);
}

TEST_F(ProfilesTest, TheCountIsThatOfTheRecordsFilledWhereMemoryEnds)
{
    SetProfiles({"one", "two", "three"});
    m_mapi.script.Tell("MAPIAllocateMore", Fails(E_OUTOFMEMORY).From(2));
    EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count), E_OUTOFMEMORY);
    EXPECT_EQ(m_count, 1u);
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("OrlGetExchangeProfilesA", E_OUTOFMEMORY, "MAPIAllocateMore", "")));
    ASSERT_NE(m_profilesA, nullptr);
    EXPECT_STREQ(m_profilesA[0].pszDisplayName, "one");
    EXPECT_EQ(OrlMapiFreeBuffer(m_profilesA), S_OK);
}

TEST_F(ProfilesTest, EveryFailingCallIsReportedOnceAndLeavesNothing)
{
    const struct {
        const char *call;
        const char *reported;
        const char *sentence;
    } steps[] = {
        {"MAPIAdminProfiles", "MAPIAdminProfiles", "*"},
        {"ProfAdmin.GetProfileTable", "GetProfileTable", " trying to obtain access to the profile table."},
        {"HrQueryAllRows", "HrQueryAllRows", " trying to retrieve all the profiles."},
        {"MAPIAllocateBuffer", "MAPIAllocateBuffer", "*"},
        {"MAPIAllocateMore", "MAPIAllocateMore", "*"},
    };
    HRESULT hr = S_OK;
    const int calls = Sweep(
        [&] {
            OrlMapiFreeBuffer(m_profilesA);
            m_profilesA = nullptr;
            m_count = 99;
            Forget();
        },
        [&] { hr = OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count); },
        [&](const Round &round) {
            EXPECT_EQ(hr, round.hr);
            EXPECT_EQ(m_count, 0u);
            ASSERT_EQ(Errors().size(), 1u);
            for (const auto &step : steps)
                if (round.call.Is(step.call)) {
                    const std::string function =
                        round.call.kind == Kind::Memory ? "OrlGetExchangeProfilesA" : "CMAPIImpl::GetAvailableProfiles";
                    const std::string start = ErrorLine(function, round.hr, step.reported, "");
                    EXPECT_THAT(Errors()[0], Like(start.substr(0, start.size() - 1) + step.sentence));
                }
            EXPECT_EQ(Counter(), 0);
            OrlMapiFreeBuffer(m_profilesA);
            m_profilesA = nullptr;
            m_mapi.ExpectNothingLeft();
        });
    EXPECT_EQ(calls, 5);
}

TEST_F(ProfilesTest, NothingHandedBackTogetherWithASuccessIsAFailure)
{
    for (const char *call : {"MAPIAdminProfiles", "ProfAdmin.GetProfileTable", "HrQueryAllRows"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        EXPECT_TRUE(FAILED(OrlGetExchangeProfilesA(m_hConnection, &m_profilesA, &m_count)));
        EXPECT_EQ(m_count, 0u);
        EXPECT_EQ(m_profilesA, nullptr);
        m_mapi.ExpectNothingLeft();
    }
}

class ServerNameTest : public SessionTest
{
  protected:
    ExchangeServerNameA *m_nameA = nullptr;
    ExchangeServerNameW *m_nameW = nullptr;
};

TEST_F(ServerNameTest, IsTheNamedProfilesWhereTheSessionIsNotLoggedOn)
{
    EXPECT_EQ(OrlGetExchangeServerNameA(m_hConnection, &m_nameA, "voiceMAIL"), S_OK);
    ASSERT_NE(m_nameA, nullptr);
    EXPECT_EQ(m_nameA->bProfileMatched, 1) << "the names differ only in case";
    EXPECT_STREQ(m_nameA->pszHomeServer, "NORVIK1");
    EXPECT_STREQ(m_nameA->pszProfileUser, "vm");
    EXPECT_THAT(Calls(), ElementsAre("MAPIAdminProfiles(0)", "ProfAdmin.AdminServices(\"voiceMAIL\", \"\", 0, 0)",
                                     "ServiceAdmin(voiceMAIL).OpenProfileSection(global section, NULL, 0)",
                                     Like(kSectionQuery)));
    const auto everything = m_mapi.recorder.Everything();
    EXPECT_EQ(everything[2], "ProfAdmin.Release()") << "given back before the section is opened";
    EXPECT_THAT(m_mapi.recorder.Memory(),
                ElementsAre("MAPIFreeBuffer(properties of global)",
                            "MAPIAllocateBuffer(" + std::to_string(sizeof(ExchangeServerNameA)) + ")",
                            "MAPIAllocateMore(8, block 1)", "MAPIAllocateMore(3, block 1)"));
    EXPECT_THAT(IndentedLines(), ElementsAre("> CMAPIImpl::GetExchangeServerName(szProfile: voiceMAIL)",
                                             "  GetExchangeServerName - profile home server is \"NORVIK1\"",
                                             "  GetExchangeServerName - profile name is \"Voicemail\"",
                                             "  GetExchangeServerName - profile user or unresolved name is \"vm\"",
                                             "< CMAPIImpl::GetExchangeServerName()"));
    EXPECT_EQ(OrlMapiFreeBuffer(m_nameA), S_OK);
}

TEST_F(ServerNameTest, IsTheSessionsOwnWhereItIsLoggedOn)
{
    Connect();
    EXPECT_EQ(OrlGetExchangeServerNameA(m_hConnection, &m_nameA, "Another"), S_OK);
    EXPECT_EQ(m_nameA->bProfileMatched, 0);
    EXPECT_STREQ(m_nameA->pszHomeServer, "NORVIK1");
    EXPECT_THAT(Calls(),
                ElementsAre("Session.AdminServices(0)",
                            "ServiceAdmin(session).OpenProfileSection(global section, NULL, 0)", Like(kSectionQuery)));
    EXPECT_EQ(OrlMapiFreeBuffer(m_nameA), S_OK);
}

TEST_F(ServerNameTest, TakesTheUserFromEitherPropertyAndSkipsErrors)
{
    m_mapi.world.globalSection->raw = true;
    m_mapi.world.globalSection->props = {Missing(PR_PROFILE_HOME_SERVER), Text(PR_PROFILE_USER, "configured user")};
    EXPECT_EQ(OrlGetExchangeServerNameA(m_hConnection, &m_nameA, "p"), MAPI_W_ERRORS_RETURNED)
        << "MAPI's warning stays";
    EXPECT_EQ(m_nameA->bProfileMatched, 0);
    EXPECT_STREQ(m_nameA->pszHomeServer, "");
    EXPECT_STREQ(m_nameA->pszProfileUser, "configured user");
    EXPECT_THAT(Lines(), ElementsAre("> CMAPIImpl::GetExchangeServerName(szProfile: p)",
                                     "GetExchangeServerName - profile user or unresolved name is \"configured user\"",
                                     "< CMAPIImpl::GetExchangeServerName()"));
    EXPECT_EQ(OrlMapiFreeBuffer(m_nameA), S_OK);
}

TEST_F(ServerNameTest, ValuesWithNullPointersAreSkipped)
{
    m_mapi.world.globalSection->raw = true;
    m_mapi.world.globalSection->props = {Null(PR_PROFILE_HOME_SERVER), Null(PR_PROFILE_NAME_A),
                                         Null(PR_PROFILE_UNRESOLVED_NAME)};
    EXPECT_EQ(OrlGetExchangeServerNameA(m_hConnection, &m_nameA, "p"), S_OK);
    EXPECT_EQ(m_nameA->bProfileMatched, 0);
    EXPECT_STREQ(m_nameA->pszHomeServer, "");
    EXPECT_STREQ(m_nameA->pszProfileUser, "");
    EXPECT_THAT(Lines(), ElementsAre("> CMAPIImpl::GetExchangeServerName(szProfile: p)",
                                     "< CMAPIImpl::GetExchangeServerName()"));
    EXPECT_EQ(OrlMapiFreeBuffer(m_nameA), S_OK);
}

TEST_F(ServerNameTest, TheMemberClearsWhatTheCallerHadThere)
{
    m_mapi.world.globalSection->props.clear();
    tstring server = "old";
    tstring user = "old";
    bool matched = true;
    EXPECT_TRUE(SUCCEEDED(Session()->GetExchangeServerName(server, "p", user, matched)));
    EXPECT_EQ(server, "");
    EXPECT_EQ(user, "");
    EXPECT_FALSE(matched);
    m_mapi.script.Tell("MAPIAdminProfiles", Fails(MAPI_E_NETWORK_ERROR));
    server = user = "old";
    matched = true;
    EXPECT_EQ(Session()->GetExchangeServerName(server, "p", user, matched), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(server, "");
    EXPECT_EQ(user, "");
    EXPECT_FALSE(matched);
}

TEST_F(ServerNameTest, IsAskedForInAnsiTextAndWidenedAsUtf8)
{
    const WideText asked = OLESTR("Jürgen");
    m_mapi.world.globalSection->props = {Text(PR_PROFILE_HOME_SERVER, "GR\xC3\x9C\xC3\x9F"
                                                                      "E-\xF0\x9F\x8E\xA4"),
                                         Text(PR_PROFILE_NAME_A, InAnsi(asked)),
                                         Text(PR_PROFILE_UNRESOLVED_NAME, "\xE9t\xE9")};
    EXPECT_EQ(OrlGetExchangeServerNameW(m_hConnection, &m_nameW, asked.c_str()), S_OK);
    EXPECT_EQ(m_nameW->bProfileMatched, 1);
    EXPECT_EQ(WideText(m_nameW->pszHomeServer), WideText(OLESTR("GRÜßE-🎤")));
    EXPECT_EQ(WideText(m_nameW->pszProfileUser), FromAnsi("\xE9t\xE9"));
    EXPECT_THAT(Calls(), Contains("ProfAdmin.AdminServices(\"" + InAnsi(asked) + "\", \"\", 0, 0)"));
    EXPECT_THAT(m_mapi.recorder.Memory(),
                ElementsAre("MAPIFreeBuffer(properties of global)",
                            "MAPIAllocateBuffer(" + std::to_string(sizeof(ExchangeServerNameW)) + ")",
                            "MAPIAllocateMore(26, block 1)", "MAPIAllocateMore(8, block 1)"));
    EXPECT_EQ(OrlMapiFreeBuffer(m_nameW), S_OK);
}

TEST_F(ServerNameTest, EveryFailingCallIsReportedOnceAndLeavesNothing)
{
    for (const bool connected : {false, true}) {
        SCOPED_TRACE(connected ? "logged on" : "not logged on");
        if (connected)
            Connect();
        const size_t objects = LiveObjects().size();
        HRESULT hr = S_OK;
        const auto prepare = [&] {
            OrlMapiFreeBuffer(m_nameA);
            m_nameA = nullptr;
            Forget();
        };
        const int calls = Sweep(
            prepare, [&] { hr = OrlGetExchangeServerNameA(m_hConnection, &m_nameA, "p"); },
            [&](const Round &round) {
                EXPECT_EQ(hr, round.hr);
                EXPECT_EQ(Errors().size(), 1u);
                EXPECT_EQ(m_nameA, nullptr);
                if (round.call.kind == Kind::Memory) {
                    EXPECT_THAT(Errors(),
                                ElementsAre(ErrorLine("OrlGetExchangeServerNameA", round.hr, round.call.method, "")));
                }
                EXPECT_EQ(LiveObjects().size(), objects);
                EXPECT_THAT(LiveBlocks(), IsEmpty());
            });
        EXPECT_EQ(calls, connected ? 6 : 7);
        prepare();
    }
}

} // namespace
