// Proves that writers that meet share one sync, and that each of them is told the truth all the same: nobody is done
// before the sync, all are told when it fails, one that fails takes nothing of the others along, and what was reported
// as done survives a process that ends at any write.
#include "FaultyVfs.h"
#include "Fixture.h"
#include "Process.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Watch.h"
#include "platform/locks/Mutex.h"
#include <atomic>
#include <fstream>
#include <set>
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

std::string g_program;

constexpr int kWriters = 16;

// What became of each writer of a group.
struct Outcome {
    std::optional<Fault> fault;
    bool outOfMemory = false;
    ObjectId made = 0;
};

// SQLite's memory, of which the n-th piece from now on is not to be had, once.
std::atomic<int> g_piecesLeft{0};
sqlite3_mem_methods g_memory;

bool HasMemory()
{
    return g_piecesLeft <= 0 || --g_piecesLeft != 0;
}

void InstallScarceMemory()
{
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_memory);
    sqlite3_mem_methods scarce = g_memory;
    scarce.xMalloc = [](int size) { return HasMemory() ? g_memory.xMalloc(size) : nullptr; };
    scarce.xRealloc = [](void *piece, int size) { return HasMemory() ? g_memory.xRealloc(piece, size) : nullptr; };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &scarce);
}

class Groups : public SiteTest
{
  protected:
    ~Groups() override { SetWriteFault(WriteFault::None, 0); }

    // Writers that all wait for their turn before the first of them has it; `meanwhile` runs when they do.
    std::vector<Outcome> WriteAtOnce(
        int count, const std::function<ObjectId(int)> &work, const std::function<void()> &meanwhile = [] {})
    {
        std::vector<Outcome> outcomes(static_cast<std::size_t>(count));
        std::vector<std::thread> threads;
        {
            Writer before(m_site.GetDatabase(), Share::WithNobody);
            for (int i = 0; i < count; ++i) {
                threads.emplace_back([&, i] {
                    Outcome &outcome = outcomes[static_cast<std::size_t>(i)];
                    try {
                        outcome.fault = FaultOf([&] { outcome.made = work(i); });
                    } catch (const std::bad_alloc &) {
                        outcome.outOfMemory = true;
                    }
                });
                // In this order.
                while (m_site.GetDatabase().Writers().Length() != static_cast<std::size_t>(i + 1))
                    std::this_thread::yield();
            }
            SetWriteFault(WriteFault::None, 0); // counts anew
            meanwhile();
        }
        for (std::thread &thread : threads)
            thread.join();
        return outcomes;
    }
    ObjectId Create(int i) { return m_objects.CreateMessage(m_box.inbox, MakeMessage("message " + std::to_string(i))); }
    std::uint64_t Count() const { return View(m_site, Inbox()).Count(); }
};

TEST_F(Groups, ShareOneSync)
{
    const ChangeNumber before = m_site.GetChangeNumber();
    Watch watch{View(m_site, Inbox())};
    const std::vector<Outcome> outcomes = WriteAtOnce(kWriters, [&](int i) { return Create(i); });
    EXPECT_LE(SyncsSeen(), 4); // one, where no machine is so slow that a group lasts too long
    std::set<ObjectId> ids;
    std::set<ChangeNumber> changes;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        ASSERT_FALSE(outcomes[i].fault);
        EXPECT_EQ(*m_objects.Read(outcomes[i].made).get<std::string>(kSubject), "message " + std::to_string(i));
        ids.insert(outcomes[i].made);
        changes.insert(m_objects.Info(outcomes[i].made).change);
    }
    EXPECT_EQ(ids.size(), std::size_t{kWriters});
    EXPECT_EQ(changes.size(), std::size_t{kWriters}); // each is a change of its own
    EXPECT_EQ(*changes.begin(), before + 1);
    EXPECT_EQ(m_site.GetChangeNumber(), before + kWriters);
    EXPECT_EQ(watch.Next({}).size(), std::size_t{kWriters});
    EXPECT_EQ(Count(), std::uint64_t{kWriters});
    ExpectSound();
}

TEST_F(Groups, AreDoneAndSeenWhenTheSyncIs)
{
    std::atomic<int> done{0};
    std::optional<SyncsHeld> held;
    std::thread looking;
    Watch watch{View(m_site, Inbox())};
    WriteAtOnce(
        kWriters,
        [&](int i) {
            const ObjectId made = Create(i);
            ++done;
            return made;
        },
        [&] {
            held.emplace();
            looking = std::thread([&] {
                held->WaitForOne();
                EXPECT_EQ(done, 0);
                EXPECT_EQ(Count(), 0u);
                EXPECT_TRUE(watch.Next({}).empty());
                held.reset();
            });
        });
    looking.join();
    EXPECT_EQ(done, kWriters);
    EXPECT_EQ(Count(), std::uint64_t{kWriters});
}

// The first, the last, and others between: some before they wrote anything, some after.
TEST_F(Groups, AreNotHarmedByAMemberThatFails)
{
    const ObjectId shared = Add("shared");
    const ObjectId old = m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("Old")}});
    for (const std::set<int> &failing : {std::set<int>{0}, {kWriters - 1}, {3, 4, 9}, {0, 1, kWriters - 1}}) {
        const std::uint64_t before = Count();
        const std::vector<Outcome> outcomes = WriteAtOnce(kWriters, [&](int i) {
            if (!failing.count(i))
                return Create(i);
            if (i % 2)
                return m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("OLD")}});
            Writer writer(m_site.GetDatabase());
            InsertMessage(writer, old, MakeMessage("never"));
            RemoveMessage(writer, *FindMessage(writer, shared));
            throw Error(Fault::Invalid, "given up");
        });
        EXPECT_LE(SyncsSeen(), 4);
        for (int i = 0; i < kWriters; ++i) {
            const std::optional<Fault> &fault = outcomes[static_cast<std::size_t>(i)].fault;
            if (failing.count(i))
                EXPECT_EQ(fault, i % 2 ? Fault::Collision : Fault::Invalid) << i;
            else
                EXPECT_FALSE(fault) << i;
        }
        EXPECT_EQ(Count(), before + kWriters - failing.size());
        EXPECT_TRUE(m_objects.Find(shared));
        EXPECT_EQ(View(m_site, {Container::Kind::Contents, old}).Count(), 0u);
        ExpectSound();
    }
}

TEST_F(Groups, AreAllToldWhenTheirCommitFails)
{
    const std::uint64_t before = Count();
    for (const int n : {1, 2, 3}) {
        const std::vector<Outcome> outcomes = WriteAtOnce(
            kWriters, [&](int i) { return Create(i); }, [&] { SetWriteFault(WriteFault::DiskFull, n); });
        SetWriteFault(WriteFault::None, 0);
        for (const Outcome &outcome : outcomes)
            EXPECT_EQ(outcome.fault, Fault::Full);
        EXPECT_EQ(Count(), before);
        ExpectSound();
    }
    Create(0); // there is room again
    EXPECT_EQ(Count(), before + 1);
}

// What the others have done is gone with the transaction: none of them may take it for written.
TEST_F(Groups, AreAllToldWhenAMemberEndsTheirTransaction)
{
    constexpr int kEnding = 5;
    const std::vector<Outcome> outcomes = WriteAtOnce(kWriters, [&](int i) {
        if (i != kEnding)
            return Create(i);
        Writer writer(m_site.GetDatabase());
        InsertMessage(writer, m_box.inbox, MakeMessage("never"));
        // SQLite itself does so on errors of the file and of memory.
        writer->Execute("INSERT OR ROLLBACK INTO site SELECT * FROM site");
        return ObjectId{0};
    });
    for (int i = 0; i < kWriters; ++i) {
        const std::optional<Fault> &fault = outcomes[static_cast<std::size_t>(i)].fault;
        if (i <= kEnding)
            EXPECT_EQ(fault, Fault::Collision) << i;
        else
            EXPECT_FALSE(fault) << i;
    }
    EXPECT_EQ(Count(), std::uint64_t{kWriters - kEnding - 1});
    ExpectSound();
}

TEST_F(Groups, AreToldTheTruthWhereMemoryRunsOut)
{
    int struck = 0;
    for (int n = 1;; n += 5, ++struck) {
        const std::uint64_t before = Count();
        const std::vector<Outcome> outcomes = WriteAtOnce(
            4, [&](int i) { return Create(i); }, [&] { g_piecesLeft = n; });
        const bool isOver = g_piecesLeft.exchange(0) > 0;
        std::uint64_t done = 0;
        for (const Outcome &outcome : outcomes) {
            EXPECT_FALSE(outcome.fault) << FaultName(*outcome.fault) << " at piece " << n;
            EXPECT_EQ(m_objects.Find(outcome.made).has_value(), !outcome.outOfMemory) << "piece " << n;
            done += !outcome.outOfMemory;
        }
        EXPECT_EQ(Count(), before + done) << "piece " << n;
        if (isOver)
            break;
    }
    EXPECT_GT(struck, 10);
    ExpectSound();
}

TEST_F(Groups, DoNotHoldWhoSharesWithNobody)
{
    const std::vector<Outcome> outcomes = WriteAtOnce(6, [&](int i) {
        Writer writer(m_site.GetDatabase(), i % 2 ? Share::WithNobody : Share::WithOthers);
        const ObjectId made = InsertMessage(writer, m_box.inbox, MakeMessage("m"));
        writer.Commit();
        return made;
    });
    for (const Outcome &outcome : outcomes)
        EXPECT_FALSE(outcome.fault);
    EXPECT_EQ(SyncsSeen(), 6);
    EXPECT_EQ(Count(), 6u);
}

// A statement belongs to its connection: nobody else gets that while the statement is there.
TEST_F(Groups, EndWithAWriterThatStillHoldsAStatement)
{
    const std::vector<Outcome> outcomes = WriteAtOnce(kWriters, [&](int i) {
        if (i % 4)
            return Create(i);
        Writer writer(m_site.GetDatabase());
        Statement name = writer->Prepare("SELECT server FROM site");
        EXPECT_TRUE(name.Step());
        const ObjectId made = InsertMessage(writer, m_box.inbox, MakeMessage("m"));
        writer.Commit();
        EXPECT_EQ(name.Text(0), m_site.Info().server);
        return made;
    });
    for (const Outcome &outcome : outcomes)
        EXPECT_FALSE(outcome.fault);
    EXPECT_EQ(Count(), std::uint64_t{kWriters});
    ExpectSound();
}

TEST_F(Groups, FormWhileManyWriteForLong)
{
    constexpr int kEach = 25;
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    SetWriteFault(WriteFault::None, 0);
    for (int t = 0; t < kWriters; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) {
                if (FaultOf([&] { Create(t * kEach + i); }))
                    ++failures;
                // One in five fails, having written.
                if (i % 5 == 0) {
                    Writer writer(m_site.GetDatabase());
                    InsertMessage(writer, m_box.inbox, MakeMessage("never"));
                }
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(Count(), std::uint64_t{kWriters * kEach});
    EXPECT_LT(SyncsSeen(), kWriters * kEach);
    ExpectSound();
}

// At every third write of it; each member that was told "done" is there.
TEST_F(Groups, SurviveAsFarAsTheyWereReported)
{
    int rounds = 0, ended = 42;
    for (int n = 1; ended == 42; n += 3, ++rounds) {
        const std::string path = m_folder.File("killed.db"), report = m_folder.File("report");
        for (const char *part : {"", "-wal", "-shm"})
            std::filesystem::remove(PathOf(path + part));
        std::filesystem::remove(PathOf(report));
        Directory(Site::Create(path, "S", "O")).AddUser("alice", "Alice");
        ended = Process(g_program, {"--write", path, report, std::to_string(n)}).Wait();
        ASSERT_TRUE(ended == 42 || ended == 0) << ended;
        const Site site = Site::Open(path);
        const ObjectId inbox = Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox).inbox;
        std::multiset<std::string> there;
        const View view(site, {Container::Kind::Contents, inbox});
        for (const Row &row : view.Read(Place::Beginning(), Direction::Forward, 10000, {kSubject}))
            there.insert(std::get<std::string>(row.values[0]));
        std::ifstream lines(PathOf(report));
        for (std::string line; std::getline(lines, line);)
            EXPECT_EQ(there.count(line), 1u) << line << ", write " << n;
        for (const Finding &finding : Check(site, false))
            ADD_FAILURE() << finding.text << ", write " << n;
    }
    EXPECT_GT(rounds, 10);
}

// What the test starts itself as.
int WriteAndReport(const std::string &path, const std::string &report, int n)
{
    const Site site = Site::Open(path);
    const ObjectId inbox = Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox).inbox;
    std::ofstream lines(PathOf(report), std::ios::app);
    locks::Mutex reporting;
    SetWriteFault(WriteFault::Exit, n);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 6; ++i) {
                const std::string subject = std::to_string(t) + "." + std::to_string(i);
                MessageChanges content;
                content.properties.set.Set(kSubject, subject);
                content.properties.set.Set(kBody, std::string(9000, 'b'));
                Objects(site).CreateMessage(inbox, content);
                const locks::Hold hold(reporting);
                lines << subject << std::endl;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    SetWriteFault(WriteFault::None, 0);
    return 0;
}

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    using namespace localmapi::storage;
    InstallScarceMemory();
    InstallFaultyVfs();
    g_program = Utf8(std::filesystem::absolute(argv[0]));
    if (argc == 5 && std::string(argv[1]) == "--write")
        return WriteAndReport(argv[2], argv[3], std::stoi(argv[4]));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
