// Every fallible MAPI call of a logon fails in turn: the result, the one error line, nothing left, and the next logon
// works.
#include "session/SessionTest.h"

namespace
{

struct Step {
    const char *call;     // as the recorder names it
    const char *reported; // the call name in the error line
    const char *sentence;
};

class ConnectSweepTest : public SessionTest
{
  protected:
    static const Step *StepOf(const std::vector<Step> &steps, const Record &call)
    {
        for (const Step &step : steps)
            if (call.Is(step.call))
                return &step;
        return nullptr;
    }
};

TEST_F(ConnectSweepTest, WithAProfile)
{
    const std::vector<Step> steps = {
        {"MAPILogonEx", "MAPILogonEx", ""},
        {"Session.GetMsgStoresTable", "GetMsgStoresTable", "trying to get the message stores table."},
        {"HrQueryAllRows", "HrQueryAllRows", "trying to query default store property."},
        {"Session.OpenMsgStore", "OpenMsgStore", "trying to open message store for default session."},
    };
    HRESULT hr = S_OK;
    const int calls = Sweep([&] { OrlMapiDisconnect(m_hConnection), Forget(); },
                            [&] { hr = OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"); },
                            [&](const Round &round) {
                                const Step *step = StepOf(steps, round.call);
                                ASSERT_NE(step, nullptr);
                                // The first attempt to open the store is allowed to fail.
                                const bool second = round.call.Is("Session.OpenMsgStore") && !round.onwards;
                                EXPECT_EQ(hr, second ? S_OK : round.hr);
                                EXPECT_EQ(OrlIsConnected(m_hConnection), second ? 1 : 0);
                                if (second) {
                                    EXPECT_THAT(Errors(), IsEmpty());
                                } else {
                                    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::Connect", round.hr,
                                                                                step->reported, step->sentence)));
                                }
                                EXPECT_EQ(Counter(), 0);
                                EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
                                m_mapi.ExpectNothingLeft();
                                EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
                            });
    EXPECT_EQ(calls, 4);
}

TEST_F(ConnectSweepTest, WithTheServiceProfile)
{
    const std::vector<Step> making = {
        {"MAPIAdminProfiles", "MAPIAdminProfiles", ""},
        {"ProfAdmin.CreateProfile", "CreateProfile", "trying to create a profile."},
        {"ProfAdmin.AdminServices", "CreateMsgService",
         "trying to access the message service administration object for making changes to the message services in a "
         "profile."},
        {"ServiceAdmin.CreateMsgService", "CreateMsgService",
         "trying to add a message service to the current profile."},
        {"ServiceAdmin.GetMsgServiceTable", "GetMsgServiceTable",
         "trying to obtain access to the message service table."},
        {"HrQueryAllRows", "HrQueryAllRows",
         "trying to obtain the row that represents the Microsoft Exchange Server service provider."},
        {"ServiceAdmin.ConfigureMsgService", "ConfigureMsgService", "trying to reconfigure the message service."},
    };
    HRESULT hr = S_OK;
    const int calls =
        Sweep([&] { OrlMapiDisconnect(m_hConnection), Forget(); },
              [&] { hr = OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", ""); },
              [&](const Round &round) {
                  constexpr int kLogon = 9; // the calls before it make the profile
                  if (round.onwards) {
                      EXPECT_EQ(hr, round.at <= 12 ? round.hr : S_OK);
                  } else if (round.at < kLogon) {
                      EXPECT_EQ(hr, S_OK);
                      if (const Step *step = StepOf(making, round.call)) {
                          ASSERT_EQ(Errors().size(), 1u);
                          EXPECT_THAT(Errors()[0], Like(ErrorLine("CMAPIImpl::CreateMailboxProfile", round.hr,
                                                                  step->reported, step->sentence)));
                          EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)"));
                          EXPECT_THAT(Lines(), Contains("Attempting to logon to MAPI using default profile."));
                      } else {
                          EXPECT_TRUE(round.call.Is("ProfAdmin.DeleteProfile"));
                          EXPECT_THAT(Errors(), IsEmpty());
                      }
                  } else {
                      const bool ignored = round.call.Is("Session.OpenMsgStore") ||
                                           round.call.Is("MAPIAdminProfiles") ||
                                           round.call.Is("ProfAdmin.DeleteProfile");
                      EXPECT_EQ(hr, ignored ? S_OK : round.hr);
                      EXPECT_EQ(Errors().size(), ignored ? 0u : 1u);
                  }
                  if (!round.onwards) {
                      EXPECT_EQ(Calls().back(),
                                round.at == 13 ? "MAPIAdminProfiles(0)" : "ProfAdmin.DeleteProfile(\"MAPIImpl\", 0)");
                  }
                  EXPECT_EQ(Counter(), 0);
                  EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
                  m_mapi.ExpectNothingLeft();
              });
    EXPECT_EQ(calls, 14);
}

TEST_F(ConnectSweepTest, ObjectsHandedBackTogetherWithAFailureAreReleased)
{
    for (const char *call : {"MAPILogonEx", "Session.GetMsgStoresTable", "HrQueryAllRows", "Session.OpenMsgStore",
                             "MAPIAdminProfiles", "ProfAdmin.AdminServices", "ServiceAdmin.GetMsgServiceTable"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Fails(MAPI_E_NETWORK_ERROR).WithOutput());
        OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "");
        EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
        m_mapi.ExpectNothingLeft();
    }
}

TEST_F(ConnectSweepTest, NothingHandedBackTogetherWithASuccessIsAFailure)
{
    for (const char *call : {"MAPILogonEx", "Session.GetMsgStoresTable", "HrQueryAllRows", "Session.OpenMsgStore"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        Forget();
        EXPECT_TRUE(FAILED(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail")));
        EXPECT_EQ(Errors().size(), 1u);
        EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
        EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
        m_mapi.ExpectNothingLeft();
    }
    for (const char *call :
         {"MAPIAdminProfiles", "ProfAdmin.AdminServices", "ServiceAdmin.GetMsgServiceTable", "HrQueryAllRows"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull().Once());
        Forget();
        EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", ""), S_OK);
        EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)")) << "the default profile";
        EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
        m_mapi.ExpectNothingLeft();
    }
    m_mapi.script.Clear();
    m_mapi.script.Tell("MAPIAdminProfiles", GivesNull()); // for the deletion too
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", ""), S_OK);
}

TEST_F(ConnectSweepTest, WarningsAreSuccess)
{
    for (const HRESULT warning : {MAPI_W_ERRORS_RETURNED, MAPI_W_APPROX_COUNT, MAPI_W_PARTIAL_COMPLETION, S_FALSE})
        for (const char *call :
             {"MAPILogonEx", "Session.GetMsgStoresTable", "HrQueryAllRows", "Session.OpenMsgStore"}) {
            SCOPED_TRACE(call);
            m_mapi.script.Clear();
            m_mapi.script.Tell(call, Warns(warning));
            Forget();
            EXPECT_TRUE(SUCCEEDED(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail")));
            EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
            EXPECT_THAT(Errors(), IsEmpty());
        }
}

} // namespace
