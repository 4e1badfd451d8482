// IProfAdmin: the profile table, making, deleting, renaming and copying profiles, and the default one.
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/ProfileTags.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

using ProfileAdmin = SiteTest;
using Names = std::vector<std::string>;

TEST_F(ProfileAdmin, ASiteWithoutProfilesHasAnEmptyTable)
{
    EXPECT_EQ(ProfileNames(), Names());
}

TEST_F(ProfileAdmin, AProfileIsMadeAndDeleted)
{
    const auto admin = Admin();
    EXPECT_CODE(admin->CreateProfile(Narrow("One"), Narrow(""), 0, 0), S_OK);
    EXPECT_CODE(admin->CreateProfile(Wide(OLESTR("\x6771 profile")), Wide(OLESTR("")), 0, MAPI_UNICODE), S_OK);
    EXPECT_EQ(ProfileNames().size(), 2u);
    EXPECT_CODE(admin->DeleteProfile(Narrow("ONE"), 0), S_OK) << "names have no case";
    ComPtr<IMAPITable> table;
    ASSERT_CODE(admin->GetProfileTable(MAPI_UNICODE, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_DISPLAY_NAME_W});
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(TextIn(rows[0], PR_DISPLAY_NAME_W), "\xE6\x9D\xB1 profile");
}

TEST_F(ProfileAdmin, TheTableShowsNameAndDefault)
{
    const auto admin = Admin();
    ASSERT_CODE(admin->CreateProfile(Narrow("One"), nullptr, 0, 0), S_OK);
    ASSERT_CODE(admin->CreateProfile(Narrow("Two"), nullptr, 0, 0), S_OK);
    ASSERT_CODE(admin->SetDefaultProfile(Narrow("Two"), 0), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(admin->GetProfileTable(0, table.put()), S_OK);
    Block<SPropTagArray> columns;
    ASSERT_CODE(table->QueryColumns(0, columns.put()), S_OK);
    ASSERT_EQ(columns->cValues, 2u);
    EXPECT_EQ(columns->aulPropTag[0], ULONG{PR_DISPLAY_NAME_A});
    EXPECT_EQ(columns->aulPropTag[1], ULONG{PR_DEFAULT_PROFILE});
    Rows rows;
    ASSERT_CODE(table->QueryRows(10, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.Count(), 2u);
    for (ULONG i = 0; i < 2; ++i)
        EXPECT_EQ(rows[i].lpProps[1].Value.b, TextIn(rows[i], PR_DISPLAY_NAME_A) == "Two" ? 1 : 0);
}

TEST_F(ProfileAdmin, AnExistingProfileIsNotMadeAgain)
{
    const auto admin = Admin();
    ASSERT_CODE(admin->CreateProfile(Narrow("One"), nullptr, 0, 0), S_OK);
    EXPECT_CODE(admin->CreateProfile(Narrow("one"), nullptr, 0, 0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(LastError(admin.get(), MAPI_E_NO_ACCESS),
              "IProfAdmin::CreateProfile: There is a profile \"one\" already.");
    EXPECT_EQ(ProfileNames(), Names{"One"});
}

TEST_F(ProfileAdmin, BadNamesAreRefused)
{
    const auto admin = Admin();
    EXPECT_CODE(admin->CreateProfile(nullptr, nullptr, 0, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(admin->CreateProfile(Narrow(""), nullptr, 0, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(admin->CreateProfile(Narrow("  "), nullptr, 0, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(admin->CreateProfile(Narrow(std::string(64, 'x').c_str()), nullptr, 0, 0), S_OK);
    EXPECT_CODE(admin->CreateProfile(Narrow(std::string(65, 'x').c_str()), nullptr, 0, 0), MAPI_E_STRING_TOO_LONG);
    EXPECT_CODE(admin->DeleteProfile(nullptr, 0), MAPI_E_INVALID_PARAMETER);
}

TEST_F(ProfileAdmin, UnknownProfilesAreNotFound)
{
    const auto admin = Admin();
    ComPtr<IMsgServiceAdmin> services;
    EXPECT_CODE(admin->DeleteProfile(Narrow("None"), 0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(admin->SetDefaultProfile(Narrow("None"), 0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(admin->RenameProfile(Narrow("None"), nullptr, Narrow("Other"), 0, 0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(admin->CopyProfile(Narrow("None"), nullptr, Narrow("Other"), 0, 0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(admin->AdminServices(Narrow("None"), nullptr, 0, 0, services.put()), MAPI_E_NOT_FOUND);
    EXPECT_EQ(LastError(admin.get(), MAPI_E_NOT_FOUND), "IProfAdmin::AdminServices: There is no profile \"None\".");
}

TEST_F(ProfileAdmin, UnknownFlagsAreRefused)
{
    const auto admin = Admin();
    ComPtr<IMsgServiceAdmin> services;
    ComPtr<IMAPITable> table;
    ComPtr<IProfAdmin> other;
    EXPECT_CODE(admin->CreateProfile(Narrow("One"), nullptr, 0, 0x400), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(admin->DeleteProfile(Narrow("One"), 0x400), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(admin->SetDefaultProfile(Narrow("One"), 0x400), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(admin->RenameProfile(Narrow("One"), nullptr, Narrow("Two"), 0, 0x400), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(admin->AdminServices(Narrow("One"), nullptr, 0, 0x400, services.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(admin->GetProfileTable(0x400, table.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(MAPIAdminProfiles(0x400, other.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(ProfileNames(), Names());
}

TEST_F(ProfileAdmin, NowhereToPutTheResultIsRefused)
{
    const auto admin = Admin();
    EXPECT_CODE(MAPIAdminProfiles(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(admin->GetProfileTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(admin->AdminServices(Narrow("One"), nullptr, 0, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(ProfileAdmin, ThereCanBeNoDefaultProfile)
{
    AddProfile("Work", "alice", true);
    const auto admin = Admin();
    ASSERT_CODE(admin->SetDefaultProfile(nullptr, 0), S_OK);
    ComPtr<IMAPISession> session;
    EXPECT_CODE(MAPILogonEx(0, nullptr, nullptr, MAPI_EXTENDED | MAPI_USE_DEFAULT, session.put()), MAPI_E_LOGON_FAILED);
}

TEST_F(ProfileAdmin, ARenamedProfileStaysWhatItWas)
{
    AddProfile("Work", "alice", true);
    const auto admin = Admin();
    EXPECT_CODE(admin->RenameProfile(Narrow("Work"), nullptr, Narrow("Office"), 0, 0), S_OK);
    EXPECT_EQ(ProfileNames(), Names{"Office"});
    EXPECT_TRUE(LogOn("Office"));
    AddProfile("Other", "albert");
    EXPECT_CODE(admin->RenameProfile(Narrow("Office"), nullptr, Narrow("other"), 0, 0), MAPI_E_NO_ACCESS);
    EXPECT_CODE(admin->RenameProfile(Narrow("Office"), nullptr, Narrow("OFFICE"), 0, 0), S_OK);
    EXPECT_EQ(ProfileNames(), (Names{"OFFICE", "Other"}));
}

TEST_F(ProfileAdmin, ACopyStandsOnItsOwn)
{
    AddProfile("Work", "alice");
    const auto admin = Admin();
    ASSERT_CODE(admin->CopyProfile(Narrow("Work"), nullptr, Narrow("Copy"), 0, 0), S_OK);
    EXPECT_CODE(admin->CopyProfile(Narrow("Work"), nullptr, Narrow("Copy"), 0, 0), MAPI_E_NO_ACCESS);
    const MAPIUID first = ServiceUid(Services(admin, "Work")), second = ServiceUid(Services(admin, "Copy"));
    EXPECT_FALSE(IsEqualMAPIUID(&first, &second));
    ASSERT_CODE(admin->DeleteProfile(Narrow("Work"), 0), S_OK);
    const auto session = LogOn("Copy");
    ASSERT_TRUE(session);
    MAPIUID global = kGlobalProfileSection;
    ComPtr<IProfSect> section;
    ASSERT_CODE(session->OpenProfileSection(&global, nullptr, 0, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Copy");
}

TEST_F(ProfileAdmin, DefaultServicesAreTheExchangeService)
{
    const auto admin = Admin();
    ASSERT_CODE(admin->CreateProfile(Narrow("One"), nullptr, 0, MAPI_DEFAULT_SERVICES), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(Services(admin, "One")->GetMsgServiceTable(0, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_SERVICE_NAME_A});
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(TextIn(rows[0], PR_SERVICE_NAME_A), "MSEMS");
}

TEST_F(ProfileAdmin, PasswordsAreNotSupported)
{
    const auto admin = Admin();
    EXPECT_CODE(admin->ChangeProfilePassword(Narrow("One"), Narrow("a"), Narrow("b"), 0), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(LastError(admin.get(), MAPI_E_NO_SUPPORT),
              "IProfAdmin::ChangeProfilePassword: Not supported by localmapi: IProfAdmin::ChangeProfilePassword: "
              "profiles have no passwords.");
}

TEST_F(ProfileAdmin, TheObjectHasItsInterfaces)
{
    const auto admin = Admin();
    ComPtr<IUnknown> unknown;
    EXPECT_CODE(admin->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(unknown.put())), S_OK);
    EXPECT_CODE(admin->QueryInterface(IID_IProfAdmin, reinterpret_cast<void **>(unknown.put())), S_OK);
    EXPECT_CODE(admin->QueryInterface(IID_IMsgStore, reinterpret_cast<void **>(unknown.put())),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_FALSE(unknown);
    EXPECT_CODE(admin->QueryInterface(IID_IUnknown, nullptr), MAPI_E_INVALID_PARAMETER);
}

} // namespace
