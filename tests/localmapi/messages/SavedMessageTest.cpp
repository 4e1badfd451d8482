// Proves what SaveChanges makes visible and when, conflicts between two who change one message, and the read flag.
#include "ExchangeMapi.h"
#include "MessageFixture.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

class SavedMessageTest : public InAMailbox
{
};

TEST_F(SavedMessageTest, NothingIsVisibleToOthersBeforeSaveChanges)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "before")});
    auto message = m_mailbox.Open(id);
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "after")}), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "after");
    EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), PR_SUBJECT_A), "before");
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), PR_SUBJECT_A), "after");
    ULONG count = 99;
    auto unsaved = m_mailbox.NewMessage();
    EXPECT_CODE(m_mailbox.Contents()->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 1u);
}

TEST_F(SavedMessageTest, ChangesThatWereNotSavedAreGoneWithTheObject)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "before")});
    {
        auto message = m_mailbox.Open(id);
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "after")}), S_OK);
    }
    EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), PR_SUBJECT_A), "before");
}

TEST_F(SavedMessageTest, SaveChangesKeepsTheObjectOpenAsAskedFor)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "again")}), S_OK);
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READONLY), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "again");
    SPropValue subject = Narrow(PR_SUBJECT_A, "no more");
    EXPECT_CODE(message->SetProps(1, &subject, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_CODE(message->SaveChanges(0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "again");
}

TEST_F(SavedMessageTest, WhoSavesSecondIsToldThatTheMessageWasChanged)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "before"), Long(kNumber, 1)});
    auto first = m_mailbox.Open(id);
    auto second = m_mailbox.Open(id);
    ASSERT_CODE(SetProps(first.get(), {Narrow(PR_SUBJECT_A, "first")}), S_OK);
    ASSERT_CODE(SetProps(second.get(), {Long(kNumber, 2)}), S_OK);
    ASSERT_CODE(first->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_CODE(second->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_OBJECT_CHANGED);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), 1);
    EXPECT_CODE(second->SaveChanges(KEEP_OPEN_READWRITE | FORCE_SAVE), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), 2);
    EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), PR_SUBJECT_A), "first");
}

TEST_F(SavedMessageTest, ADeletedMessageCanBeNeitherSavedNorRead)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "gone")});
    auto message = m_mailbox.Open(id);
    ASSERT_CODE(SetProps(message.get(), {Long(kNumber, 2)}), S_OK);
    m_mailbox.Delete(id);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_OBJECT_DELETED);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE | FORCE_SAVE), MAPI_E_OBJECT_DELETED);
    EXPECT_CODE(GetProps(message, {PR_SUBJECT_A}).hr, MAPI_E_OBJECT_DELETED);
    EXPECT_CODE(message->SetReadFlag(0), MAPI_E_OBJECT_DELETED);
}

TEST_F(SavedMessageTest, TheReadFlagIsSetAndClearedAtOnce)
{
    const EntryIdBytes id = m_mailbox.Add({Long(PR_MESSAGE_FLAGS, 0)});
    auto message = m_mailbox.Open(id);
    EXPECT_CODE(message->SetReadFlag(0), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_READ));
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_READ));
    EXPECT_CODE(message->SetReadFlag(CLEAR_READ_FLAG), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), 0);
    EXPECT_CODE(message->SetReadFlag(SUPPRESS_RECEIPT), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_READ));
    EXPECT_CODE(message->SetReadFlag(CLEAR_READ_FLAG), S_OK);
    EXPECT_CODE(message->SetReadFlag(GENERATE_RECEIPT_ONLY), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), 0);
    EXPECT_CODE(message->SetReadFlag(CLEAR_READ_FLAG | SUPPRESS_RECEIPT), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->SetReadFlag(0x4000), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(SavedMessageTest, ThePendingReceiptsAreClearedWithoutReadingTheMessage)
{
    const EntryIdBytes id = m_mailbox.Add({Long(PR_MESSAGE_FLAGS, MSGFLAG_RN_PENDING | MSGFLAG_NRN_PENDING)});
    auto message = m_mailbox.Open(id);
    EXPECT_CODE(message->SetReadFlag(CLEAR_RN_PENDING), S_OK);
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_NRN_PENDING));
    EXPECT_CODE(message->SetReadFlag(CLEAR_NRN_PENDING), S_OK);
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), 0);
}

TEST_F(SavedMessageTest, MarkingAMessageReadIsNoConflictForTheSameObject)
{
    const EntryIdBytes id = m_mailbox.Add({Long(PR_MESSAGE_FLAGS, 0)});
    auto message = m_mailbox.Open(id);
    ASSERT_CODE(SetProps(message.get(), {Long(kNumber, 3)}), S_OK);
    ASSERT_CODE(message->SetReadFlag(0), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), -1);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), 3);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_READ));
}

TEST_F(SavedMessageTest, AMessageThatIsNotSavedYetCanBeMarkedToo)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(message->SetReadFlag(CLEAR_READ_FLAG), S_OK);
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_UNSENT));
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_UNSENT));
}

} // namespace

} // namespace localmapi::test
