// MAPILogonEx: which profile is taken, and what its state makes of the logon.
#include "SiteFixture.h"
#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/provider/site/ProfileTags.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr ULONG kService = MAPI_TIMEOUT_SHORT | MAPI_NO_MAIL | MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_NT_SERVICE;

class Logon : public SiteTest
{
  protected:
    HRESULT LogOnAs(const char *profile, ULONG flags = kService | MAPI_EXPLICIT_PROFILE)
    {
        return MAPILogonEx(0, Narrow(profile), nullptr, flags, m_session.put());
    }
    void TearDown() override
    {
        m_session.reset();
        SiteTest::TearDown();
    }
    // Changes a text of the profile's global section.
    void SetGlobal(const char *profile, ULONG tag, const std::string &text)
    {
        MAPIUID uid = kGlobalProfileSection;
        ComPtr<IProfSect> section;
        ASSERT_CODE(Services(Admin(), profile)->OpenProfileSection(&uid, nullptr, MAPI_MODIFY, section.put()), S_OK);
        SPropValue prop{};
        prop.ulPropTag = tag;
        prop.Value.lpszA = const_cast<char *>(text.c_str());
        ASSERT_CODE(section->SetProps(1, &prop, nullptr), S_OK);
    }
    std::string UserName()
    {
        ULONG size = 0;
        Block<ENTRYID> entry;
        EXPECT_CODE(m_session->QueryIdentity(&size, entry.put()), S_OK);
        ComPtr<IUnknown> object;
        EXPECT_CODE(m_session->OpenEntry(size, entry.get(), &IID_IMailUser, 0, nullptr, object.put()), S_OK);
        return object ? TextOf(static_cast<IMAPIProp *>(object.get()), PR_DISPLAY_NAME_A) : "";
    }

    ComPtr<IMAPISession> m_session;
};

TEST_F(Logon, ANamedProfileIsTaken)
{
    AddProfile("Work", "alice");
    AddProfile("Other", "albert", true);
    ASSERT_CODE(LogOnAs("Work"), S_OK);
    EXPECT_EQ(UserName(), "Alice Archer");
    ASSERT_CODE(LogOnAs("WORK"), S_OK) << "names have no case";
    ASSERT_CODE(LogOnAs("Work", MAPI_EXTENDED), S_OK);
    EXPECT_EQ(UserName(), "Alice Archer");
}

TEST_F(Logon, AWideNameIsTaken)
{
    AddProfile("\xE6\x9D\xB1", "alice");
    EXPECT_CODE(MAPILogonEx(0, Wide(OLESTR("\x6771")), nullptr, kService | MAPI_EXPLICIT_PROFILE | MAPI_UNICODE,
                            m_session.put()),
                S_OK);
}

TEST_F(Logon, TheDefaultProfileIsTakenWhenAskedFor)
{
    AddProfile("Work", "alice");
    AddProfile("Other", "albert", true);
    ASSERT_CODE(LogOnAs(nullptr, kService | MAPI_USE_DEFAULT), S_OK);
    EXPECT_EQ(UserName(), "Albert Archer");
    ASSERT_CODE(LogOnAs("Work", kService | MAPI_USE_DEFAULT), S_OK);
    EXPECT_EQ(UserName(), "Albert Archer") << "MAPI_USE_DEFAULT stands in for the name";
}

TEST_F(Logon, AnUnknownProfileFails)
{
    AddProfile("Work", "alice", true);
    EXPECT_CODE(LogOnAs("None"), MAPI_E_LOGON_FAILED);
    EXPECT_CODE(LogOnAs("None", MAPI_EXTENDED), MAPI_E_LOGON_FAILED);
    EXPECT_CODE(LogOnAs(nullptr), MAPI_E_LOGON_FAILED);
    EXPECT_CODE(LogOnAs(""), MAPI_E_LOGON_FAILED);
    EXPECT_FALSE(m_session);
}

TEST_F(Logon, WithoutProfilesThereIsNoDefaultOne)
{
    EXPECT_CODE(LogOnAs(nullptr, kService | MAPI_USE_DEFAULT), MAPI_E_LOGON_FAILED);
}

TEST_F(Logon, UnknownFlagsAndNowhereToPutTheSessionAreRefused)
{
    AddProfile();
    EXPECT_CODE(LogOnAs("Work", 0x4), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(LogOnAs("Work", 0x40000000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(MAPILogonEx(0, Narrow("Work"), nullptr, kService, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(Logon, DialogFlagsChangeNothing)
{
    AddProfile();
    EXPECT_CODE(LogOnAs("Work", MAPI_LOGON_UI | MAPI_PASSWORD_UI | MAPI_SERVICE_UI_ALWAYS | MAPI_ALLOW_OTHERS |
                                    MAPI_FORCE_DOWNLOAD),
                S_OK);
    EXPECT_CODE(LogOnAs("None", MAPI_LOGON_UI), MAPI_E_LOGON_FAILED);
}

TEST_F(Logon, AProfileWithoutAConfiguredServiceIsUnconfigured)
{
    const auto admin = Admin();
    ASSERT_CODE(admin->CreateProfile(Narrow("Bare"), nullptr, 0, 0), S_OK);
    EXPECT_CODE(LogOnAs("Bare"), MAPI_E_UNCONFIGURED);
    ASSERT_CODE(Services(admin, "Bare")->CreateMsgService(Narrow("MSEMS"), nullptr, 0, 0), S_OK);
    EXPECT_CODE(LogOnAs("Bare"), MAPI_E_UNCONFIGURED);
}

TEST_F(Logon, AServerThatIsNotThisSitesHasACodeOfItsOwn)
{
    AddProfile();
    SetGlobal("Work", PR_PROFILE_HOME_SERVER, "ELSEWHERE");
    EXPECT_CODE(LogOnAs("Work"), MAPI_E_NETWORK_ERROR);
}

TEST_F(Logon, AMailboxThatIsNotThereHasACodeOfItsOwn)
{
    AddProfile();
    SetGlobal("Work", PR_PROFILE_USER, "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=nobody");
    EXPECT_CODE(LogOnAs("Work"), MAPI_E_NOT_FOUND);
}

TEST_F(Logon, AProfileMayNameAnotherSite)
{
    const std::string other = PathOf("other.db");
    storage::Directory(storage::Site::Create(other, "OTHER", "Elsewhere")).AddUser("carol", "Carol Clark");
    const auto admin = Admin();
    ASSERT_CODE(admin->CreateProfile(Narrow("Far"), nullptr, 0, 0), S_OK);
    SetGlobal("Far", PR_PROFILE_SITE_FILE, other);
    const auto services = Services(admin, "Far");
    ASSERT_CODE(services->CreateMsgService(Narrow("MSEMS"), nullptr, 0, 0), S_OK);
    SPropValue props[2] = {};
    props[0].ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    props[0].Value.lpszA = const_cast<char *>("carol");
    props[1].ulPropTag = PR_PROFILE_UNRESOLVED_SERVER;
    props[1].Value.lpszA = const_cast<char *>("OTHER");
    MAPIUID uid = ServiceUid(services);
    ASSERT_CODE(services->ConfigureMsgService(&uid, 0, 0, 2, props), S_OK);
    ASSERT_CODE(LogOnAs("Far"), S_OK);
    EXPECT_EQ(UserName(), "Carol Clark");
    ASSERT_CODE(m_session->Logoff(0, 0, 0), S_OK);
    SetGlobal("Far", PR_PROFILE_SITE_FILE, PathOf("gone.db"));
    EXPECT_CODE(LogOnAs("Far"), MAPI_E_NOT_FOUND);
}

// A logon with a profile made for it alone, deleted as soon as the session is there.
TEST_F(Logon, ASessionOutlivesItsProfile)
{
    AddProfile("Brief", "alice");
    ASSERT_CODE(LogOnAs("Brief"), S_OK);
    ASSERT_CODE(Admin()->DeleteProfile(Narrow("Brief"), 0), S_OK);
    EXPECT_EQ(ProfileNames(), std::vector<std::string>());
    AddProfile("Brief", "albert");
    ComPtr<IMsgServiceAdmin> services;
    ASSERT_CODE(m_session->AdminServices(0, services.put()), S_OK);
    MAPIUID uid = kGlobalProfileSection;
    ComPtr<IProfSect> section;
    ASSERT_CODE(services->OpenProfileSection(&uid, nullptr, MAPI_MODIFY, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Brief");
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_HOME_SERVER), "NORVIK1");
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_UNRESOLVED_NAME), "alice");
    SPropValue prop{};
    prop.ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    prop.Value.lpszA = const_cast<char *>("changed");
    EXPECT_CODE(section->SetProps(1, &prop, nullptr), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_UNRESOLVED_NAME), "changed");
    const MAPIUID service = ServiceUid(services);
    ComPtr<IMsgServiceAdmin> others = Services(Admin(), "Brief");
    const MAPIUID otherService = ServiceUid(others);
    EXPECT_FALSE(IsEqualMAPIUID(&service, &otherService)) << "the new profile is another one";
    ASSERT_CODE(others->OpenProfileSection(&uid, nullptr, 0, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_UNRESOLVED_NAME), "albert");
    EXPECT_EQ(UserName(), "Alice Archer");
}

TEST_F(Logon, ASessionFollowsItsProfilesNewName)
{
    AddProfile("Old", "alice");
    ASSERT_CODE(LogOnAs("Old"), S_OK);
    ASSERT_CODE(Admin()->RenameProfile(Narrow("Old"), nullptr, Narrow("New"), 0, 0), S_OK);
    MAPIUID uid = kGlobalProfileSection;
    ComPtr<IProfSect> section;
    ASSERT_CODE(m_session->OpenProfileSection(&uid, nullptr, 0, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "New");
}

class WithoutASite : public SiteTest
{
  protected:
    WithoutASite() { m_makeSite = false; }
};

TEST_F(WithoutASite, ThereIsNoProfileToLogOnWith)
{
    ComPtr<IMAPISession> session;
    EXPECT_CODE(MAPILogonEx(0, nullptr, nullptr, MAPI_EXTENDED | MAPI_USE_DEFAULT, session.put()), MAPI_E_LOGON_FAILED);
    ComPtr<IProfAdmin> admin;
    EXPECT_CODE(MAPIAdminProfiles(0, admin.put()), MAPI_E_NOT_FOUND);
    EXPECT_FALSE(std::filesystem::exists(m_file)) << "looking for a site makes none";
}

} // namespace
