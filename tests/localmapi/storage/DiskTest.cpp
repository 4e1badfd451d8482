// Proves that a failing disk and a full one are told apart, each by its name, and that what a call that failed was to
// do did not happen.
//
// storage_disk_test [--every N] fails every N-th write of a step, by itself every third one, and tries fewer sizes with
// more.
#include "DiskFixture.h"
#include "Sweep.h"
#include <iostream>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

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
            const bool writes = fault == DeviceFault::Write || fault == DeviceFault::Quota;
            const SweepResult result =
                SweepSteps(folder, {writes ? g_every : 1, lasts ? 1u : 0u, // others for good than once

                                    FaultName(fault == DeviceFault::Quota ? Fault::Full : Fault::Disk),
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

TEST_F(Disks, AMarkThatFailedIsNoChangeThatOneKnowsOf)
{
    const ObjectId id = Add("m");
    ChangeNumber known = m_objects.Info(id).change;
    SetDeviceFault(DeviceFault::Sync);
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeFlags({id}, kFlagRead, 0, &known); }), Fault::Disk);
    SetDeviceFault(DeviceFault::None);
    EXPECT_EQ(known, m_objects.Info(id).change);
    // Somebody else's change has the number by now that the mark would have had.
    const MessageChanges other{{{{kSubject, std::string("theirs")}}, {}}, {}, {}};
    Objects(Site::Open(Path())).ChangeMessage(id, other, std::nullopt);
    EXPECT_EQ(FaultOf([&] { m_objects.ChangeMessage(id, other, known); }), Fault::Changed);
}

TEST_F(Disks, WhatAQuotaOfTheDiskRefusesIsAFullDisk)
{
    SetDeviceFault(DeviceFault::Quota);
    EXPECT_EQ(FaultOf([&] { Add("m"); }), Fault::Full);
    EXPECT_THAT(TextOf([&] { Add("m"); }), testing::HasSubstr("(disk full)"));
}

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    localmapi::storage::InstallDiskVfs();
    testing::InitGoogleMock(&argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--every")
        localmapi::storage::g_every = std::stoul(argv[2]);
    return RUN_ALL_TESTS();
}
