// Logging on and opening mailboxes on a real site: profiles, the temporary profile, rights, closing.
#include "behaviour/BehaviourTest.h"

using namespace localmapi;

class LogonBehaviour : public BehaviourTest
{
  protected:
    std::vector<std::string> Profiles()
    {
        std::vector<std::string> names;
        for (const storage::Profile &profile : storage::Profiles(GetSite()).List())
            names.push_back(profile.name);
        return names;
    }
};

TEST_F(LogonBehaviour, ACreatedConnectionIsNotConnectedUntilItHasLoggedOn)
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    EXPECT_TRUE(OrlIsMAPIAvailable(m_connection));
    EXPECT_FALSE(OrlIsConnected(m_connection));
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    EXPECT_TRUE(OrlIsConnected(m_connection));
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
    EXPECT_FALSE(OrlIsConnected(m_connection));
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
}

TEST_F(LogonBehaviour, TheTemporaryProfileNeverOutlivesAConnect)
{
    Connect();
    EXPECT_THAT(Profiles(), testing::IsEmpty());
    // The session works on without it.
    EXPECT_NE(0U, Open("alice"));
}

TEST_F(LogonBehaviour, AWrongServerOrMailboxFallsBackToTheDefaultProfile)
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    EXPECT_LT(OrlMapiConnectA(m_connection, "NOSUCH", "vm", ""), 0);
    EXPECT_FALSE(OrlIsConnected(m_connection));
    EXPECT_LT(OrlMapiConnectA(m_connection, "", "", ""), 0);
    EXPECT_THAT(Profiles(), testing::IsEmpty());
}

TEST_F(LogonBehaviour, WithoutServerOrMailboxTheDefaultProfileIsUsedAndNoTemporaryOneIsLeft)
{
    AddProfile("Voicemail");
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    const std::pair<const char *, const char *> incomplete[] = {{"", ""}, {"NORVIK1", ""}, {"", "vm"}};
    for (const auto &[server, mailbox] : incomplete) {
        ASSERT_HR(0, OrlMapiConnectA(m_connection, server, mailbox, "")) << server << "|" << mailbox;
        EXPECT_TRUE(OrlIsConnected(m_connection));
        EXPECT_THAT(Profiles(), testing::ElementsAre("Voicemail"));
    }
    // The profile's home server stands in for the one that was not given.
    EXPECT_NE(0U, Open("alice"));
}

TEST_F(LogonBehaviour, AnUnknownProfileIsALogonFailureThatMailboxesRepeat)
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    OrlMailbox mailbox = 77;
    EXPECT_HR(E_FAIL, OrlMapiConnectToMailboxA(m_connection, &mailbox, "alice"));
    EXPECT_HR(0x80040111, OrlMapiConnectA(m_connection, "", "", "No such profile"));
    EXPECT_HR(0x80040111, OrlMapiConnectToMailboxA(m_connection, &mailbox, "alice"));
    EXPECT_EQ(77U, mailbox);
}

TEST_F(LogonBehaviour, AMailboxIsFoundByAliasFullNameAddressAndStartOfAName)
{
    Connect();
    for (const char *name : {"alice", "ALICE", "Alice Archer", "alice@norvik.example", "Arch"})
        EXPECT_NE(0U, Open(name)) << name;
    OrlMailbox mailbox = 77;
    EXPECT_HR(0x8004010F, OrlMapiConnectToMailboxA(m_connection, &mailbox, "Nobody Atall"));
    EXPECT_EQ(77U, mailbox);
}

TEST_F(LogonBehaviour, AUserWithoutRightsIsRefusedAnothersMailbox)
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "alice", ""));
    OrlMailbox mailbox = 77;
    EXPECT_HR(0x80070005, OrlMapiConnectToMailboxA(m_connection, &mailbox, "bob"));
    EXPECT_EQ(77U, mailbox);
    EXPECT_NE(0U, Open("alice"));
}

TEST_F(LogonBehaviour, TheServersNameAndUserAreTheSessions)
{
    Connect();
    ExchangeServerNameA *server = nullptr;
    ASSERT_HR(0, OrlGetExchangeServerNameA(m_connection, &server, "mapiimpl"));
    EXPECT_THAT(server->pszHomeServer, testing::HasSubstr("NORVIK1"));
    EXPECT_STRNE("", server->pszProfileUser);
    EXPECT_EQ(1, server->bProfileMatched);
    OrlMapiFreeBuffer(server);
    ExchangeServerNameW *wide = nullptr;
    ASSERT_HR(0, OrlGetExchangeServerNameW(m_connection, &wide, OLESTR("other")));
    EXPECT_EQ(0, wide->bProfileMatched);
    EXPECT_NE(0, wide->pszHomeServer[0]);
    OrlMapiFreeBuffer(wide);
}

TEST_F(LogonBehaviour, WithoutProfilesTheListIsEmptyAndThereIsNoBlock)
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    ExchangeProfileA *profiles = nullptr;
    ULONG count = 9;
    EXPECT_HR(0, OrlGetExchangeProfilesA(m_connection, &profiles, &count));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(nullptr, profiles);
    storage::Profiles(GetSite()).Create("Přílišný");
    ExchangeProfileW *wide = nullptr;
    EXPECT_HR(0, OrlGetExchangeProfilesW(m_connection, &wide, &count));
    ASSERT_EQ(1U, count);
    EXPECT_EQ(0, wide[0].bFlag);
    EXPECT_NE(0, wide[0].pszDisplayName[0]);
    OrlMapiFreeBuffer(wide);
}

TEST_F(LogonBehaviour, AMissingSiteIsAFailureAtLogonAndNotACrash)
{
    SetVariable("LOCALMAPI_FILE", File("there-is-none.db"));
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    EXPECT_LT(OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""), 0);
    EXPECT_FALSE(std::filesystem::exists(File("there-is-none.db")));
}

TEST_F(LogonBehaviour, FiftySessionsOneAfterAnotherEachStartAndStopMapi)
{
    for (int i = 0; i < 50; ++i) {
        DWORD connection = 0;
        ASSERT_HR(0, OrlCreateConnection(&connection, 0));
        ASSERT_TRUE(OrlIsMAPIAvailable(connection)) << i;
        ASSERT_HR(0, OrlCloseConnection(&connection));
        ASSERT_EQ(0U, connection);
    }
    DWORD closed = 5;
    EXPECT_HR(E_FAIL, OrlCloseConnection(&closed));
    EXPECT_EQ(5U, closed);
}
