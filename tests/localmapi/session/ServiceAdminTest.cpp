// IMsgServiceAdmin: the one service there is, its configuration from the names that a person gives, and the table of
// services and of providers.
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/ProfileTags.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr char kAliceDn[] = "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=alice";

class ServiceAdmin : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        m_admin = Admin();
        ASSERT_CODE(m_admin->CreateProfile(Narrow("One"), Narrow(""), 0, 0), S_OK);
        m_services = Services(m_admin, "One");
    }
    void TearDown() override
    {
        m_services.reset();
        m_admin.reset();
        SiteTest::TearDown();
    }

    HRESULT Create()
    {
        return m_services->CreateMsgService(Narrow("MSEMS"), Narrow("Microsoft Exchange Server"), 0, 0);
    }
    HRESULT Configure(const char *server, const char *mailbox)
    {
        SPropValue props[2] = {};
        props[0].ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
        props[0].Value.lpszA = const_cast<char *>(mailbox);
        props[1].ulPropTag = PR_PROFILE_UNRESOLVED_SERVER;
        props[1].Value.lpszA = const_cast<char *>(server);
        MAPIUID uid = ServiceUid(m_services);
        return m_services->ConfigureMsgService(&uid, 0, 0, 2, props);
    }
    // A text of the profile's global section.
    std::string Global(ULONG tag)
    {
        MAPIUID uid = kGlobalProfileSection;
        ComPtr<IProfSect> section;
        EXPECT_CODE(m_services->OpenProfileSection(&uid, nullptr, 0, section.put()), S_OK);
        return section ? TextOf(section.get(), tag) : "";
    }

    ComPtr<IProfAdmin> m_admin;
    ComPtr<IMsgServiceAdmin> m_services;
};

TEST_F(ServiceAdmin, ANewProfileHasNoServices)
{
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_services->GetMsgServiceTable(0, table.put()), S_OK);
    EXPECT_EQ(AllRows(table.get(), {PR_SERVICE_UID}).Count(), 0u);
}

TEST_F(ServiceAdmin, TheServiceIsFoundByItsName)
{
    ASSERT_CODE(Create(), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_services->GetMsgServiceTable(0, table.put()), S_OK);
    SPropValue name{};
    name.ulPropTag = PR_SERVICE_NAME_A;
    name.Value.lpszA = const_cast<char *>("MSEMS");
    SRestriction restriction{};
    restriction.rt = RES_CONTENT;
    restriction.res.resContent.ulFuzzyLevel = FL_FULLSTRING;
    restriction.res.resContent.ulPropTag = PR_SERVICE_NAME_A;
    restriction.res.resContent.lpProp = &name;
    const Rows rows = AllRows(table.get(), {PR_SERVICE_NAME_A, PR_SERVICE_UID, PR_DISPLAY_NAME_W}, &restriction);
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(TextIn(rows[0], PR_SERVICE_NAME_A), "MSEMS");
    EXPECT_EQ(TextIn(rows[0], PR_DISPLAY_NAME_W), "Microsoft Exchange Server");
    EXPECT_EQ(BytesIn(rows[0], PR_SERVICE_UID).size(), sizeof(MAPIUID));
}

TEST_F(ServiceAdmin, OneOfAKindIsEnough)
{
    ASSERT_CODE(Create(), S_OK);
    EXPECT_CODE(Create(), MAPI_E_NO_ACCESS);
    EXPECT_CODE(m_services->CreateMsgService(Wide(OLESTR("msems")), nullptr, 0, MAPI_UNICODE), MAPI_E_NO_ACCESS);
    EXPECT_CODE(m_services->CreateMsgService(Narrow("OTHER"), nullptr, 0, 0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(m_services->CreateMsgService(nullptr, nullptr, 0, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_services->CreateMsgService(Narrow("MSEMS"), nullptr, 0, 0x400), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(ServiceAdmin, ConfiguringResolvesServerAndMailbox)
{
    ASSERT_CODE(Create(), S_OK);
    EXPECT_EQ(Global(PR_PROFILE_HOME_SERVER), "(MAPI_E_NOT_FOUND)");
    ASSERT_CODE(Configure("norvik1", "Alice"), S_OK);
    EXPECT_EQ(Global(PR_PROFILE_HOME_SERVER), "NORVIK1");
    EXPECT_EQ(Global(PR_PROFILE_HOME_SERVER_DN),
              "/o=Norvik/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=NORVIK1");
    EXPECT_EQ(Global(PR_PROFILE_USER), kAliceDn);
    EXPECT_EQ(Global(PR_PROFILE_UNRESOLVED_NAME), "Alice");
    EXPECT_EQ(Global(PR_PROFILE_UNRESOLVED_SERVER), "norvik1");
    EXPECT_EQ(Global(PR_PROFILE_NAME_A), "One");
    EXPECT_TRUE(LogOn("One"));
}

TEST_F(ServiceAdmin, AMailboxIsNamedInManyWays)
{
    ASSERT_CODE(Create(), S_OK);
    for (const char *name : {"alice", "ALICE", "Alice Archer", "alice archer", " alice ", "alice@norvik.example",
                             kAliceDn, "ali", "ali arch", "=alice"}) {
        ASSERT_CODE(Configure("NORVIK1", name), S_OK) << name;
        EXPECT_EQ(Global(PR_PROFILE_USER), kAliceDn) << name;
    }
    const char *serverDn = "/o=Norvik/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=NORVIK1";
    EXPECT_CODE(Configure(serverDn, "alice"), S_OK);
}

TEST_F(ServiceAdmin, AWrongNameFailsAndChangesNothing)
{
    ASSERT_CODE(Create(), S_OK);
    ASSERT_CODE(Configure("NORVIK1", "alice"), S_OK);
    EXPECT_CODE(Configure("NORVIK1", "nobody"), MAPI_E_NOT_FOUND);
    EXPECT_EQ(LastError(m_services.get(), MAPI_E_NOT_FOUND),
              "IMsgServiceAdmin::ConfigureMsgService: There is no mailbox \"nobody\" on this server.");
    EXPECT_CODE(Configure("ELSEWHERE", "alice"), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(LastError(m_services.get(), MAPI_E_NETWORK_ERROR),
              "IMsgServiceAdmin::ConfigureMsgService: There is no server \"ELSEWHERE\" in this site.");
    EXPECT_CODE(Configure("NORVIK1", "archer"), MAPI_E_AMBIGUOUS_RECIP);
    EXPECT_CODE(Configure("NORVIK1", "Bob Baker"), MAPI_E_NOT_FOUND) << "a contact has no mailbox";
    EXPECT_CODE(Configure("NORVIK1", "=ali"), MAPI_E_NOT_FOUND);
    EXPECT_EQ(Global(PR_PROFILE_USER), kAliceDn);
}

TEST_F(ServiceAdmin, WideNamesServeToo)
{
    ASSERT_CODE(Create(), S_OK);
    SPropValue props[2] = {};
    props[0].ulPropTag = CHANGE_PROP_TYPE(PR_PROFILE_UNRESOLVED_NAME, PT_UNICODE);
    props[0].Value.lpszW = const_cast<WCHAR *>(OLESTR("Zo\x00EB \x0391\x03B8\x03B7\x03BD\x03AC \x6771"));
    props[1].ulPropTag = CHANGE_PROP_TYPE(PR_PROFILE_UNRESOLVED_SERVER, PT_UNICODE);
    props[1].Value.lpszW = const_cast<WCHAR *>(OLESTR("NORVIK1"));
    MAPIUID uid = ServiceUid(m_services);
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, MAPI_UNICODE, 2, props), S_OK);
    EXPECT_EQ(Global(PR_PROFILE_USER), "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=zoe");
}

TEST_F(ServiceAdmin, WhatIsLeftOutStaysAsItIs)
{
    ASSERT_CODE(Create(), S_OK);
    MAPIUID uid = ServiceUid(m_services);
    SPropValue prop{};
    prop.ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    prop.Value.lpszA = const_cast<char *>("albert");
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, 0, 1, &prop), MAPI_E_UNCONFIGURED);
    ASSERT_CODE(Configure("NORVIK1", "alice"), S_OK);
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, 0, 1, &prop), S_OK);
    EXPECT_EQ(Global(PR_PROFILE_USER), "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=albert");
}

TEST_F(ServiceAdmin, BadArgumentsOfConfiguringAreRefused)
{
    ASSERT_CODE(Create(), S_OK);
    MAPIUID uid = ServiceUid(m_services), other = uid;
    other.ab[0] ^= 1;
    SPropValue prop{};
    prop.ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    EXPECT_CODE(m_services->ConfigureMsgService(nullptr, 0, 0, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, 0, 1, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, 0, 1, &prop), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_services->ConfigureMsgService(&uid, 0, 0x400, 0, nullptr), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(m_services->ConfigureMsgService(&other, 0, 0, 0, nullptr), MAPI_E_NOT_FOUND);
}

TEST_F(ServiceAdmin, ADeletedServiceTakesItsConfigurationAlong)
{
    ASSERT_CODE(Create(), S_OK);
    ASSERT_CODE(Configure("NORVIK1", "alice"), S_OK);
    MAPIUID uid = ServiceUid(m_services);
    EXPECT_CODE(m_services->DeleteMsgService(nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_services->DeleteMsgService(&uid), S_OK);
    EXPECT_CODE(m_services->DeleteMsgService(&uid), MAPI_E_NOT_FOUND);
    EXPECT_EQ(Global(PR_PROFILE_USER), "(MAPI_E_NOT_FOUND)");
    EXPECT_EQ(Global(PR_PROFILE_NAME_A), "One");
}

TEST_F(ServiceAdmin, ProvidersAreStoreAndAddressBook)
{
    ASSERT_CODE(Create(), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_services->GetProviderTable(0, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_RESOURCE_TYPE, PR_PROVIDER_UID, PR_SERVICE_UID});
    ASSERT_EQ(rows.Count(), 2u);
    EXPECT_EQ(rows[0].lpProps[0].Value.l, LONG{MAPI_STORE_PROVIDER});
    EXPECT_EQ(rows[1].lpProps[0].Value.l, LONG{MAPI_AB_PROVIDER});
    EXPECT_NE(BytesIn(rows[0], PR_PROVIDER_UID), BytesIn(rows[1], PR_PROVIDER_UID));
    EXPECT_EQ(BytesIn(rows[0], PR_SERVICE_UID), BytesIn(rows[1], PR_SERVICE_UID));
}

TEST_F(ServiceAdmin, AProfileThatIsGoneIsNotFound)
{
    ASSERT_CODE(m_admin->DeleteProfile(Narrow("One"), 0), S_OK);
    ComPtr<IMAPITable> table;
    EXPECT_CODE(m_services->GetMsgServiceTable(0, table.put()), MAPI_E_NOT_FOUND);
    ASSERT_CODE(m_admin->CreateProfile(Narrow("One"), nullptr, 0, 0), S_OK);
    EXPECT_CODE(m_services->GetMsgServiceTable(0, table.put()), MAPI_E_NOT_FOUND)
        << "a new profile of the same name is another one";
}

TEST_F(ServiceAdmin, WhatIsNotThereSaysSo)
{
    MAPIUID uid{};
    ComPtr<IUnknown> object;
    EXPECT_CODE(m_services->CopyMsgService(&uid, nullptr, nullptr, nullptr, nullptr, 0, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_services->RenameMsgService(&uid, 0, Narrow("x")), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_services->MsgServiceTransportOrder(0, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_services->SetPrimaryIdentity(&uid, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_services->AdminProviders(&uid, 0, reinterpret_cast<LPPROVIDERADMIN *>(object.put())),
                MAPI_E_NO_SUPPORT);
    EXPECT_EQ(LastError(m_services.get(), MAPI_E_NO_SUPPORT),
              "IMsgServiceAdmin::AdminProviders: Not supported by localmapi: IMsgServiceAdmin::AdminProviders.");
}

} // namespace
