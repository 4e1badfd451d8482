// Messages that leave one real mailbox and arrive in another: sent, as voice mail, forwarded, answered; and what
// happens when they can't.
#include "behaviour/BehaviourTest.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/View.h"
#include <fstream>

using namespace localmapi;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr storage::Tag kLastVerb = storage::MakeTag(0x1081, storage::Type::Int32);
constexpr storage::Tag kIconIndex = storage::MakeTag(0x1080, storage::Type::Int32);
constexpr storage::Tag kFilename = storage::MakeTag(0x3704, storage::Type::Text);
constexpr storage::Tag kLongFilename = storage::MakeTag(0x3707, storage::Type::Text);

class SendingBehaviour : public BehaviourTest
{
  protected:
    void SetUp() override
    {
        Connect();
        m_alice = Open("alice");
        m_bob = Open("bob");
        ASSERT_NE(0U, m_alice);
        ASSERT_NE(0U, m_bob);
    }
    static Filter Mail()
    {
        Filter filter;
        filter.um = 0;
        return filter;
    }
    // The subjects of a folder's messages, in order.
    std::vector<std::string> Subjects(const std::string &alias, storage::ObjectId storage::Mailbox::*folder)
    {
        const storage::Directory directory(GetSite());
        const storage::Mailbox mailbox = directory.GetMailbox(directory.UserByAlias(alias)->mailbox);
        const storage::View view(GetSite(), {storage::Container::Kind::Contents, mailbox.*folder});
        std::vector<std::string> subjects;
        for (const storage::Row &row :
             view.Read(storage::Place::Beginning(), storage::Direction::Forward, 1000, {delivery::kSubject})) {
            const auto *subject = std::get_if<std::string>(&row.values[0]);
            subjects.push_back(subject ? *subject : "");
        }
        return subjects;
    }
    std::vector<std::string> Inbox(const std::string &alias) { return Subjects(alias, &storage::Mailbox::inbox); }
    std::vector<std::string> Sent(const std::string &alias) { return Subjects(alias, &storage::Mailbox::sentItems); }
    std::vector<std::string> Outbox(const std::string &alias) { return Subjects(alias, &storage::Mailbox::outbox); }

    HRESULT Send(const char *to, const char *subject = "Subject", const std::string &file = "", const char *name = "")
    {
        return OrlSendEmailA(m_connection, m_bob, to, subject, "Body", 0, 0, file.c_str(), name);
    }
    HRESULT SendVoice(const char *to, const std::string &file = "", BYTE urgent = 0)
    {
        return OrlSendUMEmailA(m_connection, m_bob, to, "Voice", "Body", urgent, 0, file.c_str(), "message.wav", 12,
                               "+15550100", "Carol", "message.wav", 3, 0xFFFFFFF0);
    }
    Id Only(OrlMailbox mailbox, const Filter &filter)
    {
        const Page page = ListAll(mailbox, filter);
        EXPECT_EQ(1U, page.count);
        return page.count ? page.ids[0] : Id(48);
    }
    std::string Saved(OrlMailbox mailbox, const Id &id, ULONG number)
    {
        const std::string file = File("saved").string();
        const HRESULT hr = OrlDownloadAttachmentA(m_connection, mailbox, Size(id), id.data(), number, file.c_str());
        return FAILED(hr) ? NameOf(hr) : Bytes(file);
    }
    std::string SenderOf(OrlMailbox mailbox, const Id &id)
    {
        EmailHeaderA *header = nullptr;
        EXPECT_HR(0, OrlGetEmailHeaderA(m_connection, mailbox, Size(id), id.data(), &header));
        const std::string sender = header ? header->pszSenderName : "";
        OrlMapiFreeBuffer(header);
        return sender;
    }
    // The first messages of an Inbox, two at most, with these properties.
    std::vector<storage::Row> FirstOf(const std::string &alias, const std::vector<storage::Tag> &tags)
    {
        const storage::Directory directory(GetSite());
        const storage::Mailbox mailbox = directory.GetMailbox(directory.UserByAlias(alias)->mailbox);
        const storage::View view(GetSite(), {storage::Container::Kind::Contents, mailbox.inbox});
        return view.Read(storage::Place::Beginning(), storage::Direction::Forward, 2, tags);
    }
    // The last verb that was done on the one message of an Inbox, and its icon; 0 for none.
    std::pair<std::int32_t, std::int32_t> MarksOf(const std::string &alias)
    {
        const auto rows = FirstOf(alias, {kLastVerb, kIconIndex});
        EXPECT_EQ(1U, rows.size());
        const auto number = [](const storage::Value &value) {
            const auto *is = std::get_if<std::int32_t>(&value);
            return is ? *is : 0;
        };
        return {number(rows.at(0).values[0]), number(rows.at(0).values[1])};
    }
    static ULONG Size(const Id &id) { return static_cast<ULONG>(id.size()); }

    OrlMailbox m_alice = 0;
    OrlMailbox m_bob = 0;
};

TEST_F(SendingBehaviour, AVoiceMailArrivesAsItWasSent)
{
    const std::string wave = Wave("recording.wav", 200000);
    ASSERT_HR(0, SendVoice("alice", wave));
    const Page page = ListAll(m_alice, {});
    ASSERT_EQ(1U, page.count);
    EmailHeaderA *header = nullptr;
    ASSERT_HR(0, OrlGetEmailHeaderA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), &header));
    EXPECT_STREQ("Bob Baker", header->pszSenderName);
    EXPECT_EQ(12, LONG{header->lSecs});
    EXPECT_STREQ("+15550100", header->pszNumber);
    EXPECT_STREQ("Carol", header->pszName);
    EXPECT_EQ(3, LONG{header->offset});
    EXPECT_EQ(0xFFFFFFF0U, ULONG{header->ulMsgReceived});
    EXPECT_EQ(0, header->bRead);
    EXPECT_EQ(0, header->bHighPriority);
    EXPECT_NE(0, WORD{header->stSubmitTime.wYear});
    OrlMapiFreeBuffer(header);
    EXPECT_TRUE(Bytes(wave) == Saved(m_alice, page.ids[0], 0));
    EmailTextA *text = nullptr;
    ASSERT_HR(0, OrlDownloadEmailA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), &text));
    EXPECT_STREQ("Voice", text->pszSubject);
    EXPECT_STREQ("Body", text->pszBody);
    OrlMapiFreeBuffer(text);
    EXPECT_THAT(Sent("bob"), IsEmpty()) << "no copy is kept";
    EXPECT_THAT(Outbox("bob"), IsEmpty());
}

TEST_F(SendingBehaviour, AMessageToSeveralArrivesWithEach)
{
    ASSERT_HR(0, OrlSendEmailW(m_connection, m_bob, OLESTR("alice;bob"), OLESTR("To both"), OLESTR("Text"), 1, 1,
                               OLESTR(""), OLESTR("")));
    Filter urgent = Mail();
    urgent.priority = 1;
    for (const OrlMailbox mailbox : {m_alice, m_bob}) {
        const Id id = Only(mailbox, urgent);
        BYTE isPrivate = 0, high = 0, read = 0;
        ASSERT_HR(0, OrlGetEmailFlags(m_connection, mailbox, Size(id), id.data(), &isPrivate, &high, &read));
        EXPECT_EQ(1, isPrivate);
        EXPECT_EQ(1, high);
        EXPECT_EQ(0, read);
    }
    EXPECT_THAT(Inbox("alice"), ElementsAre("To both"));
}

TEST_F(SendingBehaviour, WithoutAMailboxTheLogonsOwnSends)
{
    ASSERT_HR(0, OrlSendEmailA(m_connection, 0, "alice", "From vm", "", 0, 0, "", ""));
    EXPECT_EQ("Voicemail Service", SenderOf(m_alice, Only(m_alice, Mail())));
    ASSERT_HR(0, OrlSendUMEmailA(m_connection, 0, "alice", "From vm", "", 0, 0, "", "", 1, "", "", "", 0, 0));
    EXPECT_EQ("Voicemail Service", SenderOf(m_alice, Only(m_alice, {})));
}

TEST_F(SendingBehaviour, WhatCanNotBeSentLeavesNothing)
{
    std::filesystem::create_directory(File("folder"));
    EXPECT_HR(E_INVALIDARG, Send(""));
    EXPECT_HR(E_ABORT, Send(";;"));
    EXPECT_TRUE(FAILED(Send("nobody")));
    EXPECT_TRUE(FAILED(Send("alice;nobody")));
    EXPECT_TRUE(FAILED(Send("alice", "Subject", File("missing").string())));
    EXPECT_TRUE(FAILED(Send("alice", "Subject", File("folder").string())));
    EXPECT_TRUE(FAILED(SendVoice("alice", File("missing").string())));
    for (const char *alias : {"alice", "bob"}) {
        EXPECT_THAT(Inbox(alias), IsEmpty());
        EXPECT_THAT(Outbox(alias), IsEmpty());
        EXPECT_THAT(Sent(alias), IsEmpty());
    }
    EXPECT_HR(0, Send("alice"));
    EXPECT_THAT(Inbox("alice"), ElementsAre("Subject"));
}

TEST_F(SendingBehaviour, FilesOfEverySizeArriveWhole)
{
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, std::size_t{65536}, std::size_t{20000000}}) {
        SCOPED_TRACE(bytes);
        const std::string wave = Wave("sound.wav", bytes);
        ASSERT_HR(0, SendVoice("alice", wave));
        const Id id = Only(m_alice, {});
        EXPECT_TRUE(Bytes(wave) == Saved(m_alice, id, 0));
        EXPECT_HR(0, OrlDeleteEmail(m_connection, m_alice, Size(id), id.data()));
    }
    std::ofstream(File("empty")).close();
    EXPECT_HR(0, SendVoice("alice", File("empty").string()));
    Filter withAttachments;
    withAttachments.attachments = 1;
    const Page page = ListAll(m_alice, withAttachments);
    ASSERT_EQ(1U, page.count);
    EXPECT_THAT(page.attachments[0], ElementsAre(0U));
}

TEST_F(SendingBehaviour, NamesOfEveryLengthArriveAsShortOrLongOnes)
{
    const std::string file = Wave("sound.wav", 10);
    const std::pair<std::string, bool> names[] = {{"a.wa", true},
                                                  {"message.wav", false},
                                                  {std::string(255, 'n'), false},
                                                  {std::string(256, 'n') + ".wav", false},
                                                  {"", true}};
    for (const auto &[name, isShort] : names) {
        SCOPED_TRACE(name);
        ASSERT_HR(0, Send("alice", "Named", file, name.c_str()));
        const storage::Objects objects(GetSite());
        const auto rows = FirstOf("alice", {});
        ASSERT_EQ(1U, rows.size());
        const auto attachments = objects.Attachments(rows[0].id);
        ASSERT_EQ(1U, attachments.size());
        const auto bag = objects.Read(attachments[0].id, {kFilename, kLongFilename});
        const auto *taken = bag.get<std::string>(isShort ? kFilename : kLongFilename);
        ASSERT_TRUE(taken);
        EXPECT_EQ(name, *taken);
        EXPECT_FALSE(bag.Find(isShort ? kLongFilename : kFilename));
        const Id id = Only(m_alice, Mail());
        EXPECT_HR(0, OrlDeleteEmail(m_connection, m_alice, Size(id), id.data()));
    }
}

TEST_F(SendingBehaviour, AForwardIsACopyFromTheMailboxThatForwards)
{
    AddUser("carol", "Carol Cook");
    const OrlMailbox carol = Open("carol");
    const std::string wave = Wave("recording.wav", 1000);
    ASSERT_HR(0, SendVoice("alice", wave));
    const Id original = Only(m_alice, {});
    EXPECT_HR(0, OrlForwardEmailA(m_connection, m_alice, Size(original), original.data(), "carol"));
    const Id copy = Only(carol, {});
    EXPECT_EQ("Alice Archer", SenderOf(carol, copy));
    EXPECT_TRUE(Bytes(wave) == Saved(carol, copy, 0));
    EXPECT_THAT(Inbox("carol"), ElementsAre("Voice"));
    EXPECT_THAT(Inbox("bob"), IsEmpty()) << "the original's recipients get nothing again";
    EXPECT_THAT(Sent("alice"), ElementsAre("Voice"));
    EXPECT_THAT(Outbox("alice"), IsEmpty());
    // The original is where and what it was.
    EXPECT_EQ("Bob Baker", SenderOf(m_alice, Only(m_alice, {})));
    EXPECT_EQ(original, Only(m_alice, {}));
    EXPECT_EQ(std::pair(104, 0), MarksOf("alice")) << "forwarded";
    EXPECT_EQ(std::pair(0, 0), MarksOf("carol")) << "the copy is not";
}

TEST_F(SendingBehaviour, AnAnswerGoesToTheSenderWithTheRecording)
{
    const std::string wave = Wave("recording.wav", 1000), answer = Wave("answer.wav", 500);
    ASSERT_HR(0, SendVoice("alice", wave));
    const Id original = Only(m_alice, {});
    EXPECT_HR(
        0, OrlRespondEmailA(m_connection, m_alice, Size(original), original.data(), answer.c_str(), "answer.wav", 0));
    Filter withAttachments;
    withAttachments.attachments = 1;
    const Page page = ListAll(m_bob, withAttachments);
    ASSERT_EQ(1U, page.count);
    EXPECT_EQ("Alice Archer", SenderOf(m_bob, page.ids[0]));
    ASSERT_EQ(2U, page.attachments[0].size());
    EXPECT_TRUE(Bytes(wave) == Saved(m_bob, page.ids[0], page.attachments[0][0]));
    EXPECT_TRUE(Bytes(answer) == Saved(m_bob, page.ids[0], page.attachments[0][1]));
    EXPECT_THAT(Sent("alice"), ElementsAre("Voice"));
    EXPECT_THAT(Outbox("alice"), IsEmpty());

    EXPECT_HR(0, OrlRespondEmailW(m_connection, m_alice, Size(original), original.data(), OLESTR(""), OLESTR(""), 7));
    const Page both = ListAll(m_bob, withAttachments);
    ASSERT_EQ(2U, both.count);
    EXPECT_EQ(1U, both.attachments[1].size()) << "without a file there is the original's recording alone";
    EXPECT_EQ(std::pair(102, 262), MarksOf("alice"));
}

TEST_F(SendingBehaviour, ASenderWithoutAnAddressIsNotAnswered)
{
    DeliverVoicemail("alice", "Caller");
    const Id original = Only(m_alice, {});
    EXPECT_HR(0, OrlRespondEmailA(m_connection, m_alice, Size(original), original.data(), "", "", 0));
    EXPECT_THAT(Sent("alice"), IsEmpty());
    EXPECT_EQ(1U, Inbox("alice").size());
    EXPECT_EQ(std::pair(102, 262), MarksOf("alice")) << "replied to, all the same";
}

TEST_F(SendingBehaviour, ForwardsAndAnswersThatCanNotBeSentAreZeroToo)
{
    ASSERT_HR(0, SendVoice("alice"));
    const Id original = Only(m_alice, {});
    const Id wrong(48);
    EXPECT_HR(0, OrlForwardEmailA(m_connection, m_alice, Size(wrong), wrong.data(), "bob"));
    EXPECT_HR(0, OrlRespondEmailA(m_connection, m_alice, Size(wrong), wrong.data(), "", "", 0));
    EXPECT_HR(0, OrlRespondEmailA(m_connection, m_alice, Size(original), original.data(),
                                  File("missing").string().c_str(), "x", 0));
    EXPECT_HR(0, OrlRespondEmailA(m_connection, 0, Size(original), original.data(), "", "", 0));
    EXPECT_HR(0, OrlForwardEmailA(12345, m_alice, Size(original), original.data(), "bob"));
    EXPECT_THAT(Inbox("bob"), IsEmpty());
    EXPECT_EQ(original, Only(m_alice, {}));
}

TEST_F(SendingBehaviour, AForwardToNobodyKnownGoesToTheRecipientsOfTheOriginal)
{
    ASSERT_HR(0, SendVoice("alice"));
    const Id original = Only(m_alice, {});
    std::size_t copies = 0;
    for (const char *recipients : {"nobody", "", ";", "bob;nobody"}) {
        SCOPED_TRACE(recipients);
        EXPECT_HR(0, OrlForwardEmailA(m_connection, m_alice, Size(original), original.data(), recipients));
        ++copies;
        EXPECT_THAT(Inbox("bob"), IsEmpty());
        EXPECT_EQ(1 + copies, Inbox("alice").size());
        EXPECT_EQ(copies, Sent("alice").size());
    }
}
