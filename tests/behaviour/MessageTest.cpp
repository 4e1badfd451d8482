// One message of a real mailbox: header, flags, marking, deleting, text and recordings.
#include "behaviour/BehaviourTest.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Time.h"
#include <fstream>

using namespace localmapi;

class MessageBehaviour : public BehaviourTest
{
  protected:
    void SetUp() override
    {
        Connect();
        m_mailbox = Open("alice");
        ASSERT_NE(0U, m_mailbox);
    }
    Id Only(const Filter &filter = {})
    {
        const Page page = ListAll(m_mailbox, filter);
        EXPECT_EQ(1U, page.count);
        return page.count ? page.ids[0] : Id(48);
    }
    ULONG Size(const Id &id) const { return static_cast<ULONG>(id.size()); }
    Id DeliverMail(const std::string &subject, const std::string &body)
    {
        const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
        storage::MessageChanges message =
            Compose(delivery::Mail{{"Bob", "SMTP", "bob@elsewhere.example"}, "", subject, body, {}}, to,
                    storage::CurrentTime());
        if (subject.empty())
            for (const storage::Tag tag :
                 {delivery::kSubject, delivery::kNormalizedSubject, delivery::kConversationTopic})
                message.properties.set.Erase(tag);
        Deliver("alice", message);
        Filter mail;
        mail.um = 0;
        return Only(mail);
    }
    OrlMailbox m_mailbox = 0;
};

TEST_F(MessageBehaviour, FlagsTellPrivateUrgentAndRead)
{
    DeliverVoicemail("alice", "Caller", true, {}, true);
    Filter urgent;
    urgent.priority = 1;
    const Id id = Only(urgent);
    BYTE isPrivate = 7, high = 7, read = 7;
    EXPECT_HR(0, OrlGetEmailFlags(m_connection, m_mailbox, Size(id), id.data(), &isPrivate, &high, &read));
    EXPECT_EQ(1, isPrivate);
    EXPECT_EQ(1, high);
    EXPECT_EQ(0, read);
    EXPECT_HR(0, OrlSetEmailReadFlag(m_connection, m_mailbox, Size(id), id.data(), 1));
    EXPECT_HR(0, OrlGetEmailFlags(m_connection, m_mailbox, Size(id), id.data(), &isPrivate, &high, &read));
    EXPECT_EQ(1, read);
    EXPECT_HR(0, OrlSetEmailReadFlag(m_connection, m_mailbox, Size(id), id.data(), 0));
    EXPECT_HR(0, OrlGetEmailFlags(m_connection, m_mailbox, Size(id), id.data(), &isPrivate, &high, &read));
    EXPECT_EQ(0, read);
}

TEST_F(MessageBehaviour, AFaxGivesItsSenderAddressAsTheCreatorName)
{
    const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
    Deliver("alice", Compose(delivery::Mail{{"Fax", "SMTP", "4711@FAX.norvik.example"}, "Somebody", "Fax", "", {}}, to,
                             storage::CurrentTime()));
    Filter mail;
    mail.um = 0;
    const Id id = Only(mail);
    EmailHeaderA *header = nullptr;
    ASSERT_HR(0, OrlGetEmailHeaderA(m_connection, m_mailbox, Size(id), id.data(), &header));
    EXPECT_STREQ("4711@FAX.norvik.example", header->pszCreatorName);
    EXPECT_EQ(0U, header->cAttachments);
    OrlMapiFreeBuffer(header);
}

TEST_F(MessageBehaviour, ARecordingThatNeedsAMissingCodecOrHidesItsFormatIsNotSaved)
{
    std::string gsm = Bytes(Wave("gsm.wav", 100));
    gsm[20] = 0x31;
    std::string padded = Bytes(Wave("padded.wav", 100));
    padded.insert(12, std::string("LIST\x03\0\0\0odd\0", 12));
    for (const std::string &recording : {gsm, padded}) {
        std::ofstream(File("sent.wav"), std::ios::binary) << recording;
        DeliverVoicemail("alice", "Caller", false, File("sent.wav").string());
        const Id id = Only();
        const std::string saved = File("saved.wav").string();
        EXPECT_HR(E_FAIL, OrlDownloadAttachmentA(m_connection, m_mailbox, Size(id), id.data(), 0, saved.c_str()));
        EXPECT_FALSE(std::filesystem::exists(saved));
        EXPECT_HR(0, OrlDeleteEmail(m_connection, m_mailbox, Size(id), id.data()));
    }
}

TEST_F(MessageBehaviour, ADeletedMessageIsInDeletedItemsUnderANewIdentifierAndMayBeDeletedAgain)
{
    DeliverVoicemail("alice", "Caller", false, Wave("hello.wav", 100));
    const Id id = Only();
    EXPECT_HR(0, OrlDeleteEmail(m_connection, m_mailbox, Size(id), id.data()));
    EXPECT_EQ(0U, ListAll(m_mailbox, {}).count);

    BYTE isPrivate = 7, high = 8, read = 9;
    EXPECT_HR(0x8004010F, OrlGetEmailFlags(m_connection, m_mailbox, Size(id), id.data(), &isPrivate, &high, &read));
    EXPECT_EQ(7, isPrivate);
    EXPECT_EQ(8, high);
    EXPECT_EQ(9, read);
    EXPECT_LT(OrlDeleteEmail(m_connection, m_mailbox, Size(id), id.data()), 0);

    const storage::Directory directory(GetSite());
    const storage::Mailbox mailbox = directory.GetMailbox(directory.UserByAlias("alice")->mailbox);
    EXPECT_EQ(std::int32_t{1},
              *storage::Objects(GetSite()).Read(mailbox.deletedItems).get<std::int32_t>(storage::kContentCount));
}

TEST_F(MessageBehaviour, TextComesWholeUpTo64KiB)
{
    std::string body(50000, 'x');
    body += "the end";
    const Id id = DeliverMail("Long", body);
    EmailTextA *text = nullptr;
    ASSERT_HR(0, OrlDownloadEmailA(m_connection, m_mailbox, Size(id), id.data(), &text));
    EXPECT_EQ(body, text->pszBody);
    EXPECT_STREQ("Long", text->pszSubject);
    OrlMapiFreeBuffer(text);
}

TEST_F(MessageBehaviour, AMessageWithoutSubjectHasAnEmptyOne)
{
    const Id id = DeliverMail("", "Body");
    EmailTextW *text = nullptr;
    ASSERT_HR(0, OrlDownloadEmailW(m_connection, m_mailbox, Size(id), id.data(), &text));
    ASSERT_NE(nullptr, text->pszSubject);
    EXPECT_EQ(0, text->pszSubject[0]);
    EXPECT_EQ('B', text->pszBody[0]);
    OrlMapiFreeBuffer(text);
}

TEST_F(MessageBehaviour, RecordingsAreSavedByteForByteWhateverTheirSize)
{
    for (const std::size_t bytes : {0U, 1U, 4051U, 4052U, 4053U, 70000U, 3000000U}) {
        const std::string wav = Wave("sent.wav", bytes);
        DeliverVoicemail("alice", "Caller", false, wav);
        Filter all;
        all.attachments = 1;
        const Page page = ListAll(m_mailbox, all);
        ASSERT_EQ(1U, page.count);
        ASSERT_EQ(1U, page.attachments[0].size());
        const Id &id = page.ids[0];
        const std::string saved = File("saved.wav").string();
        EXPECT_HR(0, OrlDownloadAttachmentA(m_connection, m_mailbox, Size(id), id.data(), page.attachments[0][0],
                                            saved.c_str()));
        EXPECT_TRUE(Bytes(wav) == Bytes(saved)) << bytes << " bytes";
        EXPECT_HR(0, OrlDeleteEmail(m_connection, m_mailbox, Size(id), id.data()));
    }
}

TEST_F(MessageBehaviour, WhatIsNoRecordingIsNotSaved)
{
    std::ofstream(File("noise.wav"), std::ios::binary) << "no sound at all";
    DeliverVoicemail("alice", "Caller", false, File("noise.wav").string());
    const Id id = Only();
    const std::string saved = File("saved.wav").string();
    EXPECT_HR(E_FAIL, OrlDownloadAttachmentA(m_connection, m_mailbox, Size(id), id.data(), 0, saved.c_str()));
    EXPECT_FALSE(std::filesystem::exists(saved));
    EXPECT_HR(0x8004010F, OrlDownloadAttachmentA(m_connection, m_mailbox, Size(id), id.data(), 5, saved.c_str()));
    EXPECT_FALSE(std::filesystem::exists(saved));
}

TEST_F(MessageBehaviour, AnyTruncationAndAnyChangedByteOfAnIdentifierIsAnErrorOrAnotherMessageOfThisMailbox)
{
    DeliverVoicemail("alice", "Caller");
    const Id id = Only();
    EmailHeaderA *header = nullptr;
    for (std::size_t length = 0; length < id.size(); ++length)
        EXPECT_LT(OrlGetEmailHeaderA(m_connection, m_mailbox, static_cast<ULONG>(length), id.data(), &header), 0)
            << length;
    for (std::size_t i = 0; i < id.size(); ++i) {
        Id changed = id;
        changed[i] ^= 0x40;
        EXPECT_LT(OrlGetEmailHeaderA(m_connection, m_mailbox, Size(changed), changed.data(), &header), 0) << i;
    }
    EXPECT_LT(OrlGetEmailHeaderA(m_connection, m_mailbox, 0, nullptr, &header), 0);
    EXPECT_EQ(nullptr, header);
}

TEST_F(MessageBehaviour, AMessageOfAnotherMailboxIsNotToBeHadThroughThisOne)
{
    DeliverVoicemail("bob", "Caller");
    const OrlMailbox bob = Open("bob");
    const Page page = ListAll(bob, {});
    ASSERT_EQ(1U, page.count);
    EmailHeaderA *header = nullptr;
    EXPECT_LT(OrlGetEmailHeaderA(m_connection, m_mailbox, Size(page.ids[0]), page.ids[0].data(), &header), 0);
    EXPECT_HR(0, OrlGetEmailHeaderA(m_connection, bob, Size(page.ids[0]), page.ids[0].data(), &header));
    OrlMapiFreeBuffer(header);
}
