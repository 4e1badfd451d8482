// IMAPISession: its stores, entries, identity and end.
#include "ExchangeMapi.h"
#include "SiteFixture.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class Session : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
        m_session = LogOn();
        ASSERT_TRUE(m_session);
    }
    void TearDown() override
    {
        m_session.reset();
        SiteTest::TearDown();
    }
    Bytes DefaultStore()
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(m_session->GetMsgStoresTable(0, table.put()), S_OK);
        SPropValue yes{};
        yes.ulPropTag = PR_DEFAULT_STORE;
        yes.Value.b = TRUE;
        SRestriction restriction{};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty.relop = RELOP_EQ;
        restriction.res.resProperty.ulPropTag = PR_DEFAULT_STORE;
        restriction.res.resProperty.lpProp = &yes;
        const Rows rows = AllRows(table.get(), {PR_ENTRYID, PR_DEFAULT_STORE}, &restriction);
        EXPECT_EQ(rows.Count(), 1u);
        return rows.Count() ? BytesIn(rows[0], PR_ENTRYID) : Bytes();
    }
    static LPENTRYID Entry(Bytes &bytes) { return reinterpret_cast<LPENTRYID>(bytes.data()); }
    HRESULT OpenStore(Bytes bytes, ULONG flags, ComPtr<IMsgStore> &store, LPCIID iid = nullptr)
    {
        return m_session->OpenMsgStore(0, static_cast<ULONG>(bytes.size()), Entry(bytes), iid, flags, store.put());
    }
    HRESULT Open(Bytes bytes, ULONG flags, ComPtr<IUnknown> &object, ULONG *type = nullptr, LPCIID iid = nullptr)
    {
        return m_session->OpenEntry(static_cast<ULONG>(bytes.size()), Entry(bytes), iid, flags, type, object.put());
    }
    SiteUid Uid() { return OpenedSite().Info().uid; }
    storage::User User(const char *alias) { return *storage::Directory(OpenedSite()).UserByAlias(alias); }

    ComPtr<IMAPISession> m_session;
};

TEST_F(Session, TheStoresTableShowsTheMailbox)
{
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_session->GetMsgStoresTable(MAPI_UNICODE, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_ENTRYID, PR_DEFAULT_STORE, PR_DISPLAY_NAME_W, PR_RESOURCE_TYPE,
                                            PR_PROVIDER_DISPLAY_A, PR_MDB_PROVIDER});
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(rows[0].lpProps[1].Value.b, 1);
    EXPECT_EQ(TextIn(rows[0], PR_DISPLAY_NAME_W), "Mailbox - Alice Archer");
    EXPECT_EQ(rows[0].lpProps[3].Value.l, LONG{MAPI_STORE_PROVIDER});
    EXPECT_EQ(TextIn(rows[0], PR_PROVIDER_DISPLAY_A), "localmapi");
    EXPECT_EQ(BytesIn(rows[0], PR_MDB_PROVIDER).size(), sizeof(MAPIUID));
}

TEST_F(Session, TheDefaultStoreOpens)
{
    const Bytes entry = DefaultStore();
    for (const ULONG flags : {MAPI_BEST_ACCESS | MDB_ONLINE | MDB_NO_DIALOG, MAPI_BEST_ACCESS | MDB_NO_DIALOG,
                              MAPI_BEST_ACCESS | MDB_TEMPORARY | MDB_NO_DIALOG | MDB_ONLINE, MDB_WRITE, ULONG{0},
                              MDB_NO_MAIL | MAPI_DEFERRED_ERRORS}) {
        ComPtr<IMsgStore> store;
        ASSERT_CODE(OpenStore(entry, flags, store), S_OK) << HexText(flags);
        EXPECT_EQ(LongOf(store.get(), PR_OBJECT_TYPE), LONG{MAPI_STORE});
    }
}

TEST_F(Session, BadArgumentsOfOpeningAStoreAreRefused)
{
    ComPtr<IMsgStore> store;
    EXPECT_CODE(OpenStore(DefaultStore(), 0x1000, store), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(OpenStore({}, 0, store), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(OpenStore(MakeEntryId(Uid(), EntryKind::Folder, 1), 0, store), MAPI_E_INVALID_ENTRYID);
    SiteUid other = Uid();
    other[0] ^= 1;
    EXPECT_CODE(OpenStore(MakeStoreEntryId(other, 1, 0), 0, store), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_CODE(OpenStore(MakeStoreEntryId(Uid(), 999999, 0), 0, store), MAPI_E_NOT_FOUND);
    EXPECT_CODE(OpenStore(DefaultStore(), 0, store, &IID_IMessage), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(OpenStore(DefaultStore(), 0, store, &IID_IMsgStore), S_OK);
    Bytes entry = DefaultStore();
    EXPECT_CODE(m_session->OpenMsgStore(0, static_cast<ULONG>(entry.size()), Entry(entry), nullptr, 0, nullptr),
                MAPI_E_INVALID_PARAMETER);
}

TEST_F(Session, AnotherUsersMailboxIsClosedButToServiceAccounts)
{
    ComPtr<IMsgStore> store;
    const Bytes albert = MakeStoreEntryId(Uid(), User("albert").mailbox, OPENSTORE_TAKE_OWNERSHIP);
    EXPECT_CODE(OpenStore(albert, MAPI_BEST_ACCESS, store), MAPI_E_NO_ACCESS);
    EXPECT_NE(LastError(m_session.get(), MAPI_E_NO_ACCESS), "");
    AddProfile("Service", "vm");
    m_session = LogOn("Service");
    ASSERT_CODE(OpenStore(albert, MAPI_BEST_ACCESS, store), S_OK);
    EXPECT_EQ(LongOf(store.get(), PR_OBJECT_TYPE), LONG{MAPI_STORE});
}

TEST_F(Session, AnyEntryOpens)
{
    const storage::Mailbox mailbox = storage::Directory(OpenedSite()).GetMailbox(User("alice").mailbox);
    ComPtr<IUnknown> object;
    ULONG type = 0;
    ASSERT_CODE(Open(MakeEntryId(Uid(), EntryKind::Folder, mailbox.inbox), MAPI_BEST_ACCESS, object, &type), S_OK);
    EXPECT_EQ(type, MAPI_FOLDER);
    EXPECT_EQ(TextOf(static_cast<IMAPIFolder *>(object.get()), PR_DISPLAY_NAME_A), "Inbox");
    ASSERT_CODE(Open(DefaultStore(), MAPI_BEST_ACCESS, object, &type), S_OK);
    EXPECT_EQ(type, MAPI_STORE);
    ASSERT_CODE(Open(MakeEntryId(Uid(), EntryKind::MailUser, User("albert").id), 0, object, &type), S_OK);
    EXPECT_EQ(type, MAPI_MAILUSER);
    ASSERT_CODE(Open(MakeEntryId(Uid(), EntryKind::GlobalAddressList), 0, object, &type), S_OK);
    EXPECT_EQ(type, MAPI_ABCONT);
}

TEST_F(Session, EntriesThatAreNotThereAreNotFound)
{
    ComPtr<IUnknown> object;
    ULONG type = 7;
    EXPECT_CODE(Open(MakeEntryId(Uid(), EntryKind::Message, 999999), 0, object, &type), MAPI_E_NOT_FOUND);
    EXPECT_EQ(type, 0u);
    EXPECT_CODE(Open(MakeEntryId(Uid(), EntryKind::MailUser, 999999), 0, object), MAPI_E_NOT_FOUND);
    EXPECT_CODE(Open({1, 2, 3}, 0, object), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(Open(DefaultStore(), 0x1000, object), MAPI_E_UNKNOWN_FLAGS);
    const storage::Mailbox albert = storage::Directory(OpenedSite()).GetMailbox(User("albert").mailbox);
    EXPECT_CODE(Open(MakeEntryId(Uid(), EntryKind::Folder, albert.inbox), 0, object), MAPI_E_NO_ACCESS);
    EXPECT_FALSE(object);
}

TEST_F(Session, EntryIdsAreCompared)
{
    Bytes one = MakeStoreEntryId(Uid(), 5, 0), two = MakeStoreEntryId(Uid(), 5, 0xC), bad = {1, 2, 3};
    const auto compare = [&](Bytes &left, Bytes &right, ULONG *same) {
        return m_session->CompareEntryIDs(static_cast<ULONG>(left.size()), Entry(left),
                                          static_cast<ULONG>(right.size()), Entry(right), 0, same);
    };
    ULONG same = 7;
    EXPECT_CODE(compare(one, two, &same), S_OK);
    EXPECT_EQ(same, 1u);
    two = MakeEntryId(Uid(), EntryKind::Folder, 5);
    EXPECT_CODE(compare(one, two, &same), S_OK);
    EXPECT_EQ(same, 0u);
    EXPECT_CODE(compare(one, bad, &same), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(compare(one, one, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(Session, AddressTypesAreExchangeAndSmtp)
{
    ULONG count = 0;
    Block<LPTSTR> types;
    ASSERT_CODE(m_session->EnumAdrTypes(0, &count, types.put()), S_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(reinterpret_cast<char *>(types[0]), "EX");
    EXPECT_STREQ(reinterpret_cast<char *>(types[1]), "SMTP");
    ASSERT_CODE(m_session->EnumAdrTypes(MAPI_UNICODE, &count, types.put()), S_OK);
    EXPECT_EQ(WideText(reinterpret_cast<WCHAR *>(types[1])), OLESTR("SMTP"));
}

TEST_F(Session, AfterLogoffNothingMoreIsGiven)
{
    const auto book = OpenBook(m_session);
    EXPECT_CODE(m_session->Logoff(0, 0x400, 0), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(m_session->Logoff(0, 0, 1), MAPI_E_INVALID_PARAMETER);
    ASSERT_CODE(m_session->Logoff(0, MAPI_LOGOFF_SHARED | MAPI_LOGOFF_UI, 0), S_OK);
    ComPtr<IMAPITable> table;
    ComPtr<IAddrBook> other;
    ComPtr<IMsgServiceAdmin> services;
    ComPtr<IUnknown> object;
    EXPECT_CODE(m_session->GetMsgStoresTable(0, table.put()), MAPI_E_END_OF_SESSION);
    EXPECT_CODE(m_session->OpenAddressBook(0, nullptr, 0, other.put()), MAPI_E_END_OF_SESSION);
    EXPECT_CODE(m_session->AdminServices(0, services.put()), MAPI_E_END_OF_SESSION);
    EXPECT_CODE(m_session->Logoff(0, 0, 0), MAPI_E_END_OF_SESSION);
    EXPECT_CODE(book->OpenEntry(0, nullptr, nullptr, 0, nullptr, object.put()), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(LastError(m_session.get(), MAPI_E_END_OF_SESSION), "IMAPISession::Logoff: The session is logged off.");
}

TEST_F(Session, ReleasedWithoutLogoffItIsGone)
{
    m_session->AddRef();
    EXPECT_EQ(m_session->Release(), 1u);
    EXPECT_EQ(m_session.release()->Release(), 0u);
}

TEST_F(Session, WhatIsNotThereSaysSo)
{
    ComPtr<IMAPITable> table;
    ULONG connection = 0;
    EXPECT_CODE(m_session->GetStatusTable(0, table.put()), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->Advise(0, nullptr, 0, nullptr, &connection), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->Unadvise(1), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->MessageOptions(0, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->QueryDefaultMessageOpt(nullptr, 0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->SetDefaultStore(0, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->ShowForm(0, nullptr, nullptr, nullptr, 0, nullptr, 0, 0, 0, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_session->PrepareForm(nullptr, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(LastError(m_session.get(), MAPI_E_NO_SUPPORT),
              "IMAPISession::PrepareForm: Not supported by localmapi: IMAPISession::PrepareForm.");
}

TEST_F(Session, NowhereToPutTheResultIsRefused)
{
    ULONG size = 0;
    EXPECT_CODE(m_session->GetMsgStoresTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_session->OpenAddressBook(0, nullptr, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_session->AdminServices(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_session->QueryIdentity(&size, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_session->OpenEntry(0, nullptr, nullptr, 0, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_session->GetLastError(MAPI_E_INVALID_PARAMETER, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    ComPtr<IAddrBook> book;
    EXPECT_CODE(m_session->OpenAddressBook(0, &IID_IMsgStore, 0, book.put()), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(m_session->OpenAddressBook(0, nullptr, 0x1000, book.put()), MAPI_E_UNKNOWN_FLAGS);
}

} // namespace
