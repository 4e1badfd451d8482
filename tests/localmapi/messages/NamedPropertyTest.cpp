// Proves named properties: numbers and texts of any set get an identifier, the same one everywhere in the site, and
// give it back; what is unknown, and what is no name, is said.
#include "Mailbox.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

constexpr GUID kMeeting = {0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}};
constexpr GUID kOther = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class NamedPropertyTest : public testing::Test
{
  protected:
    MAPINAMEID *Number(LONG number, const GUID &set = kMeeting)
    {
        MAPINAMEID &name = m_names.emplace_back();
        name.lpguid = &m_sets.emplace_back(set);
        name.ulKind = MNID_ID;
        name.Kind.lID = number;
        return &name;
    }
    MAPINAMEID *Text(const WCHAR *text, const GUID &set = kMeeting)
    {
        MAPINAMEID *name = Number(0, set);
        name->ulKind = MNID_STRING;
        name->Kind.lpwstrName = const_cast<LPWSTR>(text);
        return name;
    }
    HRESULT Ids(IMAPIProp *object, std::vector<MAPINAMEID *> names, ULONG flags, std::vector<ULONG> &tags)
    {
        Block<SPropTagArray> given;
        const HRESULT hr = object->GetIDsFromNames(static_cast<ULONG>(names.size()), names.data(), flags, given.put());
        tags.clear();
        if (given)
            tags.assign(given->aulPropTag, given->aulPropTag + given->cValues);
        return hr;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    ComPtr<IMessage> m_message = m_mailbox.NewMessage();
    std::list<MAPINAMEID> m_names;
    std::list<GUID> m_sets;
    std::vector<ULONG> m_tags, m_again;
};

TEST_F(NamedPropertyTest, ANameHasOneIdentifierEverywhereInTheSite)
{
    const std::vector<MAPINAMEID *> names = {Number(5), Text(OLESTR("Keywords")), Number(5, kOther),
                                             Text(OLESTR("keywords"))};
    ASSERT_CODE(Ids(m_message.get(), names, MAPI_CREATE, m_tags), S_OK);
    ASSERT_EQ(m_tags.size(), 4u);
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        EXPECT_GE(PROP_ID(m_tags[i]), 0x8000u);
        EXPECT_EQ(PROP_TYPE(m_tags[i]), ULONG{PT_UNSPECIFIED});
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_NE(m_tags[i], m_tags[j]);
    }
    EXPECT_CODE(Ids(m_mailbox.Inbox(), names, 0, m_again), S_OK);
    EXPECT_EQ(m_again, m_tags);
    auto bobs = m_mailbox.StoreOf(m_mailbox.Bob());
    EXPECT_CODE(Ids(bobs.get(), names, MAPI_CREATE, m_again), S_OK);
    EXPECT_EQ(m_again, m_tags);
    // The value is a property like any other.
    const ULONG tag = PROP_TAG(PT_LONG, PROP_ID(m_tags[0]));
    const EntryIdBytes id = m_mailbox.Add({Long(tag, 42)});
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), tag), 42);
}

TEST_F(NamedPropertyTest, AnUnknownNameIsAnErrorInItsPlace)
{
    ASSERT_CODE(Ids(m_message.get(), {Number(5)}, MAPI_CREATE, m_tags), S_OK);
    const auto changes = m_mailbox.GetSite().GetChangeNumber();
    EXPECT_CODE(Ids(m_message.get(), {Number(6), Number(5), Text(OLESTR("x"))}, 0, m_again), MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(m_again, (std::vector<ULONG>{PROP_TAG(PT_ERROR, 0), m_tags[0], PROP_TAG(PT_ERROR, 0)}));
    EXPECT_EQ(m_mailbox.GetSite().GetChangeNumber(), changes);
}

TEST_F(NamedPropertyTest, TheStandardSetNamesTheStandardIdentifiers)
{
    EXPECT_CODE(Ids(m_message.get(), {Number(0x37, PS_MAPI)}, 0, m_tags), S_OK);
    EXPECT_EQ(m_tags, std::vector<ULONG>{PROP_TAG(PT_UNSPECIFIED, 0x37)});
    EXPECT_CODE(Ids(m_message.get(), {Number(0x8000, PS_MAPI), Text(OLESTR("x"), PS_MAPI)}, MAPI_CREATE, m_tags),
                MAPI_W_ERRORS_RETURNED);
    SizedSPropTagArray(1, subject) = {1, {PR_SUBJECT_A}};
    auto *tags = reinterpret_cast<SPropTagArray *>(&subject);
    ULONG count = 0;
    Block<MAPINAMEID *> names;
    ASSERT_CODE(m_message->GetNamesFromIDs(&tags, nullptr, 0, &count, names.put()), S_OK);
    ASSERT_EQ(count, 1u);
    EXPECT_TRUE(*names[0]->lpguid == PS_MAPI);
    EXPECT_EQ(names[0]->Kind.lID, 0x37);
}

TEST_F(NamedPropertyTest, IdentifiersGiveTheirNamesBack)
{
    ASSERT_CODE(Ids(m_message.get(), {Number(-5), Text(OLESTR("Schlüssel"))}, MAPI_CREATE, m_tags), S_OK);
    SizedSPropTagArray(3, some) = {3, {m_tags[1], PROP_TAG(PT_LONG, 0xFFF0), PROP_TAG(PT_LONG, PROP_ID(m_tags[0]))}};
    auto *tags = reinterpret_cast<SPropTagArray *>(&some);
    ULONG count = 0;
    Block<MAPINAMEID *> names;
    EXPECT_CODE(m_message->GetNamesFromIDs(&tags, nullptr, 0, &count, names.put()), MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(names[0]->ulKind, ULONG{MNID_STRING});
    EXPECT_EQ(Utf8FromWide(names[0]->Kind.lpwstrName), "Schlüssel");
    EXPECT_EQ(names[1], nullptr);
    EXPECT_EQ(names[2]->ulKind, ULONG{MNID_ID});
    EXPECT_EQ(names[2]->Kind.lID, -5);
    EXPECT_TRUE(*names[2]->lpguid == kMeeting);
}

TEST_F(NamedPropertyTest, AllNamesAreListedBySetAndKind)
{
    ASSERT_CODE(Ids(m_message.get(), {Number(1), Text(OLESTR("a")), Number(2, kOther)}, MAPI_CREATE, m_tags), S_OK);
    const auto list = [&](const GUID *set, ULONG flags) {
        SPropTagArray *tags = nullptr;
        ULONG count = 99;
        Block<MAPINAMEID *> names;
        EXPECT_CODE(m_message->GetNamesFromIDs(&tags, const_cast<GUID *>(set), flags, &count, names.put()), S_OK);
        std::vector<ULONG> ids(tags->aulPropTag, tags->aulPropTag + tags->cValues);
        EXPECT_EQ(ids.size(), count);
        FreeBuffer(tags);
        return ids;
    };
    EXPECT_EQ(list(nullptr, 0), m_tags);
    EXPECT_EQ(list(&kMeeting, 0), (std::vector<ULONG>{m_tags[0], m_tags[1]}));
    EXPECT_EQ(list(nullptr, MAPI_NO_STRINGS), (std::vector<ULONG>{m_tags[0], m_tags[2]}));
    EXPECT_EQ(list(&kMeeting, MAPI_NO_IDS), std::vector<ULONG>{m_tags[1]});
    EXPECT_TRUE(list(&PS_PUBLIC_STRINGS, 0).empty());
    Block<SPropTagArray> all;
    ASSERT_CODE(m_message->GetIDsFromNames(0, nullptr, 0, all.put()), S_OK);
    EXPECT_EQ(std::vector<ULONG>(all->aulPropTag, all->aulPropTag + all->cValues), m_tags);
}

TEST_F(NamedPropertyTest, WhatIsNoNameIsRefused)
{
    Block<SPropTagArray> tags;
    EXPECT_CODE(m_message->GetIDsFromNames(1, nullptr, 0, tags.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Ids(m_message.get(), {nullptr}, 0, m_tags), MAPI_E_INVALID_PARAMETER);
    MAPINAMEID *name = Number(1);
    name->lpguid = nullptr;
    EXPECT_CODE(Ids(m_message.get(), {name}, 0, m_tags), MAPI_E_INVALID_PARAMETER);
    name = Number(1);
    name->ulKind = 2;
    EXPECT_CODE(Ids(m_message.get(), {name}, 0, m_tags), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Ids(m_message.get(), {Text(OLESTR(""))}, MAPI_CREATE, m_tags), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Ids(m_message.get(), {Text(nullptr)}, MAPI_CREATE, m_tags), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Ids(m_message.get(), {Number(1)}, 1, m_tags), MAPI_E_UNKNOWN_FLAGS);
    ComPtr<IMsgStore> store;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Alice(), 0, store), S_OK);
    EXPECT_CODE(Ids(store.get(), {Number(1)}, MAPI_CREATE, m_tags), MAPI_E_NO_ACCESS) << "open for reading";
    EXPECT_CODE(Ids(store.get(), {Number(1)}, 0, m_tags), MAPI_W_ERRORS_RETURNED);
}

} // namespace

} // namespace localmapi::test
