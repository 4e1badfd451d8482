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
    MessageChanges MakeLetter(const std::string &subject, std::size_t data = 300000)
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
    Destination To(ObjectId where, std::int32_t flags)
    {
        Destination destination{where, {}, {}};
        destination.changes.properties.set = {{kMessageFlags, flags}};
        destination.changes.properties.remove = {kNumber};
        return destination;
    }
    Destination ReportTo(ObjectId where)
    {
        Destination destination{where, {}, MessageChanges{}};
        destination.cover->properties.set = {{kSubject, std::string("report")}};
        destination.cover->attachments = {{0, false, {{{kAttachName, std::string("original")}}, {}}, nullptr}};
        return destination;
    }
    void ExpectLetter(ObjectId id, const std::string &subject, std::int32_t flags, std::size_t recipients = 2)
    {
        PropertyBag bag = m_objects.Read(id);
        EXPECT_EQ(*bag.get<std::string>(kSubject), subject);
        EXPECT_EQ(*bag.get<std::int32_t>(kMessageFlags), flags | kFlagHasAttachments);
        EXPECT_EQ(bag.get<std::int32_t>(kNumber), nullptr);
        EXPECT_EQ(bag.get<std::string>(kBody)->size(), 20000u);
        EXPECT_EQ(m_objects.Recipients(id).size(), recipients);
        std::vector<ObjectInfo> attachments = m_objects.Attachments(id);
        ASSERT_EQ(attachments.size(), 2u);
        EXPECT_EQ(attachments[1].number, 4);
        std::unique_ptr<Stream> data = m_objects.OpenProperty(attachments[0].id, kAttachData);
        ASSERT_TRUE(data);
        EXPECT_EQ(data->size(), 300000u);
        char last = 0;
        EXPECT_EQ(data->Read(299999, &last, 1), 1u);
        EXPECT_EQ(last, 'w');
        PropertyBag within = m_objects.Read(m_objects.EmbeddedMessage(attachments[1].id));
        EXPECT_EQ(*within.get<std::string>(kSubject), "within");
        EXPECT_EQ(within.get<std::string>(kBody)->size(), 9000u);
    }
    std::size_t CountIn(ObjectId where)
    {
        return static_cast<std::size_t>(View(m_site, {Container::Kind::Contents, where}).Count());
    }
};

TEST_F(DispatchTest, WhatIsNotStoredArrivesEverywhereInOneChange)
{
    Dispatch dispatch;
    dispatch.content = MakeLetter("new");
    dispatch.destinations = {To(m_box.inbox, 0), To(m_box.sentItems, kFlagRead)};
    dispatch.destinations[0].recipients =
        std::make_shared<std::vector<PropertyBag>>(1, PropertyBag{{kDisplayName, std::string("Bob")}});
    ChangeNumber before = m_site.GetChangeNumber();
    std::vector<ObjectId> ids = m_objects.Send(dispatch);
    EXPECT_EQ(m_site.GetChangeNumber(), before + 1);
    ASSERT_EQ(ids.size(), 2u);
    ExpectLetter(ids[0], "new", 0, 1);
    ExpectLetter(ids[1], "new", kFlagRead);
    EXPECT_EQ(CountIn(m_box.outbox), 0u);
    ExpectSound();
}

TEST_F(DispatchTest, WhatIsStoredIsCarriedToTheLastPlaceAndCopiedToTheOthers)
{
    ObjectId stored = m_objects.CreateMessage(m_box.outbox, MakeLetter("stored"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.content.properties.set.Set(kSubject, std::string("changed"));
    dispatch.destinations = {To(m_box.inbox, 0), ReportTo(m_box.inbox), To(m_box.sentItems, kFlagRead)};
    dispatch.destinations[2].recipients = std::make_shared<std::vector<PropertyBag>>(3);
    std::vector<ObjectId> ids = m_objects.Send(dispatch);
    EXPECT_FALSE(m_objects.Find(stored)) << "it has another number where it is now";
    EXPECT_EQ(CountIn(m_box.outbox), 0u);
    ExpectLetter(ids[0], "changed", 0);
    ExpectLetter(ids[2], "changed", kFlagRead, 3);
    std::vector<ObjectInfo> held = m_objects.Attachments(ids[1]);
    ASSERT_EQ(held.size(), 1u);
    ObjectId original = m_objects.EmbeddedMessage(held[0].id);
    EXPECT_EQ(m_objects.Attachments(original).size(), 2u);
    EXPECT_EQ(m_objects.Recipients(original).size(), 2u);
    EXPECT_GT(*m_objects.Read(ids[1]).get<std::int32_t>(kMessageSize), 300000) << "with what it holds";
    ExpectSound();
}

TEST_F(DispatchTest, ItStaysWhereItIsWhenThatIsADestination)
{
    ObjectId stored = m_objects.CreateMessage(m_box.outbox, MakeLetter("stays"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {To(m_box.inbox, 0), To(m_box.outbox, kFlagRead)};
    std::vector<ObjectId> ids = m_objects.Send(dispatch);
    EXPECT_EQ(ids[1], stored);
    ExpectLetter(stored, "stays", kFlagRead);
    ExpectLetter(ids[0], "stays", 0);
    ExpectSound();
}

TEST_F(DispatchTest, WithoutAPlaceForItTheStoredOneGoes)
{
    ObjectId stored = m_objects.CreateMessage(m_box.outbox, MakeLetter("gone"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {ReportTo(m_box.inbox)};
    m_objects.Send(dispatch);
    EXPECT_EQ(CountIn(m_box.outbox), 0u);
    EXPECT_EQ(CountIn(m_box.inbox), 1u);
    dispatch.message = m_objects.CreateMessage(m_box.outbox, MakeLetter("gone too"));
    dispatch.destinations.clear();
    EXPECT_TRUE(m_objects.Send(dispatch).empty());
    EXPECT_EQ(CountIn(m_box.outbox), 0u);
    ExpectSound();
}

TEST_F(DispatchTest, CountsOfReadAndUnreadFollow)
{
    ObjectId stored = m_objects.CreateMessage(m_box.outbox, MakeLetter("counted"));
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.destinations = {To(m_box.inbox, 0), To(m_box.inbox, kFlagRead), To(m_box.sentItems, kFlagRead)};
    m_objects.Send(dispatch);
    const auto count = [&](ObjectId where, Tag tag) { return *m_objects.Read(where).get<std::int32_t>(tag); };
    EXPECT_EQ(count(m_box.inbox, kContentCount), 2);
    EXPECT_EQ(count(m_box.inbox, kContentUnread), 1);
    EXPECT_EQ(count(m_box.outbox, kContentCount), 0);
    EXPECT_EQ(count(m_box.sentItems, kContentCount), 1);
    EXPECT_EQ(count(m_box.sentItems, kContentUnread), 0);
}

TEST_F(DispatchTest, AFailureLeavesEverythingAsItWas)
{
    ObjectId stored = m_objects.CreateMessage(m_box.outbox, MakeLetter("stored"));
    ChangeNumber change = m_objects.Info(stored).change;
    Dispatch dispatch;
    dispatch.message = stored;
    dispatch.expected = change + 1;
    dispatch.content.properties.set.Set(kSubject, std::string("changed"));
    dispatch.destinations = {To(m_box.inbox, 0), To(m_box.sentItems, kFlagRead)};
    EXPECT_EQ(FaultOf([&] { m_objects.Send(dispatch); }), Fault::Changed);
    dispatch.expected.reset();
    dispatch.destinations.push_back(To(stored, 0));
    EXPECT_EQ(FaultOf([&] { m_objects.Send(dispatch); }), Fault::Invalid) << "a message is no folder";
    dispatch.destinations.back().folder = 999999;
    EXPECT_EQ(FaultOf([&] { m_objects.Send(dispatch); }), Fault::NotFound);
    dispatch.destinations.pop_back();
    dispatch.message = 999999;
    EXPECT_EQ(FaultOf([&] { m_objects.Send(dispatch); }), Fault::NotFound);
    EXPECT_EQ(m_objects.Info(stored).change, change);
    EXPECT_EQ(CountIn(m_box.inbox), 0u);
    EXPECT_EQ(*m_objects.Read(stored).get<std::string>(kSubject), "stored");
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
