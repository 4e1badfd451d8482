// SQLite's own access to files on a disk that is as large as a test says, or that fails.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace localmapi::storage
{

// Makes it the file access of every connection opened from now on in this process, and what a site's reserve asks for
// the room there is; call once, before the first one.
void InstallDiskVfs();
void AskDiskVfsForRoom(); // as from then on, where a test had another one asked

// So many bytes more than now may be in the files of a folder. Nothing: as many as there is room for.
void SetDiskRoom(const std::string &folder, std::optional<std::uint64_t> bytes);
// What is left of them.
std::uint64_t DiskRoom();

enum class DeviceFault {
    None,
    Read,
    Write,
    Sync,
    Truncate,
    // A write that a quota refuses. The system's last error is another one by the time that it is asked for, here as
    // in the others: only the file itself still knows.
    Quota
};
// Every such call fails from now on, the n-th included (1 is the next one); or that one alone.
void SetDeviceFault(DeviceFault fault, int n = 1, bool lasts = true);
bool DeviceHasFailed(); // since then

} // namespace localmapi::storage
