// Proves that folders, messages, attachments and recipients are written whole, changed in one step, copied, moved and
// deleted with everything in them, and that ids and counts stay right.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using testing::ElementsAre;
constexpr Tag kNumber = MakeTag(0x6001, Type::Int32);

PropertyBag named(const std::string &name)
{
    return {{kDisplayName, name}};
}

AttachmentChanges attachment(std::int32_t number, const std::string &name, Bytes data = {1, 2, 3})
{
    return {number, false, {{{kAttachName, name}, {kAttachData, std::move(data)}}, {}}, nullptr};
}

class ObjectsTest : public SiteTest
{
  protected:
    ~ObjectsTest() override { expectSound(); }

    // A message with everything a message can have.
    MessageChanges rich() const
    {
        MessageChanges content = message("rich", {{kImportance, std::int32_t{2}},
                                                  {kClientSubmitTime, std::int64_t{77}},
                                                  {kMessageDeliveryTime, std::int64_t{78}},
                                                  {kBody, std::string(50000, 'b')}});
        content.recipients = std::vector<PropertyBag>{named("Ann"), named("Bob")};
        content.attachments = {attachment(0, "a"), attachment(4, "big", Bytes(600000, 9))};
        AttachmentChanges embedding = attachment(7, "embedded");
        MessageChanges inner = message("inner", {{kImportance, std::int32_t{1}}});
        inner.attachments = {attachment(0, "innermost", Bytes(20000, 3))};
        inner.recipients = std::vector<PropertyBag>{named("Inner")};
        embedding.embedded = std::make_shared<MessageChanges>(inner);
        content.attachments.push_back(embedding);
        return content;
    }
    void expectRich(ObjectId id) const
    {
        PropertyBag bag = objects.ReadUpTo(id, 1 << 20);
        EXPECT_EQ(*bag.get<std::string>(kSubject), "rich");
        EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note");
        EXPECT_EQ(*bag.get<std::int32_t>(kImportance), 2);
        EXPECT_EQ(*bag.get<std::int64_t>(kClientSubmitTime), 77);
        EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
        EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags) & kFlagHasAttachments, kFlagHasAttachments);
        EXPECT_EQ(bag.get<std::string>(kBody)->size(), 50000u);
        EXPECT_GT(*bag.get<std::int32_t>(kMessageSize), 670000);
        std::vector<PropertyBag> recipients = objects.Recipients(id);
        ASSERT_EQ(recipients.size(), 2u);
        EXPECT_EQ(*recipients[0].get<std::string>(kDisplayName), "Ann");
        EXPECT_EQ(*recipients[1].get<std::int32_t>(kRowId), 1);
        std::vector<ObjectInfo> attachments = objects.Attachments(id);
        ASSERT_EQ(attachments.size(), 3u);
        EXPECT_EQ(attachments[1].number, 4);
        EXPECT_EQ(objects.ReadUpTo(attachments[1].id, 1 << 20).get<Bytes>(kAttachData)->size(), 600000u);
        ObjectId inner = objects.EmbeddedMessage(attachments[2].id);
        ASSERT_NE(inner, 0);
        EXPECT_EQ(*objects.Read(inner).get<std::string>(kSubject), "inner");
        EXPECT_EQ(*objects.Read(inner).get<std::int32_t>(kImportance), 1);
        EXPECT_EQ(objects.Recipients(inner).size(), 1u);
        ASSERT_EQ(objects.Attachments(inner).size(), 1u);
        EXPECT_EQ(objects.Read(objects.Attachments(inner)[0].id).get<Bytes>(kAttachData)->size(), 20000u);
        EXPECT_EQ(objects.EmbeddedMessage(attachments[0].id), 0);
    }
    std::pair<std::int32_t, std::int32_t> counts(ObjectId of) const // messages, unread ones
    {
        PropertyBag bag = objects.Read(of);
        return {*bag.get<std::int32_t>(kContentCount), *bag.get<std::int32_t>(kContentUnread)};
    }
};

TEST_F(ObjectsTest, AMessageIsWrittenWithEverythingInIt)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    expectRich(id);
    ObjectInfo info = objects.Info(id);
    EXPECT_EQ(info.kind, ObjectKind::Message);
    EXPECT_EQ(info.parent, box.inbox);
    EXPECT_EQ(info.change, site.GetChangeNumber());
    EXPECT_EQ(Directory(site).MailboxOf(objects.EmbeddedMessage(objects.Attachments(id)[2].id)), alice.mailbox);
}

TEST_F(ObjectsTest, TimesAreKeptByTheStore)
{
    ObjectId now = add("now"), then = add("then", {{kCreationTime, std::int64_t{5}}});
    PropertyBag bag = objects.Read(now);
    EXPECT_EQ(*bag.get<std::int64_t>(kCreationTime), *bag.get<std::int64_t>(kLastModificationTime));
    EXPECT_GT(*bag.get<std::int64_t>(kCreationTime), 133000000000000000);
    EXPECT_EQ(*objects.Read(then).get<std::int64_t>(kCreationTime), 5);
    MessageChanges changes;
    changes.properties.set.Set(kSubject, std::string("changed"));
    objects.ChangeMessage(then, changes);
    EXPECT_EQ(*objects.Read(then).get<std::int64_t>(kCreationTime), 5);
    EXPECT_GE(*objects.Read(then).get<std::int64_t>(kLastModificationTime),
              *bag.get<std::int64_t>(kLastModificationTime));
}

TEST_F(ObjectsTest, WhatTheStoreKeepsItselfCannotBeSet)
{
    ObjectId id = add("m", {{kObjectId, std::int64_t{1}},
                            {kParentId, std::int64_t{1}},
                            {kChangeNumber, std::int64_t{0}},
                            {kMessageSize, std::int32_t{1}},
                            {kHasAttachments, true},
                            {kMessageFlags, kFlagRead | kFlagHasAttachments}});
    PropertyBag bag = objects.Read(id);
    EXPECT_EQ(*bag.get<std::int64_t>(kObjectId), id);
    EXPECT_EQ(*bag.get<std::int64_t>(kParentId), box.inbox);
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageSize), 1); // the one byte of the subject
    EXPECT_FALSE(*bag.get<bool>(kHasAttachments));
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead);
}

TEST_F(ObjectsTest, ChangesSetAndRemoveInOneStep)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    MessageChanges changes;
    changes.properties.set = {{kSubject, std::string("other")},
                              {kMessageClass, std::string("IPM.Note.Microsoft.Voicemail.UM")},
                              {kMessageFlags, kFlagRead},
                              {kNumber, std::int32_t{3}}};
    changes.properties.remove = {kBody, kImportance, kClientSubmitTime, MakeTag(0x7FFF, Type::Int32)};
    changes.recipients = std::vector<PropertyBag>{named("Carol")};
    AttachmentChanges change = attachment(4, "small", Bytes{5});
    MessageChanges inner;
    inner.properties.set.Set(kSubject, std::string("inner 2"));
    const AttachmentChanges embedded{7, false, {}, std::make_shared<MessageChanges>(inner)};
    changes.attachments = {{0, true, {}, nullptr}, change, attachment(9, "new"), embedded};
    ChangeNumber number = objects.ChangeMessage(id, changes);
    EXPECT_EQ(objects.Info(id).change, number);

    PropertyBag bag = objects.Read(id);
    EXPECT_EQ(*bag.get<std::string>(kSubject), "other");
    EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note.Microsoft.Voicemail.UM");
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead | kFlagHasAttachments);
    EXPECT_EQ(*bag.get<std::int32_t>(kNumber), 3);
    EXPECT_FALSE(bag.FindId(TagId(kBody)));
    EXPECT_FALSE(bag.Find(kImportance));
    EXPECT_FALSE(bag.Find(kClientSubmitTime));
    EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
    ASSERT_EQ(objects.Recipients(id).size(), 1u);
    std::vector<ObjectInfo> attachments = objects.Attachments(id);
    ASSERT_EQ(attachments.size(), 3u);
    EXPECT_EQ(attachments[0].number, 4);
    EXPECT_EQ(*objects.Read(attachments[0].id).get<Bytes>(kAttachData), Bytes{5});
    EXPECT_EQ(attachments[1].number, 7);
    EXPECT_EQ(*objects.Read(objects.EmbeddedMessage(attachments[1].id)).get<std::string>(kSubject), "inner 2");
    EXPECT_EQ(attachments[2].number, 9);
    EXPECT_EQ(counts(box.inbox), std::pair(1, 0));
}

TEST_F(ObjectsTest, LosingTheLastAttachmentClearsTheFlag)
{
    MessageChanges content = message("m");
    content.attachments = {attachment(0, "a")};
    ObjectId id = objects.CreateMessage(box.inbox, content);
    EXPECT_TRUE(*objects.Read(id).get<bool>(kHasAttachments));
    MessageChanges changes;
    changes.attachments = {{0, true, {}, nullptr}};
    objects.ChangeMessage(id, changes);
    EXPECT_FALSE(*objects.Read(id).get<bool>(kHasAttachments));
    changes.attachments = {attachment(1, "b")};
    objects.ChangeMessage(id, changes);
    EXPECT_TRUE(*objects.Read(id).get<bool>(kHasAttachments));
}

TEST_F(ObjectsTest, AChangeThatExpectsAnotherStateIsRefused)
{
    ObjectId id = add("m");
    ChangeNumber seen = objects.Info(id).change;
    MessageChanges changes;
    changes.properties.set.Set(kSubject, std::string("first"));
    ChangeNumber first = objects.ChangeMessage(id, changes, seen);
    EXPECT_GT(first, seen);
    changes.properties.set.Set(kSubject, std::string("second"));
    EXPECT_EQ(faultOf([&] { objects.ChangeMessage(id, changes, seen); }), Fault::Changed);
    EXPECT_EQ(*objects.Read(id).get<std::string>(kSubject), "first");
    objects.ChangeMessage(id, changes, first);
    EXPECT_EQ(*objects.Read(id).get<std::string>(kSubject), "second");

    ChangeNumber folderChange = objects.Info(box.inbox).change;
    objects.Change(box.inbox, {{{kNumber, std::int32_t{1}}}, {}}, folderChange);
    EXPECT_EQ(faultOf([&] {
                  objects.Change(box.inbox, {{{kNumber, std::int32_t{2}}}, {}}, folderChange);
              }),
              Fault::Changed);
    EXPECT_EQ(*objects.Read(box.inbox).get<std::int32_t>(kNumber), 1);
}

TEST_F(ObjectsTest, TwoAttachmentsCannotHaveOneNumber)
{
    MessageChanges content = message("m");
    content.attachments = {attachment(1, "a"), attachment(1, "b")};
    EXPECT_EQ(faultOf([&] { objects.CreateMessage(box.inbox, content); }), Fault::Collision);
    EXPECT_EQ(View(site, inbox()).Count(), 0u);
}

TEST_F(ObjectsTest, MessagesAreCountedByFolderReadAndUnread)
{
    EXPECT_EQ(counts(box.inbox), std::pair(0, 0));
    std::vector<ObjectId> ids{add("a"), add("b"), add("c", {{kMessageFlags, kFlagRead}})};
    EXPECT_EQ(counts(box.inbox), std::pair(3, 2));
    EXPECT_THAT(objects.SetRead({ids[0], ids[2]}, true), ElementsAre(true, true));
    EXPECT_EQ(counts(box.inbox), std::pair(3, 1));
    objects.SetRead(ids, false);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 3));
    objects.SetAllRead(box.inbox, true);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 0));
    EXPECT_EQ(*objects.Read(ids[1]).get<std::int32_t>(kMessageFlags), kFlagRead);
    objects.SetAllRead(box.inbox, false);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 3));
    objects.MoveMessages({ids[0]}, box.deletedItems);
    EXPECT_EQ(counts(box.inbox), std::pair(2, 2));
    EXPECT_EQ(counts(box.deletedItems), std::pair(1, 1));
    objects.RemoveAllMessages(box.inbox);
    EXPECT_EQ(counts(box.inbox), std::pair(0, 0));
}

TEST_F(ObjectsTest, FlagsAreSetAndClearedButForWhatFollowsFromTheAttachments)
{
    ObjectId id = add("m", {{kMessageFlags, std::int32_t{8}}});
    objects.ChangeFlags({id}, kFlagRead | kFlagHasAttachments | 4, 8);
    EXPECT_EQ(*objects.Read(id).get<std::int32_t>(kMessageFlags), kFlagRead | 4);
    ChangeNumber change = objects.Info(id).change;
    objects.ChangeFlags({id}, kFlagRead, 0); // as it is already
    EXPECT_EQ(objects.Info(id).change, change);
}

TEST_F(ObjectsTest, AMovedMessageIsWholeAndHasANewId)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    ObjectId other = add("other");
    std::vector<ObjectId> moved = objects.MoveMessages({id, 999999, other}, box.sentItems);
    ASSERT_EQ(moved.size(), 3u);
    EXPECT_NE(moved[0], id);
    EXPECT_NE(moved[0], 0);
    EXPECT_EQ(moved[1], 0);
    EXPECT_FALSE(objects.Find(id));
    expectRich(moved[0]);
    EXPECT_EQ(objects.Info(moved[0]).parent, box.sentItems);
    EXPECT_EQ(View(site, inbox()).Count(), 0u);
    EXPECT_EQ(View(site, {Container::Kind::Contents, box.sentItems}).Count(), 2u);
    std::vector<ObjectId> again = objects.MoveMessages({moved[0]}, box.sentItems); // into the folder where it is
    EXPECT_NE(again[0], moved[0]);
    expectRich(again[0]);
}

TEST_F(ObjectsTest, ACopyIsWholeAndApartFromTheOriginal)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    std::vector<ObjectId> copies = objects.CopyMessages({id, id, 999999}, box.inbox);
    EXPECT_EQ(copies[2], 0);
    expectRich(copies[0]);
    objects.RemoveMessages({id});
    expectRich(copies[0]);
    expectRich(copies[1]);
    EXPECT_EQ(counts(box.inbox), std::pair(2, 2));
}

TEST_F(ObjectsTest, ADeletedMessageIsGoneWithEverythingInIt)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    ObjectId inner = objects.EmbeddedMessage(objects.Attachments(id)[2].id);
    std::unique_ptr<Stream> reader = objects.OpenProperty(objects.Attachments(id)[1].id, kAttachData);
    EXPECT_THAT(objects.RemoveMessages({id, id}), ElementsAre(true, false));
    EXPECT_FALSE(objects.Find(id));
    EXPECT_FALSE(objects.Find(inner));
    EXPECT_EQ(faultOf([&] { objects.Read(id); }), Fault::NotFound);
    char byte;
    EXPECT_EQ(faultOf([&] { reader->Read(0, &byte, 1); }), Fault::NotFound);
}

TEST_F(ObjectsTest, EmbeddedMessagesBelongToTheirMessages)
{
    ObjectId id = objects.CreateMessage(box.inbox, rich());
    ObjectId inner = objects.EmbeddedMessage(objects.Attachments(id)[2].id);
    EXPECT_THAT(objects.RemoveMessages({inner}), ElementsAre(false));
    EXPECT_THAT(objects.MoveMessages({inner}, box.inbox), ElementsAre(0));
    EXPECT_EQ(faultOf([&] { objects.ChangeMessage(inner, {}); }), Fault::NotFound);
    EXPECT_EQ(View(site, inbox()).Count(), 1u);
    expectRich(id);
}

TEST_F(ObjectsTest, IdsAreNeverUsedTwice)
{
    ObjectId first = add("a");
    objects.RemoveMessages({first});
    ObjectId second = add("b");
    EXPECT_GT(second, first);
    objects.RemoveMessages({second});
    Site again = Site::Open(site.Path());
    EXPECT_GT(Objects(again).CreateMessage(box.inbox, message("c")), second);
}

TEST_F(ObjectsTest, ManyMessagesAreMadeInOneStepOrNotAtAll)
{
    std::vector<NewMessage> messages(5, NewMessage{box.inbox, message("m")});
    std::vector<ObjectId> ids = objects.CreateMessages(messages);
    EXPECT_EQ(ids.size(), 5u);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    messages.push_back({999999, message("nowhere")});
    EXPECT_EQ(faultOf([&] { objects.CreateMessages(messages); }), Fault::NotFound);
    EXPECT_EQ(View(site, inbox()).Count(), 5u);
    EXPECT_TRUE(objects.CreateMessages({}).empty());
    // One delivery to several mailboxes.
    Mailbox other = Directory(site).GetMailbox(Directory(site).AddUser("bob", "Bob").mailbox);
    objects.CreateMessages({{box.inbox, message("both")}, {other.inbox, message("both")}});
    EXPECT_EQ(counts(other.inbox), std::pair(1, 1));
    EXPECT_EQ(counts(box.inbox), std::pair(6, 6));
}

TEST_F(ObjectsTest, MessagesLieInFoldersOnly)
{
    ObjectId id = add("m");
    EXPECT_EQ(faultOf([&] { objects.CreateMessage(id, message("x")); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.CreateMessage(999999, message("x")); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { objects.MoveMessages({id}, alice.mailbox); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.CopyMessages({id}, 999999); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { objects.CreateFolder(id, named("x")); }), Fault::Invalid);
    EXPECT_THAT(objects.RemoveMessages({box.inbox}), ElementsAre(false));
    EXPECT_EQ(faultOf([&] { objects.Change(id, {}); }), Fault::Invalid);
}

TEST_F(ObjectsTest, FoldersHaveNamesOfTheirOwn)
{
    ObjectId one = objects.CreateFolder(box.inbox, named("Caf\xc3\xa9"));
    EXPECT_EQ(faultOf([&] { objects.CreateFolder(box.inbox, named("CAF\xc3\x89")); }), Fault::Collision);
    ObjectId two = objects.CreateFolder(box.inbox, named("Two"));
    objects.CreateFolder(one, named("Caf\xc3\xa9")); // elsewhere it is free
    EXPECT_EQ(objects.FolderNamed(box.inbox, "caf\xc3\xa9"), one);
    EXPECT_FALSE(objects.FolderNamed(box.inbox, "three"));
    EXPECT_EQ(faultOf([&] { objects.Change(two, {named("caf\xc3\x89"), {}}); }), Fault::Collision);
    objects.Change(one, {named("CAF\xc3\x89"), {}}); // its own name in another case
    objects.Change(two, {named("Three"), {}});
    EXPECT_EQ(objects.FolderNamed(box.inbox, "three"), two);
}

TEST_F(ObjectsTest, AFolderIsRemovedWithEverythingInIt)
{
    ObjectId outer = objects.CreateFolder(box.inbox, named("outer"));
    ObjectId inner = objects.CreateFolder(outer, named("inner"));
    ObjectId id = objects.CreateMessage(inner, rich());
    objects.CreateMessage(outer, message("m"));
    ObjectId stays = add("stays");
    objects.RemoveFolder(outer);
    EXPECT_FALSE(objects.Find(outer));
    EXPECT_FALSE(objects.Find(inner));
    EXPECT_FALSE(objects.Find(id));
    EXPECT_TRUE(objects.Find(stays));
    EXPECT_EQ(faultOf([&] { objects.RemoveFolder(box.inbox); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.RemoveFolder(stays); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.RemoveFolder(outer); }), Fault::NotFound);
}

TEST_F(ObjectsTest, ValuesInStreamsAreCopiedFromOneObjectToAnother)
{
    ObjectId from = add("from", {{kAttachData, Bytes(100000, 6)}});
    StoredStream stream = *objects.Read(from).get<StoredStream>(kAttachData);
    ObjectId to = add("to", {{kAttachData, stream}});
    objects.RemoveMessages({from});
    EXPECT_EQ(objects.ReadUpTo(to, 1 << 20).get<Bytes>(kAttachData)->size(), 100000u);
    EXPECT_EQ(faultOf([&] { add("late", {{kAttachData, stream}}); }), Fault::NotFound);
    // Its own value, as it was read, is no change.
    StoredStream own = *objects.Read(to).get<StoredStream>(kAttachData);
    MessageChanges changes;
    changes.properties.set.Set(kAttachData, own);
    objects.ChangeMessage(to, changes);
    EXPECT_EQ(*objects.Read(to).get<StoredStream>(kAttachData), own);
}

TEST_F(ObjectsTest, PropertiesOfEveryOtherKindOfObjectAreChangedToo)
{
    for (ObjectId id : {alice.mailbox, box.root, box.inbox, alice.id}) {
        objects.Change(id, {{{kNumber, std::int32_t{1}}, {kSubject, std::string(10000, 's')}}, {}});
        EXPECT_EQ(objects.Read(id).get<std::string>(kSubject)->size(), 10000u);
        objects.Change(id, {{}, {kNumber, kSubject}});
        EXPECT_FALSE(objects.Read(id).Find(kNumber));
    }
    EXPECT_EQ(*objects.Read(box.inbox, {kDisplayName, kNumber}).get<std::string>(kDisplayName), "Inbox");
    EXPECT_EQ(objects.Read(box.inbox, {kDisplayName, kNumber}).size(), 1u);
}

} // namespace

} // namespace localmapi::storage
