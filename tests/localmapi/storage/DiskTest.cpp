// Proves that a failing disk and a full one are told apart, each by its name, and that on a full one people can still
// log on, read, and make room, from what the site has set aside for it.
#include "DiskVfs.h"
#include "Sweep.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Purge.h"
#include "localmapi/storage/Reserve.h"
#include "localmapi/storage/Sizes.h"
#include <iostream>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

class Disks : public SiteTest
{
  protected:
    ~Disks() override
    {
        SetDeviceFault(DeviceFault::None);
        SetDiskRoom(m_folder.File(""), {});
    }
    std::string Path() const { return m_folder.File("site.db"); }
    std::uintmax_t ReserveSize() const { return fs::file_size(PathOf(Path() + "-reserve")); }
    std::vector<ObjectId> AddMany(int count, std::size_t size)
    {
        std::vector<NewMessage> messages;
        for (int i = 0; i < count; ++i)
            messages.push_back(
                {m_box.inbox, MakeMessage(std::to_string(i), {{kMessageDeliveryTime, std::int64_t{1} << 40},
                                                              {kAttachData, Bytes(size, 7)}})});
        return m_objects.CreateMessages(messages);
    }
    // Nobody has the site open: what a process left that ended in peace.
    void CloseEverything()
    {
        m_site = Site::Create(m_folder.File("elsewhere/other.db"), "S", "O");
        m_objects = Objects(m_site);
    }
    void SetUp() override { fs::create_directory(PathOf(m_folder.File("elsewhere"))); }
};

// The text of what `work` throws.
std::string TextOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const Error &error) {
        return error.what();
    }
    return "(nothing)";
}

TEST_F(Disks, AFailingDeviceIsADiskErrorAndNoFullDisk)
{
    const ObjectId id = Add("before", {{kBody, std::string(100000, 'b')}});
    for (const DeviceFault fault : {DeviceFault::Write, DeviceFault::Sync}) {
        SetDeviceFault(fault);
        EXPECT_EQ(FaultOf([&] { Add("m", {{kAttachData, Bytes(100000)}}); }), Fault::Disk) << static_cast<int>(fault);
        EXPECT_EQ(FaultOf([&] { m_objects.SetRead({id}, true); }), Fault::Disk) << static_cast<int>(fault);
        EXPECT_THAT(TextOf([&] { Add("m"); }), testing::HasSubstr("(disk error)"));
        SetDeviceFault(DeviceFault::None);
    }
    EXPECT_EQ(ReserveSize(), Reserve::kSize) << "it is no help here";
    SetDeviceFault(DeviceFault::Read);
    EXPECT_EQ(FaultOf([&] { Site::Open(Path()); }), Fault::Disk);
    SetDeviceFault(DeviceFault::None);
    Add("after");
    EXPECT_EQ(SubjectsIn(View(m_site, Inbox())), (std::vector<std::string>{"before", "after"}));
    ExpectSound();
}

TEST_F(Disks, EveryCallThatFailsOfMakingASiteIsADiskError)
{
    for (const DeviceFault fault : {DeviceFault::Write, DeviceFault::Sync, DeviceFault::Read})
        for (int n = 1;; ++n) {
            const std::string path = m_folder.File("new" + std::to_string(static_cast<int>(fault)) + ".db");
            SetDeviceFault(fault, n);
            const std::optional<Fault> thrown = FaultOf([&] { Site::Create(path, "S", "O"); });
            SetDeviceFault(DeviceFault::None);
            if (!thrown) {
                EXPECT_GT(n, 1);
                break;
            }
            EXPECT_EQ(*thrown, Fault::Disk) << "call " << n << " of kind " << static_cast<int>(fault);
            // What opens it, once it is there, may be what failed.
            fs::remove(PathOf(path));
            fs::remove(PathOf(path + "-wal"));
        }
}

TEST_F(Disks, EveryCallThatFailsOfAnyStepIsADiskErrorAndUndoesIt)
{
    for (const bool lasts : {false, true})
        for (const DeviceFault fault : {DeviceFault::Write, DeviceFault::Sync, DeviceFault::Read, DeviceFault::Quota}) {
            SCOPED_TRACE(std::to_string(static_cast<int>(fault)) + (lasts ? " for good" : " once"));
            const Folder folder;
            const SweepResult result =
                SweepSteps(folder, {1, 0, FaultName(fault == DeviceFault::Quota ? Fault::Full : Fault::Disk),
                                    [&](std::size_t n, const std::function<void()> &step) {
                                        struct Failing {
                                            ~Failing() { SetDeviceFault(DeviceFault::None); }
                                        } const failing;
                                        SetDeviceFault(fault, static_cast<int>(n), lasts);
                                        step();
                                        return DeviceHasFailed();
                                    },
                                    fault == DeviceFault::Read});
            EXPECT_GT(result.failures, 10u);
            std::cout << "kind " << static_cast<int>(fault) << (lasts ? " for good: " : " once: ") << result.failures
                      << " failures, " << result.survived << " survived\n";
        }
}

TEST_F(Disks, WhatAQuotaOfTheDiskRefusesIsAFullDisk)
{
    SetDeviceFault(DeviceFault::Quota);
    EXPECT_EQ(FaultOf([&] { Add("m"); }), Fault::Full);
    EXPECT_THAT(TextOf([&] { Add("m"); }), testing::HasSubstr("(disk full)"));
}

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
        const ObjectId id = objects.CreateMessage(m_box.inbox, MakeMessage("again", {{kAttachData, Bytes(200000)}}));
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
    // One by one: what is deleted is overwritten in the log.
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
    for (const std::uint64_t megabytes : {0, 3, 9, 14, 20, 27, 35, 50, 70}) {
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
    SetDiskRoom(folder, 200000);
    EXPECT_THAT(TextOf([&] { Site::Open(old); }), testing::HasSubstr("There is no room for a copy of '" + old + "'"));
    EXPECT_EQ(version(), 4);
    EXPECT_FALSE(fs::exists(PathOf(old + ".format-4")));
    EXPECT_TRUE(Site::Open(old, {.keepsOldCopy = false}).UpgradedFrom()) << "without one";
    EXPECT_TRUE(Check(Site::Open(old), false).empty());
    EXPECT_GT(version(), 4);
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

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    localmapi::storage::InstallDiskVfs();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
