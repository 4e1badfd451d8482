// Proves a user's mailbox as a message store: its properties, who may open it and how, opening by entry identifier,
// receive folders and logoff.
#include "ExchangeMapi.h"
#include "StoreFixture.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/table/QueryRows.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

constexpr ULONG kPrMailboxOwnerName = PROP_TAG(PT_STRING8, 0x661C);
constexpr ULONG kPrMailboxOwnerEntryId = PROP_TAG(PT_BINARY, 0x661B);

TEST_F(StoreTest, AStoreSaysWhatItIs)
{
    IMsgStore *store = m_mailbox.GetStore();
    EXPECT_EQ(TextOf(store, PR_DISPLAY_NAME_A), "Mailbox - Alice Archer");
    EXPECT_EQ(TextOf(store, PR_DISPLAY_NAME_W), "Mailbox - Alice Archer");
    EXPECT_EQ(TextOf(store, kPrMailboxOwnerName), "Alice Archer");
    EXPECT_EQ(LongOf(store, PR_OBJECT_TYPE), static_cast<LONG>(MAPI_STORE));
    EXPECT_EQ(LongOf(store, PR_DEFAULT_STORE), 0);
    EXPECT_EQ(LongOf(store, PR_VALID_FOLDER_MASK), 0x1F);
    EXPECT_TRUE(LongOf(store, PR_STORE_SUPPORT_MASK) & static_cast<LONG>(STORE_RESTRICTION_OK));
    EXPECT_FALSE(BytesOf(store, kPrMailboxOwnerEntryId).empty());
    EXPECT_EQ(BytesOf(store, PR_ENTRYID), BytesOf(store, PR_STORE_ENTRYID));
    EXPECT_EQ(BytesOf(store, PR_RECORD_KEY).size(), 16u);
    EXPECT_NE(BytesOf(store, PR_RECORD_KEY), BytesOf(m_mailbox.StoreOf(m_mailbox.Bob()).get(), PR_RECORD_KEY));
}

TEST_F(StoreTest, TheDefaultStoreOfAProfileIsMarked)
{
    ComPtr<IMsgStore> store;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Alice(), MAPI_BEST_ACCESS, store, true), S_OK);
    EXPECT_EQ(LongOf(store.get(), PR_DEFAULT_STORE), 1);
}

TEST_F(StoreTest, SpecialFoldersAreNamedByTheStoreAndCanBeOpened)
{
    const struct {
        ULONG tag;
        const char *name;
    } folders[] = {{PR_IPM_OUTBOX_ENTRYID, "Outbox"},
                   {PR_IPM_SENTMAIL_ENTRYID, "Sent Items"},
                   {PR_IPM_WASTEBASKET_ENTRYID, "Deleted Items"}};
    for (const auto &folder : folders)
        EXPECT_EQ(TextOf(m_mailbox.Folder(folder.tag).get(), PR_DISPLAY_NAME_A), folder.name);
    EXPECT_EQ(TextOf(m_mailbox.Inbox(), PR_DISPLAY_NAME_A), "Inbox");
    // The folders stand in the subtree for messages between people.
    auto subtree = m_mailbox.Folder(PR_IPM_SUBTREE_ENTRYID);
    EXPECT_EQ(BytesOf(m_mailbox.Inbox(), PR_PARENT_ENTRYID), BytesOf(subtree.get(), PR_ENTRYID));
}

TEST_F(StoreTest, PropertiesOfTheStoreCanBeSetReadAndDeleted)
{
    IMsgStore *store = m_mailbox.GetStore();
    ASSERT_CODE(SetProps(store, {Narrow(PROP_TAG(PT_STRING8, 0x6A20), "note")}), S_OK);
    EXPECT_EQ(TextOf(m_mailbox.StoreOf(m_mailbox.Alice()).get(), PROP_TAG(PT_UNICODE, 0x6A20)), "note");
    EXPECT_CODE(store->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_CODE(store->DeleteProps(Tags{PROP_TAG(PT_STRING8, 0x6A20)}, nullptr), S_OK);
    EXPECT_EQ(TextOf(store, PROP_TAG(PT_STRING8, 0x6A20)), "(none)");
    EXPECT_CODE(ProblemOf(store, Narrow(PR_DISPLAY_NAME_A, "x")), MAPI_E_COMPUTED);
    EXPECT_CODE(ProblemOf(store, Long(PR_STORE_SUPPORT_MASK, 0)), MAPI_E_COMPUTED);
}

TEST_F(StoreTest, WhoHasNoRightToAMailboxGetsNoAccess)
{
    ComPtr<IMsgStore> store;
    EXPECT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Bob(), MAPI_BEST_ACCESS, store), MAPI_E_NO_ACCESS);
    EXPECT_FALSE(store);
    EXPECT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Service(), MAPI_BEST_ACCESS, store), S_OK);
    EXPECT_EQ(TextOf(store.get(), kPrMailboxOwnerName), "Alice Archer");
}

TEST_F(StoreTest, AMailboxThatIsNotThereIsNotFound)
{
    ComPtr<IMsgStore> store;
    EXPECT_CODE(CreateStore({m_mailbox.GetSite(), 4711, m_mailbox.Alice().id, 0, false}, nullptr, store.put()),
                MAPI_E_NOT_FOUND);
    EXPECT_CODE(
        CreateStore({m_mailbox.GetSite(), m_mailbox.Alice().mailbox, m_mailbox.Alice().id, 0, false}, nullptr, nullptr),
        MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(CreateStore({m_mailbox.GetSite(), m_mailbox.Alice().mailbox, m_mailbox.Alice().id, 0x00800000, false},
                            nullptr, store.put()),
                MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(StoreTest, TheStoreAnswersForItsInterfacesOnly)
{
    ComPtr<IUnknown> object;
    for (const IID *iid : {&IID_IMsgStore, &IID_IMAPIProp, &IID_IExchangeManageStore, &IID_IUnknown})
        EXPECT_CODE(m_mailbox.GetStore()->QueryInterface(*iid, reinterpret_cast<void **>(object.put())), S_OK);
    EXPECT_CODE(m_mailbox.GetStore()->QueryInterface(IID_IMessage, reinterpret_cast<void **>(object.put())),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    ComPtr<IMsgStore> store;
    EXPECT_CODE(CreateStore({m_mailbox.GetSite(), m_mailbox.Alice().mailbox, m_mailbox.Alice().id, 0, false},
                            &IID_IMAPIFolder, store.put()),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
}

TEST_F(StoreTest, AStoreThatIsOpenForReadingWritesNothing)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "kept")});
    auto store = m_mailbox.StoreOf(m_mailbox.Alice(), 0);
    ComPtr<IMessage> message;
    EXPECT_CODE(OpenEntry(store.get(), id, nullptr, MAPI_MODIFY, reinterpret_cast<IUnknown **>(message.put())),
                MAPI_E_NO_ACCESS);
    ASSERT_CODE(OpenEntry(store.get(), id, nullptr, MAPI_BEST_ACCESS, reinterpret_cast<IUnknown **>(message.put())),
                S_OK);
    EXPECT_EQ(LongOf(message.get(), PR_ACCESS_LEVEL), 0);
    EXPECT_EQ(LongOf(message.get(), PR_ACCESS), static_cast<LONG>(MAPI_ACCESS_READ));
    SPropValue subject = Narrow(PR_SUBJECT_A, "changed");
    EXPECT_CODE(message->SetProps(1, &subject, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_CODE(message->SetReadFlag(0), MAPI_E_NO_ACCESS);
    EXPECT_CODE(message->SaveChanges(0), MAPI_E_NO_ACCESS);
    auto inbox = m_mailbox.Folder(0, store.get());
    ComPtr<IMessage> made;
    EXPECT_CODE(inbox->CreateMessage(nullptr, 0, made.put()), MAPI_E_NO_ACCESS);
    EXPECT_CODE(inbox->DeleteMessages(EntryList({id}), 0, nullptr, 0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "kept");
}

TEST_F(StoreTest, OpenEntryOpensFoldersAndMessagesByTheirEntryIdentifiers)
{
    const EntryIdBytes message = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    ULONG type = 0;
    ASSERT_CODE(Open(message, nullptr, MAPI_BEST_ACCESS, &type), S_OK);
    EXPECT_EQ(type, MAPI_MESSAGE);
    EXPECT_EQ(TextOf(static_cast<IMessage *>(m_object.get()), PR_SUBJECT_A), "hello");
    ASSERT_CODE(Open(BytesOf(m_mailbox.Inbox(), PR_ENTRYID), &IID_IMAPIContainer, 0, &type), S_OK);
    EXPECT_EQ(type, MAPI_FOLDER);
    ASSERT_CODE(m_mailbox.GetStore()->OpenEntry(0, nullptr, nullptr, 0, &type, m_object.put()), S_OK);
    EXPECT_EQ(type, MAPI_FOLDER);
    EXPECT_EQ(LongOf(static_cast<IMAPIFolder *>(m_object.get()), PR_FOLDER_TYPE), static_cast<LONG>(FOLDER_ROOT));
    EXPECT_CODE(m_mailbox.GetStore()->OpenEntry(0, nullptr, nullptr, 0, nullptr, m_object.put()), S_OK);
}

TEST_F(StoreTest, OpenEntryTakesTheFlagsOfExchangeAndRefusesOthers)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    EXPECT_CODE(Open(id, nullptr, MAPI_BEST_ACCESS | MAPI_NO_CACHE), S_OK);
    EXPECT_CODE(Open(id, nullptr, MAPI_MODIFY | MAPI_DEFERRED_ERRORS), S_OK);
    EXPECT_CODE(Open(id, nullptr, 0x00800000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_FALSE(m_object);
}

TEST_F(StoreTest, OpenEntryGivesTheInterfaceThatIsAskedForOrNone)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    for (const IID *iid : {&IID_IMessage, &IID_IMAPIProp, &IID_IUnknown})
        EXPECT_CODE(Open(id, iid, 0), S_OK);
    EXPECT_CODE(Open(id, &IID_IMAPIFolder, 0), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_FALSE(m_object);
    EXPECT_CODE(Open(BytesOf(m_mailbox.Inbox(), PR_ENTRYID), &IID_IMessage, 0), MAPI_E_INTERFACE_NOT_SUPPORTED);
}

TEST_F(StoreTest, OpenEntryRefusesWhatIsNoEntryIdentifierOfItsOwn)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    ULONG type = 0;
    EXPECT_CODE(Open({1, 2, 3}, nullptr, 0), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(m_mailbox.GetStore()->OpenEntry(48, nullptr, nullptr, 0, &type, m_object.put()),
                MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(m_mailbox.GetStore()->OpenEntry(0, nullptr, nullptr, 0, &type, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Open(BytesOf(m_mailbox.GetStore(), PR_ENTRYID), nullptr, 0), MAPI_E_INVALID_ENTRYID);
    for (std::size_t size = 0; size < id.size(); ++size) {
        if (size == 0)
            continue;
        EXPECT_TRUE(FAILED(Open(EntryIdBytes(id.begin(), id.begin() + static_cast<std::ptrdiff_t>(size)), nullptr, 0)))
            << size;
    }
    for (std::size_t at = 0; at < id.size(); ++at) {
        EntryIdBytes broken = id;
        broken[at] ^= 0x55;
        EXPECT_TRUE(FAILED(Open(broken, nullptr, 0))) << at;
    }
}

TEST_F(StoreTest, WhatIsNotInThisMailboxIsNotFound)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    auto bobs = m_mailbox.StoreOf(m_mailbox.Bob());
    EXPECT_CODE(OpenEntry(bobs.get(), id, nullptr, 0, m_object.put()), MAPI_E_NOT_FOUND);
    m_mailbox.Delete(id);
    EXPECT_CODE(Open(id, nullptr, 0), MAPI_E_NOT_FOUND);
    Block<MAPIERROR> error;
    ASSERT_CODE(m_mailbox.GetStore()->GetLastError(MAPI_E_NOT_FOUND, 0, error.put()), S_OK);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string(reinterpret_cast<const char *>(error->lpszError)).find("no such message"), std::string::npos);
}

TEST_F(StoreTest, EntryIdentifiersAreComparedByWhatTheyName)
{
    const EntryIdBytes one = m_mailbox.Add({Narrow(PR_SUBJECT_A, "one")});
    const EntryIdBytes two = m_mailbox.Add({Narrow(PR_SUBJECT_A, "two")});
    const auto compare = [&](const EntryIdBytes &left, const EntryIdBytes &right, ULONG &same) {
        return m_mailbox.GetStore()->CompareEntryIDs(
            static_cast<ULONG>(left.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(left.data())),
            static_cast<ULONG>(right.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(right.data())), 0, &same);
    };
    ULONG same = 9;
    EXPECT_CODE(compare(one, EntryIdBytes(one), same), S_OK);
    EXPECT_EQ(same, 1u);
    EXPECT_CODE(compare(one, two, same), S_OK);
    EXPECT_EQ(same, 0u);
    EXPECT_CODE(compare(one, {1, 2}, same), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(m_mailbox.GetStore()->CompareEntryIDs(0, nullptr, 0, nullptr, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

// The folder for a message class, and the class that decided it.
std::string ReceiveFolder(IMsgStore *store, const char *messageClass)
{
    ULONG size = 0;
    Block<ENTRYID> entry;
    Block<TCHAR> explicitClass;
    const HRESULT hr = store->GetReceiveFolder(reinterpret_cast<LPTSTR>(const_cast<char *>(messageClass)), 0, &size,
                                               entry.put(), explicitClass.put());
    if (hr != S_OK)
        return CodeName(hr);
    ComPtr<IUnknown> folder;
    ULONG type = 0;
    EXPECT_CODE(store->OpenEntry(size, entry.get(), nullptr, 0, &type, folder.put()), S_OK);
    return TextOf(static_cast<IMAPIFolder *>(folder.get()), PR_DISPLAY_NAME_A) + ":" +
           reinterpret_cast<const char *>(explicitClass.get());
}

HRESULT SetReceiveFolder(IMsgStore *store, const char *messageClass, const EntryIdBytes &id)
{
    return store->SetReceiveFolder(reinterpret_cast<LPTSTR>(const_cast<char *>(messageClass)), 0,
                                   static_cast<ULONG>(id.size()),
                                   id.empty() ? nullptr : reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(id.data())));
}

TEST_F(StoreTest, TheInboxReceivesMessagesOfEveryClass)
{
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), nullptr), "Inbox:");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), ""), "Inbox:");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), "IPM.Note"), "Inbox:");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), "Anything.else"), "Inbox:");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), "IPM..Note"), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), ".IPM"), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(ReceiveFolder(m_mailbox.GetStore(), std::string(256, 'a').c_str()), "MAPI_E_INVALID_PARAMETER");
    ULONG size = 0;
    Block<ENTRYID> entry;
    EXPECT_CODE(m_mailbox.GetStore()->GetReceiveFolder(nullptr, 0, nullptr, entry.put(), nullptr),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_mailbox.GetStore()->GetReceiveFolder(nullptr, 0, &size, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_mailbox.GetStore()->GetReceiveFolder(nullptr, 2, &size, entry.put(), nullptr), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(StoreTest, AClassWithAFolderOfItsOwnKeepsItForTheClassesThatItBegins)
{
    const EntryIdBytes sent = BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID);
    const EntryIdBytes deleted = BytesOf(m_mailbox.GetStore(), PR_IPM_WASTEBASKET_ENTRYID);
    ASSERT_CODE(SetReceiveFolder(m_mailbox.GetStore(), "IPM.Note", sent), S_OK);
    ASSERT_CODE(SetReceiveFolder(m_mailbox.GetStore(), "IPM.Note.Fax", deleted), S_OK);
    auto other = m_mailbox.StoreOf(m_mailbox.Alice());
    EXPECT_EQ(ReceiveFolder(other.get(), "IPM.Note"), "Sent Items:IPM.Note");
    EXPECT_EQ(ReceiveFolder(other.get(), "ipm.note.microsoft"), "Sent Items:IPM.Note");
    EXPECT_EQ(ReceiveFolder(other.get(), "IPM.Note.Fax.Page"), "Deleted Items:IPM.Note.Fax");
    EXPECT_EQ(ReceiveFolder(other.get(), "IPM.Notebook"), "Inbox:");
    ASSERT_CODE(SetReceiveFolder(m_mailbox.GetStore(), "IPM.Note", {}), S_OK);
    EXPECT_EQ(ReceiveFolder(other.get(), "IPM.Note"), "Inbox:");
    EXPECT_EQ(ReceiveFolder(other.get(), "IPM.Note.Fax"), "Deleted Items:IPM.Note.Fax");
    EXPECT_CODE(SetReceiveFolder(m_mailbox.GetStore(), "", {}), MAPI_E_INVALID_PARAMETER);
    // Where messages arrive is nothing for a list of properties.
    EXPECT_EQ(GetAllProps(*m_mailbox.GetStore()).Find(PROP_TAG(PT_MV_STRING8, 0x67F0)), nullptr);
}

TEST_F(StoreTest, TheReceiveFolderTableListsClassesAndFolders)
{
    const EntryIdBytes sent = BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID);
    ASSERT_CODE(SetReceiveFolder(m_mailbox.GetStore(), "IPM.Note", sent), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_mailbox.GetStore()->GetReceiveFolderTable(0, table.put()), S_OK);
    Rows rows;
    ASSERT_CODE(QueryAllRows(table.get(), Tags{PR_MESSAGE_CLASS_A, PR_ENTRYID}, nullptr,
                             Sort{{PR_MESSAGE_CLASS_A, TABLE_SORT_ASCEND}}, 0, rows.put()),
                S_OK);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_STREQ(rows[0].lpProps[0].Value.lpszA, "");
    EXPECT_STREQ(rows[1].lpProps[0].Value.lpszA, "IPM.Note");
    EXPECT_EQ(rows[1].lpProps[1].Value.bin.cb, sent.size());
}

TEST_F(StoreTest, LogoffTakesNoFlagsAndLeavesTheStoreUsable)
{
    EXPECT_CODE(m_mailbox.GetStore()->StoreLogoff(nullptr), S_OK);
    ULONG flags = LOGOFF_ORDERLY;
    EXPECT_CODE(m_mailbox.GetStore()->StoreLogoff(&flags), S_OK);
    EXPECT_EQ(flags, LOGOFF_COMPLETE);
    flags = 0x80000000;
    EXPECT_CODE(m_mailbox.GetStore()->StoreLogoff(&flags), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(TextOf(m_mailbox.GetStore(), PR_DISPLAY_NAME_A), "Mailbox - Alice Archer");
}

TEST_F(StoreTest, ObjectsStayUsableAfterTheirStoreIsReleased)
{
    auto store = m_mailbox.StoreOf(m_mailbox.Bob());
    auto folder = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID, store.get());
    store.reset();
    ComPtr<IMessage> message;
    ASSERT_CODE(folder->CreateMessage(nullptr, 0, message.put()), S_OK);
    folder.reset();
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "alone")}), S_OK);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "alone");
}

TEST_F(StoreTest, NotificationsAndTheTransportSayThatTheyAreNotSupported)
{
    IMsgStore *store = m_mailbox.GetStore();
    ULONG connection = 0;
    ComPtr<IMAPITable> table;
    EXPECT_CODE(store->Advise(0, nullptr, fnevNewMail, nullptr, &connection), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->Unadvise(1), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->AbortSubmit(0, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->GetOutgoingQueue(0, table.put()), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->SetLockState(nullptr, MSG_LOCKED), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->FinishedMsg(0, 0, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(store->NotifyNewMail(nullptr), MAPI_E_NO_SUPPORT);
}

} // namespace

} // namespace localmapi::test
