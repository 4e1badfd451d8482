// Proves folders: their properties, their tables, and the folders in them.
#include "ExchangeMapi.h"
#include "FolderFixture.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

using FolderTest = WithFolders;

TEST_F(FolderTest, AFolderCountsItsMessagesAndTheUnreadOnes)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "read"), Long(PR_MESSAGE_FLAGS, MSGFLAG_READ)});
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "unread"), Long(PR_MESSAGE_FLAGS, 0)});
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "another"), Long(PR_MESSAGE_FLAGS, 0)});
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_COUNT), 3);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_UNREAD), 2);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_SUBFOLDERS), 0);
    EXPECT_EQ(LongOf(m_mailbox.Folder(PR_IPM_SUBTREE_ENTRYID).get(), PR_SUBFOLDERS), 1);
}

TEST_F(FolderTest, AFolderSaysWhatItIs)
{
    IMAPIFolder *inbox = m_mailbox.Inbox();
    EXPECT_EQ(LongOf(inbox, PR_OBJECT_TYPE), static_cast<LONG>(MAPI_FOLDER));
    EXPECT_EQ(LongOf(inbox, PR_FOLDER_TYPE), static_cast<LONG>(FOLDER_GENERIC));
    EXPECT_EQ(LongOf(inbox, PR_ACCESS_LEVEL), static_cast<LONG>(MAPI_MODIFY));
    EXPECT_EQ(TextOf(inbox, PR_CONTAINER_CLASS_A), "IPF.Note");
    EXPECT_EQ(BytesOf(inbox, PR_STORE_ENTRYID), BytesOf(m_mailbox.GetStore(), PR_ENTRYID));
    EXPECT_CODE(ProblemOf(inbox, Long(PR_CONTENT_COUNT, 5)), MAPI_E_COMPUTED);
    EXPECT_CODE(ProblemOf(inbox, Long(PR_FOLDER_TYPE, 0)), MAPI_E_COMPUTED);
}

TEST_F(FolderTest, TheCalendarIsNamedByInboxAndRoot)
{
    const EntryIdBytes calendar = BytesOf(m_mailbox.Inbox(), PR_IPM_APPOINTMENT_ENTRYID);
    ComPtr<IMAPIFolder> folder;
    ASSERT_CODE(OpenEntry(m_mailbox.GetStore(), calendar, nullptr, 0, reinterpret_cast<IUnknown **>(folder.put())),
                S_OK);
    EXPECT_EQ(TextOf(folder.get(), PR_CONTAINER_CLASS_A), "IPF.Appointment");
    ComPtr<IMAPIFolder> root;
    ASSERT_CODE(
        m_mailbox.GetStore()->OpenEntry(0, nullptr, nullptr, 0, nullptr, reinterpret_cast<IUnknown **>(root.put())),
        S_OK);
    EXPECT_EQ(BytesOf(root.get(), PR_IPM_APPOINTMENT_ENTRYID), calendar);
    EXPECT_TRUE(BytesOf(folder.get(), PR_IPM_APPOINTMENT_ENTRYID).empty());
}

TEST_F(FolderTest, PropertiesOfAFolderAreChangedAtOnce)
{
    ASSERT_CODE(SetProps(m_mailbox.Inbox(), {Narrow(PR_COMMENT_A, "all that arrives")}), S_OK);
    EXPECT_EQ(TextOf(m_mailbox.Folder(0).get(), PR_COMMENT_A), "all that arrives");
    EXPECT_CODE(m_mailbox.Inbox()->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_CODE(m_mailbox.Inbox()->DeleteProps(Tags{PR_COMMENT_A}, nullptr), S_OK);
    EXPECT_EQ(TextOf(m_mailbox.Folder(0).get(), PR_COMMENT_A), "(none)");
}

TEST_F(FolderTest, TheContentsTableHasEntryIdentifiersThatOpen)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    auto table = m_mailbox.Contents(MAPI_UNICODE);
    ASSERT_CODE(
        table->SetColumns(
            Tags{PR_ENTRYID, PR_INSTANCE_KEY, PR_PARENT_ENTRYID, PR_STORE_ENTRYID, PR_OBJECT_TYPE, PR_RECORD_KEY}, 0),
        S_OK);
    Rows rows;
    ASSERT_CODE(table->QueryRows(10, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.size(), 1u);
    const auto bytes = [&](int column) {
        const SBinary &binary = rows[0].lpProps[column].Value.bin;
        return EntryIdBytes(binary.lpb, binary.lpb + binary.cb);
    };
    EXPECT_EQ(bytes(0), id);
    auto message = m_mailbox.Open(id);
    EXPECT_EQ(bytes(1), BytesOf(message.get(), PR_INSTANCE_KEY));
    EXPECT_EQ(bytes(2), BytesOf(m_mailbox.Inbox(), PR_ENTRYID));
    EXPECT_EQ(bytes(3), BytesOf(m_mailbox.GetStore(), PR_ENTRYID));
    EXPECT_EQ(rows[0].lpProps[4].Value.l, static_cast<LONG>(MAPI_MESSAGE));
    EXPECT_EQ(bytes(5), BytesOf(message.get(), PR_RECORD_KEY));
}

TEST_F(FolderTest, TheContentsTableBeginsWithTextInTheWidthAskedFor)
{
    for (const ULONG flags : {ULONG{0}, MAPI_UNICODE}) {
        auto table = m_mailbox.Contents(flags);
        Block<SPropTagArray> columns;
        ASSERT_CODE(table->QueryColumns(0, columns.put()), S_OK);
        for (ULONG i = 0; i < columns->cValues; ++i)
            EXPECT_NE(PROP_TYPE(columns->aulPropTag[i]), flags ? PT_STRING8 : PT_UNICODE);
    }
    ComPtr<IMAPITable> table;
    EXPECT_CODE(m_mailbox.Inbox()->GetContentsTable(0x01000000, table.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(m_mailbox.Inbox()->GetContentsTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(FolderTest, TablesOpenAsPropertiesToo)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello")});
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_mailbox.Inbox()->OpenProperty(PR_CONTAINER_CONTENTS, &IID_IMAPITable, 0, 0,
                                                reinterpret_cast<LPUNKNOWN *>(table.put())),
                S_OK);
    ULONG count = 0;
    EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 1u);
    ComPtr<IUnknown> object;
    EXPECT_CODE(m_mailbox.Inbox()->OpenProperty(PR_CONTAINER_CONTENTS, &IID_IStream, 0, 0, object.put()),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
}

TEST_F(FolderTest, AssociatedMessagesStandInATableOfTheirOwn)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "mail")});
    ComPtr<IMessage> message;
    ASSERT_CODE(m_mailbox.Inbox()->CreateMessage(nullptr, MAPI_ASSOCIATED, message.put()), S_OK);
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "hidden"), Long(PR_MESSAGE_FLAGS, 0)}), S_OK);
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_TRUE(LongOf(message.get(), PR_MESSAGE_FLAGS) & static_cast<LONG>(MSGFLAG_ASSOCIATED));
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "mail");
    EXPECT_EQ(Subjects(m_mailbox.Inbox(), MAPI_ASSOCIATED), "hidden");
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_COUNT), 1);
}

TEST_F(FolderTest, TheHierarchyTableShowsOneLevelOrAll)
{
    auto one = Create(m_mailbox.Inbox(), "One");
    Create(one.get(), "Deep");
    Create(m_mailbox.Inbox(), "Two");
    EXPECT_EQ(Folders(m_mailbox.Inbox()), "One:1 Two:1");
    const std::string deep = Folders(m_mailbox.Inbox(), CONVENIENT_DEPTH);
    EXPECT_NE(deep.find("Deep:2"), std::string::npos) << deep;
    EXPECT_NE(deep.find("Two:1"), std::string::npos) << deep;
}

TEST_F(FolderTest, CreateFolderMakesOneOrOpensTheOneThatIsThere)
{
    auto made = Create(m_mailbox.Inbox(), "Projects");
    EXPECT_EQ(BytesOf(made.get(), PR_PARENT_ENTRYID), BytesOf(m_mailbox.Inbox(), PR_ENTRYID));
    ComPtr<IMAPIFolder> folder;
    const auto create = [&](ULONG type, const WCHAR *name, ULONG flags) {
        return m_mailbox.Inbox()->CreateFolder(type, reinterpret_cast<LPTSTR>(const_cast<WCHAR *>(name)), nullptr,
                                               nullptr, MAPI_UNICODE | flags, folder.put());
    };
    EXPECT_CODE(create(FOLDER_GENERIC, OLESTR("projects"), 0), MAPI_E_COLLISION);
    ASSERT_CODE(create(FOLDER_GENERIC, OLESTR("projects"), OPEN_IF_EXISTS), S_OK);
    EXPECT_EQ(BytesOf(folder.get(), PR_ENTRYID), BytesOf(made.get(), PR_ENTRYID));
    EXPECT_CODE(create(FOLDER_SEARCH, OLESTR("s"), 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(create(FOLDER_ROOT, OLESTR("s"), 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(create(FOLDER_GENERIC, OLESTR(""), 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(create(FOLDER_GENERIC, OLESTR("x"), 0x40), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(FolderTest, DeleteFolderNeedsLeaveForWhatIsInIt)
{
    auto folder = Create(m_mailbox.Inbox(), "Full");
    const EntryIdBytes id = BytesOf(folder.get(), PR_ENTRYID);
    ComPtr<IMessage> message;
    ASSERT_CODE(folder->CreateMessage(nullptr, 0, message.put()), S_OK);
    ASSERT_CODE(message->SaveChanges(0), S_OK);
    EXPECT_CODE(DeleteFolder(m_mailbox.Inbox(), id, 0), MAPI_E_HAS_MESSAGES);
    Create(folder.get(), "Inner");
    EXPECT_CODE(DeleteFolder(m_mailbox.Inbox(), id, DEL_MESSAGES), MAPI_E_HAS_FOLDERS);
    EXPECT_CODE(DeleteFolder(m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID).get(), id, DEL_MESSAGES | DEL_FOLDERS),
                MAPI_E_NOT_FOUND);
    EXPECT_CODE(DeleteFolder(m_mailbox.Inbox(), id, DEL_MESSAGES | DEL_FOLDERS), S_OK);
    EXPECT_CODE(DeleteFolder(m_mailbox.Inbox(), id, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(Folders(m_mailbox.Inbox()), "");
    EXPECT_CODE(DeleteFolder(m_mailbox.Folder(PR_IPM_SUBTREE_ENTRYID).get(), BytesOf(m_mailbox.Inbox(), PR_ENTRYID),
                             DEL_MESSAGES | DEL_FOLDERS),
                MAPI_E_NO_ACCESS);
    EXPECT_CODE(GetProps(folder, {PR_DISPLAY_NAME_A}).hr, MAPI_E_OBJECT_DELETED);
}

TEST_F(FolderTest, EmptyFolderTakesMessagesAndFoldersAndLeavesAssociatedOnes)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "mail")});
    Create(m_mailbox.Inbox(), "Inner");
    ComPtr<IMessage> hidden;
    ASSERT_CODE(m_mailbox.Inbox()->CreateMessage(nullptr, MAPI_ASSOCIATED, hidden.put()), S_OK);
    ASSERT_CODE(SetProps(hidden.get(), {Narrow(PR_SUBJECT_A, "hidden")}), S_OK);
    ASSERT_CODE(hidden->SaveChanges(0), S_OK);
    EXPECT_CODE(m_mailbox.Inbox()->EmptyFolder(0, nullptr, 0), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "");
    EXPECT_EQ(Folders(m_mailbox.Inbox()), "");
    EXPECT_EQ(Subjects(m_mailbox.Inbox(), MAPI_ASSOCIATED), "hidden");
    EXPECT_CODE(m_mailbox.Inbox()->EmptyFolder(0, nullptr, DEL_ASSOCIATED), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox(), MAPI_ASSOCIATED), "");
}

TEST_F(FolderTest, AMessageHasAStatusThatItsFolderKeeps)
{
    EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "one")});
    const auto entry = reinterpret_cast<LPENTRYID>(id.data());
    const auto size = static_cast<ULONG>(id.size());
    ULONG status = 99;
    EXPECT_CODE(m_mailbox.Inbox()->GetMessageStatus(size, entry, 0, &status), S_OK);
    EXPECT_EQ(status, 0u);
    ULONG old = 99;
    EXPECT_CODE(
        m_mailbox.Inbox()->SetMessageStatus(size, entry, MSGSTATUS_TAGGED | MSGSTATUS_HIDDEN, MSGSTATUS_TAGGED, &old),
        S_OK);
    EXPECT_EQ(old, 0u);
    EXPECT_CODE(m_mailbox.Inbox()->SetMessageStatus(size, entry, MSGSTATUS_HIGHLIGHTED, MSGSTATUS_HIGHLIGHTED, nullptr),
                S_OK);
    EXPECT_CODE(m_mailbox.Inbox()->GetMessageStatus(size, entry, 0, &status), S_OK);
    EXPECT_EQ(status, MSGSTATUS_TAGGED | MSGSTATUS_HIGHLIGHTED);
    EXPECT_CODE(m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID)->GetMessageStatus(size, entry, 0, &status), MAPI_E_NOT_FOUND);
    EXPECT_CODE(m_mailbox.Inbox()->GetMessageStatus(size, entry, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(FolderTest, SearchFoldersAndCopyFolderSayThatTheyAreNotSupported)
{
    IMAPIFolder *inbox = m_mailbox.Inbox();
    EXPECT_CODE(inbox->SetSearchCriteria(nullptr, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(inbox->CopyFolder(0, nullptr, nullptr, nullptr, nullptr, 0, nullptr, 0), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(inbox->SaveContentsSort(nullptr, 0), MAPI_E_NO_SUPPORT);
}

} // namespace

} // namespace localmapi::test
