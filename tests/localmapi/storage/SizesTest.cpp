// Proves that the size of a mailbox is that of its messages whatever is done to them, that nothing brings a mailbox
// beyond its quota, and that everything that frees room or takes none is allowed in a full one.
#include "localmapi/storage/Sizes.h"
#include "Fixture.h"
#include "localmapi/storage/Schema.h"
#include <random>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

constexpr Tag kQuotaTag = 0x666A0003;

class Sizes : public SiteTest
{
  protected:
    std::int64_t BytesOf(const User &user) { return SizeOfMailbox(m_site, user.mailbox).bytes; }
    std::int64_t Held() { return BytesOf(m_alice); }
    // What the rows of the messages say, without the books that are kept.
    std::int64_t BytesCounted(const std::vector<ObjectId> &folders)
    {
        std::int64_t bytes = 0;
        for (const ObjectId folder : folders)
            for (const Row &row : View(m_site, {Container::Kind::Contents, folder})
                                      .Read(Place::Beginning(), kForward, 100000, {kMessageSize}))
                bytes += std::get<std::int32_t>(row.values.front());
        return bytes;
    }
    static PropertyBag Of(std::size_t bytes) { return {{kBody, std::string(bytes, 'x')}}; }
};

TEST_F(Sizes, AMailboxIsAsLargeAsItsMessagesWhateverIsDoneToThem)
{
    const ObjectId deeper = m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("Deeper")}});
    const std::vector<ObjectId> folders{m_box.inbox, m_box.deletedItems, deeper};
    std::mt19937 random(7);
    std::vector<ObjectId> there;
    for (int round = 0; round < 400; ++round) {
        const ObjectId folder = folders[random() % folders.size()];
        const std::size_t which = there.empty() ? 0 : random() % there.size();
        switch (there.empty() ? 0 : random() % 7) {
        case 0: {
            MessageChanges content = MakeMessage("m", Of(random() % 20000));
            content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Ann")}}};
            auto embedded = std::make_shared<MessageChanges>(MakeMessage("inner", Of(random() % 9000)));
            content.attachments = {{0, false, {{{kAttachData, Bytes(random() % 30000)}}, {}}, embedded}};
            there.push_back(m_objects.CreateMessage(folder, content));
            break;
        }
        case 1:
            there[which] = m_objects.MoveMessages({there[which]}, folder).front();
            break;
        case 2:
            there.push_back(m_objects.CopyMessages({there[which]}, folder).front());
            break;
        case 3: {
            MessageChanges changes;
            changes.properties.set = Of(random() % 20000);
            auto embedded = std::make_shared<MessageChanges>();
            embedded->properties.set = Of(random() % 9000);
            changes.attachments = {{0, false, {}, embedded}};
            m_objects.ChangeMessage(there[which], changes);
            break;
        }
        case 4:
            m_objects.SetRead({there[which]}, random() % 2);
            break;
        case 5:
            m_objects.SetAllRead(folder, random() % 2);
            break;
        case 6:
            m_objects.RemoveMessages({there[which]});
            there.erase(there.begin() + static_cast<std::ptrdiff_t>(which));
            break;
        }
        ASSERT_EQ(Held(), BytesCounted(folders)) << "round " << round;
    }
    EXPECT_EQ(SizeOfMailbox(m_site, m_alice.mailbox).messages, static_cast<std::int64_t>(there.size()));
    EXPECT_EQ(m_objects.Read(m_alice.mailbox).get<std::int32_t>(kMessageSize)[0], Held());
    ExpectSound();
    for (const ObjectId folder : folders)
        m_objects.RemoveAllMessages(folder);
    EXPECT_EQ(Held(), 0);
    Add("again", Of(5000));
    m_objects.MoveMessages({Add("deep", Of(6000))}, deeper);
    m_objects.RemoveFolder(deeper);
    EXPECT_EQ(Held(), BytesCounted({m_box.inbox}));
    ExpectSound();
}

TEST_F(Sizes, NothingComesIntoAFullMailboxAndNothingElseIsHeldUp)
{
    const User bob = Directory(m_site).AddUser("bob", "Bob Baker");
    const Mailbox bobsBox = Directory(m_site).GetMailbox(bob.mailbox);
    const ObjectId bobs = m_objects.CreateMessage(bobsBox.inbox, MakeMessage("his", Of(5000)));
    const ObjectId first = Add("first", Of(10000)), second = Add("second", Of(10000));
    SetQuota(m_site, m_alice.mailbox, Held() + 1000);
    EXPECT_EQ(SizeOfMailbox(m_site, m_alice.mailbox).quota, Held() + 1000);
    const std::int64_t before = Held();
    const ChangeNumber change = m_site.GetChangeNumber();

    MessageChanges longer;
    longer.properties.set = Of(12000);
    EXPECT_EQ(FaultOf([&] { Add("third", Of(2000)); }), Fault::OverQuota);
    EXPECT_EQ(FaultOf([&] {
                  m_objects.CreateMessages({{m_box.calendar, MakeMessage("third", Of(2000))}});
              }),
              Fault::OverQuota);
    EXPECT_EQ(FaultOf([&] { m_objects.CopyMessages({first}, m_box.deletedItems); }), Fault::OverQuota);
    EXPECT_EQ(FaultOf([&] { m_objects.MoveMessages({bobs}, m_box.inbox); }), Fault::OverQuota);
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeMessage(first, longer); }), Fault::OverQuota);
    EXPECT_EQ(FaultOf([&] {
                  m_objects.Send({0, {}, MakeMessage("sent", Of(2000)), {{bobsBox.inbox, {}}, {m_box.sentItems, {}}}});
              }),
              Fault::OverQuota);
    EXPECT_EQ(Held(), before);
    EXPECT_EQ(m_site.GetChangeNumber(), change);
    EXPECT_EQ(View(m_site, {Container::Kind::Contents, bobsBox.inbox}).Count(), 1u);

    Add("small", Of(100)); // as much as there is room for
    const ObjectId deleted = m_objects.MoveMessages({first}, m_box.deletedItems).front();
    EXPECT_NE(deleted, 0);
    m_objects.SetRead({second}, true);
    MessageChanges shorter;
    shorter.properties.set = Of(9000);
    m_objects.ChangeMessage(second, shorter);
    m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("More")}});
    m_objects.MoveMessages({second}, bobsBox.inbox);
    m_objects.RemoveMessages({deleted});
    Add("third", Of(2000));

    // Less than is there already: the same holds.
    SetQuota(m_site, m_alice.mailbox, 1024);
    EXPECT_EQ(FaultOf([&] { Add("fourth"); }), Fault::OverQuota);
    EXPECT_EQ(m_objects.Read(m_alice.mailbox).get<std::int32_t>(kQuotaTag)[0], 1);
    SetQuota(m_site, m_alice.mailbox, {});
    EXPECT_EQ(m_objects.Read(m_alice.mailbox).Find(kQuotaTag), nullptr);
    Add("fourth", Of(20000));
    ExpectSound();
}

TEST_F(Sizes, WhoseMailboxIsFullIsSaid)
{
    const User bob = Directory(m_site).AddUser("bob", "Bob Baker");
    SetQuota(m_site, m_alice.mailbox, 2048);
    SetQuota(m_site, bob.mailbox, 1024);
    const ObjectId bobsInbox = Directory(m_site).GetMailbox(bob.mailbox).inbox;
    try {
        m_objects.CreateMessages({{m_box.inbox, MakeMessage("m", Of(3000))}, {bobsInbox, MakeMessage("m", Of(3000))}});
        ADD_FAILURE() << "both were full";
    } catch (const MailboxesFull &error) {
        EXPECT_THAT(error.Mailboxes(), testing::UnorderedElementsAre(m_alice.mailbox, bob.mailbox));
        EXPECT_THAT(error.what(), testing::HasSubstr("Alice Archer (2 KB), Bob Baker (1 KB)"));
    }
    EXPECT_EQ(FaultOf([&] { SetQuota(m_site, m_box.inbox, 1024); }), Fault::NotFound);
    EXPECT_EQ(FaultOf([&] { SetQuota(m_site, bob.mailbox, -1); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { SizeOfMailbox(m_site, m_box.inbox); }), Fault::NotFound);
    EXPECT_EQ(MailboxSizes(m_site).size(), 2u);
}

TEST_F(Sizes, OfAFileOfTheFormerVersionAreCountedWhenItIsUpgraded)
{
    Add("one", Of(10000));
    Add("two", {{kMessageFlags, kFlagRead}, {kBody, std::string(3000, 'y')}});
    const std::int64_t bytes = Held();
    const std::string copy = m_folder.File("former.db");
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, ("VACUUM INTO '" + copy + "'").c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(handle);
        MakeOlder(copy, kSchemaVersion - 1);
    }
    const Site upgraded = Site::Open(copy);
    EXPECT_EQ(SizeOfMailbox(upgraded, m_alice.mailbox).bytes, bytes);
    EXPECT_EQ(SizesOfFile(upgraded).format, SizesOfFile(m_site).format);
    EXPECT_TRUE(Check(upgraded, false).empty());
    Objects(upgraded).RemoveAllMessages(m_box.inbox);
    EXPECT_EQ(SizeOfMailbox(upgraded, m_alice.mailbox).bytes, 0);
}

TEST_F(Sizes, TheFileTellsWhatIsFreeInIt)
{
    const ObjectId id = Add("large", {{kAttachData, Bytes(1 << 20)}});
    const FileSizes before = SizesOfFile(m_site);
    m_objects.RemoveMessages({id});
    const FileSizes after = SizesOfFile(m_site);
    EXPECT_GT(before.log, 0);
    EXPECT_LT(before.free, 100000);
    EXPECT_GE(after.free, 1 << 20);
}

} // namespace

} // namespace localmapi::storage
