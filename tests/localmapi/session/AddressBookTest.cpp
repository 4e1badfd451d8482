// The address book from its root down: containers, the global address list as a table, recipients as objects, one-off
// recipients.
#include "ExchangeMapi.h"
#include "SiteFixture.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr ULONG kSmtpAddressA = PROP_TAG(PT_STRING8, 0x39FE);
using Names = std::vector<std::string>;

class AddressBook : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
        m_book = OpenBook(LogOn());
        ASSERT_TRUE(m_book);
    }
    void TearDown() override
    {
        m_book.reset();
        SiteTest::TearDown();
    }
    template <class T> ComPtr<T> Open(Bytes entry, ULONG flags = MAPI_BEST_ACCESS, ULONG *type = nullptr)
    {
        ComPtr<IUnknown> object;
        EXPECT_CODE(OpenAs(std::move(entry), flags, nullptr, object, type), S_OK);
        return ComPtr<T>(static_cast<T *>(object.release()));
    }
    HRESULT OpenAs(Bytes entry, ULONG flags, LPCIID iid, ComPtr<IUnknown> &object, ULONG *type = nullptr)
    {
        return m_book->OpenEntry(static_cast<ULONG>(entry.size()), reinterpret_cast<LPENTRYID>(entry.data()), iid,
                                 flags, type, object.put());
    }
    ComPtr<IABContainer> Root() { return Open<IABContainer>({}); }
    ComPtr<IABContainer> GlobalList() { return Open<IABContainer>(MakeEntryId(Uid(), EntryKind::GlobalAddressList)); }
    ComPtr<IMAPITable> Contents()
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(GlobalList()->GetContentsTable(0, table.put()), S_OK);
        return table;
    }
    // The display names of the rows that satisfy tag == value, in order.
    Names NamesWhere(ULONG tag, SPropValue value)
    {
        value.ulPropTag = tag;
        SRestriction restriction{};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty.relop = RELOP_EQ;
        restriction.res.resProperty.ulPropTag = tag;
        restriction.res.resProperty.lpProp = &value;
        const Rows rows = AllRows(Contents().get(), {PR_DISPLAY_NAME_W}, &restriction);
        Names names;
        for (ULONG i = 0; i < rows.Count(); ++i)
            names.push_back(TextIn(rows[i], PR_DISPLAY_NAME_W));
        std::sort(names.begin(), names.end());
        return names;
    }
    Names Anr(const char *text)
    {
        SPropValue value{};
        value.Value.lpszA = const_cast<char *>(text);
        return NamesWhere(PR_ANR_A, value);
    }
    Names AnrWide(LPCWSTR text)
    {
        SPropValue value{};
        value.Value.lpszW = const_cast<WCHAR *>(text);
        return NamesWhere(PR_ANR_W, value);
    }
    SiteUid Uid() { return OpenedSite().Info().uid; }
    storage::User User(const char *alias) { return *storage::Directory(OpenedSite()).UserByAlias(alias); }

    ComPtr<IAddrBook> m_book;
};

TEST_F(AddressBook, NoBytesOpenTheRoot)
{
    ComPtr<IUnknown> object;
    ULONG type = 0;
    for (const ULONG flags : {MAPI_BEST_ACCESS, MAPI_BEST_ACCESS | MAPI_NO_CACHE, MAPI_DEFERRED_ERRORS}) {
        ASSERT_CODE(m_book->OpenEntry(0, nullptr, nullptr, flags, &type, object.put()), S_OK);
        EXPECT_EQ(type, MAPI_ABCONT);
    }
    EXPECT_EQ(LongOf(static_cast<IABContainer *>(object.get()), PR_CONTAINER_FLAGS),
              LONG{AB_SUBCONTAINERS | AB_UNMODIFIABLE});
}

TEST_F(AddressBook, TheRootHoldsTheGlobalAddressList)
{
    ComPtr<IMAPITable> table;
    ASSERT_CODE(Root()->GetHierarchyTable(0, table.put()), S_OK);
    SPropValue global{};
    global.ulPropTag = PR_DISPLAY_TYPE;
    global.Value.l = 0x20000;
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty.relop = RELOP_EQ;
    restriction.res.resProperty.ulPropTag = PR_DISPLAY_TYPE;
    restriction.res.resProperty.lpProp = &global;
    const Rows rows = AllRows(table.get(), {PR_ENTRYID, PR_DISPLAY_NAME_A, PR_OBJECT_TYPE}, &restriction);
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(TextIn(rows[0], PR_DISPLAY_NAME_A), "Global Address List");
    EXPECT_EQ(rows[0].lpProps[2].Value.l, LONG{MAPI_ABCONT});
    ULONG type = 0;
    const auto list = Open<IABContainer>(BytesIn(rows[0], PR_ENTRYID), MAPI_BEST_ACCESS | MAPI_NO_CACHE, &type);
    EXPECT_EQ(type, MAPI_ABCONT);
    EXPECT_EQ(LongOf(list.get(), PR_DISPLAY_TYPE), LONG{DT_GLOBAL});
}

TEST_F(AddressBook, TheListShowsUsersAndContacts)
{
    const Rows rows = AllRows(Contents().get(), {PR_DISPLAY_NAME_W, PR_ADDRTYPE_A, PR_EMAIL_ADDRESS_A, kSmtpAddressA,
                                                 PR_OBJECT_TYPE, PR_DISPLAY_TYPE, PR_ACCOUNT_A, PR_ENTRYID});
    ASSERT_EQ(rows.Count(), 5u);
    for (ULONG i = 0; i < rows.Count(); ++i) {
        const std::string name = TextIn(rows[i], PR_DISPLAY_NAME_W);
        if (name == "Alice Archer") {
            EXPECT_EQ(TextIn(rows[i], PR_ADDRTYPE_A), "EX");
            EXPECT_EQ(TextIn(rows[i], PR_EMAIL_ADDRESS_A), User("alice").dn);
            EXPECT_EQ(TextIn(rows[i], kSmtpAddressA), "alice@norvik.example");
            EXPECT_EQ(TextIn(rows[i], PR_ACCOUNT_A), "alice");
            EXPECT_EQ(rows[i].lpProps[5].Value.l, LONG{DT_MAILUSER});
        } else if (name == "Bob Baker") {
            EXPECT_EQ(TextIn(rows[i], PR_ADDRTYPE_A), "SMTP");
            EXPECT_EQ(TextIn(rows[i], PR_EMAIL_ADDRESS_A), "bob@elsewhere.example");
            EXPECT_EQ(rows[i].lpProps[5].Value.l, LONG{DT_REMOTE_MAILUSER});
        }
        EXPECT_EQ(rows[i].lpProps[4].Value.l, LONG{MAPI_MAILUSER});
    }
}

TEST_F(AddressBook, ARowOpensThroughTheListAndTheBook)
{
    const Rows rows = AllRows(Contents().get(), {PR_ENTRYID, PR_DISPLAY_NAME_W, PR_SEARCH_KEY, PR_INSTANCE_KEY});
    const auto list = GlobalList();
    for (ULONG i = 0; i < rows.Count(); ++i) {
        const SBinary &id = rows[i].lpProps[0].Value.bin;
        ComPtr<IUnknown> object;
        ULONG type = 0;
        ASSERT_CODE(list->OpenEntry(id.cb, reinterpret_cast<LPENTRYID>(id.lpb), nullptr,
                                    MAPI_BEST_ACCESS | MAPI_NO_CACHE, &type, object.put()),
                    S_OK);
        EXPECT_EQ(type, MAPI_MAILUSER);
        auto *user = static_cast<IMailUser *>(object.get());
        EXPECT_EQ(TextOf(user, PR_DISPLAY_NAME_W), TextIn(rows[i], PR_DISPLAY_NAME_W));
        EXPECT_EQ(BytesOf(user, PR_ENTRYID), BytesIn(rows[i], PR_ENTRYID));
        EXPECT_EQ(BytesOf(user, PR_SEARCH_KEY), BytesIn(rows[i], PR_SEARCH_KEY));
        EXPECT_EQ(BytesOf(user, PR_INSTANCE_KEY), BytesIn(rows[i], PR_INSTANCE_KEY));
        EXPECT_EQ(TextOf(Open<IMailUser>(BytesIn(rows[i], PR_ENTRYID)).get(), PR_DISPLAY_NAME_W),
                  TextIn(rows[i], PR_DISPLAY_NAME_W));
    }
}

TEST_F(AddressBook, AMailUserHasItsAddresses)
{
    const auto user = Open<IMailUser>(MakeEntryId(Uid(), EntryKind::MailUser, User("albert").id));
    EXPECT_EQ(TextOf(user.get(), PR_ADDRTYPE_A), "EX");
    EXPECT_EQ(TextOf(user.get(), PR_EMAIL_ADDRESS_A),
              "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=albert");
    EXPECT_EQ(TextOf(user.get(), PR_EMAIL_ADDRESS_W), TextOf(user.get(), PR_EMAIL_ADDRESS_A));
    EXPECT_EQ(TextOf(user.get(), kSmtpAddressA), "bert@norvik.example");
    EXPECT_EQ(TextOf(user.get(), PR_ACCOUNT_A), "albert");
    EXPECT_EQ(LongOf(user.get(), PR_OBJECT_TYPE), LONG{MAPI_MAILUSER});
    const auto key = BytesOf(user.get(), PR_SEARCH_KEY);
    EXPECT_EQ(std::string(key.begin(), key.end()),
              std::string("EX:/O=NORVIK/OU=FIRST ADMINISTRATIVE GROUP/CN=RECIPIENTS/CN=ALBERT") + '\0');
}

TEST_F(AddressBook, R23_AnrFindsTheStartsOfWords)
{
    EXPECT_EQ(Anr("al"), (Names{"Albert Archer", "Alice Archer"}));
    EXPECT_EQ(Anr("AL"), (Names{"Albert Archer", "Alice Archer"}));
    EXPECT_EQ(Anr("arch"), (Names{"Albert Archer", "Alice Archer"})) << "of any word of the name";
    EXPECT_EQ(Anr("vm"), Names{"Voicemail Service"}) << "of the alias";
    EXPECT_EQ(Anr("bert@"), Names{"Albert Archer"}) << "of the address";
    EXPECT_EQ(Anr("bob"), Names{"Bob Baker"});
    EXPECT_EQ(Anr("rcher"), Names()) << "not the middle of a word";
}

TEST_F(AddressBook, R23_AnrWantsEachWordOfTheQuery)
{
    EXPECT_EQ(Anr("arch ali"), Names{"Alice Archer"});
    EXPECT_EQ(Anr("  alice   archer "), Names{"Alice Archer"});
    EXPECT_EQ(Anr("alice baker"), Names());
    EXPECT_EQ(Anr(""), Names());
    EXPECT_EQ(Anr(" "), Names());
}

TEST_F(AddressBook, R23_AnrWithAnEqualsSignIsExact)
{
    EXPECT_EQ(Anr("=alice"), Names{"Alice Archer"});
    EXPECT_EQ(Anr("=Alice Archer"), Names{"Alice Archer"});
    EXPECT_EQ(Anr("=ali"), Names());
    EXPECT_EQ(Anr("="), Names());
}

TEST_F(AddressBook, R23_AnrKnowsEveryScript)
{
    const Names zoe = {"Zo\xC3\xAB \xCE\x91\xCE\xB8\xCE\xB7\xCE\xBD\xCE\xAC \xE6\x9D\xB1"};
    EXPECT_EQ(AnrWide(OLESTR("zO\x00CB")), zoe);
    EXPECT_EQ(AnrWide(OLESTR("\x03B1\x03B8")), zoe) << "case is folded in Greek too";
    EXPECT_EQ(AnrWide(OLESTR("\x6771 zoe")), zoe) << "by another word and the alias";
}

TEST_F(AddressBook, RowsAreFoundByEveryColumn)
{
    const storage::User alice = User("alice");
    Bytes entry = MakeEntryId(Uid(), EntryKind::MailUser, alice.id);
    SPropValue value{};
    value.Value.bin = {static_cast<ULONG>(entry.size()), entry.data()};
    EXPECT_EQ(NamesWhere(PR_ENTRYID, value), Names{"Alice Archer"});
    EXPECT_EQ(NamesWhere(PR_RECORD_KEY, value), Names{"Alice Archer"});
    Bytes contact = MakeEntryId(Uid(), EntryKind::Contact, alice.id);
    value.Value.bin = {static_cast<ULONG>(contact.size()), contact.data()};
    EXPECT_EQ(NamesWhere(PR_ENTRYID, value), Names());
    value.Value.bin = {3, entry.data()};
    EXPECT_EQ(NamesWhere(PR_ENTRYID, value), Names());
    EXPECT_EQ(NamesWhere(PR_INSTANCE_KEY, value), Names());
    std::string key = "SMTP:BOB@ELSEWHERE.EXAMPLE";
    value.Value.bin = {static_cast<ULONG>(key.size() + 1), reinterpret_cast<BYTE *>(key.data())};
    EXPECT_EQ(NamesWhere(PR_SEARCH_KEY, value), Names{"Bob Baker"});
    value.Value.bin.cb -= 1;
    EXPECT_EQ(NamesWhere(PR_SEARCH_KEY, value), Names());
    value.Value.l = DT_REMOTE_MAILUSER;
    EXPECT_EQ(NamesWhere(PR_DISPLAY_TYPE, value), Names{"Bob Baker"});
    value.Value.l = DT_MAILUSER;
    EXPECT_EQ(NamesWhere(PR_DISPLAY_TYPE, value).size(), 4u);
    value.Value.l = DT_FORUM;
    EXPECT_EQ(NamesWhere(PR_DISPLAY_TYPE, value), Names());
    value.Value.l = MAPI_MAILUSER;
    EXPECT_EQ(NamesWhere(PR_OBJECT_TYPE, value).size(), 5u);
    value.Value.lpszA = const_cast<char *>("vm");
    EXPECT_EQ(NamesWhere(PR_ACCOUNT_A, value), Names{"Voicemail Service"});
}

TEST_F(AddressBook, TheListIsReadOnly)
{
    ComPtr<IUnknown> object;
    EXPECT_CODE(OpenAs(MakeEntryId(Uid(), EntryKind::GlobalAddressList), MAPI_MODIFY, nullptr, object),
                MAPI_E_NO_ACCESS);
    const auto user = Open<IMailUser>(MakeEntryId(Uid(), EntryKind::MailUser, User("alice").id));
    SPropValue prop{};
    prop.ulPropTag = PR_DISPLAY_NAME_A;
    prop.Value.lpszA = const_cast<char *>("Other");
    EXPECT_CODE(user->SetProps(1, &prop, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_EQ(LastError(user.get(), MAPI_E_NO_ACCESS), "IMAPIProp::SetProps: The object is open for reading only.");
}

TEST_F(AddressBook, BadEntriesAreRefused)
{
    ComPtr<IUnknown> object;
    EXPECT_CODE(OpenAs({1, 2, 3}, 0, nullptr, object), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(OpenAs(MakeEntryId(Uid(), EntryKind::Message, 1), 0, nullptr, object), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(OpenAs(MakeEntryId(Uid(), EntryKind::MailUser, 999999), 0, nullptr, object), MAPI_E_NOT_FOUND);
    EXPECT_CODE(OpenAs({}, 0x1000, nullptr, object), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(OpenAs({}, 0, &IID_IMailUser, object), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(OpenAs({}, 0, &IID_IMAPIContainer, object), S_OK);
    SiteUid other = Uid();
    other[3] ^= 1;
    EXPECT_CODE(OpenAs(MakeEntryId(other, EntryKind::MailUser, 1), 0, nullptr, object), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_CODE(m_book->OpenEntry(0, nullptr, nullptr, 0, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(AddressBook, TablesOpenAsPropertiesToo)
{
    ComPtr<IUnknown> object;
    ASSERT_CODE(Root()->OpenProperty(PR_CONTAINER_HIERARCHY, &IID_IMAPITable, 0, 0, object.put()), S_OK);
    ULONG count = 0;
    EXPECT_CODE(static_cast<IMAPITable *>(object.get())->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 1u);
    ASSERT_CODE(GlobalList()->OpenProperty(PR_CONTAINER_CONTENTS, &IID_IMAPITable, 0, 0, object.put()), S_OK);
    EXPECT_CODE(static_cast<IMAPITable *>(object.get())->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 5u);
    EXPECT_CODE(Root()->OpenProperty(PR_CONTAINER_HIERARCHY, &IID_IStream, 0, 0, object.put()),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(Root()->OpenProperty(PR_SUBJECT_A, &IID_IStream, 0, 0, object.put()), MAPI_E_NOT_FOUND);
}

TEST_F(AddressBook, WhatAContainerLacksSaysSo)
{
    const auto root = Root(), list = GlobalList();
    ComPtr<IMAPITable> table;
    EXPECT_CODE(root->GetContentsTable(0, table.put()), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->GetHierarchyTable(0, table.put()), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->GetContentsTable(MAPI_ASSOCIATED, table.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(list->GetContentsTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(list->SetSearchCriteria(nullptr, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->GetSearchCriteria(0, nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->CreateEntry(0, nullptr, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->CopyEntries(nullptr, 0, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(list->DeleteEntries(nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(LastError(list.get(), MAPI_E_NO_SUPPORT),
              "IABContainer::DeleteEntries: Not supported by localmapi: IABContainer::DeleteEntries.");
}

TEST_F(AddressBook, AOneOffIsMadeAndOpened)
{
    for (const ULONG flags : {ULONG{0}, MAPI_UNICODE, MAPI_UNICODE | MAPI_SEND_NO_RICH_INFO}) {
        const bool wide = (flags & MAPI_UNICODE) != 0;
        ULONG size = 0;
        Block<ENTRYID> entry;
        ASSERT_CODE(m_book->CreateOneOff(
                        wide ? Wide(OLESTR("Carol")) : Narrow("Carol"), wide ? Wide(OLESTR("SMTP")) : Narrow("SMTP"),
                        wide ? Wide(OLESTR("carol@x.example")) : Narrow("carol@x.example"), flags, &size, entry.put()),
                    S_OK);
        const auto *bytes = reinterpret_cast<const BYTE *>(entry.get());
        ULONG type = 0;
        const auto user = Open<IMailUser>(Bytes(bytes, bytes + size), 0, &type);
        EXPECT_EQ(type, MAPI_MAILUSER);
        EXPECT_EQ(TextOf(user.get(), PR_DISPLAY_NAME_A), "Carol");
        EXPECT_EQ(TextOf(user.get(), PR_ADDRTYPE_W), "SMTP");
        EXPECT_EQ(TextOf(user.get(), PR_EMAIL_ADDRESS_A), "carol@x.example");
        EXPECT_EQ(TextOf(user.get(), kSmtpAddressA), "carol@x.example");
        EXPECT_EQ(LongOf(user.get(), PR_SEND_RICH_INFO) & 1, flags & MAPI_SEND_NO_RICH_INFO ? 0 : 1);
    }
    ULONG size = 0;
    Block<ENTRYID> entry;
    EXPECT_CODE(m_book->CreateOneOff(Narrow("C"), nullptr, Narrow("c@x"), 0, &size, entry.put()),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_book->CreateOneOff(Narrow("C"), Narrow("SMTP"), Narrow(""), 0, &size, entry.put()),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_book->CreateOneOff(Narrow("C"), Narrow("SMTP"), Narrow("c@x"), 0x4, &size, entry.put()),
                MAPI_E_UNKNOWN_FLAGS);
    ASSERT_CODE(m_book->CreateOneOff(nullptr, Narrow("SMTP"), Narrow("c@x"), 0, &size, entry.put()), S_OK);
    const auto *bytes = reinterpret_cast<const BYTE *>(entry.get());
    EXPECT_EQ(TextOf(Open<IMailUser>(Bytes(bytes, bytes + size)).get(), PR_DISPLAY_NAME_A), "c@x");
}

TEST_F(AddressBook, TheGlobalListIsWhereNamesAreLookedUp)
{
    ULONG size = 0;
    Block<ENTRYID> entry;
    ASSERT_CODE(m_book->GetDefaultDir(&size, entry.put()), S_OK);
    const Bytes list = MakeEntryId(Uid(), EntryKind::GlobalAddressList);
    const auto *bytes = reinterpret_cast<const BYTE *>(entry.get());
    EXPECT_EQ(Bytes(bytes, bytes + size), list);
    Rows path;
    ASSERT_CODE(m_book->GetSearchPath(MAPI_UNICODE, path.put()), S_OK);
    ASSERT_EQ(path.Count(), 1u);
    EXPECT_EQ(BytesIn(path[0], PR_ENTRYID), list);
    EXPECT_EQ(TextIn(path[0], PR_DISPLAY_NAME_W), "Global Address List");
    ASSERT_CODE(m_book->GetPAB(&size, entry.put()), S_OK);
    EXPECT_EQ(size, 0u);
    EXPECT_FALSE(entry);
}

TEST_F(AddressBook, WhatIsNotThereSaysSo)
{
    EXPECT_CODE(m_book->Advise(0, nullptr, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->Unadvise(1), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->NewEntry(0, 0, 0, nullptr, 0, nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->Address(nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->Details(nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0),
                MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->RecipOptions(0, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->QueryDefaultRecipOpt(nullptr, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->SetPAB(0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->SetDefaultDir(0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_book->SetSearchPath(0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(LastError(m_book.get(), MAPI_E_NO_SUPPORT),
              "IAddrBook::SetSearchPath: Not supported by localmapi: IAddrBook::SetSearchPath.");
    EXPECT_EQ(LongOf(m_book.get(), PR_OBJECT_TYPE), LONG{MAPI_ADDRBOOK});
}

TEST_F(AddressBook, EntriesAreCompared)
{
    Bytes alice = MakeEntryId(Uid(), EntryKind::MailUser, User("alice").id);
    Bytes albert = MakeEntryId(Uid(), EntryKind::MailUser, User("albert").id);
    Bytes one = MakeOneOff("A", "SMTP", "a@b", true), two = MakeOneOff("B", "SMTP", "A@B", false);
    const auto compare = [&](Bytes &left, Bytes &right) {
        ULONG same = 7;
        EXPECT_CODE(m_book->CompareEntryIDs(static_cast<ULONG>(left.size()), reinterpret_cast<LPENTRYID>(left.data()),
                                            static_cast<ULONG>(right.size()), reinterpret_cast<LPENTRYID>(right.data()),
                                            0, &same),
                    S_OK);
        return same;
    };
    EXPECT_EQ(compare(alice, alice), 1u);
    EXPECT_EQ(compare(alice, albert), 0u);
    EXPECT_EQ(compare(one, two), 1u);
    EXPECT_EQ(compare(one, alice), 0u);
}

} // namespace
