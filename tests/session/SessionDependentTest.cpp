// What a session ends although it stands above it: all that has registered is told of the session's end before it logs
// off, the last registered first, and has its session whole until then.
#include "session/SessionDependent.h"
#include "session/SessionTest.h"
#include <functional>
#include <utility>

namespace
{

// Lasts as long as the process, as every dependent does; nothing is done when the test that made it is over.
class Dependent final : public SessionDependent
{
  public:
    std::function<void(const CMAPIImpl &)> tell;
    void EndFor(const CMAPIImpl &session) override
    {
        if (tell)
            tell(session);
    }
};

class SessionDependentTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        m_mapi.script.Tell("Session.Logoff", Does([this] { m_told.push_back("Logoff"); }));
    }
    void TearDown() override
    {
        for (Dependent *dependent : m_dependents)
            dependent->tell = nullptr;
        SessionTest::TearDown();
    }

    // Writes its name whenever it is told.
    Dependent &Register(const std::string &name)
    {
        Dependent &dependent = *new Dependent;
        dependent.tell = [this, name](const CMAPIImpl &) { m_told.push_back(name); };
        m_dependents.push_back(&dependent);
        RegisterDependent(dependent);
        return dependent;
    }

    std::vector<std::string> m_told;

  private:
    std::vector<Dependent *> m_dependents;
};

TEST_F(SessionDependentTest, AllAreToldTheLastRegisteredFirstBeforeTheSessionLogsOff)
{
    Register("lower");
    Register("higher");
    Connect();
    m_told.clear();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("higher", "lower", "Logoff"));
}

TEST_F(SessionDependentTest, TheSessionIsTheOneThatEndsAndStillWhole)
{
    Connect();
    const CMAPIImpl *const expected = [&] { return &*Session(); }();
    Register("dependent").tell = [&](const CMAPIImpl &session) {
        EXPECT_EQ(&session, expected);
        EXPECT_TRUE(session.IsConnected());
        EXPECT_FALSE(CMAPIImpl::m_CS.IsLockedByCurrentThread());
        EXPECT_THAT(Calls(), IsEmpty()) << "neither the store nor the session was given back";
        m_told.push_back("whole");
    };
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("whole", "Logoff"));
}

TEST_F(SessionDependentTest, ANewLogonEndsThemBeforeTheOldOne)
{
    Connect();
    Register("dependent");
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
    EXPECT_THAT(m_told, ElementsAre("dependent", "Logoff"));
}

// First on the thread that closes, where another one may still be inside a call, then with the session itself.
TEST_F(SessionDependentTest, ClosingTellsThemAndTheSessionsOwnEndTellsThemAgain)
{
    Register("dependent");
    Connect();
    m_told.clear();
    {
        const SessionGuard inside = Session();
        Close();
        EXPECT_THAT(m_told, ElementsAre("dependent"));
        EXPECT_TRUE(inside->IsConnected());
    }
    EXPECT_THAT(m_told, ElementsAre("dependent", "dependent", "Logoff"));
}

TEST_F(SessionDependentTest, ASessionThatNeverWasConnectedTellsThemAndLogsNothingOff)
{
    Register("dependent");
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("dependent"));
    Close();
    EXPECT_THAT(m_told, ElementsAre("dependent", "dependent", "dependent"));
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(SessionDependentTest, TheEndOfAnotherSessionIsToldAsThatOnes)
{
    DWORD other = 0;
    ASSERT_EQ(OrlCreateConnection(&other, 0), S_OK);
    const CMAPIImpl *const own = [&] { return &*Session(); }();
    Register("dependent").tell = [&](const CMAPIImpl &session) { m_told.push_back(&session == own ? "own" : "other"); };
    EXPECT_EQ(OrlMapiDisconnect(other), S_OK);
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("other", "own"));
    EXPECT_EQ(OrlCloseConnection(&other), S_OK);
}

TEST_F(SessionDependentTest, OneThatRegistersWhileAnEndIsToldIsToldOfTheNext)
{
    bool registered = false;
    Register("first").tell = [&](const CMAPIImpl &) {
        m_told.push_back("first");
        if (!std::exchange(registered, true))
            Register("second");
    };
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("first"));
    m_told.clear();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(m_told, ElementsAre("second", "first"));
}

} // namespace
