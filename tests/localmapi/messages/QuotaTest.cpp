// Proves what clients are told of a full mailbox: who writes into it, who sends to it, and who owns it.
#include "ExchangeMapi.h"
#include "Letters.h"
#include "localmapi/storage/Sizes.h"

namespace localmapi::test
{

namespace
{

constexpr ULONG kReceiveQuota = PROP_TAG(PT_LONG, 0x666A);

class QuotaTest : public WithLetters
{
  protected:
    // So many bytes more than there are.
    void Leave(const storage::User &user, std::int64_t bytes)
    {
        const auto size = storage::SizeOfMailbox(m_mailbox.GetSite(), user.mailbox);
        storage::SetQuota(m_mailbox.GetSite(), user.mailbox, size.bytes + bytes);
    }
    void Lift(const storage::User &user) { storage::SetQuota(m_mailbox.GetSite(), user.mailbox, {}); }
    std::string Body(std::size_t length) { return std::string(length, 'x'); }
};

TEST_F(QuotaTest, WhoWritesIntoAFullMailboxIsToldSoAndCanStillMakeRoom)
{
    const std::vector<EntryIdBytes> ids{
        m_mailbox.Add({Narrow(PR_SUBJECT_A, "there"), Narrow(PR_BODY_A, Body(8000).c_str())})};
    Leave(m_mailbox.Alice(), 1000);
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_BODY_A, Body(4000).c_str())}), S_OK);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_STORE_FULL);
    EntryList list(ids);
    EXPECT_CODE(m_mailbox.Inbox()->CopyMessages(list, nullptr, m_sent.get(), 0, nullptr, 0), MAPI_E_STORE_FULL);
    EXPECT_EQ(CountIn(m_sent.get()), 0u);
    auto opened = m_mailbox.Open(ids[0], MAPI_MODIFY);
    ASSERT_CODE(SetProps(opened.get(), {Narrow(PR_BODY_A, Body(10000).c_str())}), S_OK);
    EXPECT_CODE(opened->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_STORE_FULL);
    EXPECT_CODE(opened->SetReadFlag(0), S_OK);

    // Room is made as clients make it: into Deleted Items, and out of there.
    auto deleted = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    EXPECT_CODE(m_mailbox.Inbox()->CopyMessages(list, nullptr, deleted.get(), 0, nullptr, MESSAGE_MOVE), S_OK);
    const std::vector<EntryIdBytes> gone = MessagesIn(deleted.get());
    EXPECT_CODE(deleted->DeleteMessages(EntryList(gone), 0, nullptr, 0), S_OK);
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK) << "what was refused is not lost";
    EXPECT_EQ(TextOf(message.get(), PR_BODY_W), Body(4000));
}

TEST_F(QuotaTest, WhoSendsToAFullMailboxGetsAReportAndTheOthersGetTheMessage)
{
    storage::Directory(m_mailbox.GetSite()).AddUser("carol", "Carol Cook");
    storage::SetQuota(m_mailbox.GetSite(), m_mailbox.Bob().mailbox, 1024);
    auto letter =
        LetterTo({Bob(), ByName("carol")}, {Narrow(PR_SUBJECT_A, "news"), Narrow(PR_BODY_A, Body(4000).c_str())});
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
    EXPECT_EQ(SubjectsIn(m_outbox.get()), "news") << "the sender's copy";
    EXPECT_EQ(SubjectsIn(m_mailbox.Inbox()), "Undeliverable: news");
    const std::string text = TextOf(MessageIn(m_mailbox.Inbox()).get(), PR_BODY_W);
    EXPECT_NE(text.find("Bob Baker"), std::string::npos) << text;
    EXPECT_NE(text.find("The mailbox is full."), std::string::npos) << text;
    EXPECT_EQ(text.find("Carol"), std::string::npos) << text;
    const auto carol = storage::Directory(m_mailbox.GetSite()).UserByAlias("carol");
    EXPECT_EQ(CountIn(m_mailbox.Folder(0, m_mailbox.StoreOf(*carol).get()).get()), 1u);

    Lift(m_mailbox.Bob());
    ASSERT_CODE(LetterTo({Bob()}, {Narrow(PR_SUBJECT_A, "again")})->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "again");
}

TEST_F(QuotaTest, WhoseOwnMailboxIsFullCanOnlySendWhatLeavesNothingThere)
{
    Leave(m_mailbox.Alice(), 500);
    const std::string text = Body(4000);
    const Props body = {Narrow(PR_BODY_A, text.c_str())};
    auto letter = Letter(body);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_STORE_FULL);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u) << "nothing was sent";
    auto gone = Letter(body);
    ASSERT_CODE(SetProps(gone.get(), {Bool(PR_DELETE_AFTER_SUBMIT, true)}), S_OK);
    EXPECT_CODE(gone->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
    Lift(m_mailbox.Alice());
    EXPECT_CODE(letter->SubmitMessage(0), S_OK) << "the same one, once there is room";
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 2u);
}

TEST_F(QuotaTest, AStoreTellsItsSizeAndItsLimitAndLetsNobodySetThem)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "there"), Narrow(PR_BODY_A, Body(8000).c_str())});
    EXPECT_GE(LongOf(m_mailbox.GetStore(), PR_MESSAGE_SIZE), 8000);
    EXPECT_EQ(LongOf(m_mailbox.GetStore(), kReceiveQuota), -1);
    storage::SetQuota(m_mailbox.GetSite(), m_mailbox.Alice().mailbox, 200 << 10);
    EXPECT_EQ(LongOf(m_mailbox.GetStore(), kReceiveQuota), 200);
    EXPECT_CODE(ProblemOf(m_mailbox.GetStore(), Long(kReceiveQuota, 1 << 20)), MAPI_E_COMPUTED);
    EXPECT_CODE(ProblemOf(m_mailbox.GetStore(), Long(PR_MESSAGE_SIZE, 1)), MAPI_E_COMPUTED);
    EXPECT_EQ(LongOf(m_mailbox.GetStore(), kReceiveQuota), 200);
}

} // namespace

} // namespace localmapi::test
