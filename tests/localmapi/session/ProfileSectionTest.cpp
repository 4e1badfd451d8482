// Profile sections: properties under an identifier, changed at once, read only unless MAPI_MODIFY was given.
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/ProfileTags.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr ULONG kOwnText = PROP_TAG(PT_STRING8, 0x6A00);
constexpr ULONG kOwnNumber = PROP_TAG(PT_LONG, 0x6A01);

class ProfileSection : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
        m_services = Services(Admin(), "Work");
    }
    void TearDown() override
    {
        m_services.reset();
        SiteTest::TearDown();
    }
    HRESULT Open(const MAPIUID &uid, ULONG flags, ComPtr<IProfSect> &section, LPCIID iid = nullptr)
    {
        MAPIUID copy = uid;
        return m_services->OpenProfileSection(&copy, iid, flags, section.put());
    }
    static HRESULT SetText(IProfSect *section, ULONG tag, const char *text, SPropProblemArray **problems = nullptr)
    {
        SPropValue prop{};
        prop.ulPropTag = tag;
        prop.Value.lpszA = const_cast<char *>(text);
        return section->SetProps(1, &prop, problems);
    }

    static constexpr MAPIUID kOwn = {{9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6}};
    ComPtr<IMsgServiceAdmin> m_services;
};

TEST_F(ProfileSection, ANewOneIsMadeWithMapiModifyOnly)
{
    ComPtr<IProfSect> section;
    EXPECT_CODE(Open(kOwn, 0, section), MAPI_E_NOT_FOUND);
    ASSERT_CODE(Open(kOwn, MAPI_MODIFY, section), S_OK);
    ASSERT_CODE(SetText(section.get(), kOwnText, "text"), S_OK);
    ComPtr<IProfSect> again;
    ASSERT_CODE(Open(kOwn, 0, again), S_OK) << "changes take effect at once";
    EXPECT_EQ(TextOf(again.get(), kOwnText), "text");
    EXPECT_EQ(TextOf(again.get(), CHANGE_PROP_TYPE(kOwnText, PT_UNICODE)), "text");
    EXPECT_CODE(section->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
}

TEST_F(ProfileSection, TheGlobalOneIsAlwaysThere)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kGlobalProfileSection, 0, section), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Work");
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_W), "Work");
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_HOME_SERVER), "NORVIK1");
    ASSERT_CODE(m_services->OpenProfileSection(nullptr, nullptr, 0, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Work");
    ASSERT_CODE(Admin()->CreateProfile(Narrow("Bare"), nullptr, 0, 0), S_OK);
    MAPIUID uid = kGlobalProfileSection;
    ASSERT_CODE(Services(Admin(), "Bare")->OpenProfileSection(&uid, nullptr, 0, section.put()), S_OK);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Bare");
}

TEST_F(ProfileSection, EachProfileHasAKeyOfItsOwn)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kProfileInstance, 0, section), S_OK);
    const auto key = BytesOf(section.get(), PR_SEARCH_KEY);
    EXPECT_EQ(key.size(), 16u);
    AddProfile("Other");
    MAPIUID uid = kProfileInstance;
    ASSERT_CODE(Services(Admin(), "Other")->OpenProfileSection(&uid, nullptr, 0, section.put()), S_OK);
    EXPECT_NE(BytesOf(section.get(), PR_SEARCH_KEY), key);
}

TEST_F(ProfileSection, WithoutMapiModifyNothingIsChanged)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kGlobalProfileSection, 0, section), S_OK);
    EXPECT_CODE(SetText(section.get(), kOwnText, "text"), MAPI_E_NO_ACCESS);
    SPropTagArray tags = {1, {PR_PROFILE_HOME_SERVER}};
    EXPECT_CODE(section->DeleteProps(&tags, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_HOME_SERVER), "NORVIK1");
}

TEST_F(ProfileSection, WhatCanNotBeSetIsAProblemOfItsOwn)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kGlobalProfileSection, MAPI_MODIFY, section), S_OK);
    SPropValue props[5] = {};
    props[0].ulPropTag = PR_PROFILE_NAME_A;
    props[0].Value.lpszA = const_cast<char *>("Other");
    props[1].ulPropTag = kOwnNumber;
    props[1].Value.l = 7;
    props[2].ulPropTag = PROP_TAG(PT_OBJECT, 0x6A02);
    props[3].ulPropTag = PROP_TAG(PT_ERROR, 0x6A03);
    props[4].ulPropTag = PROP_TAG(99, 0x6A04);
    Block<SPropProblemArray> problems;
    ASSERT_CODE(section->SetProps(5, props, problems.put()), S_OK);
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 3u);
    EXPECT_EQ(problems->aProblem[0].ulIndex, 0u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, ULONG{PR_PROFILE_NAME_A});
    EXPECT_CODE(problems->aProblem[0].scode, MAPI_E_COMPUTED);
    EXPECT_EQ(problems->aProblem[1].ulIndex, 2u);
    EXPECT_EQ(problems->aProblem[2].ulIndex, 4u);
    EXPECT_CODE(problems->aProblem[2].scode, MAPI_E_INVALID_TYPE);
    EXPECT_EQ(LongOf(section.get(), kOwnNumber), 7);
    EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Work");
    ASSERT_CODE(SetText(section.get(), kOwnText, "x", problems.put()), S_OK);
    EXPECT_FALSE(problems) << "no problems are told by null";
}

TEST_F(ProfileSection, PropertiesAreDeleted)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kOwn, MAPI_MODIFY, section), S_OK);
    ASSERT_CODE(SetText(section.get(), kOwnText, "text"), S_OK);
    std::vector<ULONG> tags = {2, kOwnText, kOwnNumber};
    Block<SPropProblemArray> problems;
    ASSERT_CODE(section->DeleteProps(reinterpret_cast<SPropTagArray *>(tags.data()), problems.put()), S_OK);
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 1u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, kOwnNumber);
    EXPECT_EQ(TextOf(section.get(), kOwnText), "(MAPI_E_NOT_FOUND)");
}

TEST_F(ProfileSection, BadArgumentsAreRefused)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kOwn, MAPI_MODIFY, section), S_OK);
    EXPECT_CODE(section->SetProps(0, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(section->SetProps(1, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(SetText(section.get(), kOwnText, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(section->DeleteProps(nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(section->GetPropList(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(section->SaveChanges(0x400), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(m_services->OpenProfileSection(nullptr, nullptr, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    ComPtr<IProfSect> other;
    EXPECT_CODE(Open(kOwn, 0x400, other), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(Open(kOwn, MAPI_MODIFY, other, &IID_IMsgStore), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(Open(kOwn, MAPI_MODIFY, other, &IID_IMAPIProp), S_OK);
    EXPECT_CODE(Open(kOwn, MAPI_MODIFY, other, &IID_IProfSect), S_OK);
}

TEST_F(ProfileSection, WhatIsNotThereSaysSo)
{
    ComPtr<IProfSect> section;
    ASSERT_CODE(Open(kGlobalProfileSection, 0, section), S_OK);
    ComPtr<IUnknown> object;
    EXPECT_CODE(section->CopyTo(0, nullptr, nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(section->CopyProps(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(section->GetNamesFromIDs(nullptr, nullptr, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(section->GetIDsFromNames(0, nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(section->OpenProperty(PR_PROFILE_NAME_A, &IID_IStream, 0, 0, object.put()), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(section->OpenProperty(kOwnText, &IID_IStream, 0, 0, object.put()), MAPI_E_NOT_FOUND);
}

} // namespace
