// Proves what becomes of attachments that two who have one message open both make.
#include "ExchangeMapi.h"
#include "Letters.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

using SharedMessageTest = WithLetters;

// Numbers are given by who attaches: two who have one message open give the same one.
TEST_F(SharedMessageTest, ANewAttachmentHasNothingOfOneThatSomebodyElseSavedMeanwhile)
{
    for (const bool mineIsAMessage : {false, true}) {
        SCOPED_TRACE(mineIsAMessage ? "a message over a file" : "a file over a message");
        const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "shared")});
        auto mine = m_mailbox.Open(id), theirs = m_mailbox.Open(id);
        for (const ComPtr<IMessage> &message : {mine, theirs}) {
            if ((message.get() == mine.get()) != mineIsAMessage) {
                EXPECT_EQ(Attach(message.get(), "a.wav", "recording"), 0u);
                continue;
            }
            ComPtr<IAttach> attachment;
            ULONG number = 1;
            ASSERT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
            EXPECT_EQ(number, 0u);
            ASSERT_CODE(SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
            auto inner = EmbeddedIn(attachment.get(), MAPI_CREATE | MAPI_MODIFY);
            ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "within")}), S_OK);
            ASSERT_CODE(inner->SaveChanges(0), S_OK);
            ASSERT_CODE(attachment->SaveChanges(0), S_OK);
        }
        ASSERT_CODE(theirs->SaveChanges(0), S_OK);
        const auto expectMine = [&](IMessage *message) {
            auto attachment = AttachmentOf(message, 0);
            EXPECT_EQ(TextOf(attachment.get(), PR_ATTACH_LONG_FILENAME_A), mineIsAMessage ? "(none)" : "a.wav");
            ComPtr<IUnknown> data, inner;
            EXPECT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, data.put()),
                        mineIsAMessage ? MAPI_E_NOT_FOUND : S_OK);
            EXPECT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, inner.put()),
                        mineIsAMessage ? S_OK : MAPI_E_NOT_FOUND);
        };
        expectMine(mine.get());
        auto copy = m_mailbox.NewMessage();
        ASSERT_CODE(mine->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr), S_OK);
        expectMine(copy.get());
        EXPECT_CODE(mine->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_OBJECT_CHANGED);
        ASSERT_CODE(mine->SaveChanges(FORCE_SAVE), S_OK);
        expectMine(m_mailbox.Open(id).get());
    }
}

TEST_F(SharedMessageTest, ANewAttachmentThatIsForgottenTakesNobodyElsesAlong)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "shared")});
    auto mine = m_mailbox.Open(id), theirs = m_mailbox.Open(id);
    EXPECT_EQ(Attach(mine.get(), "mine.wav", "mine"), 0u);
    EXPECT_EQ(Attach(theirs.get(), "theirs.wav", "theirs"), 0u);
    ASSERT_CODE(theirs->SaveChanges(0), S_OK);
    EXPECT_CODE(mine->DeleteAttach(0, 0, nullptr, 0), S_OK);
    ASSERT_CODE(mine->SaveChanges(FORCE_SAVE), S_OK);
    EXPECT_EQ(AttachmentsOf(m_mailbox.Open(id).get()), "theirs.wav=theirs");
}

// What one has made oneself is one's own once it is written, also in a message that stays open within another one.
TEST_F(SharedMessageTest, AnAttachmentThatWasWrittenIsDeletedInAMessageWithinAnotherOne)
{
    for (const bool isFresh : {false, true}) {
        SCOPED_TRACE(isFresh ? "new" : "opened");
        auto outer = m_mailbox.NewMessage();
        ComPtr<IAttach> holder;
        ULONG number = 0;
        ASSERT_CODE(outer->CreateAttach(nullptr, 0, &number, holder.put()), S_OK);
        ASSERT_CODE(SetProps(holder.get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
        auto inner = EmbeddedIn(holder.get(), MAPI_CREATE | MAPI_MODIFY);
        const auto saveAll = [&] {
            ASSERT_CODE(inner->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
            ASSERT_CODE(holder->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
            ASSERT_CODE(outer->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        };
        saveAll();
        const EntryIdBytes id = BytesOf(outer.get(), PR_ENTRYID);
        if (!isFresh) {
            outer = m_mailbox.Open(id);
            holder = AttachmentOf(outer.get(), number, MAPI_MODIFY);
            inner = EmbeddedIn(holder.get(), MAPI_MODIFY);
        }
        const ULONG own = Attach(inner.get(), "a.wav", "recording");
        saveAll();
        EXPECT_EQ(AttachmentsOf(inner.get()), "a.wav=recording");
        ASSERT_CODE(inner->DeleteAttach(own, 0, nullptr, 0), S_OK);
        EXPECT_CODE(inner->DeleteAttach(own, 0, nullptr, 0), MAPI_E_NOT_FOUND);
        EXPECT_EQ(AttachmentsOf(inner.get()), "");
        saveAll();
        EXPECT_EQ(AttachmentsOf(EmbeddedIn(AttachmentOf(m_mailbox.Open(id).get(), number).get()).get()), "");
    }
}

} // namespace

} // namespace localmapi::test
