// Proves what a purge removes and what it never does, that it works in pieces between which others write, and that
// what others do meanwhile is seen to.
#include "localmapi/storage/Purge.h"
#include "Fixture.h"
#include "localmapi/storage/Sizes.h"
#include "localmapi/storage/Time.h"
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

constexpr std::int64_t kDay = 24 * 60 * kTicksPerMinute;
constexpr std::int32_t kUnsent = 0x08;

class Purges : public SiteTest
{
  protected:
    static PropertyBag Aged(int days, const PropertyBag &more = {})
    {
        PropertyBag bag{{kMessageDeliveryTime, CurrentTime() - days * kDay}};
        for (const Property &property : more)
            bag.Set(property.tag, property.value);
        return bag;
    }
    ObjectId Put(ObjectId folder, const std::string &subject, const PropertyBag &bag)
    {
        return m_objects.CreateMessage(folder, MakeMessage(subject, bag));
    }
    std::string Left(ObjectId folder)
    {
        std::string all;
        for (const Container::Kind kind : {Container::Kind::Contents, Container::Kind::Associated})
            for (const std::string &subject : SubjectsIn(View(m_site, {kind, folder})))
                all += (all.empty() ? "" : " ") + subject;
        return all;
    }
    static PurgeScope OlderThan(int days, bool deletedOnly = false, std::optional<ObjectId> mailbox = {})
    {
        return {mailbox, deletedOnly, days ? CurrentTime() - days * kDay : INT64_MAX};
    }
    // When a message came to where it lies, behind the back of the storage layer.
    void CameBefore(ObjectId message, int days)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
        const std::string sql = "UPDATE object SET arrived = " + std::to_string(CurrentTime() - days * kDay) +
                                " WHERE id = " + std::to_string(message);
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        EXPECT_EQ(sqlite3_changes(handle), 1);
        sqlite3_close(handle);
    }
};

TEST_F(Purges, RemoveWhatIsOldFromEveryFolderAndTellHowMuch)
{
    const ObjectId deeper = m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("Deeper")}});
    Put(m_box.inbox, "old", Aged(40));
    Put(m_box.inbox, "old-read", Aged(31, {{kMessageFlags, kFlagRead}}));
    Put(m_box.inbox, "new", Aged(29));
    Put(m_box.sentItems, "old-sent", Aged(35));
    Put(deeper, "old-deep", Aged(400));
    Put(deeper, "new-deep", Aged(0));
    // Delivered never: then it counts when it was sent, else when it was made.
    Put(m_box.inbox, "sent-long-ago", {{kClientSubmitTime, CurrentTime() - 50 * kDay}});
    Put(m_box.inbox, "made-long-ago", {{kCreationTime, CurrentTime() - 50 * kDay}});
    Put(m_box.inbox, "made-now", {});
    const std::int64_t before = SizeOfMailbox(m_site, m_alice.mailbox).bytes;

    const Purged told = CountToPurge(m_site, OlderThan(30));
    EXPECT_EQ(Left(deeper), "old-deep new-deep") << "counting removes nothing";
    const Purged done = Purge(m_site, OlderThan(30));
    EXPECT_EQ(done.messages, 6u);
    EXPECT_EQ(told.messages, done.messages);
    EXPECT_EQ(told.bytes, done.bytes);
    EXPECT_EQ(static_cast<std::int64_t>(done.bytes), before - SizeOfMailbox(m_site, m_alice.mailbox).bytes);
    EXPECT_EQ(Left(m_box.inbox), "new made-now");
    EXPECT_EQ(Left(m_box.sentItems), "");
    EXPECT_EQ(Left(deeper), "new-deep");
    EXPECT_EQ(Purge(m_site, OlderThan(30)).messages, 0u);
    ExpectSound();
}

TEST_F(Purges, LeaveWhatIsNoOldMailUnlessItWasDeleted)
{
    const ObjectId inCalendar = m_objects.CreateFolder(m_box.calendar, {{kDisplayName, std::string("Team")}});
    const PropertyBag old = Aged(1000);
    const auto classed = [&](const char *name) { return Aged(1000, {{kMessageClass, std::string(name)}}); };
    Put(m_box.calendar, "note", old);
    Put(inCalendar, "note", old);
    for (const char *kept : {"IPM.Appointment", "ipm.appointment.own", "IPM.Contact", "IPM.DistList", "IPM.Task",
                             "IPM.StickyNote", "IPM.Activity"})
        Put(m_box.inbox, kept, classed(kept));
    Put(m_box.inbox, "IPM.Taskless", classed("IPM.Taskless"));
    Put(m_box.outbox, "draft", Aged(1000, {{kMessageFlags, kUnsent}}));
    Put(m_box.inbox, "hidden", Aged(1000, {{kMessageFlags, kFlagAssociated}}));
    EXPECT_EQ(Purge(m_site, OlderThan(1)).messages, 1u);
    EXPECT_EQ(Left(m_box.calendar), "note");
    EXPECT_EQ(Left(inCalendar), "note");
    EXPECT_EQ(Left(m_box.inbox), "IPM.Appointment ipm.appointment.own IPM.Contact IPM.DistList IPM.Task IPM.StickyNote "
                                 "IPM.Activity hidden");
    EXPECT_EQ(Left(m_box.outbox), "draft");

    // What was deleted goes, whatever it is; what is hidden is a setting, and stays.
    const ObjectId inDeleted = m_objects.CreateFolder(m_box.deletedItems, {{kDisplayName, std::string("Old")}});
    Put(m_box.deletedItems, "appointment", Aged(1000, {{kMessageClass, std::string("IPM.Appointment")}}));
    Put(inDeleted, "draft", Aged(1000, {{kMessageFlags, kUnsent}}));
    Put(m_box.deletedItems, "hidden", Aged(1000, {{kMessageFlags, kFlagAssociated}}));
    EXPECT_EQ(Purge(m_site, OlderThan(0, true)).messages, 2u);
    EXPECT_EQ(Left(m_box.deletedItems), "hidden");
    EXPECT_EQ(Left(inDeleted), "");
    EXPECT_EQ(Left(m_box.outbox), "draft");
    ExpectSound();
}

TEST_F(Purges, InDeletedItemsCountFromTheDeletionToo)
{
    const ObjectId old = Put(m_box.inbox, "deleted-now", Aged(1000));
    const ObjectId older = Put(m_box.inbox, "deleted-long-ago", Aged(1000));
    m_objects.MoveMessages({old}, m_box.deletedItems);
    CameBefore(m_objects.MoveMessages({older}, m_box.deletedItems).front(), 31);
    m_objects.CopyMessages({Put(m_box.sentItems, "copied-now", Aged(1000))}, m_box.deletedItems);
    EXPECT_EQ(Purge(m_site, OlderThan(30, true)).messages, 1u);
    EXPECT_EQ(Left(m_box.deletedItems), "deleted-now copied-now");
    EXPECT_EQ(Left(m_box.sentItems), "copied-now");
    EXPECT_EQ(Purge(m_site, OlderThan(0, true)).messages, 2u);
    EXPECT_EQ(Left(m_box.deletedItems), "");
    EXPECT_EQ(Left(m_box.sentItems), "copied-now");
}

TEST_F(Purges, KeepToOneMailbox)
{
    const User bob = Directory(m_site).AddUser("bob", "Bob Baker");
    const ObjectId bobsInbox = Directory(m_site).GetMailbox(bob.mailbox).inbox;
    Put(m_box.inbox, "hers", Aged(100));
    Put(bobsInbox, "his", Aged(100));
    EXPECT_EQ(Purge(m_site, OlderThan(30, false, bob.mailbox)).messages, 1u);
    EXPECT_EQ(Left(m_box.inbox), "hers");
    EXPECT_EQ(Left(bobsInbox), "");
}

TEST_F(Purges, WorkInPiecesBetweenWhichOthersWriteAndEndWhenTheyAreTold)
{
    std::vector<NewMessage> messages;
    for (int i = 0; i < 4500; ++i)
        messages.push_back({i % 2 ? m_box.inbox : m_box.sentItems, MakeMessage("m", Aged(100))});
    m_objects.CreateMessages(messages);
    OpenOptions atOnce;
    atOnce.busyTimeoutMs = 0; // whoever holds the lock now is in the way
    const Site other = Site::Open(m_site.Path(), atOnce);
    std::vector<std::uint64_t> told;
    const Purged done = Purge(m_site, OlderThan(30), [&](const Purged &now) {
        told.push_back(now.messages);
        Objects(other).CreateMessage(m_box.inbox, MakeMessage("between"));
        return told.size() < 2;
    });
    ASSERT_EQ(told.size(), 2u);
    EXPECT_LE(told[0], 2000u);
    EXPECT_LE(told[1] - told[0], 2000u);
    EXPECT_EQ(done.messages, told[1]);
    EXPECT_EQ(SizeOfMailbox(m_site, m_alice.mailbox).messages, 4500 + 2 - static_cast<std::int64_t>(done.messages));
    EXPECT_EQ(Purge(m_site, OlderThan(30)).messages, 4500 - done.messages);
    EXPECT_EQ(SizeOfMailbox(m_site, m_alice.mailbox).messages, 2);
    ExpectSound();
}

TEST_F(Purges, LookAgainAtEachMessageBeforeItGoes)
{
    std::vector<NewMessage> messages(2000, {m_box.inbox, MakeMessage("m", Aged(100))});
    m_objects.CreateMessages(messages);
    // Found with the others, and only then changed: by the time the second piece comes it is another message.
    const ObjectId moved = Put(m_box.sentItems, "moved", Aged(100));
    const ObjectId unsent = Put(m_box.sentItems, "draft", Aged(100));
    const ObjectId renewed = Put(m_box.sentItems, "renewed", Aged(100));
    Put(m_box.sentItems, "old", Aged(100));
    const ObjectId branch = m_objects.CreateFolder(m_box.deletedItems, {{kDisplayName, std::string("Branch")}});
    bool first = true;
    Purge(m_site, OlderThan(30), [&](const Purged &) {
        if (std::exchange(first, false)) {
            m_objects.MoveMessages({moved}, branch);
            m_objects.ChangeFlags({unsent}, kUnsent, 0);
            MessageChanges now;
            now.properties.set = {{kMessageDeliveryTime, CurrentTime()}};
            m_objects.ChangeMessage(renewed, now);
        }
        return true;
    });
    EXPECT_FALSE(first);
    EXPECT_EQ(Left(m_box.inbox), "");
    EXPECT_EQ(Left(m_box.sentItems), "draft renewed");
    EXPECT_EQ(Left(branch), "moved");
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
