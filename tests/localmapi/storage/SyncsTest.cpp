// Proves how many syncs each operation takes, in a table that depends on no machine. Writing the log back takes two
// more and begins another log with one; that is due after each 4,000 pages of it, far from here.
#include "FaultyVfs.h"
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Watch.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

class Syncs : public SiteTest
{
  protected:
    ~Syncs() override { SetWriteFault(WriteFault::None, 0); }

    static int SyncsOf(const std::function<void()> &work)
    {
        SetWriteFault(WriteFault::None, 0); // counts anew
        work();
        return SyncsSeen();
    }
    static Destination To(ObjectId folder) { return {folder, {}, {}, {}}; }
};

TEST_F(Syncs, AreOneForEachOperationThatWritesAndNoneForOthers)
{
    std::vector<ObjectId> ids;
    for (int i = 0; i < 12; ++i)
        ids.push_back(Add("message " + std::to_string(i)));
    const Mailbox bobs = Directory(m_site).GetMailbox(Directory(m_site).AddUser("bob", "Bob").mailbox);
    MessageChanges voicemail = MakeMessage("voice mail");
    voicemail.attachments = {{0, false, {{{kAttachData, Bytes(200 * 1024)}}, {}}, nullptr}};
    MessageChanges changes;
    changes.properties.set.Set(kBody, std::string("changed"));
    Dispatch toMany;
    toMany.content = voicemail;
    for (int i = 0; i < 20; ++i)
        toMany.destinations.push_back(To(i % 2 ? m_box.inbox : bobs.inbox));
    Dispatch stored;
    stored.message = ids[11];
    stored.destinations = {To(bobs.inbox), To(m_box.sentItems)};
    Watch watch{View(m_site, Inbox())};

    const struct {
        const char *what;
        std::function<void()> work;
        int syncs;
    } table[] = {
        {"reading a message", [&] { m_objects.Read(ids[0]); }, 0},
        {"reading its attachments and recipients", [&] { m_objects.Attachments(ids[0]), m_objects.Recipients(ids[0]); },
         0},
        {"a page", [&] { View(m_site, Inbox()).Read(Place::Beginning(), kForward, 10, {kSubject}); }, 0},
        {"a count", [&] { View(m_site, Inbox(), Filter::Bits(kMessageFlags, kFlagRead, false)).Count(); }, 0},
        {"looking for changes", [&] { watch.Next({kSubject}); }, 0},
        {"a name", [&] { Directory(m_site).UserByAlias("alice"); }, 0},
        {"marking one as read", [&] { m_objects.SetRead({ids[0]}, true); }, 1},
        {"marking ten as read",
         [&] {
             m_objects.SetRead({ids.begin(), ids.begin() + 10}, false);
         },
         1},
        {"marking all as read", [&] { m_objects.SetAllRead(m_box.inbox, true); }, 1},
        {"an empty list", [&] { m_objects.SetRead({}, true), m_objects.RemoveMessages({}); }, 0},
        {"delivering", [&] { m_objects.CreateMessage(m_box.inbox, voicemail); }, 1},
        {"changing", [&] { m_objects.ChangeMessage(ids[1], changes); }, 1},
        {"copying ten",
         [&] {
             m_objects.CopyMessages({ids.begin(), ids.begin() + 10}, m_box.sentItems);
         },
         1},
        {"moving ten",
         [&] {
             m_objects.MoveMessages({ids.begin(), ids.begin() + 10}, m_box.deletedItems);
         },
         1},
        {"deleting", [&] { m_objects.RemoveMessages({ids[10]}); }, 1},
        {"sending one that is saved", [&] { m_objects.Send(stored); }, 1},
        {"sending to 20 recipients", [&] { m_objects.Send(toMany); }, 1},
        {"emptying a folder", [&] { m_objects.RemoveAllMessages(m_box.inbox); }, 1},
    };
    Add("begins the log"); // which takes a sync of its own
    for (const auto &row : table)
        EXPECT_EQ(SyncsOf(row.work), row.syncs) << row.what;
}

// What the tool does to deliver a message: the file is opened, written to and closed.
TEST_F(Syncs, AreTwoAtMostToOpenTheSiteForOneChange)
{
    const std::string path = m_folder.File("delivered.db");
    ObjectId inbox = 0;
    {
        const Site site = Site::Create(path, "S", "O");
        inbox = Directory(site).GetMailbox(Directory(site).AddUser("alice", "Alice").mailbox).inbox;
    }
    MessageChanges voicemail = MakeMessage("voice mail");
    voicemail.attachments = {{0, false, {{{kAttachData, Bytes(200 * 1024)}}, {}}, nullptr}};
    int most = 0, all = 0, writtenBack = 0;
    constexpr int kMessages = 40;
    for (int i = 0; i < kMessages; ++i) {
        const int syncs = SyncsOf([&] {
            const Site site = Site::Open(path, {.leavesShortLog = true});
            Objects(site).CreateMessage(inbox, voicemail);
        });
        all += syncs;
        if (std::filesystem::exists(PathOf(path + "-wal"))) {
            most = std::max(most, syncs);
        } else { // it has become long, and was written back
            EXPECT_LE(syncs, 4);
            ++writtenBack;
        }
    }
    EXPECT_EQ(most, 2);
    EXPECT_GT(writtenBack, 0);
    EXPECT_LE(writtenBack, kMessages / 6);
    EXPECT_LE(all, 2 * kMessages);
    const Site site = Site::Open(path);
    EXPECT_EQ(View(site, {Container::Kind::Contents, inbox}).Count(), std::uint64_t{kMessages});
    EXPECT_TRUE(Check(site, false).empty());
}

class Lists : public Syncs
{
  protected:
    // So many small messages, each with what a message may have: recipients, attachments, long values, others in it.
    std::vector<ObjectId> Fill(std::size_t count)
    {
        MessageChanges inner = MakeMessage("inner");
        inner.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Bob")}}};
        inner.attachments = {{0, false, {{{kAttachData, Bytes(9000)}}, {}}, nullptr}};
        std::vector<NewMessage> messages;
        for (std::size_t i = 0; i < count; ++i) {
            MessageChanges content =
                MakeMessage("m", {{kMessageFlags, static_cast<std::int32_t>(i % 3 == 0 ? kFlagRead : 0)}});
            content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Alice")}}};
            if (i % 50 == 0)
                content.attachments = {
                    {0, false, {{{kAttachData, Bytes(300000)}}, {}}, nullptr},
                    {1, false, {{{kAttachName, std::string("in it")}}, {}}, std::make_shared<MessageChanges>(inner)}};
            messages.push_back({m_box.inbox, std::move(content)});
        }
        return m_objects.CreateMessages(messages);
    }
    std::uint64_t CountIn(ObjectId folder, const Filter &filter = {}) const
    {
        return View(m_site, {Container::Kind::Contents, folder}, filter).Count();
    }
};

TEST_F(Lists, OfTwoThousandAreOneCommitAndLongerOnesAreDoneInPieces)
{
    std::vector<ObjectId> ids = Fill(4500);
    const auto change = [&] { return m_site.GetChangeNumber(); };
    const auto changesOf = [&](const std::function<void()> &work) {
        const ChangeNumber before = change();
        work();
        return change() - before;
    };
    const std::vector<ObjectId> some(ids.begin(), ids.begin() + 2000);
    EXPECT_EQ(changesOf([&] { m_objects.SetRead(some, true); }), 1);
    EXPECT_EQ(changesOf([&] { m_objects.SetRead(ids, false); }), 3);
    EXPECT_EQ(CountIn(m_box.inbox, Filter::Bits(kMessageFlags, kFlagRead, false)), 0u);
    EXPECT_EQ(changesOf([&] { m_objects.SetAllRead(m_box.inbox, true); }), 3);
    EXPECT_EQ(CountIn(m_box.inbox, Filter::Bits(kMessageFlags, kFlagRead, false)), 4500u);
    EXPECT_EQ(changesOf([&] { m_objects.CopyMessages(some, m_box.sentItems); }), 1);
    EXPECT_EQ(changesOf([&] { ids = m_objects.MoveMessages(ids, m_box.deletedItems); }), 3);
    EXPECT_EQ(CountIn(m_box.inbox), 0u);
    EXPECT_EQ(CountIn(m_box.deletedItems), 4500u);
    EXPECT_EQ(changesOf([&] { m_objects.RemoveMessages({ids.begin(), ids.begin() + 2000}); }), 1);
    EXPECT_EQ(changesOf([&] { m_objects.RemoveAllMessages(m_box.deletedItems); }), 2);
    EXPECT_EQ(changesOf([&] { m_objects.RemoveAllMessages(m_box.sentItems); }), 1);
    EXPECT_EQ(CountIn(m_box.deletedItems) + CountIn(m_box.sentItems), 0u);
    ExpectSound();
    // Nothing of them is left, nor of what was in them.
    Reader reader(m_site.GetDatabase());
    for (const char *table : {"chunk", "stream"})
        EXPECT_EQ(reader->Integer(std::string("SELECT count(*) FROM ") + table), 0) << table;
    for (const char *kinds : {"3", "4", "5"})
        EXPECT_EQ(reader->Integer(std::string("SELECT count(*) FROM object WHERE kind = ") + kinds), 0) << kinds;
    EXPECT_EQ(reader->Integer("SELECT count(*) FROM facet"), 0);
    EXPECT_EQ(reader->Integer("SELECT count(*) FROM property WHERE object NOT IN (SELECT id FROM object)"), 0);
}

TEST_F(Lists, AnswerForEachMessageOfAllPieces)
{
    std::vector<ObjectId> ids = Fill(2100);
    ids.insert(ids.begin() + 5, ids[4]); // twice in one piece
    ids.push_back(999999);               // never there
    ids.push_back(ids[0]);               // gone with the first piece
    std::vector<bool> expected(ids.size(), true);
    expected[5] = expected[ids.size() - 1] = expected[ids.size() - 2] = false;
    EXPECT_EQ(m_objects.RemoveMessages(ids), expected);
    EXPECT_EQ(CountIn(m_box.inbox), 0u);
    ExpectSound();
}

TEST_F(Lists, LeaveAssociatedMessagesWhereTheyAre)
{
    Fill(2100);
    Add("hidden", {{kMessageFlags, std::int32_t{kFlagAssociated}}});
    m_objects.SetAllRead(m_box.inbox, true);
    m_objects.RemoveAllMessages(m_box.inbox);
    EXPECT_EQ(View(m_site, {Container::Kind::Associated, m_box.inbox}).Count(), 1u);
    EXPECT_EQ(CountIn(m_box.inbox), 0u);
    ExpectSound();
}

// Each piece is done or not, and the answers tell which.
TEST_F(Lists, OfWhichAPieceFailsAreDoneUpToIt)
{
    const std::vector<ObjectId> ids = Fill(4500);
    const Filter read = Filter::Bits(kMessageFlags, kFlagRead, false);
    int none = 0, partly = 0, whole = 0;
    for (int n = 1; whole == 0; n += 37) {
        m_objects.SetRead(ids, false);
        std::vector<bool> answers;
        SetWriteFault(WriteFault::DiskFull, n);
        const std::optional<Fault> fault = FaultOf([&] { answers = m_objects.SetRead(ids, true); });
        SetWriteFault(WriteFault::None, 0);
        const std::size_t done = static_cast<std::size_t>(std::count(answers.begin(), answers.end(), true));
        if (fault) {
            EXPECT_EQ(*fault, Fault::Full);
            ++none;
        } else {
            EXPECT_TRUE(done == 2000 || done == 4000 || done == 4500) << done;
            EXPECT_TRUE(std::is_partitioned(answers.begin(), answers.end(), [](bool one) { return one; }));
            ++(done == 4500 ? whole : partly);
        }
        EXPECT_EQ(CountIn(m_box.inbox, read), done) << "write " << n;
    }
    EXPECT_GT(none, 0);
    EXPECT_GT(partly, 0);
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    localmapi::storage::InstallFaultyVfs();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
