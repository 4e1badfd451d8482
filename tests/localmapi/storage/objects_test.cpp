// Proves that folders, messages, attachments and recipients are written whole, changed in one step, copied, moved and
// deleted with everything in them, and that ids and counts stay right.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using testing::ElementsAre;
constexpr Tag kNumber = makeTag(0x6001, Type::Int32);

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
        embedding.embedded = std::make_shared<MessageChanges>(message("inner", {{kImportance, std::int32_t{1}}}));
        embedding.embedded->attachments = {attachment(0, "innermost", Bytes(20000, 3))};
        embedding.embedded->recipients = std::vector<PropertyBag>{named("Inner")};
        content.attachments.push_back(embedding);
        return content;
    }
    void expectRich(ObjectId id) const
    {
        PropertyBag bag = objects.readUpTo(id, 1 << 20);
        EXPECT_EQ(*bag.get<std::string>(kSubject), "rich");
        EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note");
        EXPECT_EQ(*bag.get<std::int32_t>(kImportance), 2);
        EXPECT_EQ(*bag.get<std::int64_t>(kClientSubmitTime), 77);
        EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
        EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags) & kFlagHasAttachments, kFlagHasAttachments);
        EXPECT_EQ(bag.get<std::string>(kBody)->size(), 50000u);
        EXPECT_GT(*bag.get<std::int32_t>(kMessageSize), 670000);
        std::vector<PropertyBag> recipients = objects.recipients(id);
        ASSERT_EQ(recipients.size(), 2u);
        EXPECT_EQ(*recipients[0].get<std::string>(kDisplayName), "Ann");
        EXPECT_EQ(*recipients[1].get<std::int32_t>(kRowId), 1);
        std::vector<ObjectInfo> attachments = objects.attachments(id);
        ASSERT_EQ(attachments.size(), 3u);
        EXPECT_EQ(attachments[1].number, 4);
        EXPECT_EQ(objects.readUpTo(attachments[1].id, 1 << 20).get<Bytes>(kAttachData)->size(), 600000u);
        ObjectId inner = objects.embeddedMessage(attachments[2].id);
        ASSERT_NE(inner, 0);
        EXPECT_EQ(*objects.read(inner).get<std::string>(kSubject), "inner");
        EXPECT_EQ(*objects.read(inner).get<std::int32_t>(kImportance), 1);
        EXPECT_EQ(objects.recipients(inner).size(), 1u);
        ASSERT_EQ(objects.attachments(inner).size(), 1u);
        EXPECT_EQ(objects.read(objects.attachments(inner)[0].id).get<Bytes>(kAttachData)->size(), 20000u);
        EXPECT_EQ(objects.embeddedMessage(attachments[0].id), 0);
    }
    std::pair<std::int32_t, std::int32_t> counts(ObjectId of) const // messages, unread ones
    {
        PropertyBag bag = objects.read(of);
        return {*bag.get<std::int32_t>(kContentCount), *bag.get<std::int32_t>(kContentUnread)};
    }
};

TEST_F(ObjectsTest, AMessageIsWrittenWithEverythingInIt)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    expectRich(id);
    ObjectInfo info = objects.info(id);
    EXPECT_EQ(info.kind, ObjectKind::Message);
    EXPECT_EQ(info.parent, box.inbox);
    EXPECT_EQ(info.change, site.changeNumber());
    EXPECT_EQ(Directory(site).mailboxOf(objects.embeddedMessage(objects.attachments(id)[2].id)), alice.mailbox);
}

TEST_F(ObjectsTest, TimesAreKeptByTheStore)
{
    ObjectId now = add("now"), then = add("then", {{kCreationTime, std::int64_t{5}}});
    PropertyBag bag = objects.read(now);
    EXPECT_EQ(*bag.get<std::int64_t>(kCreationTime), *bag.get<std::int64_t>(kLastModificationTime));
    EXPECT_GT(*bag.get<std::int64_t>(kCreationTime), 133000000000000000);
    EXPECT_EQ(*objects.read(then).get<std::int64_t>(kCreationTime), 5);
    MessageChanges changes;
    changes.properties.set.set(kSubject, std::string("changed"));
    objects.changeMessage(then, changes);
    EXPECT_EQ(*objects.read(then).get<std::int64_t>(kCreationTime), 5);
    EXPECT_GE(*objects.read(then).get<std::int64_t>(kLastModificationTime),
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
    PropertyBag bag = objects.read(id);
    EXPECT_EQ(*bag.get<std::int64_t>(kObjectId), id);
    EXPECT_EQ(*bag.get<std::int64_t>(kParentId), box.inbox);
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageSize), 1); // the one byte of the subject
    EXPECT_FALSE(*bag.get<bool>(kHasAttachments));
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead);
}

TEST_F(ObjectsTest, ChangesSetAndRemoveInOneStep)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    MessageChanges changes;
    changes.properties.set = {{kSubject, std::string("other")},
                              {kMessageClass, std::string("IPM.Note.Microsoft.Voicemail.UM")},
                              {kMessageFlags, kFlagRead},
                              {kNumber, std::int32_t{3}}};
    changes.properties.remove = {kBody, kImportance, kClientSubmitTime, makeTag(0x7FFF, Type::Int32)};
    changes.recipients = std::vector<PropertyBag>{named("Carol")};
    AttachmentChanges change = attachment(4, "small", Bytes{5});
    AttachmentChanges embedded{7, false, {}, std::make_shared<MessageChanges>()};
    embedded.embedded->properties.set.set(kSubject, std::string("inner 2"));
    changes.attachments = {{0, true, {}, nullptr}, change, attachment(9, "new"), embedded};
    ChangeNumber number = objects.changeMessage(id, changes);
    EXPECT_EQ(objects.info(id).change, number);

    PropertyBag bag = objects.read(id);
    EXPECT_EQ(*bag.get<std::string>(kSubject), "other");
    EXPECT_EQ(*bag.get<std::string>(kMessageClass), "IPM.Note.Microsoft.Voicemail.UM");
    EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), kFlagRead | kFlagHasAttachments);
    EXPECT_EQ(*bag.get<std::int32_t>(kNumber), 3);
    EXPECT_FALSE(bag.findId(tagId(kBody)));
    EXPECT_FALSE(bag.find(kImportance));
    EXPECT_FALSE(bag.find(kClientSubmitTime));
    EXPECT_EQ(*bag.get<std::int64_t>(kMessageDeliveryTime), 78);
    ASSERT_EQ(objects.recipients(id).size(), 1u);
    std::vector<ObjectInfo> attachments = objects.attachments(id);
    ASSERT_EQ(attachments.size(), 3u);
    EXPECT_EQ(attachments[0].number, 4);
    EXPECT_EQ(*objects.read(attachments[0].id).get<Bytes>(kAttachData), Bytes{5});
    EXPECT_EQ(attachments[1].number, 7);
    EXPECT_EQ(*objects.read(objects.embeddedMessage(attachments[1].id)).get<std::string>(kSubject), "inner 2");
    EXPECT_EQ(attachments[2].number, 9);
    EXPECT_EQ(counts(box.inbox), std::pair(1, 0));
}

TEST_F(ObjectsTest, LosingTheLastAttachmentClearsTheFlag)
{
    MessageChanges content = message("m");
    content.attachments = {attachment(0, "a")};
    ObjectId id = objects.createMessage(box.inbox, content);
    EXPECT_TRUE(*objects.read(id).get<bool>(kHasAttachments));
    MessageChanges changes;
    changes.attachments = {{0, true, {}, nullptr}};
    objects.changeMessage(id, changes);
    EXPECT_FALSE(*objects.read(id).get<bool>(kHasAttachments));
    changes.attachments = {attachment(1, "b")};
    objects.changeMessage(id, changes);
    EXPECT_TRUE(*objects.read(id).get<bool>(kHasAttachments));
}

TEST_F(ObjectsTest, AChangeThatExpectsAnotherStateIsRefused)
{
    ObjectId id = add("m");
    ChangeNumber seen = objects.info(id).change;
    MessageChanges changes;
    changes.properties.set.set(kSubject, std::string("first"));
    ChangeNumber first = objects.changeMessage(id, changes, seen);
    EXPECT_GT(first, seen);
    changes.properties.set.set(kSubject, std::string("second"));
    EXPECT_EQ(faultOf([&] { objects.changeMessage(id, changes, seen); }), Fault::Changed);
    EXPECT_EQ(*objects.read(id).get<std::string>(kSubject), "first");
    objects.changeMessage(id, changes, first);
    EXPECT_EQ(*objects.read(id).get<std::string>(kSubject), "second");

    ChangeNumber folderChange = objects.info(box.inbox).change;
    objects.change(box.inbox, {{{kNumber, std::int32_t{1}}}, {}}, folderChange);
    EXPECT_EQ(faultOf([&] {
                  objects.change(box.inbox, {{{kNumber, std::int32_t{2}}}, {}}, folderChange);
              }),
              Fault::Changed);
    EXPECT_EQ(*objects.read(box.inbox).get<std::int32_t>(kNumber), 1);
}

TEST_F(ObjectsTest, TwoAttachmentsCannotHaveOneNumber)
{
    MessageChanges content = message("m");
    content.attachments = {attachment(1, "a"), attachment(1, "b")};
    EXPECT_EQ(faultOf([&] { objects.createMessage(box.inbox, content); }), Fault::Collision);
    EXPECT_EQ(View(site, inbox()).count(), 0u);
}

TEST_F(ObjectsTest, MessagesAreCountedByFolderReadAndUnread)
{
    EXPECT_EQ(counts(box.inbox), std::pair(0, 0));
    std::vector<ObjectId> ids{add("a"), add("b"), add("c", {{kMessageFlags, kFlagRead}})};
    EXPECT_EQ(counts(box.inbox), std::pair(3, 2));
    EXPECT_THAT(objects.setRead({ids[0], ids[2]}, true), ElementsAre(true, true));
    EXPECT_EQ(counts(box.inbox), std::pair(3, 1));
    objects.setRead(ids, false);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 3));
    objects.setAllRead(box.inbox, true);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 0));
    EXPECT_EQ(*objects.read(ids[1]).get<std::int32_t>(kMessageFlags), kFlagRead);
    objects.setAllRead(box.inbox, false);
    EXPECT_EQ(counts(box.inbox), std::pair(3, 3));
    objects.moveMessages({ids[0]}, box.deletedItems);
    EXPECT_EQ(counts(box.inbox), std::pair(2, 2));
    EXPECT_EQ(counts(box.deletedItems), std::pair(1, 1));
    objects.removeAllMessages(box.inbox);
    EXPECT_EQ(counts(box.inbox), std::pair(0, 0));
}

TEST_F(ObjectsTest, FlagsAreSetAndClearedButForWhatFollowsFromTheAttachments)
{
    ObjectId id = add("m", {{kMessageFlags, std::int32_t{8}}});
    objects.changeFlags({id}, kFlagRead | kFlagHasAttachments | 4, 8);
    EXPECT_EQ(*objects.read(id).get<std::int32_t>(kMessageFlags), kFlagRead | 4);
    ChangeNumber change = objects.info(id).change;
    objects.changeFlags({id}, kFlagRead, 0); // as it is already
    EXPECT_EQ(objects.info(id).change, change);
}

TEST_F(ObjectsTest, AMovedMessageIsWholeAndHasANewId)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    ObjectId other = add("other");
    std::vector<ObjectId> moved = objects.moveMessages({id, 999999, other}, box.sentItems);
    ASSERT_EQ(moved.size(), 3u);
    EXPECT_NE(moved[0], id);
    EXPECT_NE(moved[0], 0);
    EXPECT_EQ(moved[1], 0);
    EXPECT_FALSE(objects.find(id));
    expectRich(moved[0]);
    EXPECT_EQ(objects.info(moved[0]).parent, box.sentItems);
    EXPECT_EQ(View(site, inbox()).count(), 0u);
    EXPECT_EQ(View(site, {Container::Kind::Contents, box.sentItems}).count(), 2u);
    std::vector<ObjectId> again = objects.moveMessages({moved[0]}, box.sentItems); // into the folder where it is
    EXPECT_NE(again[0], moved[0]);
    expectRich(again[0]);
}

TEST_F(ObjectsTest, ACopyIsWholeAndApartFromTheOriginal)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    std::vector<ObjectId> copies = objects.copyMessages({id, id, 999999}, box.inbox);
    EXPECT_EQ(copies[2], 0);
    expectRich(copies[0]);
    objects.removeMessages({id});
    expectRich(copies[0]);
    expectRich(copies[1]);
    EXPECT_EQ(counts(box.inbox), std::pair(2, 2));
}

TEST_F(ObjectsTest, ADeletedMessageIsGoneWithEverythingInIt)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    ObjectId inner = objects.embeddedMessage(objects.attachments(id)[2].id);
    std::unique_ptr<Stream> reader = objects.openProperty(objects.attachments(id)[1].id, kAttachData);
    EXPECT_THAT(objects.removeMessages({id, id}), ElementsAre(true, false));
    EXPECT_FALSE(objects.find(id));
    EXPECT_FALSE(objects.find(inner));
    EXPECT_EQ(faultOf([&] { objects.read(id); }), Fault::NotFound);
    char byte;
    EXPECT_EQ(faultOf([&] { reader->read(0, &byte, 1); }), Fault::NotFound);
}

TEST_F(ObjectsTest, EmbeddedMessagesBelongToTheirMessages)
{
    ObjectId id = objects.createMessage(box.inbox, rich());
    ObjectId inner = objects.embeddedMessage(objects.attachments(id)[2].id);
    EXPECT_THAT(objects.removeMessages({inner}), ElementsAre(false));
    EXPECT_THAT(objects.moveMessages({inner}, box.inbox), ElementsAre(0));
    EXPECT_EQ(faultOf([&] { objects.changeMessage(inner, {}); }), Fault::NotFound);
    EXPECT_EQ(View(site, inbox()).count(), 1u);
    expectRich(id);
}

TEST_F(ObjectsTest, IdsAreNeverUsedTwice)
{
    ObjectId first = add("a");
    objects.removeMessages({first});
    ObjectId second = add("b");
    EXPECT_GT(second, first);
    objects.removeMessages({second});
    Site again = Site::open(site.path());
    EXPECT_GT(Objects(again).createMessage(box.inbox, message("c")), second);
}

TEST_F(ObjectsTest, ManyMessagesAreMadeInOneStepOrNotAtAll)
{
    std::vector<NewMessage> messages(5, NewMessage{box.inbox, message("m")});
    std::vector<ObjectId> ids = objects.createMessages(messages);
    EXPECT_EQ(ids.size(), 5u);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    messages.push_back({999999, message("nowhere")});
    EXPECT_EQ(faultOf([&] { objects.createMessages(messages); }), Fault::NotFound);
    EXPECT_EQ(View(site, inbox()).count(), 5u);
    EXPECT_TRUE(objects.createMessages({}).empty());
    // One delivery to several mailboxes.
    Mailbox other = Directory(site).mailbox(Directory(site).addUser("bob", "Bob").mailbox);
    objects.createMessages({{box.inbox, message("both")}, {other.inbox, message("both")}});
    EXPECT_EQ(counts(other.inbox), std::pair(1, 1));
    EXPECT_EQ(counts(box.inbox), std::pair(6, 6));
}

TEST_F(ObjectsTest, MessagesLieInFoldersOnly)
{
    ObjectId id = add("m");
    EXPECT_EQ(faultOf([&] { objects.createMessage(id, message("x")); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.createMessage(999999, message("x")); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { objects.moveMessages({id}, alice.mailbox); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.copyMessages({id}, 999999); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { objects.createFolder(id, named("x")); }), Fault::Invalid);
    EXPECT_THAT(objects.removeMessages({box.inbox}), ElementsAre(false));
    EXPECT_EQ(faultOf([&] { objects.change(id, {}); }), Fault::Invalid);
}

TEST_F(ObjectsTest, FoldersHaveNamesOfTheirOwn)
{
    ObjectId one = objects.createFolder(box.inbox, named("Caf\xc3\xa9"));
    EXPECT_EQ(faultOf([&] { objects.createFolder(box.inbox, named("CAF\xc3\x89")); }), Fault::Collision);
    ObjectId two = objects.createFolder(box.inbox, named("Two"));
    objects.createFolder(one, named("Caf\xc3\xa9")); // elsewhere it is free
    EXPECT_EQ(objects.folderNamed(box.inbox, "caf\xc3\xa9"), one);
    EXPECT_FALSE(objects.folderNamed(box.inbox, "three"));
    EXPECT_EQ(faultOf([&] { objects.change(two, {named("caf\xc3\x89"), {}}); }), Fault::Collision);
    objects.change(one, {named("CAF\xc3\x89"), {}}); // its own name in another case
    objects.change(two, {named("Three"), {}});
    EXPECT_EQ(objects.folderNamed(box.inbox, "three"), two);
}

TEST_F(ObjectsTest, AFolderIsRemovedWithEverythingInIt)
{
    ObjectId outer = objects.createFolder(box.inbox, named("outer"));
    ObjectId inner = objects.createFolder(outer, named("inner"));
    ObjectId id = objects.createMessage(inner, rich());
    objects.createMessage(outer, message("m"));
    ObjectId stays = add("stays");
    objects.removeFolder(outer);
    EXPECT_FALSE(objects.find(outer));
    EXPECT_FALSE(objects.find(inner));
    EXPECT_FALSE(objects.find(id));
    EXPECT_TRUE(objects.find(stays));
    EXPECT_EQ(faultOf([&] { objects.removeFolder(box.inbox); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.removeFolder(stays); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { objects.removeFolder(outer); }), Fault::NotFound);
}

TEST_F(ObjectsTest, ValuesInStreamsAreCopiedFromOneObjectToAnother)
{
    ObjectId from = add("from", {{kAttachData, Bytes(100000, 6)}});
    StoredStream stream = *objects.read(from).get<StoredStream>(kAttachData);
    ObjectId to = add("to", {{kAttachData, stream}});
    objects.removeMessages({from});
    EXPECT_EQ(objects.readUpTo(to, 1 << 20).get<Bytes>(kAttachData)->size(), 100000u);
    EXPECT_EQ(faultOf([&] { add("late", {{kAttachData, stream}}); }), Fault::NotFound);
    // Its own value, as it was read, is no change.
    StoredStream own = *objects.read(to).get<StoredStream>(kAttachData);
    MessageChanges changes;
    changes.properties.set.set(kAttachData, own);
    objects.changeMessage(to, changes);
    EXPECT_EQ(*objects.read(to).get<StoredStream>(kAttachData), own);
}

TEST_F(ObjectsTest, PropertiesOfEveryOtherKindOfObjectAreChangedToo)
{
    for (ObjectId id : {alice.mailbox, box.root, box.inbox, alice.id}) {
        objects.change(id, {{{kNumber, std::int32_t{1}}, {kSubject, std::string(10000, 's')}}, {}});
        EXPECT_EQ(objects.read(id).get<std::string>(kSubject)->size(), 10000u);
        objects.change(id, {{}, {kNumber, kSubject}});
        EXPECT_FALSE(objects.read(id).find(kNumber));
    }
    EXPECT_EQ(*objects.read(box.inbox, {kDisplayName, kNumber}).get<std::string>(kDisplayName), "Inbox");
    EXPECT_EQ(objects.read(box.inbox, {kDisplayName, kNumber}).size(), 1u);
}

} // namespace

} // namespace localmapi::storage
