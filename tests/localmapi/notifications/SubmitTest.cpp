// Proves that submission is told where it happens: in the Inbox of who gets the message, in the folder that it leaves
// and in the one that keeps it.
#include "../messages/Letters.h"
#include "Notified.h"

namespace localmapi::test
{

namespace
{

class SubmissionIsTold : public Notified
{
  protected:
    ComPtr<Sink> Watch(const ComPtr<IMAPIFolder> &folder)
    {
        ComPtr<IMAPITable> &table = m_tables.emplace_back();
        EXPECT_CODE(folder->GetContentsTable(0, table.put()), S_OK);
        EXPECT_CODE(table->SetColumns(Tags{kLabel, PR_INSTANCE_KEY}, 0), S_OK);
        auto sink = MakeObject<Sink>();
        Advise(table, sink);
        return sink;
    }
    static std::string First(const ComPtr<Sink> &sink)
    {
        const Event event = sink->Take(1).front();
        return std::to_string(event.event) + " " + event.label;
    }

    std::vector<ComPtr<IMAPITable>> m_tables;
};

TEST_F(SubmissionIsTold, ToTheInboxTheOutboxAndTheFolderOfSentMessages)
{
    auto bobs = m_mailbox.StoreOf(m_mailbox.Bob());
    auto inbox = Watch(m_mailbox.Folder(0, bobs.get()));
    auto outboxFolder = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID);
    auto outbox = Watch(outboxFolder);
    auto sent = Watch(m_mailbox.Folder(PR_IPM_SENTMAIL_ENTRYID));
    const EntryIdBytes keep = BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID);
    ComPtr<IMessage> letter;
    ASSERT_CODE(outboxFolder->CreateMessage(nullptr, 0, letter.put()), S_OK);
    ASSERT_CODE(SetProps(letter.get(), {Narrow(kLabel, "letter"),
                                        Binary(PR_SENTMAIL_ENTRYID, keep.data(), static_cast<ULONG>(keep.size()))}),
                S_OK);
    ASSERT_CODE(Address(letter.get(), {ByAddress("EX", m_mailbox.Bob().dn)}), S_OK);
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(First(outbox), std::to_string(TABLE_ROW_ADDED) + " letter");
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(First(inbox), std::to_string(TABLE_ROW_ADDED) + " letter");
    EXPECT_EQ(First(outbox), std::to_string(TABLE_ROW_DELETED) + " ");
    EXPECT_EQ(First(sent), std::to_string(TABLE_ROW_ADDED) + " letter");
}

TEST_F(SubmissionIsTold, NotWhereTheMessageIsHiddenBeforeAndAfterIt)
{
    auto outboxFolder = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID);
    ComPtr<IMessage> letter;
    ASSERT_CODE(outboxFolder->CreateMessage(nullptr, 0, letter.put()), S_OK);
    ASSERT_CODE(SetProps(letter.get(), {Narrow(kLabel, "letter")}), S_OK);
    ASSERT_CODE(Address(letter.get(), {ByAddress("EX", m_mailbox.Bob().dn)}), S_OK);
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    auto sink = Watch(outboxFolder);
    Tree tree;
    ASSERT_CODE(m_tables.back()->Restrict(tree.Property(RELOP_EQ, Narrow(kLabel, "another")), 0), S_OK);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    AddTo(outboxFolder.get(), "another");
    EXPECT_EQ(First(sink), std::to_string(TABLE_ROW_ADDED) + " another");
}

} // namespace

} // namespace localmapi::test
