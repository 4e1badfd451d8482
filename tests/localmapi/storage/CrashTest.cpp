// Proves that nothing is half done, whatever happens: a full disk at any write, a process that is killed at any write
// or at any moment, several processes that write at once. What a call had reported as done is there whole; what was
// not is absent.
#include "FaultyVfs.h"
#include "Process.h"
#include "Scenario.h"
#include <chrono>
#include <fstream>
#include <random>
#include <thread>

namespace localmapi::storage
{

namespace
{

std::string theProgram;

namespace fs = std::filesystem;

fs::path pathOf(const std::string &utf8Path)
{
    return fs::path(std::u8string(utf8Path.begin(), utf8Path.end()));
}

class Crashes : public testing::Test
{
  protected:
    Crashes() { makeScenarioSite(folder.file("base.db")); }
    ~Crashes() override { setWriteFault(WriteFault::None, 0); }

    std::string freshCopy()
    {
        std::string path = folder.file("site" + std::to_string(++m_copies) + ".db");
        fs::copy_file(pathOf(folder.file("base.db")), pathOf(path));
        return path;
    }
    // The states before the first step and after each one.
    std::vector<std::string> states()
    {
        Site site = Site::Open(freshCopy());
        std::vector<std::string> states{stateOf(site)};
        for (const Step &step : ScenarioSteps()) {
            step(site);
            states.push_back(stateOf(site));
            EXPECT_NE(states.back(), states[states.size() - 2]); // or it would prove nothing
        }
        return states;
    }
    static void expectSound(const std::string &path)
    {
        for (const Finding &finding : Check(Site::Open(path), false))
            ADD_FAILURE() << finding.text;
    }
    static std::size_t linesIn(const std::string &path)
    {
        std::ifstream file(pathOf(path));
        std::size_t lines = 0;
        for (std::string line; std::getline(file, line);)
            ++lines;
        return lines;
    }

    Folder folder;

  private:
    int m_copies = 0;
};

TEST_F(Crashes, AFullDiskAtAnyWriteLeavesEachStepDoneOrUndone)
{
    std::vector<std::string> expected = states();
    int rounds = 0;
    bool struck = true;
    for (int n = 1; struck; ++n) {
        std::string path = freshCopy();
        std::size_t done = 0;
        {
            Site site = Site::Open(path);
            setWriteFault(WriteFault::DiskFull, n);
            struck = false;
            for (const Step &step : ScenarioSteps()) {
                std::optional<Fault> fault = faultOf([&] { step(site); });
                if (fault) {
                    EXPECT_EQ(*fault, Fault::Full) << FaultName(*fault) << " at write " << n;
                    struck = true;
                    break;
                }
                ++done;
            }
            setWriteFault(WriteFault::None, 0);
            ASSERT_EQ(stateOf(site), expected[done]) << "write " << n;
            if (struck) { // there is room again
                ScenarioSteps()[done](site);
                ASSERT_EQ(stateOf(site), expected[done + 1]) << "write " << n;
            }
        }
        ++rounds;
        if (n % 10 == 1)
            expectSound(path);
    }
    EXPECT_GT(rounds, 30);
}

TEST_F(Crashes, ASiteThatThereIsNoRoomForIsNotThere)
{
    for (int n = 1;; ++n) {
        std::string path = folder.file("new.db");
        setWriteFault(WriteFault::DiskFull, n);
        std::optional<Fault> fault = faultOf([&] { Site::Create(path, "S", "O"); });
        setWriteFault(WriteFault::None, 0);
        if (!fault) {
            EXPECT_GT(n, 3);
            break;
        }
        EXPECT_EQ(*fault, Fault::Full) << n;
        EXPECT_FALSE(fs::exists(pathOf(path))) << n;
        EXPECT_NO_THROW(Site::Create(path, "S", "O")) << n;
        fs::remove(pathOf(path));
    }
}

TEST_F(Crashes, AProcessThatEndsAtAnyWriteLeavesWhatItReported)
{
    std::vector<std::string> expected = states();
    int ended = 42;
    int rounds = 0;
    for (int n = 1; ended == 42; n += n < 8 ? 1 : 3) {
        std::string path = freshCopy(), report = folder.file("report");
        fs::remove(pathOf(report));
        Process worker(theProgram, {"--scenario", path, report, std::to_string(n)});
        ended = worker.wait();
        ASSERT_TRUE(ended == 42 || ended == 0) << ended;
        std::size_t done = linesIn(report);
        Site site = Site::Open(path);
        std::string state = stateOf(site);
        if (ended == 0)
            EXPECT_EQ(done, ScenarioSteps().size());
        else
            EXPECT_TRUE(state == expected[done] || state == expected.at(done + 1)) << "write " << n << ", " << done;
        for (const Finding &finding : Check(site, false))
            ADD_FAILURE() << "write " << n << ": " << finding.text;
        ++rounds;
    }
    EXPECT_GT(rounds, 10);
}

TEST_F(Crashes, AProcessThatIsKilledAtAnyMomentLeavesWhatItReported)
{
    std::mt19937 random{std::random_device{}()};
    std::string path = folder.file("base.db"), report = folder.file("report");
    std::size_t before = 3; // messages of the base
    for (int round = 0; round < 8; ++round) {
        fs::remove(pathOf(report));
        {
            Process worker(theProgram, {"--append", path, report, "100000"});
            while (linesIn(report) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 200));
            worker.kill();
            worker.wait();
        }
        std::size_t done = linesIn(report);
        Site site = Site::Open(path);
        View view(site, {Container::Kind::Contents,
                         Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox).inbox});
        std::size_t count = static_cast<std::size_t>(view.Count());
        EXPECT_GE(count, before + done);
        EXPECT_LE(count, before + done + 1);
        for (const Row &row : view.Read(Place::Beginning(), Direction::Forward, 100000, {kSubject}))
            ASSERT_TRUE(std::holds_alternative<std::string>(row.values[0]));
        expectSound(path);
        before = count;
    }
}

TEST_F(Crashes, ProcessesThatWriteAtOnceLoseNothing)
{
    std::string path = folder.file("base.db");
    constexpr int kEach = 40;
    Process first(theProgram, {"--append", path, folder.file("r1"), std::to_string(kEach)});
    Process second(theProgram, {"--append", path, folder.file("r2"), std::to_string(kEach)});
    Site site = Site::Open(path);
    Mailbox box = Directory(site).GetMailbox(Directory(site).UserByAlias("alice")->mailbox);
    for (int i = 0; i < kEach; ++i) {
        MessageChanges content;
        content.properties.set.Set(kSubject, "here " + std::to_string(i));
        Objects(site).CreateMessage(box.inbox, content);
    }
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(View(site, {Container::Kind::Contents, box.inbox}).Count(), 3u + 3 * kEach);
    expectSound(path);
}

// What the test starts itself as: works on a site and reports each thing that is done by a line.
int workOn(const std::string &what, const std::string &path, const std::string &report, int n)
{
    std::ofstream lines(pathOf(report), std::ios::app);
    if (what == "--scenario") {
        Site site = Site::Open(path);
        setWriteFault(WriteFault::Exit, n);
        for (const Step &step : ScenarioSteps()) {
            step(site);
            lines << "done" << std::endl;
        }
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
    theProgram = utf8(std::filesystem::absolute(argv[0]));
    if (argc == 5 && std::string(argv[1]).starts_with("--"))
        return workOn(argv[1], argv[2], argv[3], std::stoi(argv[4]));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
