// Proves that messages within messages, and folders within folders, end somewhere: as deep as they may lie they are
// saved, sent, copied and deleted whole; what would lie deeper is refused. And that copying ends where the target lies
// within the source.
#include "Letters.h"
#include "localmapi/provider/store/Attachment.h"
#include "localmapi/provider/table/QueryRows.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::test
{

namespace
{

class NestingTest : public WithLetters
{
  protected:
    // Messages each within the one before, `levels` deep; saved from the innermost outwards when they could all be
    // made.
    HRESULT Nest(IMessage *outermost, int levels)
    {
        std::vector<ComPtr<IMessage>> messages;
        std::vector<ComPtr<IAttach>> attachments;
        for (int level = 0; level < levels; ++level) {
            IMessage *outer = messages.empty() ? outermost : messages.back().get();
            ULONG number = 0;
            EXPECT_CODE(outer->CreateAttach(nullptr, 0, &number, attachments.emplace_back().put()), S_OK);
            EXPECT_CODE(SetProps(attachments.back().get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
            const HRESULT hr =
                attachments.back()->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, MAPI_CREATE | MAPI_MODIFY,
                                                 reinterpret_cast<LPUNKNOWN *>(messages.emplace_back().put()));
            if (FAILED(hr))
                return hr;
            EXPECT_CODE(SetProps(messages.back().get(), {Long(kLevel, level + 1)}), S_OK);
        }
        while (!messages.empty()) {
            EXPECT_CODE(messages.back()->SaveChanges(0), S_OK);
            messages.pop_back();
            EXPECT_CODE(attachments.back()->SaveChanges(0), S_OK);
            attachments.pop_back();
        }
        return S_OK;
    }
    // The level that the innermost message says.
    LONG Deepest(IMessage *outermost)
    {
        ComPtr<IMessage> message = Share<IMessage>(outermost);
        LONG level = 0;
        while (AttachmentCount(message.get()) == 1) {
            message = EmbeddedIn(AttachmentOf(message.get(), 0, 0).get());
            EXPECT_EQ(LongOf(message.get(), kLevel), level + 1);
            ++level;
        }
        return level;
    }
    static std::size_t AttachmentCount(IMessage *message) { return Numbers(message).size(); }
    // The numbers of a message's attachments.
    static std::vector<ULONG> Numbers(IMessage *message)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(message->GetAttachmentTable(0, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_ATTACH_NUM}, nullptr, nullptr, 0, rows.put()), S_OK);
        std::vector<ULONG> numbers;
        for (std::size_t i = 0; i < rows.size(); ++i)
            numbers.push_back(static_cast<ULONG>(rows[i].lpProps[0].Value.l));
        return numbers;
    }
    static HRESULT CopyTo(IMessage *from, IMessage *to)
    {
        return from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, to, 0, nullptr);
    }

    static constexpr ULONG kLevel = PROP_TAG(PT_LONG, 0x6A30);
};

TEST_F(NestingTest, AsDeepAsMessagesMayLieTheyAreSavedSentCopiedAndDeleted)
{
    auto letter = LetterTo({Bob(), ByName("nobody")});
    ASSERT_CODE(Nest(letter.get(), kNestingLimit), S_OK);
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(Deepest(letter.get()), kNestingLimit);
    auto copy = m_mailbox.NewMessage();
    ASSERT_CODE(CopyTo(letter.get(), copy.get()), S_OK);
    const EntryIdBytes id = m_mailbox.Save(copy);
    copy.reset();
    EXPECT_EQ(Deepest(m_mailbox.Open(id).get()), kNestingLimit);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(Deepest(MessageIn(m_bobsInbox.get()).get()), kNestingLimit);
    ASSERT_EQ(CountIn(m_mailbox.Inbox()), 2u) << "the copy and the report, which holds the letter one deeper";
    for (IMAPIFolder *folder : {m_bobsInbox.get(), m_mailbox.Inbox()}) {
        EXPECT_CODE(folder->DeleteMessages(EntryList(MessagesIn(folder)), 0, nullptr, 0), S_OK);
        EXPECT_EQ(CountIn(folder), 0u);
    }
}

TEST_F(NestingTest, WhatWouldLieDeeperIsRefused)
{
    auto message = m_mailbox.NewMessage();
    EXPECT_CODE(Nest(message.get(), kNestingLimit + 1), MAPI_E_TOO_COMPLEX);
    ASSERT_CODE(Nest(message.get(), kNestingLimit), S_OK);
    auto outer = m_mailbox.NewMessage();
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    ASSERT_CODE(outer->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    auto inner = EmbeddedIn(attachment.get(), MAPI_CREATE | MAPI_MODIFY);
    EXPECT_CODE(CopyTo(message.get(), inner.get()), MAPI_E_TOO_COMPLEX) << "nor by copying";
}

TEST_F(NestingTest, AsDeepAsFoldersMayLieTheyAreCopiedAndDeleted)
{
    const auto create = [](IMAPIFolder *in, std::string name, ComPtr<IMAPIFolder> &folder) {
        return in->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, 0, folder.put());
    };
    ComPtr<IMAPIFolder> from, to;
    ASSERT_CODE(create(m_mailbox.Inbox(), "From", from), S_OK);
    ASSERT_CODE(create(m_mailbox.Inbox(), "To", to), S_OK);
    HRESULT hr = S_OK;
    int depth = 4; // the root, what users see of it, the Inbox and this one
    for (auto last = Share<IMAPIFolder>(from.get()); hr == S_OK;) {
        ComPtr<IMAPIFolder> below;
        hr = create(last.get(), "Below", below);
        if (hr == S_OK)
            last = std::move(below), ++depth;
        ASSERT_LE(depth, storage::Objects::kDeepestFolder);
    }
    EXPECT_CODE(hr, MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(depth, storage::Objects::kDeepestFolder);
    EXPECT_CODE(from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMAPIFolder, to.get(), 0, nullptr), S_OK);
    for (IMAPIFolder *top : {from.get(), to.get()}) {
        EntryIdBytes id = BytesOf(top, PR_ENTRYID);
        EXPECT_CODE(m_mailbox.Inbox()->DeleteFolder(static_cast<ULONG>(id.size()),
                                                    reinterpret_cast<LPENTRYID>(id.data()), 0, nullptr, DEL_FOLDERS),
                    S_OK);
    }
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_SUBFOLDERS), 0);
}

TEST_F(NestingTest, AMessageIsCopiedIntoTheOneThatItHolds)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(Nest(message.get(), 2), S_OK);
    auto attachment = AttachmentOf(message.get(), 0);
    auto inner = EmbeddedIn(attachment.get(), MAPI_MODIFY);
    ASSERT_CODE(CopyTo(message.get(), inner.get()), S_OK);
    ASSERT_CODE(inner->SaveChanges(0), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    const EntryIdBytes id = m_mailbox.Save(message);
    // What the message held before, within what it holds now.
    auto held = EmbeddedIn(AttachmentOf(m_mailbox.Open(id).get(), 0, 0).get());
    ASSERT_EQ(AttachmentCount(held.get()), 1u);
    const auto only = [](IMessage *in) { return AttachmentOf(in, Numbers(in).front(), 0); };
    auto once = EmbeddedIn(only(held.get()).get());
    EXPECT_EQ(LongOf(once.get(), kLevel), 1);
    auto twice = EmbeddedIn(only(once.get()).get());
    EXPECT_EQ(LongOf(twice.get(), kLevel), 2);
    EXPECT_EQ(AttachmentCount(twice.get()), 0u);
}

TEST_F(NestingTest, AMessageIsCopiedIntoTheOneThatHoldsIt)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(Nest(message.get(), 3), S_OK);
    auto saved = m_mailbox.Open(m_mailbox.Save(message));
    auto inner = EmbeddedIn(AttachmentOf(saved.get(), 0, 0).get());
    ASSERT_CODE(CopyTo(inner.get(), saved.get()), S_OK);
    ASSERT_CODE(saved->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(LongOf(saved.get(), kLevel), 1);
    ASSERT_EQ(AttachmentCount(saved.get()), 1u);
    auto next = EmbeddedIn(AttachmentOf(saved.get(), Numbers(saved.get()).front(), 0).get());
    EXPECT_EQ(LongOf(next.get(), kLevel), 2);
    EXPECT_EQ(AttachmentCount(next.get()), 1u);
}

TEST_F(NestingTest, AMessageIsCopiedToItselfThroughAnotherObject)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "itself")}), S_OK);
    ASSERT_CODE(Address(message.get(), {ByName("bob")}), S_OK);
    const std::string recording(200000, 'w');
    Attach(message.get(), "message.wav", recording);
    const EntryIdBytes id = m_mailbox.Save(message);
    message.reset();
    auto source = m_mailbox.Open(id), target = m_mailbox.Open(id);
    ASSERT_CODE(CopyTo(source.get(), target.get()), S_OK);
    ASSERT_CODE(target->SaveChanges(0), S_OK);
    auto found = m_mailbox.Open(id);
    EXPECT_EQ(TextOf(found.get(), PR_SUBJECT_A), "itself");
    EXPECT_EQ(RecipientsOf(found.get()), "bob/1");
    EXPECT_EQ(AttachmentsOf(found.get()), "message.wav=" + recording);
}

} // namespace

} // namespace localmapi::test
