// Proves a message's way in the storage: every destination gets it as it is to be there, the stored one is carried or
// taken away, reports hold it, all in one change; and a failure leaves everything as it was.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

constexpr Tag kNumber = 0x6A210003;

class DispatchTest : public SiteTest
{
  protected:
    MessageChanges letter(const std::string &subject, std::size_t data = 300000)
    {
        MessageChanges content;
        content.properties.set = {{kMessageClass, std::string("IPM.Note")},
                                  {kSubject, subject},
                                  {kMessageFlags, std::int32_t{8}},
                                  {kNumber, std::int32_t{1}},
                                  {kBody, std::string(20000, 'b')}};
        content.recipients =
            std::vector<PropertyBag>{{{kDisplayName, std::string("Bob")}}, {{kDisplayName, std::string("Carl")}}};
        AttachmentChanges recording;
        recording.properties.set = {{kAttachName, std::string("v.wav")}, {kAttachData, Bytes(data, 'w')}};
        AttachmentChanges held;
        held.number = 4;
        held.properties.set = {{kAttachName, std::string("held")}};
        MessageChanges within;
        within.properties.set = {{kSubject, std::string("within")}, {kBody, std::string(9000, 'e')}};
        held.embedded = std::make_shared<MessageChanges>(within);
        content.attachments = {recording, held};
        return content;
    }
    Destination to(ObjectId where, std::int32_t flags)
    {
        Destination destination{where, {}, {}};
        destination.changes.properties.set = {{kMessageFlags, flags}};
        destination.changes.properties.remove = {kNumber};
        return destination;
    }
    Destination report(ObjectId where)
    {
        Destination destination{where, {}, MessageChanges{}};
        destination.cover->properties.set = {{kSubject, std::string("report")}};
        destination.cover->attachments = {{0, false, {{{kAttachName, std::string("original")}}, {}}, nullptr}};
        return destination;
    }
    void expectLetter(ObjectId id, const std::string &subject, std::int32_t flags, std::size_t recipients = 2)
    {
        PropertyBag bag = objects.Read(id);
        EXPECT_EQ(*bag.get<std::string>(kSubject), subject);
        EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), flags | kFlagHasAttachments);
        EXPECT_EQ(bag.get<std::int32_t>(kNumber), nullptr);
        EXPECT_EQ(bag.get<std::string>(kBody)->size(), 20000u);
        EXPECT_EQ(objects.Recipients(id).size(), recipients);
        std::vector<ObjectInfo> attachments = objects.Attachments(id);
        ASSERT_EQ(attachments.size(), 2u);
        EXPECT_EQ(attachments[1].number, 4);
        std::unique_ptr<Stream> data = objects.OpenProperty(attachments[0].id, kAttachData);
        ASSERT_TRUE(data);
        EXPECT_EQ(data->size(), 300000u);
        char last = 0;
        EXPECT_EQ(data->Read(299999, &last, 1), 1u);
        EXPECT_EQ(last, 'w');
        PropertyBag within = objects.Read(objects.EmbeddedMessage(attachments[1].id));
        EXPECT_EQ(*within.get<std::string>(kSubject), "within");
        EXPECT_EQ(within.get<std::string>(kBody)->size(), 9000u);
    }
    std::size_t countIn(ObjectId where)
    {
        return static_cast<std::size_t>(View(site, {Container::Kind::Contents, where}).Count());
    }
};

TEST_F(DispatchTest, WhatIsNotStoredArrivesEverywhereInOneChange)
{
    Dispatch dispatch;
    dispatch.content = letter("new");
    dispatch.destinations = {to(box.inbox, 0), to(box.sentItems, kFlagRead)};
    dispatch.destinations[0].recipients =
        std::make_shared<std::vector<PropertyBag>>(1, PropertyBag{{kDisplayName, std::string("Bob")}});
    ChangeNumber before = site.GetChangeNumber();
    std::vector<ObjectId> ids = objects.Send(dispatch);
    EXPECT_EQ(site.GetChangeNumber(), before + 1);
    ASSERT_EQ(ids.size(), 2u);
    expectLetter(ids[0], "new", 0, 1);
    expectLetter(ids[1], "new", kFlagRead);
    EXPECT_EQ(countIn(box.outbox), 0u);
    expectSound();
}

TEST_F(DispatchTest, WhatIsStoredIsCarriedToTheLastPlaceAndCopiedToTheOthers)
{
    ObjectId stored = objects.CreateMessage(box.outbox, letter("stored"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.content.properties.set.Set(kSubject, std::string("changed"));
    dispatch.destinations = {to(box.inbox, 0), report(box.inbox), to(box.sentItems, kFlagRead)};
    dispatch.destinations[2].recipients = std::make_shared<std::vector<PropertyBag>>(3);
    std::vector<ObjectId> ids = objects.Send(dispatch);
    EXPECT_FALSE(objects.Find(stored)) << "it has another number where it is now";
    EXPECT_EQ(countIn(box.outbox), 0u);
    expectLetter(ids[0], "changed", 0);
    expectLetter(ids[2], "changed", kFlagRead, 3);
    std::vector<ObjectInfo> held = objects.Attachments(ids[1]);
    ASSERT_EQ(held.size(), 1u);
    ObjectId original = objects.EmbeddedMessage(held[0].id);
    EXPECT_EQ(objects.Attachments(original).size(), 2u);
    EXPECT_EQ(objects.Recipients(original).size(), 2u);
    EXPECT_GT(*objects.Read(ids[1]).get<std::int32_t>(kMessageSize), 300000) << "with what it holds";
    expectSound();
}

TEST_F(DispatchTest, ItStaysWhereItIsWhenThatIsADestination)
{
    ObjectId stored = objects.CreateMessage(box.outbox, letter("stays"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {to(box.inbox, 0), to(box.outbox, kFlagRead)};
    std::vector<ObjectId> ids = objects.Send(dispatch);
    EXPECT_EQ(ids[1], stored);
    expectLetter(stored, "stays", kFlagRead);
    expectLetter(ids[0], "stays", 0);
    expectSound();
}

TEST_F(DispatchTest, WithoutAPlaceForItTheStoredOneGoes)
{
    ObjectId stored = objects.CreateMessage(box.outbox, letter("gone"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {report(box.inbox)};
    objects.Send(dispatch);
    EXPECT_EQ(countIn(box.outbox), 0u);
    EXPECT_EQ(countIn(box.inbox), 1u);
    dispatch.message = objects.CreateMessage(box.outbox, letter("gone too"));
    dispatch.destinations.clear();
    EXPECT_TRUE(objects.Send(dispatch).empty());
    EXPECT_EQ(countIn(box.outbox), 0u);
    expectSound();
}

TEST_F(DispatchTest, CountsOfReadAndUnreadFollow)
{
    ObjectId stored = objects.CreateMessage(box.outbox, letter("counted"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {to(box.inbox, 0), to(box.inbox, kFlagRead), to(box.sentItems, kFlagRead)};
    objects.Send(dispatch);
    const auto count = [&](ObjectId where, Tag tag) { return *objects.Read(where).get<std::int32_t>(tag); };
    EXPECT_EQ(count(box.inbox, kContentCount), 2);
    EXPECT_EQ(count(box.inbox, kContentUnread), 1);
    EXPECT_EQ(count(box.outbox, kContentCount), 0);
    EXPECT_EQ(count(box.sentItems, kContentCount), 1);
    EXPECT_EQ(count(box.sentItems, kContentUnread), 0);
}

TEST_F(DispatchTest, AFailureLeavesEverythingAsItWas)
{
    ObjectId stored = objects.CreateMessage(box.outbox, letter("stored"));
    ChangeNumber change = objects.Info(stored).change;
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.expected = change + 1;
    dispatch.content.properties.set.Set(kSubject, std::string("changed"));
    dispatch.destinations = {to(box.inbox, 0), to(box.sentItems, kFlagRead)};
    EXPECT_EQ(faultOf([&] { objects.Send(dispatch); }), Fault::Changed);
    dispatch.expected.reset();
    dispatch.destinations.push_back(to(stored, 0));
    EXPECT_EQ(faultOf([&] { objects.Send(dispatch); }), Fault::Invalid) << "a message is no folder";
    dispatch.destinations.back().folder = 999999;
    EXPECT_EQ(faultOf([&] { objects.Send(dispatch); }), Fault::NotFound);
    dispatch.destinations.pop_back();
    dispatch.message = 999999;
    EXPECT_EQ(faultOf([&] { objects.Send(dispatch); }), Fault::NotFound);
    EXPECT_EQ(objects.Info(stored).change, change);
    EXPECT_EQ(countIn(box.inbox), 0u);
    EXPECT_EQ(*objects.Read(stored).get<std::string>(kSubject), "stored");
    expectSound();
}

} // namespace

} // namespace localmapi::storage
