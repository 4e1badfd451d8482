// Proves what folders do with lists of messages: copying, moving, marking and deleting them, whole or in pieces.
#include "FolderFixture.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/storage/Database.h"

#include <functional>

namespace localmapi::test
{

namespace
{

using FolderMessagesTest = WithFolders;

TEST_F(FolderMessagesTest, CopyMessagesCopiesWithEverythingInThem)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello"), Narrow(PR_BODY_A, "body")});
    auto sent = m_mailbox.Folder(PR_IPM_SENTMAIL_ENTRYID);
    EXPECT_CODE(Copy({id}, sent.get(), 0), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "hello");
    EXPECT_EQ(Subjects(sent.get()), "hello");
}

TEST_F(FolderMessagesTest, AMovedMessageHasANewEntryIdentifierAndTheOldOneNamesNothing)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "gone"), Narrow(PR_BODY_A, "body")});
    auto deleted = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    EXPECT_CODE(Copy({id}, deleted.get(), MESSAGE_MOVE), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "");
    EXPECT_EQ(Subjects(deleted.get()), "gone");
    ComPtr<IUnknown> object;
    EXPECT_CODE(OpenEntry(m_mailbox.GetStore(), id, nullptr, 0, object.put()), MAPI_E_NOT_FOUND);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(deleted->GetContentsTable(0, table.put()), S_OK);
    Rows rows;
    ASSERT_CODE(QueryAllRows(table.get(), Tags{PR_ENTRYID}, nullptr, nullptr, 0, rows.put()), S_OK);
    const SBinary &now = rows[0].lpProps[0].Value.bin;
    const EntryIdBytes moved(now.lpb, now.lpb + now.cb);
    EXPECT_NE(moved, id);
    EXPECT_EQ(TextOf(m_mailbox.Open(moved).get(), PR_BODY_A), "body");
}

TEST_F(FolderMessagesTest, MessagesThatAreMissingMakeTheCompletionPartial)
{
    const EntryIdBytes here = m_mailbox.Add({Narrow(PR_SUBJECT_A, "here")});
    const EntryIdBytes gone = m_mailbox.Add({Narrow(PR_SUBJECT_A, "gone")});
    m_mailbox.Delete(gone);
    auto deleted = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    EXPECT_CODE(Copy({gone, here}, deleted.get(), MESSAGE_MOVE), MAPI_W_PARTIAL_COMPLETION);
    EXPECT_EQ(Subjects(deleted.get()), "here");
    EXPECT_CODE(Copy({here}, deleted.get(), MESSAGE_MOVE), MAPI_W_PARTIAL_COMPLETION);
    EXPECT_CODE(m_mailbox.Inbox()->DeleteMessages(EntryList({here}), 0, nullptr, 0), MAPI_W_PARTIAL_COMPLETION);
}

TEST_F(FolderMessagesTest, AListOfTwoThousandIsOneChangeAndALongerOneIsDoneInPieces)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "one")});
    const auto changesOf = [&](const std::function<HRESULT()> &work) {
        const auto before = m_mailbox.GetSite().GetChangeNumber();
        EXPECT_CODE(work(), S_OK);
        return m_mailbox.GetSite().GetChangeNumber() - before;
    };
    IMAPIFolder *inbox = m_mailbox.Inbox();
    while (LongOf(inbox, PR_CONTENT_COUNT) < 2048) // as many again each time
        EXPECT_CODE(Copy(IdsIn(inbox), inbox, 0), S_OK);
    std::vector<EntryIdBytes> ids = IdsIn(inbox);
    ASSERT_EQ(ids.size(), 2048u);
    const std::vector<EntryIdBytes> most(ids.begin(), ids.begin() + 2000);
    EXPECT_EQ(changesOf([&] { return inbox->SetReadFlags(EntryList(most), 0, nullptr, 0); }), 1);
    EXPECT_EQ(changesOf([&] { return inbox->SetReadFlags(EntryList(ids), 0, nullptr, CLEAR_READ_FLAG); }), 2);
    auto deleted = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    EXPECT_EQ(changesOf([&] { return Copy(most, deleted.get(), MESSAGE_MOVE); }), 1);
    EXPECT_EQ(changesOf([&] { return Copy(IdsIn(inbox), deleted.get(), MESSAGE_MOVE); }), 1);
    ids = IdsIn(deleted.get());
    ASSERT_EQ(ids.size(), 2048u);
    EXPECT_EQ(changesOf([&] { return deleted->DeleteMessages(EntryList(ids), 0, nullptr, 0); }), 2);
    EXPECT_EQ(LongOf(deleted.get(), PR_CONTENT_COUNT), 0);
}

// A file that refuses to have one message of the second piece touched.
TEST_F(FolderMessagesTest, WhereALaterPieceFailsTheCompletionIsPartial)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "one"), Long(PR_MESSAGE_FLAGS, MSGFLAG_READ)});
    IMAPIFolder *inbox = m_mailbox.Inbox();
    while (LongOf(inbox, PR_CONTENT_COUNT) < 2048) // as many again each time
        EXPECT_CODE(Copy(IdsIn(inbox), inbox, 0), S_OK);
    const std::vector<EntryIdBytes> ids = IdsIn(inbox);
    const auto last = ParseEntryId(m_mailbox.GetSite().Info().uid, static_cast<ULONG>(ids.back().size()),
                                   reinterpret_cast<const ENTRYID *>(ids.back().data()));
    {
        storage::Writer writer(m_mailbox.GetSite().GetDatabase());
        for (const char *work : {"UPDATE", "DELETE"})
            writer->Execute("CREATE TRIGGER refuse_" + std::string(work) + " BEFORE " + work +
                            " ON object WHEN OLD.id = " + std::to_string(last.object) +
                            " BEGIN SELECT RAISE(ABORT, 'refused'); END");
        writer.Commit();
    }
    EXPECT_CODE(inbox->SetReadFlags(EntryList(ids), 0, nullptr, CLEAR_READ_FLAG), MAPI_W_PARTIAL_COMPLETION);
    EXPECT_EQ(LongOf(inbox, PR_CONTENT_UNREAD), 2000);
    EXPECT_CODE(inbox->DeleteMessages(EntryList(ids), 0, nullptr, 0), MAPI_W_PARTIAL_COMPLETION);
    EXPECT_EQ(LongOf(inbox, PR_CONTENT_COUNT), 48);
}

TEST_F(FolderMessagesTest, CopyingAndMovingWithinOneFolderWorks)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "same")});
    EXPECT_CODE(Copy({id}, m_mailbox.Inbox(), 0), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "same same");
    EXPECT_CODE(Copy({id}, m_mailbox.Inbox(), MESSAGE_MOVE), S_OK);
    EXPECT_EQ(Subjects(m_mailbox.Inbox()), "same same");
    ComPtr<IUnknown> object;
    EXPECT_CODE(OpenEntry(m_mailbox.GetStore(), id, nullptr, 0, object.put()), MAPI_E_NOT_FOUND);
}

TEST_F(FolderMessagesTest, MessagesGoToAnotherMailboxOnlyWithTheRightToIt)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "to bob")});
    auto bobs = m_mailbox.StoreOf(m_mailbox.Bob());
    auto bobsInbox = m_mailbox.Folder(0, bobs.get());
    EXPECT_CODE(Copy({id}, bobsInbox.get(), 0), MAPI_E_NO_ACCESS);
    ComPtr<IMsgStore> asService;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Service(), MAPI_BEST_ACCESS, asService), S_OK);
    auto inbox = m_mailbox.Folder(0, asService.get());
    const std::vector<EntryIdBytes> ids{id};
    EXPECT_CODE(inbox->CopyMessages(EntryList(ids), &IID_IMAPIFolder, bobsInbox.get(), 0, nullptr, 0), S_OK);
    EXPECT_EQ(Subjects(bobsInbox.get()), "to bob");
    auto readOnly = m_mailbox.StoreOf(m_mailbox.Bob(), 0);
    auto readOnlyInbox = m_mailbox.Folder(0, readOnly.get());
    EXPECT_CODE(inbox->CopyMessages(EntryList(ids), nullptr, readOnlyInbox.get(), 0, nullptr, 0), MAPI_E_NO_ACCESS);
}

TEST_F(FolderMessagesTest, BadListsAreRefused)
{
    auto sent = m_mailbox.Folder(PR_IPM_SENTMAIL_ENTRYID);
    IMAPIFolder *inbox = m_mailbox.Inbox();
    EXPECT_CODE(inbox->CopyMessages(nullptr, nullptr, sent.get(), 0, nullptr, 0), MAPI_E_INVALID_PARAMETER);
    ENTRYLIST bad{};
    bad.cValues = 1;
    EXPECT_CODE(inbox->CopyMessages(&bad, nullptr, sent.get(), 0, nullptr, 0), MAPI_E_INVALID_PARAMETER);
    bad.cValues = 0x7FFFFFFF;
    SBinary entry{};
    bad.lpbin = &entry;
    EXPECT_CODE(inbox->DeleteMessages(&bad, 0, nullptr, 0), MAPI_E_INVALID_PARAMETER);
    entry.cb = 40;
    bad.cValues = 1;
    EXPECT_CODE(inbox->DeleteMessages(&bad, 0, nullptr, 0), MAPI_E_INVALID_PARAMETER);
    const EntryIdBytes nonsense(48, 7);
    EXPECT_CODE(Copy({nonsense}, sent.get(), 0), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_CODE(Copy({EntryIdBytes(3, 7)}, sent.get(), 0), MAPI_E_INVALID_ENTRYID);
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "x")});
    EXPECT_CODE(Copy({id}, nullptr, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Copy({id}, sent.get(), 0x4000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(inbox->CopyMessages(EntryList({id}), &IID_IMessage, sent.get(), 0, nullptr, 0),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(Copy({}, sent.get(), 0), S_OK);
}

TEST_F(FolderMessagesTest, SetReadFlagsMarksTheListedMessagesOrAll)
{
    const EntryIdBytes one = m_mailbox.Add({Narrow(PR_SUBJECT_A, "one"), Long(PR_MESSAGE_FLAGS, 0)});
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "two"), Long(PR_MESSAGE_FLAGS, 0)});
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(EntryList({one}), 0, nullptr, 0), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_UNREAD), 1);
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(nullptr, 0, nullptr, SUPPRESS_RECEIPT), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_UNREAD), 0);
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(EntryList({one}), 0, nullptr, CLEAR_READ_FLAG), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_UNREAD), 1);
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(nullptr, 0, nullptr, CLEAR_READ_FLAG), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_UNREAD), 2);
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(nullptr, 0, nullptr, CLEAR_READ_FLAG | SUPPRESS_RECEIPT),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(nullptr, 0, nullptr, 0x8000), MAPI_E_UNKNOWN_FLAGS);
}

} // namespace

} // namespace localmapi::test
