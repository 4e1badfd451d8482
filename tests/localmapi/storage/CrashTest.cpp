// Proves that nothing is half done, whatever happens: a full disk at any write, a process that is killed at any write
// or at any moment, several processes that write at once. What a call had reported as done is there whole; what was
// not is absent.
// storage_crash_test [--every N] tries every N-th of those writes.
#include "FaultyVfs.h"
#include "Process.h"
#include "Scenario.h"
#include "localmapi/storage/Backup.h"
#include <chrono>
#include <fstream>
#include <random>
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

std::string g_program;
int g_every = 1;

namespace fs = std::filesystem;

class Crashes : public testing::Test
{
  protected:
    Crashes() { MakeScenarioSite(m_folder.File("base.db")); }
    ~Crashes() override { SetWriteFault(WriteFault::None, 0); }

    // The states before the first step and after each one. A copy of the site before each step is kept, its log as long
    // as it has grown by then, so that a step can be tried alone.
    std::vector<std::string> TakeSteps()
    {
        std::string path = m_folder.File("all.db");
        CopySite(m_folder.File("base.db"), path);
        Site site = Site::Open(path);
        std::vector<std::string> states{StateOf(site)};
        for (const Step &step : ScenarioSteps()) {
            CopySite(path, BeforeStep(states.size() - 1));
            step(site);
            states.push_back(StateOf(site));
            EXPECT_NE(states.back(), states[states.size() - 2]); // or it would prove nothing
        }
        return states;
    }
    std::string CopyBefore(std::size_t step) const
    {
        std::string path = m_folder.File("site.db");
        CopySite(BeforeStep(step), path);
        return path;
    }
    static void ExpectSound(const std::string &path)
    {
        for (const Finding &finding : Check(Site::Open(path), false))
            ADD_FAILURE() << finding.text;
    }
    static void Damage(const std::string &path, const char *sql)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK);
        EXPECT_GT(sqlite3_total_changes(handle), 0);
        sqlite3_close(handle);
    }
    static std::size_t LinesIn(const std::string &path)
    {
        std::ifstream file(PathOf(path));
        std::size_t lines = 0;
        for (std::string line; std::getline(file, line);)
            ++lines;
        return lines;
    }

    Folder m_folder;

  private:
    std::string BeforeStep(std::size_t step) const { return m_folder.File("before" + std::to_string(step) + ".db"); }
    static void CopySite(const std::string &from, const std::string &to)
    {
        for (const char *part : {"", "-wal", "-shm"})
            fs::remove(PathOf(to + part));
        for (const char *part : {"", "-wal"})
            if (fs::exists(PathOf(from + part)))
                fs::copy_file(PathOf(from + part), PathOf(to + part));
    }
};

TEST_F(Crashes, AFullDiskAtAnyWriteLeavesEachStepDoneOrUndone)
{
    std::vector<std::string> expected = TakeSteps();
    for (std::size_t i = 0; i < ScenarioSteps().size(); ++i) {
        const Step &step = ScenarioSteps()[i];
        bool struck = true;
        for (int n = 1; struck; n += n < 4 ? 1 : 3 * g_every) {
            std::string path = CopyBefore(i);
            {
                Site site = Site::Open(path);
                SetWriteFault(WriteFault::DiskFull, n);
                std::optional<Fault> fault = FaultOf([&] { step(site); });
                int writes = WritesSeen();
                SetWriteFault(WriteFault::None, 0);
                struck = fault.has_value();
                if (!struck) {
                    EXPECT_LT(writes, n) << "a fault in step " << i << " was not told";
                } else {
                    EXPECT_EQ(*fault, Fault::Full) << FaultName(*fault) << " at write " << n << " of step " << i;
                    ASSERT_EQ(StateOf(site), expected[i]) << "write " << n << " of step " << i;
                    step(site); // there is room again
                }
                ASSERT_EQ(StateOf(site), expected[i + 1]) << "write " << n << " of step " << i;
            }
            if (n % 9 == 1)
                ExpectSound(path);
        }
    }
}

TEST_F(Crashes, ASiteThatThereIsNoRoomForIsNotThere)
{
    for (int n = 1;; ++n) {
        std::string path = m_folder.File("new.db");
        SetWriteFault(WriteFault::DiskFull, n);
        std::optional<Fault> fault = FaultOf([&] { Site::Create(path, "S", "O"); });
        SetWriteFault(WriteFault::None, 0);
        if (!fault) {
            EXPECT_GT(n, 3);
            break;
        }
        EXPECT_EQ(*fault, Fault::Full) << n;
        EXPECT_FALSE(fs::exists(PathOf(path))) << n;
        EXPECT_NO_THROW(Site::Create(path, "S", "O")) << n;
        fs::remove(PathOf(path));
    }
}

TEST_F(Crashes, AProcessThatEndsAtAnyWriteOfTheMakingLeavesAWholeSiteOrNone)
{
    int none = 0, whole = 0;
    for (int n = 1, ended = 42; ended == 42; ++n) {
        const std::string path = m_folder.File("made" + std::to_string(n) + ".db");
        Process worker(g_program, {"--make", path, m_folder.File("report"), std::to_string(n)});
        ended = worker.Wait();
        ASSERT_TRUE(ended == 42 || ended == 0) << ended;
        if (fs::exists(PathOf(path))) {
            ++whole;
            EXPECT_EQ(Site::Open(path).Info().server, "S") << n;
            ExpectSound(path);
        } else {
            ++none;
            EXPECT_NO_THROW(Site::Create(path, "S", "O")) << n;
        }
    }
    EXPECT_GT(none, 3);
    EXPECT_GT(whole, 1);
}

TEST_F(Crashes, AProcessThatEndsAtAnyWriteLeavesWhatItReported)
{
    std::vector<std::string> expected = TakeSteps();
    int rounds = 0;
    for (std::size_t i = 0; i < ScenarioSteps().size(); ++i) {
        int ended = 42;
        for (int n = 1; ended == 42; n += n < 4 ? 1 : 2 * g_every) {
            std::string path = CopyBefore(i), report = m_folder.File("report");
            fs::remove(PathOf(report));
            Process worker(g_program, {"--step", path, report, std::to_string(n), std::to_string(i)});
            ended = worker.Wait();
            ASSERT_TRUE(ended == 42 || ended == 0) << ended;
            std::size_t done = LinesIn(report);
            Site site = Site::Open(path);
            std::string state = StateOf(site);
            EXPECT_TRUE(ended == 42 || done == 1) << "write " << n << " of step " << i;
            EXPECT_TRUE(state == expected[i + 1] || (done == 0 && state == expected[i]))
                << "write " << n << " of step " << i << ", " << done;
            for (const Finding &finding : Check(site, false))
                ADD_FAILURE() << "write " << n << " of step " << i << ": " << finding.text;
            ++rounds;
        }
    }
    EXPECT_GT(rounds, 300 / g_every);
}

// A copy is put back in one transaction, whatever goes wrong, and in whatever file.
TEST_F(Crashes, ARestoringThatFindsNoRoomOrIsCutOffHappenedOrDidNot)
{
    const std::string copy = m_folder.File("copy.db");
    TakeSteps();
    Backup(Site::Open(CopyBefore(0)), copy);
    const std::string restored = StateOf(Site::Open(copy)), before = StateOf(Site::Open(CopyBefore(5)));
    ASSERT_NE(restored, before);
    int undone = 0, done = 0;
    const auto expectEither = [&](const std::string &path, int n) {
        const std::string state = StateOf(Site::Open(path));
        EXPECT_TRUE(state == before || state == restored) << "write " << n;
        ++(state == before ? undone : done);
        ExpectSound(path);
        return state == restored;
    };
    bool struck = true;
    int openBySync = 0;
    for (int n = 1; struck; n += n < 10 ? 1 : 5 * g_every) {
        const std::string path = CopyBefore(5);
        SetWriteFault(WriteFault::DiskFull, n);
        const std::optional<Fault> fault = FaultOf([&] { Restore(copy, path); });
        SetWriteFault(WriteFault::None, 0);
        struck = fault.has_value();
        if (struck) {
            EXPECT_EQ(*fault, Fault::Full) << FaultName(*fault) << " at write " << n;
        }
        const bool isRestored = expectEither(path, n);
        EXPECT_TRUE(struck || isRestored) << "write " << n;
        // The log is whole by then, and nothing could be written any more to take that back.
        openBySync += struck && isRestored;
        EXPECT_LE(openBySync, 1) << "more than the sync of the commit, at write " << n;
    }
    for (int n = 1, ended = 42; ended == 42; n += n < 10 ? 1 : 5 * g_every) {
        const std::string path = CopyBefore(5);
        Process worker(g_program, {"--restore", path, copy, std::to_string(n)});
        ended = worker.Wait();
        ASSERT_TRUE(ended == 42 || ended == 0) << ended;
        const bool isRestored = expectEither(path, n);
        EXPECT_TRUE(ended == 42 || isRestored) << "write " << n;
    }
    EXPECT_GT(undone, 30);
    EXPECT_GT(done, 1);
}

TEST_F(Crashes, ARepairThatIsCutOffIsDoneByTheNextOne)
{
    TakeSteps();
    int ended = 42, undone = 0;
    for (int n = 1; ended == 42; ++n) {
        const std::string path = CopyBefore(ScenarioSteps().size() - 1);
        Damage(path, "UPDATE object SET size = 0, submitted = NULL; UPDATE facet SET count = count + 1");
        Process worker(g_program, {"--repair", path, m_folder.File("report"), std::to_string(n)});
        ended = worker.Wait();
        ASSERT_TRUE(ended == 42 || ended == 0) << ended;
        const bool isDone = Check(Site::Open(path), true).empty();
        EXPECT_TRUE(isDone || ended == 42) << "write " << n;
        undone += !isDone;
        ExpectSound(path);
    }
    EXPECT_GT(undone, 3);
}

TEST_F(Crashes, AProcessThatIsKilledAtAnyMomentLeavesWhatItReported)
{
    std::mt19937 random{std::random_device{}()};
    std::string path = m_folder.File("base.db"), report = m_folder.File("report");
    std::size_t before = 3; // messages of the base
    for (int round = 0; round < 8; ++round) {
        fs::remove(PathOf(report));
        {
            Process worker(g_program, {"--append", path, report, "100000"});
            while (LinesIn(report) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 200));
            worker.Kill();
            worker.Wait();
        }
        std::size_t done = LinesIn(report);
        Site site = Site::Open(path);
        View view(site, {Container::Kind::Contents,
                         Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox).inbox});
        std::size_t count = static_cast<std::size_t>(view.Count());
        EXPECT_GE(count, before + done);
        EXPECT_LE(count, before + done + 1);
        for (const Row &row : view.Read(Place::Beginning(), Direction::Forward, 100000, {kSubject}))
            ASSERT_TRUE(std::holds_alternative<std::string>(row.values[0]));
        ExpectSound(path);
        before = count;
    }
}

TEST_F(Crashes, ProcessesThatWriteAtOnceLoseNothing)
{
    std::string path = m_folder.File("base.db");
    constexpr int kEach = 40;
    Process first(g_program, {"--append", path, m_folder.File("r1"), std::to_string(kEach)});
    Process second(g_program, {"--append", path, m_folder.File("r2"), std::to_string(kEach)});
    Site site = Site::Open(path);
    Mailbox box = Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox);
    for (int i = 0; i < kEach; ++i) {
        MessageChanges content;
        content.properties.set.Set(kSubject, "here " + std::to_string(i));
        Objects(site).CreateMessage(box.inbox, content);
    }
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_EQ(second.Wait(), 0);
    EXPECT_EQ(View(site, {Container::Kind::Contents, box.inbox}).Count(), 3u + 3 * kEach);
    ExpectSound(path);
}

// What the test starts itself as: works on a site and reports each thing that is done by a line.
int WorkOn(const std::string &what, const std::string &path, const std::string &report, int n, std::size_t stepNumber)
{
    if (what == "--restore") {
        SetWriteFault(WriteFault::Exit, n);
        Restore(report, path); // the copy
        return 0;
    }
    if (what == "--repair") {
        const Site site = Site::Open(path);
        SetWriteFault(WriteFault::Exit, n);
        Check(site, true);
        SetWriteFault(WriteFault::None, 0);
        return 0;
    }
    std::ofstream lines(PathOf(report), std::ios::app);
    if (what == "--step") {
        Site site = Site::Open(path);
        SetWriteFault(WriteFault::Exit, n);
        ScenarioSteps().at(stepNumber)(site);
        lines << "done" << std::endl;
        // Closing is cut off after the last step alone: there the log is longest.
        if (stepNumber + 1 < ScenarioSteps().size())
            SetWriteFault(WriteFault::None, 0);
        return 0;
    }
    if (what == "--make") {
        SetWriteFault(WriteFault::Exit, n);
        Site::Create(path, "S", "O");
        return 0;
    }
    Site site = Site::Open(path);
    Mailbox box = Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox);
    for (int i = 0; i < n; ++i) {
        MessageChanges content;
        content.properties.set.Set(kSubject, "message " + std::to_string(i));
        content.attachments = {
            {0, false, {{{kAttachData, Bytes(static_cast<std::size_t>(i % 5) * 100000)}}, {}}, nullptr}};
        Objects(site).CreateMessage(box.inbox, content);
        lines << "done" << std::endl;
    }
    return 0;
}

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    using namespace localmapi::storage;
    InstallFaultyVfs();
    g_program = Utf8(std::filesystem::absolute(argv[0]));
    if (argc >= 5 && std::string(argv[1]).starts_with("--"))
        return WorkOn(argv[1], argv[2], argv[3], std::stoi(argv[4]), argc > 5 ? std::stoul(argv[5]) : 0);
    testing::InitGoogleMock(&argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--every")
        g_every = std::stoi(argv[2]);
    return RUN_ALL_TESTS();
}
