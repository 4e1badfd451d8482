// What several messages have in common lies in the file once, for as long as one of them has it, and no longer.
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Staging.h"
#include "localmapi/storage/Streams.h"

namespace localmapi::storage
{

namespace
{

using testing::HasSubstr;

class CommonTest : public SiteTest
{
  protected:
    std::int64_t Number(const std::string &sql) { return Reader(m_site.GetDatabase())->Integer(sql); }
    std::int64_t Chunks() { return Number("SELECT count(*) FROM chunk"); }
    std::int64_t Commons() { return Number("SELECT count(*) FROM object WHERE kind = 9"); }
    std::int64_t RecipientRows() { return Number("SELECT count(*) FROM object WHERE kind = 5"); }
    void Write(const std::string &sql)
    {
        Writer writer(m_site.GetDatabase());
        writer->Execute(sql);
        writer.Commit();
    }

    static std::vector<PropertyBag> MakeRecipients(int count)
    {
        std::vector<PropertyBag> recipients;
        for (int i = 0; i < count; ++i)
            recipients.push_back({{kDisplayName, "Recipient " + std::to_string(i)}});
        return recipients;
    }
    static MessageChanges MakeLetter(std::size_t recording, int recipients)
    {
        MessageChanges content = MakeMessage("letter", {{kBody, std::string(20000, 'b')}});
        content.recipients = MakeRecipients(recipients);
        AttachmentChanges attachment;
        attachment.properties.set = {{kAttachName, std::string("v.wav")}, {kAttachData, Bytes(recording, 'w')}};
        content.attachments = {attachment};
        return content;
    }
    Dispatch ToMany(int places, const MessageChanges &content)
    {
        Dispatch dispatch;
        dispatch.content = content;
        const auto list = std::make_shared<std::vector<PropertyBag>>(*content.recipients);
        for (int i = 0; i < places; ++i) {
            Destination destination{m_box.inbox, {}, {}};
            destination.recipients = list;
            dispatch.destinations.push_back(destination);
        }
        return dispatch;
    }
    Bytes RecordingOf(ObjectId message)
    {
        const auto stream = m_objects.OpenProperty(m_objects.Attachments(message).at(0).id, kAttachData);
        Bytes data(static_cast<std::size_t>(stream->size()));
        EXPECT_EQ(stream->Read(0, data.data(), data.size()), data.size());
        return data;
    }
    ObjectId RecordingIn(ObjectId message) { return m_objects.Attachments(message).at(0).id; }
};

TEST_F(CommonTest, ACopyHasTheSameData)
{
    const ObjectId first = m_objects.CreateMessage(m_box.inbox, MakeLetter(600000, 2));
    const std::int64_t chunks = Chunks();
    const ObjectId second = m_objects.CopyMessages({first}, m_box.sentItems).at(0);
    const ObjectId third = m_objects.CopyMessages({second}, m_box.inbox).at(0);
    EXPECT_EQ(Chunks(), chunks);
    ExpectSound();
    m_objects.RemoveMessages({first});
    EXPECT_EQ(RecordingOf(second), Bytes(600000, 'w'));
    m_objects.RemoveMessages({second});
    EXPECT_EQ(RecordingOf(third), Bytes(600000, 'w'));
    EXPECT_EQ(m_objects.ReadUpTo(third, 1 << 20).get<std::string>(kBody)->size(), 20000u);
    EXPECT_EQ(Chunks(), chunks);
    ExpectSound();
    m_objects.RemoveMessages({third});
    EXPECT_EQ(Chunks(), 0);
    EXPECT_EQ(Commons(), 0);
}

TEST_F(CommonTest, OneOfTwoIsChangedAlone)
{
    const ObjectId first = m_objects.CreateMessage(m_box.inbox, MakeLetter(600000, 2));
    const ObjectId second = m_objects.CopyMessages({first}, m_box.inbox).at(0);
    MessageChanges changes;
    changes.properties.set = {{kBody, std::string(30000, 'c')}};
    AttachmentChanges attachment;
    attachment.properties.set = {{kAttachData, Bytes(10, 'x')}};
    changes.attachments = {attachment};
    m_objects.ChangeMessage(first, changes);
    EXPECT_EQ(RecordingOf(first), Bytes(10, 'x'));
    EXPECT_EQ(RecordingOf(second), Bytes(600000, 'w'));
    EXPECT_EQ(*m_objects.ReadUpTo(second, 1 << 20).get<std::string>(kBody), std::string(20000, 'b'));
    ExpectSound();
    m_objects.RemoveMessages({second});
    EXPECT_EQ(Commons(), 0) << "nobody has what they had in common";
    EXPECT_EQ(RecordingOf(first), Bytes(10, 'x'));
    ExpectSound();
}

TEST_F(CommonTest, WhatIsSentToManyLiesThereOnce)
{
    const MessageChanges content = MakeLetter(600000, 50);
    const ObjectId alone = m_objects.CreateMessage(m_box.sentItems, content);
    const std::int64_t chunks = Chunks();
    const std::vector<ObjectId> ids = m_objects.Send(ToMany(40, content));
    EXPECT_EQ(Chunks(), 2 * chunks);
    EXPECT_EQ(RecipientRows(), 2 * 50);
    EXPECT_EQ(m_objects.Recipients(ids.at(17)).size(), 50u);
    EXPECT_EQ(*m_objects.Recipients(ids.at(39)).at(49).get<std::string>(kDisplayName), "Recipient 49");
    EXPECT_EQ(*m_objects.Read(ids.at(17)).get<std::int32_t>(kMessageSize),
              *m_objects.Read(alone).get<std::int32_t>(kMessageSize));
    EXPECT_EQ(RecordingOf(ids.at(0)), Bytes(600000, 'w'));
    ExpectSound();

    MessageChanges others;
    others.recipients = MakeRecipients(3);
    m_objects.ChangeMessage(ids.at(5), others);
    EXPECT_EQ(m_objects.Recipients(ids.at(5)).size(), 3u);
    EXPECT_EQ(m_objects.Recipients(ids.at(6)).size(), 50u);
    ExpectSound();
    EXPECT_EQ(m_objects.Recipients(m_objects.CopyMessages({ids.at(6)}, m_box.sentItems).at(0)).size(), 50u);
    EXPECT_EQ(RecipientRows(), 2 * 50 + 3);
    ExpectSound();

    m_objects.RemoveAllMessages(m_box.inbox);
    m_objects.RemoveAllMessages(m_box.sentItems);
    EXPECT_EQ(Chunks(), 0);
    EXPECT_EQ(RecipientRows(), 0);
    EXPECT_EQ(Commons(), 0);
    ExpectSound();
}

TEST_F(CommonTest, WhatNoPlaceHasIsNotKept)
{
    Dispatch dispatch = ToMany(2, MakeLetter(600000, 2));
    for (Destination &destination : dispatch.destinations)
        destination.changes.properties.remove = {kBody};
    m_objects.Send(dispatch);
    EXPECT_EQ(Chunks(), 3) << "of the recording alone";
    ExpectSound();
}

TEST_F(CommonTest, RecipientsOfManyAreFoundInEachOfThem)
{
    const std::vector<ObjectId> ids = m_objects.Send(ToMany(3, MakeLetter(10, 5)));
    const Filter named =
        Filter::AnyRecipient(Filter::Compare(kDisplayName, Relation::Equal, std::string("Recipient 4")));
    EXPECT_EQ(View(m_site, Inbox(), named).Count(), 3u);
    EXPECT_EQ(View(m_site, {Container::Kind::Recipients, ids.at(1)}).Count(), 5u);
}

TEST_F(CommonTest, LongDataIsWrittenAheadInPieces)
{
    MessageChanges content = MakeLetter(10, 1);
    content.attachments[0].properties.set = {{kAttachData, MakeSpool(3 * kWrittenAtOnce + 5)}};
    const ChangeNumber before = m_site.GetChangeNumber();
    const ObjectId id = m_objects.CreateMessage(m_box.inbox, content);
    EXPECT_EQ(m_site.GetChangeNumber(), before + 5);
    const Bytes data = RecordingOf(id);
    ASSERT_EQ(data.size(), 3 * kWrittenAtOnce + 5);
    EXPECT_EQ(data.back(), 24);
    ExpectSound();
    m_objects.RemoveMessages({id});
    EXPECT_EQ(Commons(), 0);
    EXPECT_EQ(Chunks(), 0);
}

TEST_F(CommonTest, WhatWasWrittenAheadForNothingGoes)
{
    const ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeLetter(10, 1));
    MessageChanges content;
    content.properties.set = {{kAttachData, MakeSpool(2 * kWrittenAtOnce)}};
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeMessage(id, content, 1); }), Fault::Changed);
    EXPECT_EQ(Commons(), 0);
    EXPECT_EQ(Number("SELECT count(*) FROM chunk WHERE checksum IS NOT NULL"), 2) << "its body's and its recording's";
    ExpectSound();
    EXPECT_NO_THROW(m_objects.ChangeMessage(id, content));
    ExpectSound();
}

TEST_F(CommonTest, WhatWasBegunAndLeftGoesWhenItIsAnHourOld)
{
    MessageChanges content;
    content.properties.set = {{kAttachData, MakeSpool(kWrittenAtOnce + 1)}};
    for (const bool old : {false, true}) {
        // As a process leaves it that ends in the midst.
        Write(
            "INSERT INTO object (id, kind, number, size, created, modified, change) VALUES (70000, 9, 1, 10000000, "
            "0, " +
            std::string(old ? "0" : "9223372036854775807") +
            ", 1); INSERT INTO property (object, tag) VALUES (70000, 922812674);"
            "INSERT INTO stream (id, object, tag, size) VALUES (70001, 70000, 922812674, 10000000);"
            "INSERT INTO chunk (stream, number, data) WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n "
            "WHERE i < 39) SELECT 70001, i, zeroblob(10) FROM n; UPDATE site SET next_id = 80000");
        if (!old)
            ExpectSound();
        Site::Open(m_site.Path());
        EXPECT_EQ(Commons(), old ? 0 : 1);
        EXPECT_EQ(Chunks(), old ? 0 : 40);
        if (!old)
            Write("DELETE FROM object WHERE id = 70000");
    }
    ExpectSound();
}

TEST_F(CommonTest, WhatIsGoingIsNotNamedAnyMore)
{
    const ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeLetter(600000, 1));
    const ObjectId copy = m_objects.CopyMessages({id}, m_box.inbox).at(0);
    const auto data = *m_objects.Read(RecordingIn(copy)).get<StoredStream>(kAttachData);
    Write("UPDATE object SET number = 2 WHERE kind = 9");
    EXPECT_EQ(FaultOf([&] { Add("late", {{kAttachData, data}}); }), Fault::NotFound);
    EXPECT_EQ(FaultOf([&] { m_objects.CopyMessages({copy}, m_box.inbox); }), Fault::NotFound);
}

TEST_F(CommonTest, AChangedByteIsNotHandedOut)
{
    for (const std::size_t size : {std::size_t{1}, std::size_t{4000}, std::size_t{20000}, std::size_t{600000}}) {
        const ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeLetter(size, 1));
        const ObjectId recording = RecordingIn(id);
        EXPECT_EQ(RecordingOf(id).size(), size);
        const auto open = m_objects.OpenProperty(recording, kAttachData);
        Write(
            "UPDATE chunk SET data = CAST(substr(data, 1, length(data) - 1) || 'x' AS BLOB) WHERE id = (SELECT max(id) "
            "FROM chunk WHERE stream = (SELECT id FROM stream WHERE object = " +
            std::to_string(recording) + "))");
        EXPECT_EQ(FaultOf([&] { m_objects.OpenProperty(recording, kAttachData); }), Fault::CorruptData) << size;
        EXPECT_EQ(FaultOf([&] { m_objects.ReadUpTo(recording, 1 << 20); }), Fault::CorruptData) << size;
        if (size > kChunkSize) {
            char last = 0;
            EXPECT_EQ(FaultOf([&] { open->Read(size - 1, &last, 1); }), Fault::CorruptData) << "opened before";
        }
        std::string findings;
        for (const Finding &finding : Check(m_site, false))
            findings += finding.text + "\n";
        EXPECT_THAT(findings, HasSubstr("The data of attachment 0 of message " + std::to_string(id) +
                                        " in the mailbox of alice is not what was written"));
        EXPECT_NO_THROW(m_objects.Read(id)) << "the rest can be read";
        m_objects.RemoveMessages({id});
        ExpectSound();
    }
}

TEST_F(CommonTest, WhatHasNoChecksumIsReadAllTheSame)
{
    const ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeLetter(600000, 1));
    Write("UPDATE chunk SET checksum = NULL");
    EXPECT_EQ(RecordingOf(id), Bytes(600000, 'w'));
    ExpectSound();
}

TEST(Checksums, AreThoseOfEverybody)
{
    EXPECT_EQ(ChecksumOf("123456789", 9), 0xCBF43926u);
    EXPECT_EQ(ChecksumOf(nullptr, 0), 0u);
}

} // namespace

} // namespace localmapi::storage
