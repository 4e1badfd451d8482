// Connects without a profile are alone with the profile that they make: what the system is asked for, before and after
// which calls of MAPI, and every answer that it can give.
#include "session/ProfileTurn.h"
#include "common/base/SystemCalls.h"
#include "session/SessionTest.h"

namespace
{

// What was asked of the mutex, with the number of MAPI's calls before it.
std::vector<std::string> g_asked;
std::function<std::size_t()> g_mapiCalls;
DWORD g_answer;
bool g_noMutex;

const HANDLE kMutex = reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x77));

void Asked(const std::string &call)
{
    g_asked.push_back(call + " after " + std::to_string(g_mapiCalls()));
}
HANDLE WINAPI CreateScripted(LPSECURITY_ATTRIBUTES, BOOL owned, LPCSTR name)
{
    EXPECT_FALSE(owned);
    EXPECT_THAT(name, StartsWith("Global\\OrlMapi32.MAPIImpl"));
    Asked("Create");
    SetLastError(ERROR_ACCESS_DENIED);
    return g_noMutex ? nullptr : kMutex;
}
DWORD WINAPI WaitScripted(HANDLE mutex, DWORD milliseconds)
{
    EXPECT_EQ(mutex, kMutex);
    Asked("Wait " + std::to_string(milliseconds));
    SetLastError(ERROR_ACCESS_DENIED);
    return g_answer;
}
BOOL WINAPI ReleaseScripted(HANDLE mutex)
{
    EXPECT_EQ(mutex, kMutex);
    Asked("Release");
    return TRUE;
}
BOOL WINAPI CloseScripted(HANDLE handle)
{
    EXPECT_EQ(handle, kMutex);
    Asked("Close");
    return TRUE;
}

class ProfileTurnTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        g_asked.clear();
        g_mapiCalls = [this] { return Calls().size(); };
        g_answer = WAIT_OBJECT_0;
        g_noMutex = false;
        SystemCalls().CreateMutexA = CreateScripted;
        SystemCalls().WaitForSingleObject = WaitScripted;
        SystemCalls().ReleaseMutex = ReleaseScripted;
        SystemCalls().CloseHandle = CloseScripted;
    }
    void TearDown() override
    {
        SystemCalls() = m_before;
        SessionTest::TearDown();
    }
    HRESULT ConnectWith(const char *profile, const char *server = "NORVIK1")
    {
        return OrlMapiConnectA(m_hConnection, server, "vm", profile);
    }
    void ExpectAroundAllCalls() const
    {
        const std::string all = std::to_string(Calls().size());
        EXPECT_THAT(g_asked,
                    ElementsAre("Create after 0", "Wait 60000 after 0", "Release after " + all, "Close after " + all));
    }
    // The whole of a refused connect: nothing of MAPI was called, nothing is kept.
    void ExpectRefused(HRESULT hr, const std::string &sentence)
    {
        EXPECT_EQ(ConnectWith(""), hr);
        EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
        EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Connect", hr, "MAPILogonEx", sentence)));
        EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
        OrlMailbox mailbox = 77;
        EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), hr);
        EXPECT_EQ(mailbox, OrlMailbox{77});
    }

  private:
    const SystemCallTable m_before = SystemCalls();
};

TEST_F(ProfileTurnTest, IsHeldFromBeforeTheProfileIsMadeUntilItIsDeleted)
{
    EXPECT_EQ(kProfileTurnTimeout, 60000u);
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_EQ(Calls().back(), "ProfAdmin.DeleteProfile(\"MAPIImpl\", 0)");
    ExpectAroundAllCalls();
}

TEST_F(ProfileTurnTest, IsHeldWhereTheDefaultProfileIsUsedInsteadAsTheOtherIsDeletedAllTheSame)
{
    EXPECT_EQ(ConnectWith("", ""), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)"));
    ExpectAroundAllCalls();
}

TEST_F(ProfileTurnTest, IsGivenBackWhereALogonFails)
{
    m_mapi.script.Tell("MAPILogonEx", Fails(MAPI_E_LOGON_FAILED));
    EXPECT_EQ(ConnectWith(""), MAPI_E_LOGON_FAILED);
    ExpectAroundAllCalls();
}

TEST_F(ProfileTurnTest, ANamedProfileNeedsNone)
{
    EXPECT_EQ(ConnectWith("Voicemail"), S_OK);
    EXPECT_THAT(g_asked, IsEmpty());
}

TEST_F(ProfileTurnTest, WhatItsLastOwnerLeftByEndingIsNoFailure)
{
    g_answer = WAIT_ABANDONED;
    EXPECT_EQ(ConnectWith(""), S_OK);
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_THAT(g_asked, Contains(StartsWith("Release")));
}

TEST_F(ProfileTurnTest, AfterTheBoundNoProfileIsTouched)
{
    g_answer = WAIT_TIMEOUT;
    ExpectRefused(MAPI_E_TIMEOUT, "waiting for other connects without a profile to end.");
    EXPECT_THAT(g_asked, ElementsAre("Create after 0", "Wait 60000 after 0", "Close after 0"));
    g_answer = WAIT_OBJECT_0;
    EXPECT_EQ(ConnectWith(""), S_OK);
}

TEST_F(ProfileTurnTest, AWaitThatFailsGivesTheSystemsError)
{
    g_answer = WAIT_FAILED;
    ExpectRefused(E_ACCESSDENIED, "trying to wait for other connects without a profile.");
    EXPECT_THAT(g_asked, ElementsAre("Create after 0", "Wait 60000 after 0", "Close after 0"));
}

TEST_F(ProfileTurnTest, AMutexThatCannotBeHadGivesTheSystemsError)
{
    g_noMutex = true;
    ExpectRefused(E_ACCESSDENIED, "trying to open the lock of connects without a profile.");
    EXPECT_THAT(g_asked, ElementsAre("Create after 0"));
}

} // namespace
