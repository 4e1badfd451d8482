// Proves that on a full disk people can still log on, read, and make room, from what the site has set aside for it, and
// that what is set aside is there again as soon as it can be.
#include "DiskFixture.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Purge.h"
#include "localmapi/storage/Sizes.h"
#include <atomic>
#include <fstream>
#include <latch>
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

TEST_F(Disks, WithNothingFreeOneLogsOnListsAndMakesRoomAndThenWritesAgain)
{
    const std::vector<ObjectId> ids = AddMany(200, 50000);
    CloseEverything();
    SetDiskRoom(m_folder.File(""), 0);
    ASSERT_EQ(DiskRoom(), 0u);

    const Site site = Site::Open(Path());
    Objects objects(site);
    const View view(site, Inbox());
    EXPECT_EQ(view.Count(), 200u);
    EXPECT_EQ(view.Read(Place::Beginning(), kForward, 1000, {kSubject}).size(), 200u);
    Profiles profiles(site);
    profiles.Create("MAPIImpl");
    profiles.AddService("MAPIImpl", {Guid{1}, "MSEMS", "Server"});
    profiles.ChangeSection("MAPIImpl", Guid{2}, {{kDisplayName, std::string("x")}}, {});
    profiles.Remove("MAPIImpl");

    // Nothing else is let in.
    const std::vector<ObjectId> some(ids.begin(), ids.begin() + 20);
    EXPECT_EQ(
        FaultOf([&] {
            objects.CreateMessage(m_box.inbox, MakeMessage("large", {{kAttachData, Bytes(std::size_t{40} << 20)}}));
        }),
        Fault::Full);
    const std::vector<ObjectId> moved = objects.MoveMessages(some, m_box.deletedItems);
    EXPECT_EQ(objects.RemoveMessages(moved), std::vector<bool>(20, true));
    objects.SetRead({ids[30]}, true);
    EXPECT_EQ(Purge(site, {std::nullopt, false, std::int64_t{1} << 50}).messages, 180u);
    EXPECT_EQ(view.Count(), 0u);
    EXPECT_GT(SizesOfFile(site).free, 200 * 50000);
    // In the pages that are free now, as often as they are free again. The log is as long as what was done until now
    // took, or what the reserve has left for it; a megabyte is not always it.
    for (int round = 0; round < 20; ++round) {
        const ObjectId id = objects.CreateMessage(m_box.inbox, MakeMessage("again", {{kAttachData, Bytes(60000)}}));
        EXPECT_EQ(objects.RemoveMessages({id}), std::vector<bool>{true});
    }
    EXPECT_TRUE(Check(site, false).empty());

    // Once there is room the reserve is made anew, here by whoever opens it next.
    SetDiskRoom(m_folder.File(""), {});
    EXPECT_LT(ReserveSize(), Reserve::kSize);
    Site::Open(Path());
    EXPECT_EQ(ReserveSize(), Reserve::kSize);
}

// The log of one who has the site open for long, when somebody else fills the disk.
TEST_F(Disks, WhatOthersFillLeavesRoomToDelete)
{
    SetDiskRoom(m_folder.File(""), 140u << 20);
    std::vector<ObjectId> ids;
    for (int i = 0; i < 40; ++i)
        ids.push_back(Add("m", {{kAttachData, Bytes(900000)}}));
    SetDiskRoom(m_folder.File(""), 0);
    EXPECT_EQ(FaultOf([&] { Add("more", {{kAttachData, Bytes(900000)}}); }), Fault::Full);
    for (const ObjectId id : ids)
        EXPECT_EQ(m_objects.RemoveMessages({id}), std::vector<bool>{true});
    Add("more", {{kAttachData, Bytes(900000)}});
    ExpectSound();
}

// One who has the site open while another gives up the reserve fills it up again, too.
TEST_F(Disks, WhoeverWasRefusedFillsTheReserveUpAgain)
{
    const std::vector<ObjectId> ids = AddMany(100, 20000);
    const Site other = Site::Open(Path());
    SetDiskRoom(m_folder.File(""), 0);
    Objects(other).RemoveMessages({ids[0]});
    ASSERT_LT(ReserveSize(), Reserve::kSize);
    EXPECT_EQ(FaultOf([&] { Add("m", {{kAttachData, Bytes(900000)}}); }), Fault::Full);
    SetDiskRoom(m_folder.File(""), {});
    Add("m");
    EXPECT_EQ(ReserveSize(), Reserve::kSize);
}

// What the log may hold that the file has no room for, and what a deletion gives up of the reserve, is where it could
// get stuck.
TEST_F(Disks, HoweverMuchIsFreeBeforeItIsFilledUpRoomCanBeMadeAfterwards)
{
    const std::vector<std::uint64_t> rooms = {0, 3, 9, 14, 20, 27, 35, 50, 70};
    for (std::size_t room = 0; room < rooms.size(); room += (g_every + 2) / 3) {
        const std::uint64_t megabytes = rooms[room];
        SCOPED_TRACE(std::to_string(megabytes) + " MB");
        const std::string folder = m_folder.File(std::to_string(megabytes));
        fs::create_directory(PathOf(folder));
        m_site = Site::Create(folder + "/site.db", "S", "O");
        m_box = Directory(m_site).GetMailbox(Directory(m_site).AddUser("alice", "Alice Archer").mailbox);
        m_objects = Objects(m_site);
        std::vector<ObjectId> ids = AddMany(100, 20000);
        SetDiskRoom(folder, megabytes << 20);
        const auto isWritten = [&](std::uint64_t size) {
            const std::optional<Fault> fault = FaultOf([&] {
                ids.push_back(m_objects.CreateMessage(
                    m_box.inbox, MakeMessage("more", {{kMessageDeliveryTime, std::int64_t{1} << 40},
                                                      {kAttachData, MakeSpool(size)}})));
            });
            EXPECT_EQ(fault.value_or(Fault::Full), Fault::Full);
            return !fault;
        };
        for (const std::uint64_t size : {24u << 20, 7u << 20, 300000u, 9000u, 2000u})
            for (int refused = 0; refused < 2; refused += !isWritten(size))
                ASSERT_LT(ids.size(), 20000u);
        for (std::size_t i = 0; i < 10; ++i) {
            m_objects.MoveMessages({ids[i]}, m_box.deletedItems);
            isWritten(24 << 20);
            isWritten(7 << 20);
        }
        const std::size_t count = ids.size();
        std::uint64_t purged = 0;
        for (const bool onlyDeleted : {true, false})
            purged += Purge(m_site, {std::nullopt, onlyDeleted, std::int64_t{1} << 62}).messages;
        EXPECT_EQ(purged, count);
        EXPECT_TRUE(Check(m_site, false).empty());
        EXPECT_TRUE(isWritten(200000));
        SetDiskRoom(folder, {});
        Site::Open(folder + "/site.db");
        EXPECT_EQ(fs::file_size(PathOf(folder + "/site.db-reserve")), Reserve::kSize);
    }
}

TEST_F(Disks, AReaderAloneTakesLittleOfTheReserve)
{
    Add("m");
    CloseEverything();
    SetDiskRoom(m_folder.File(""), 0);
    OpenOptions readOnly;
    readOnly.readOnly = true;
    EXPECT_EQ(View(Site::Open(Path(), readOnly), Inbox()).Count(), 1u);
    EXPECT_EQ(ReserveSize(), Reserve::kSize - (1 << 20));
    EXPECT_EQ(View(Site::Open(Path(), readOnly), Inbox()).Count(), 1u);
    EXPECT_EQ(ReserveSize(), Reserve::kSize - (1 << 20)) << "what was given up is free";
}

TEST_F(Disks, WhereTheReserveIsGoneAFullDiskIsSaidToBeOne)
{
    const std::vector<ObjectId> ids = AddMany(50, 20000);
    CloseEverything();
    fs::remove(PathOf(Path() + "-reserve"));
    SetDiskRoom(m_folder.File(""), 0);
    EXPECT_EQ(FaultOf([&] { Site::Open(Path()); }), Fault::Full);
    SetDiskRoom(m_folder.File(""), 100000);
    const Site site = Site::Open(Path());
    EXPECT_EQ(FaultOf([&] { Objects(site).RemoveMessages(ids); }), Fault::Full);
    // A purge takes smaller pieces then.
    EXPECT_FALSE(fs::exists(PathOf(Path() + "-reserve"))) << "no room, no reserve";
    SetDiskRoom(m_folder.File(""), 400000);
    Objects(site).CreateMessage(
        m_box.inbox, MakeMessage("m", {{kMessageDeliveryTime, std::int64_t{1} << 40}, {kAttachData, Bytes(20000)}}));
    EXPECT_EQ(Purge(site, {std::nullopt, false, std::int64_t{1} << 50}).messages, 51u);
    EXPECT_TRUE(Check(site, false).empty());
}

TEST_F(Disks, AFileOfAFormerVersionIsLeftAloneWhereThereIsNoRoomForItsCopy)
{
    AddMany(20, 20000);
    const std::string folder = m_folder.File("former");
    fs::create_directory(PathOf(folder));
    const std::string old = folder + "/old.db";
    Backup(m_site, old);
    MakeOlder(old, 4);
    const auto version = [&] { return Connection(old, SQLITE_OPEN_READONLY, 0).Integer("PRAGMA user_version"); };
    // What is set aside is of no use for a copy.
    const std::string reserve = old + "-reserve";
    std::ofstream(PathOf(reserve)).put('x');
    fs::resize_file(PathOf(reserve), Reserve::kSize);
    SetDiskRoom(folder, 200000);
    EXPECT_THAT(TextOf([&] { Site::Open(old); }), testing::HasSubstr("There is no room for a copy of '" + old + "'"));
    EXPECT_EQ(version(), 4);
    EXPECT_FALSE(fs::exists(PathOf(old + ".format-4")));
    EXPECT_EQ(fs::file_size(PathOf(reserve)), Reserve::kSize);
    EXPECT_TRUE(Site::Open(old, {.keepsOldCopy = false}).UpgradedFrom()) << "without one";
    EXPECT_TRUE(Check(Site::Open(old), false).empty());
    EXPECT_GT(version(), 4);
}

TEST_F(Disks, AFileOfAFormerVersionIsUpgradedFromWhatIsSetAside)
{
    AddMany(3000, 100);
    const std::string folder = m_folder.File("former"), old = folder + "/old.db";
    fs::create_directory(PathOf(folder));
    Backup(m_site, old);
    MakeOlder(old, 1);
    std::ofstream(PathOf(old + "-reserve")) << std::string(Reserve::kSize, '-');
    SetDiskRoom(folder, 0);
    const Site site = Site::Open(old, {.keepsOldCopy = false});
    EXPECT_TRUE(site.UpgradedFrom());
    EXPECT_TRUE(Check(site, false).empty());
    EXPECT_EQ(Purge(site, {std::nullopt, false, std::int64_t{1} << 62}).messages, 3000u);
}

TEST_F(Disks, TheReserveGoesNowhereWithTheSite)
{
    EXPECT_EQ(ReserveSize(), Reserve::kSize);
    EXPECT_EQ(static_cast<std::uint64_t>(SizesOfFile(m_site).reserve), Reserve::kSize);
    Add("m");
    Site::Open(Path());
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(PathOf(m_folder.File(""))))
        names.insert(Utf8Of(entry.path().filename()));
    EXPECT_EQ(names, (std::set<std::string>{"elsewhere", "site.db", "site.db-reserve", "site.db-shm", "site.db-wal"}));
}

// In this process and in others: the two sites have nothing in common but the file.
TEST_F(Disks, AllWhoMakeRoomAtOnceHaveIt)
{
    const std::vector<ObjectId> ids = AddMany(64, 20000);
    AddMany(300, 20000); // which the file has no room for yet
    const Site other = Site::Open(Path());
    ASSERT_GT(Connection(Path(), SQLITE_OPEN_READWRITE, 0).LogBeyondFile(), 1u << 20);
    SetDiskRoom(m_folder.File(""), 0);
    std::latch ready(16);
    std::atomic<int> removed{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 16; ++i)
        threads.emplace_back([&, i] {
            Objects objects(i % 2 ? other : m_site);
            ready.arrive_and_wait();
            for (std::size_t k = i; k < ids.size(); k += 16)
                EXPECT_EQ(FaultOf([&] { removed += objects.RemoveMessages({ids[k]}).front() ? 1 : 0; }), std::nullopt);
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(removed, 64);
    ExpectSound();
}

TEST_F(Disks, WhoeverWasNotRefusedFillsTheReserveUpAgainToo)
{
    const std::vector<ObjectId> ids = AddMany(100, 20000);
    const Site third = Site::Open(Path());
    {
        const Site other = Site::Open(Path());
        SetDiskRoom(m_folder.File(""), 0);
        Objects(other).RemoveMessages({ids[0]});
    }
    ASSERT_LT(ReserveSize(), Reserve::kSize);
    SetDiskRoom(m_folder.File(""), {});
    Add("m", {{kAttachData, Bytes(200000)}});
    EXPECT_EQ(ReserveSize(), Reserve::kSize) << "what makes the file longer looks each time";
    fs::resize_file(PathOf(Path() + "-reserve"), 0);
    Objects(third).SetRead({ids[2]}, true);
    EXPECT_EQ(ReserveSize(), Reserve::kSize) << "everything else every ten seconds";
}

TEST_F(Disks, AReserveThatSomebodyDeletesIsMissed)
{
    fs::remove(PathOf(Path() + "-reserve"));
    Add("m", {{kAttachData, Bytes(200000)}});
    EXPECT_EQ(ReserveSize(), Reserve::kSize);
}

// Else one that is never enough would be tried again for as long as others make room.
TEST_F(Disks, WhoeverIsRefusedAllTheTimeIsToldSoThoughOthersMakeRoom)
{
    Database &database = m_site.GetDatabase();
    Database::Tried tried = database.Try();
    int times = 0;
    for (bool goesOn = true; goesOn && times < 100; ++times) {
        Database::Tried others = database.Try();
        EXPECT_TRUE(database.MakeRoom(others));
        goesOn = database.MakeRoom(tried);
    }
    EXPECT_GT(times, 3);
    EXPECT_LT(times, 20);
}

// Written back, it would take all that is set aside and not be through with it.
TEST_F(Disks, ALogThatTheFileHasNoRoomForStaysWhereItIs)
{
    const std::vector<ObjectId> ids = AddMany(50, 20000);
    {
        const Reader reader(m_site.GetDatabase());
        for (int i = 0; i < 40; ++i)
            Add("m", {{kAttachData, Bytes(900000)}});
        SetDiskRoom(m_folder.File(""), 0);
    }
    for (const ObjectId id : ids)
        EXPECT_EQ(m_objects.SetRead({id}, true), std::vector<bool>{true});
    EXPECT_EQ(m_objects.RemoveMessages({ids[0]}), std::vector<bool>{true});
    EXPECT_GT(ReserveSize(), Reserve::kSize / 2);
    CloseEverything();
    EXPECT_GT(ReserveSize(), Reserve::kSize / 2);
    const Site site = Site::Open(Path());
    EXPECT_EQ(Objects(site).RemoveMessages({ids[1]}), std::vector<bool>{true});
    EXPECT_EQ(View(site, Inbox()).Count(), 88u);
}

TEST_F(Disks, TheLongLogThatARefusedWriteLeavesIsGivenBack)
{
    SetDiskRoom(m_folder.File(""), 30u << 20);
    EXPECT_EQ(FaultOf([&] { AddMany(1000, 28000); }), Fault::Full);
    EXPECT_LE(fs::file_size(PathOf(Path() + "-wal")), std::uintmax_t{8 << 20});
    EXPECT_EQ(FaultOf([&] { Add("m", {{kAttachData, Bytes(1 << 20)}}); }), std::nullopt);
    EXPECT_EQ(ReserveSize(), Reserve::kSize);
    // Also where nothing was in it before.
    CloseEverything();
    m_site = Site::Open(Path());
    m_objects = Objects(m_site);
    SetDiskRoom(m_folder.File(""), 30u << 20);
    EXPECT_EQ(FaultOf([&] { AddMany(1000, 28000); }), Fault::Full);
    EXPECT_LE(fs::file_size(PathOf(Path() + "-wal")), std::uintmax_t{8 << 20});
    // Where that fails, nothing else does.
    SetDiskRoom(m_folder.File(""), 30u << 20);
    SetDeviceFault(DeviceFault::Truncate);
    EXPECT_EQ(FaultOf([&] { AddMany(1000, 28000); }), Fault::Full);
    EXPECT_TRUE(DeviceHasFailed());
    SetDeviceFault(DeviceFault::None);
    EXPECT_EQ(m_objects.RemoveMessages({Add("n")}), std::vector<bool>{true});
    ExpectSound();
}

// The next one could not begin it anew, and would find no room behind it.
TEST_F(Disks, WhoeverLeavesItsLogLeavesNoneWhereTheReserveIsGivenUp)
{
    const std::vector<ObjectId> ids = AddMany(200, 50000);
    m_objects.RemoveMessages(ids);
    CloseEverything();
    fs::resize_file(PathOf(Path() + "-reserve"), Reserve::kSize - (1 << 20));
    SetDiskRoom(m_folder.File(""), 1 << 20);
    for (int i = 0; i < 8; ++i) {
        const Site site = Site::Open(Path(), {.leavesShortLog = true});
        Objects(site).CreateMessage(m_box.inbox, MakeMessage("again", {{kAttachData, Bytes(400000)}}));
    }
    SetDiskRoom(m_folder.File(""), {});
    EXPECT_EQ(View(Site::Open(Path()), Inbox()).Count(), 8u);
}

TEST_F(Disks, WhatIsSetAsideIsNotForAProfilesData)
{
    const std::vector<ObjectId> ids = AddMany(50, 20000);
    Profiles profiles(m_site);
    profiles.Create("p");
    SetDiskRoom(m_folder.File(""), 0);
    const auto change = [&](std::size_t size) {
        return FaultOf([&] { profiles.ChangeSection("p", Guid{1}, {{kAttachData, Bytes(size)}}, {}); });
    };
    EXPECT_EQ(change(8 << 20), Fault::Full);
    EXPECT_GT(ReserveSize(), Reserve::kSize - (2 << 20));
    EXPECT_EQ(change(1000), std::nullopt) << "what a logon writes";
    EXPECT_EQ(m_objects.RemoveMessages({ids[0]}), std::vector<bool>{true});
}

TEST_F(Disks, WhereTheSystemTellsNoRoomNothingIsRefusedAndTheLogIsKept)
{
    struct Untold {
        Untold()
        {
            Reserve::Ask([](const std::string &) { return std::optional<std::uint64_t>(); });
        }
        ~Untold() { AskDiskVfsForRoom(); }
    } const untold;
    m_site = Site::Create(m_folder.File("untold.db"), "S", "O");
    m_box = Directory(m_site).GetMailbox(Directory(m_site).AddUser("alice", "Alice Archer").mailbox);
    m_objects = Objects(m_site);
    const std::string path = m_folder.File("untold.db");
    EXPECT_EQ(fs::file_size(PathOf(path + "-reserve")), Reserve::kSize) << "as far as anybody knows";
    fs::remove(PathOf(path + "-reserve"));
    fs::create_directory(PathOf(path + "-reserve"));
    m_site = Site::Open(path);
    m_objects = Objects(m_site);
    const auto size = fs::file_size(PathOf(path));
    for (int i = 0; i < 20; ++i)
        Add("m", {{kAttachData, Bytes(100000)}});
    EXPECT_EQ(fs::file_size(PathOf(path)), size) << "no look at the file after each commit";
    EXPECT_EQ(m_objects.RemoveMessages({Add("m")}), std::vector<bool>{true});
}

} // namespace

} // namespace localmapi::storage
