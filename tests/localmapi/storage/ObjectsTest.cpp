// Proves that folders, messages, attachments and recipients are written whole, changed in one step, copied, moved and
// deleted with everything in them, and that ids and counts stay right.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using testing::ElementsAre;
constexpr Tag kNumber = MakeTag(0x6001, Type::Int32);

PropertyBag NameBag(const std::string &name)
{
    return {{kDisplayName, name}};
}

AttachmentChanges MakeAttachment(std::int32_t number, const std::string &name, Bytes data = {1, 2, 3})
{
    return {number, false, {{{kAttachName, name}, {kAttachData, std::move(data)}}, {}}, nullptr};
}

class ObjectsTest : public SiteTest
{
  protected:
    ~ObjectsTest() override { ExpectSound(); }

    // A message with everything a message can have.
    MessageChanges MakeRich() const
    {
        MessageChanges content = MakeMessage("rich", {{kImportance, std::int32_t{2}},
                                                      {kClientSubmitTime, std::int64_t{77}},
                                                      {kMessageDeliveryTime, std::int64_t{78}},
                                                      {kBody, std::string(50000, 'b')}});
        content.recipients = std::vector<PropertyBag>{NameBag("Ann"), NameBag("Bob")};
        content.attachments = {MakeAttachment(0, "a"), MakeAttachment(4, "big", Bytes(600000, 9))};
        AttachmentChanges embedding = MakeAttachment(7, "embedded");
        MessageChanges inner = MakeMessage("inner", {{kImportance, std::int32_t{1}}});
        inner.attachments = {MakeAttachment(0, "innermost", Bytes(20000, 3))};
        inner.recipients = std::vector<PropertyBag>{NameBag("Inner")};
        embedding.embedded = std::make_shared<MessageChanges>(inner);
        content.attachments.push_back(embedding);
        return content;
    }
    void ExpectRich(ObjectId id) const
    {
        PropertyBag bag = m_objects.ReadUpTo(id, 1 << 20);
        EXPECT_EQ(*bag.get<std::string>(kSubject), "rich");
        EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note");
        EXPECT_EQ(*bag.get<std::int32_t>(kImportance), 2);
        EXPECT_EQ(*bag.get<std::int64_t>(kClientSubmitTime), 77);
        EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
        EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags) & kFlagHasAttachments, kFlagHasAttachments);
        EXPECT_EQ(bag.get<std::string>(kBody)->size(), 50000u);
        EXPECT_GT(*bag.get<std::int32_t>(kMessageSize), 670000);
        std::vector<PropertyBag> recipients = m_objects.Recipients(id);
        ASSERT_EQ(recipients.size(), 2u);
        EXPECT_EQ(*recipients[0].get<std::string>(kDisplayName), "Ann");
        EXPECT_EQ(*recipients[1].get<std::int32_t>(kRowId), 1);
        std::vector<ObjectInfo> attachments = m_objects.Attachments(id);
        ASSERT_EQ(attachments.size(), 3u);
        EXPECT_EQ(attachments[1].number, 4);
        EXPECT_EQ(m_objects.ReadUpTo(attachments[1].id, 1 << 20).get<Bytes>(kAttachData)->size(), 600000u);
        ObjectId inner = m_objects.EmbeddedMessage(attachments[2].id);
        ASSERT_NE(inner, 0);
        EXPECT_EQ(*m_objects.Read(inner).get<std::string>(kSubject), "inner");
        EXPECT_EQ(*m_objects.Read(inner).get<std::int32_t>(kImportance), 1);
        EXPECT_EQ(m_objects.Recipients(inner).size(), 1u);
        ASSERT_EQ(m_objects.Attachments(inner).size(), 1u);
        EXPECT_EQ(m_objects.Read(m_objects.Attachments(inner)[0].id).get<Bytes>(kAttachData)->size(), 20000u);
        EXPECT_EQ(m_objects.EmbeddedMessage(attachments[0].id), 0);
    }
    std::pair<std::int32_t, std::int32_t> Counts(ObjectId of) const // messages, unread ones
    {
        PropertyBag bag = m_objects.Read(of);
        return {*bag.get<std::int32_t>(kContentCount), *bag.get<std::int32_t>(kContentUnread)};
    }
};

TEST_F(ObjectsTest, AMessageIsWrittenWithEverythingInIt)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    ExpectRich(id);
    ObjectInfo info = m_objects.Info(id);
    EXPECT_EQ(info.kind, ObjectKind::Message);
    EXPECT_EQ(info.parent, m_box.inbox);
    EXPECT_EQ(info.change, m_site.GetChangeNumber());
    EXPECT_EQ(Directory(m_site).MailboxOf(m_objects.EmbeddedMessage(m_objects.Attachments(id)[2].id)), m_alice.mailbox);
}

TEST_F(ObjectsTest, TimesAreKeptByTheStore)
{
    ObjectId now = Add("now"), then = Add("then", {{kCreationTime, std::int64_t{5}}});
    PropertyBag bag = m_objects.Read(now);
    EXPECT_EQ(*bag.get<std::int64_t>(kCreationTime), *bag.get<std::int64_t>(kLastModificationTime));
    EXPECT_GT(*bag.get<std::int64_t>(kCreationTime), 133000000000000000);
    EXPECT_EQ(*m_objects.Read(then).get<std::int64_t>(kCreationTime), 5);
    MessageChanges changes;
    changes.properties.set.Set(kSubject, std::string("changed"));
    m_objects.ChangeMessage(then, changes);
    EXPECT_EQ(*m_objects.Read(then).get<std::int64_t>(kCreationTime), 5);
    EXPECT_GE(*m_objects.Read(then).get<std::int64_t>(kLastModificationTime),
              *bag.get<std::int64_t>(kLastModificationTime));
}

TEST_F(ObjectsTest, WhatTheStoreKeepsItselfCannotBeSet)
{
    ObjectId id = Add("m", {{kObjectId, std::int64_t{1}},
                            {kParentId, std::int64_t{1}},
                            {kChangeNumber, std::int64_t{0}},
                            {kMessageSize, std::int32_t{1}},
                            {kHasAttachments, true},
                            {kMessageFlags, kFlagRead | kFlagHasAttachments}});
    PropertyBag bag = m_objects.Read(id);
    EXPECT_EQ(*bag.get<std::int64_t>(kObjectId), id);
    EXPECT_EQ(*bag.get<std::int64_t>(kParentId), m_box.inbox);
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageSize), 1); // the one byte of the subject
    EXPECT_FALSE(*bag.get<bool>(kHasAttachments));
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead);
}

TEST_F(ObjectsTest, ChangesSetAndRemoveInOneStep)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    MessageChanges changes;
    changes.properties.set = {{kSubject, std::string("other")},
                              {kMessageClass, std::string("IPM.Note.Microsoft.Voicemail.UM")},
                              {kMessageFlags, kFlagRead},
                              {kNumber, std::int32_t{3}}};
    changes.properties.remove = {kBody, kImportance, kClientSubmitTime, MakeTag(0x7FFF, Type::Int32)};
    changes.recipients = std::vector<PropertyBag>{NameBag("Carol")};
    AttachmentChanges change = MakeAttachment(4, "small", Bytes{5});
    MessageChanges inner;
    inner.properties.set.Set(kSubject, std::string("inner 2"));
    const AttachmentChanges embedded{7, false, {}, std::make_shared<MessageChanges>(inner)};
    changes.attachments = {{0, true, {}, nullptr}, change, MakeAttachment(9, "new"), embedded};
    ChangeNumber number = m_objects.ChangeMessage(id, changes);
    EXPECT_EQ(m_objects.Info(id).change, number);

    PropertyBag bag = m_objects.Read(id);
    EXPECT_EQ(*bag.get<std::string>(kSubject), "other");
    EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note.Microsoft.Voicemail.UM");
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead | kFlagHasAttachments);
    EXPECT_EQ(*bag.get<std::int32_t>(kNumber), 3);
    EXPECT_FALSE(bag.FindId(TagId(kBody)));
    EXPECT_FALSE(bag.Find(kImportance));
    EXPECT_FALSE(bag.Find(kClientSubmitTime));
    EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
    ASSERT_EQ(m_objects.Recipients(id).size(), 1u);
    std::vector<ObjectInfo> attachments = m_objects.Attachments(id);
    ASSERT_EQ(attachments.size(), 3u);
    EXPECT_EQ(attachments[0].number, 4);
    EXPECT_EQ(*m_objects.Read(attachments[0].id).get<Bytes>(kAttachData), Bytes{5});
    EXPECT_EQ(attachments[1].number, 7);
    EXPECT_EQ(*m_objects.Read(m_objects.EmbeddedMessage(attachments[1].id)).get<std::string>(kSubject), "inner 2");
    EXPECT_EQ(attachments[2].number, 9);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(1, 0));
}

TEST_F(ObjectsTest, LosingTheLastAttachmentClearsTheFlag)
{
    MessageChanges content = MakeMessage("m");
    content.attachments = {MakeAttachment(0, "a")};
    ObjectId id = m_objects.CreateMessage(m_box.inbox, content);
    EXPECT_TRUE(*m_objects.Read(id).get<bool>(kHasAttachments));
    MessageChanges changes;
    changes.attachments = {{0, true, {}, nullptr}};
    m_objects.ChangeMessage(id, changes);
    EXPECT_FALSE(*m_objects.Read(id).get<bool>(kHasAttachments));
    changes.attachments = {MakeAttachment(1, "b")};
    m_objects.ChangeMessage(id, changes);
    EXPECT_TRUE(*m_objects.Read(id).get<bool>(kHasAttachments));
}

TEST_F(ObjectsTest, AChangeThatExpectsAnotherStateIsRefused)
{
    ObjectId id = Add("m");
    ChangeNumber seen = m_objects.Info(id).change;
    MessageChanges changes;
    changes.properties.set.Set(kSubject, std::string("first"));
    ChangeNumber first = m_objects.ChangeMessage(id, changes, seen);
    EXPECT_GT(first, seen);
    changes.properties.set.Set(kSubject, std::string("second"));
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeMessage(id, changes, seen); }), Fault::Changed);
    EXPECT_EQ(*m_objects.Read(id).get<std::string>(kSubject), "first");
    m_objects.ChangeMessage(id, changes, first);
    EXPECT_EQ(*m_objects.Read(id).get<std::string>(kSubject), "second");

    ChangeNumber folderChange = m_objects.Info(m_box.inbox).change;
    m_objects.Change(m_box.inbox, {{{kNumber, std::int32_t{1}}}, {}}, folderChange);
    EXPECT_EQ(FaultOf([&] {
                  m_objects.Change(m_box.inbox, {{{kNumber, std::int32_t{2}}}, {}}, folderChange);
              }),
              Fault::Changed);
    EXPECT_EQ(*m_objects.Read(m_box.inbox).get<std::int32_t>(kNumber), 1);
}

TEST_F(ObjectsTest, TwoAttachmentsCannotHaveOneNumber)
{
    MessageChanges content = MakeMessage("m");
    content.attachments = {MakeAttachment(1, "a"), MakeAttachment(1, "b")};
    EXPECT_EQ(FaultOf([&] { m_objects.CreateMessage(m_box.inbox, content); }), Fault::Collision);
    EXPECT_EQ(View(m_site, Inbox()).Count(), 0u);
}

TEST_F(ObjectsTest, MessagesAreCountedByFolderReadAndUnread)
{
    EXPECT_EQ(Counts(m_box.inbox), std::pair(0, 0));
    std::vector<ObjectId> ids{Add("a"), Add("b"), Add("c", {{kMessageFlags, kFlagRead}})};
    EXPECT_EQ(Counts(m_box.inbox), std::pair(3, 2));
    EXPECT_THAT(m_objects.SetRead({ids[0], ids[2]}, true), ElementsAre(true, true));
    EXPECT_EQ(Counts(m_box.inbox), std::pair(3, 1));
    m_objects.SetRead(ids, false);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(3, 3));
    m_objects.SetAllRead(m_box.inbox, true);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(3, 0));
    EXPECT_EQ(*m_objects.Read(ids[1]).get<std::int32_t>(kMessageFlags), kFlagRead);
    m_objects.SetAllRead(m_box.inbox, false);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(3, 3));
    m_objects.MoveMessages({ids[0]}, m_box.deletedItems);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(2, 2));
    EXPECT_EQ(Counts(m_box.deletedItems), std::pair(1, 1));
    m_objects.RemoveAllMessages(m_box.inbox);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(0, 0));
}

TEST_F(ObjectsTest, FlagsAreSetAndClearedButForWhatFollowsFromTheAttachments)
{
    ObjectId id = Add("m", {{kMessageFlags, std::int32_t{8}}});
    m_objects.ChangeFlags({id}, kFlagRead | kFlagHasAttachments | 4, 8);
    EXPECT_EQ(*m_objects.Read(id).get<std::int32_t>(kMessageFlags), kFlagRead | 4);
    ChangeNumber change = m_objects.Info(id).change;
    m_objects.ChangeFlags({id}, kFlagRead, 0); // as it is already
    EXPECT_EQ(m_objects.Info(id).change, change);
}

TEST_F(ObjectsTest, AMovedMessageIsWholeAndHasANewId)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    ObjectId other = Add("other");
    std::vector<ObjectId> moved = m_objects.MoveMessages({id, 999999, other}, m_box.sentItems);
    ASSERT_EQ(moved.size(), 3u);
    EXPECT_NE(moved[0], id);
    EXPECT_NE(moved[0], 0);
    EXPECT_EQ(moved[1], 0);
    EXPECT_FALSE(m_objects.Find(id));
    ExpectRich(moved[0]);
    EXPECT_EQ(m_objects.Info(moved[0]).parent, m_box.sentItems);
    EXPECT_EQ(View(m_site, Inbox()).Count(), 0u);
    EXPECT_EQ(View(m_site, {Container::Kind::Contents, m_box.sentItems}).Count(), 2u);
    std::vector<ObjectId> again = m_objects.MoveMessages({moved[0]}, m_box.sentItems); // into the folder where it is
    EXPECT_NE(again[0], moved[0]);
    ExpectRich(again[0]);
}

TEST_F(ObjectsTest, ACopyIsWholeAndApartFromTheOriginal)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    std::vector<ObjectId> copies = m_objects.CopyMessages({id, id, 999999}, m_box.inbox);
    EXPECT_EQ(copies[2], 0);
    ExpectRich(copies[0]);
    m_objects.RemoveMessages({id});
    ExpectRich(copies[0]);
    ExpectRich(copies[1]);
    EXPECT_EQ(Counts(m_box.inbox), std::pair(2, 2));
}

TEST_F(ObjectsTest, ADeletedMessageIsGoneWithEverythingInIt)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    ObjectId inner = m_objects.EmbeddedMessage(m_objects.Attachments(id)[2].id);
    std::unique_ptr<Stream> reader = m_objects.OpenProperty(m_objects.Attachments(id)[1].id, kAttachData);
    EXPECT_THAT(m_objects.RemoveMessages({id, id}), ElementsAre(true, false));
    EXPECT_FALSE(m_objects.Find(id));
    EXPECT_FALSE(m_objects.Find(inner));
    EXPECT_EQ(FaultOf([&] { m_objects.Read(id); }), Fault::NotFound);
    char byte;
    EXPECT_EQ(FaultOf([&] { reader->Read(reader->size() - 1, &byte, 1); }), Fault::NotFound);
}

TEST_F(ObjectsTest, EmbeddedMessagesBelongToTheirMessages)
{
    ObjectId id = m_objects.CreateMessage(m_box.inbox, MakeRich());
    ObjectId inner = m_objects.EmbeddedMessage(m_objects.Attachments(id)[2].id);
    EXPECT_THAT(m_objects.RemoveMessages({inner}), ElementsAre(false));
    EXPECT_THAT(m_objects.MoveMessages({inner}, m_box.inbox), ElementsAre(0));
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeMessage(inner, {}); }), Fault::NotFound);
    EXPECT_EQ(View(m_site, Inbox()).Count(), 1u);
    ExpectRich(id);
}

TEST_F(ObjectsTest, IdsAreNeverUsedTwice)
{
    ObjectId first = Add("a");
    m_objects.RemoveMessages({first});
    ObjectId second = Add("b");
    EXPECT_GT(second, first);
    m_objects.RemoveMessages({second});
    Site again = Site::Open(m_site.Path());
    EXPECT_GT(Objects(again).CreateMessage(m_box.inbox, MakeMessage("c")), second);
}

TEST_F(ObjectsTest, ManyMessagesAreMadeInOneStepOrNotAtAll)
{
    std::vector<NewMessage> messages(5, NewMessage{m_box.inbox, MakeMessage("m")});
    std::vector<ObjectId> ids = m_objects.CreateMessages(messages);
    EXPECT_EQ(ids.size(), 5u);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    messages.push_back({999999, MakeMessage("nowhere")});
    EXPECT_EQ(FaultOf([&] { m_objects.CreateMessages(messages); }), Fault::NotFound);
    EXPECT_EQ(View(m_site, Inbox()).Count(), 5u);
    EXPECT_TRUE(m_objects.CreateMessages({}).empty());
    // One delivery to several mailboxes.
    Mailbox other = Directory(m_site).GetMailbox(Directory(m_site).AddUser("bob", "Bob").mailbox);
    m_objects.CreateMessages({{m_box.inbox, MakeMessage("both")}, {other.inbox, MakeMessage("both")}});
    EXPECT_EQ(Counts(other.inbox), std::pair(1, 1));
    EXPECT_EQ(Counts(m_box.inbox), std::pair(6, 6));
}

TEST_F(ObjectsTest, MessagesLieInFoldersOnly)
{
    ObjectId id = Add("m");
    EXPECT_EQ(FaultOf([&] { m_objects.CreateMessage(id, MakeMessage("x")); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { m_objects.CreateMessage(999999, MakeMessage("x")); }), Fault::NotFound);
    EXPECT_EQ(FaultOf([&] { m_objects.MoveMessages({id}, m_alice.mailbox); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { m_objects.CopyMessages({id}, 999999); }), Fault::NotFound);
    EXPECT_EQ(FaultOf([&] { m_objects.CreateFolder(id, NameBag("x")); }), Fault::Invalid);
    EXPECT_THAT(m_objects.RemoveMessages({m_box.inbox}), ElementsAre(false));
    EXPECT_EQ(FaultOf([&] { m_objects.Change(id, {}); }), Fault::Invalid);
}

TEST_F(ObjectsTest, FoldersHaveNamesOfTheirOwn)
{
    ObjectId one = m_objects.CreateFolder(m_box.inbox, NameBag("Caf\xc3\xa9"));
    EXPECT_EQ(FaultOf([&] { m_objects.CreateFolder(m_box.inbox, NameBag("CAF\xc3\x89")); }), Fault::Collision);
    ObjectId two = m_objects.CreateFolder(m_box.inbox, NameBag("Two"));
    m_objects.CreateFolder(one, NameBag("Caf\xc3\xa9")); // elsewhere it is free
    EXPECT_EQ(m_objects.FolderNamed(m_box.inbox, "caf\xc3\xa9"), one);
    EXPECT_FALSE(m_objects.FolderNamed(m_box.inbox, "three"));
    EXPECT_EQ(FaultOf([&] { m_objects.Change(two, {NameBag("caf\xc3\x89"), {}}); }), Fault::Collision);
    m_objects.Change(one, {NameBag("CAF\xc3\x89"), {}}); // its own name in another case
    m_objects.Change(two, {NameBag("Three"), {}});
    EXPECT_EQ(m_objects.FolderNamed(m_box.inbox, "three"), two);
}

TEST_F(ObjectsTest, AFolderIsRemovedWithEverythingInIt)
{
    ObjectId outer = m_objects.CreateFolder(m_box.inbox, NameBag("outer"));
    ObjectId inner = m_objects.CreateFolder(outer, NameBag("inner"));
    ObjectId id = m_objects.CreateMessage(inner, MakeRich());
    m_objects.CreateMessage(outer, MakeMessage("m"));
    ObjectId stays = Add("stays");
    m_objects.RemoveFolder(outer);
    EXPECT_FALSE(m_objects.Find(outer));
    EXPECT_FALSE(m_objects.Find(inner));
    EXPECT_FALSE(m_objects.Find(id));
    EXPECT_TRUE(m_objects.Find(stays));
    EXPECT_EQ(FaultOf([&] { m_objects.RemoveFolder(m_box.inbox); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { m_objects.RemoveFolder(stays); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { m_objects.RemoveFolder(outer); }), Fault::NotFound);
}

TEST_F(ObjectsTest, ValuesInStreamsAreCopiedFromOneObjectToAnother)
{
    ObjectId from = Add("from", {{kAttachData, Bytes(100000, 6)}});
    StoredStream stream = *m_objects.Read(from).get<StoredStream>(kAttachData);
    ObjectId to = Add("to", {{kAttachData, stream}});
    m_objects.RemoveMessages({from});
    EXPECT_EQ(m_objects.ReadUpTo(to, 1 << 20).get<Bytes>(kAttachData)->size(), 100000u);
    m_objects.RemoveMessages({Add("later", {{kAttachData, stream}})});
    // Its own value, as it was read, is no change.
    StoredStream own = *m_objects.Read(to).get<StoredStream>(kAttachData);
    MessageChanges changes;
    changes.properties.set.Set(kAttachData, own);
    m_objects.ChangeMessage(to, changes);
    EXPECT_EQ(*m_objects.Read(to).get<StoredStream>(kAttachData), own);
    m_objects.RemoveMessages({to});
    EXPECT_EQ(FaultOf([&] {
                  Add("late", {{kAttachData, stream}});
              }),
              Fault::NotFound)
        << "the last that had it is gone";
}

TEST_F(ObjectsTest, PropertiesOfEveryOtherKindOfObjectAreChangedToo)
{
    for (ObjectId id : {m_alice.mailbox, m_box.root, m_box.inbox, m_alice.id}) {
        m_objects.Change(id, {{{kNumber, std::int32_t{1}}, {kSubject, std::string(10000, 's')}}, {}});
        EXPECT_EQ(m_objects.Read(id).get<std::string>(kSubject)->size(), 10000u);
        m_objects.Change(id, {{}, {kNumber, kSubject}});
        EXPECT_FALSE(m_objects.Read(id).Find(kNumber));
    }
    EXPECT_EQ(*m_objects.Read(m_box.inbox, {kDisplayName, kNumber}).get<std::string>(kDisplayName), "Inbox");
    EXPECT_EQ(m_objects.Read(m_box.inbox, {kDisplayName, kNumber}).size(), 1u);
}

} // namespace

} // namespace localmapi::storage
