// A layer over SQLite's own file access: what makes a file longer has to find room among the files of a folder, all of
// them counted, and calls of one kind fail when they are told to.
#include "DiskVfs.h"
#include "VfsLayer.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Reserve.h"
#include <atomic>
#include <cerrno>
#include <mutex>

namespace localmapi::storage
{

namespace
{

#ifdef EDQUOT
constexpr int kDevice = EIO, kQuota = EDQUOT;
#else
constexpr int kDevice = 1117, kQuota = 1295; // Windows' ERROR_IO_DEVICE, ERROR_DISK_QUOTA_EXCEEDED
#endif

std::mutex g_lock; // of the three below
std::string g_folder;
std::optional<std::uint64_t> g_capacity;
std::uint64_t g_left = 0; // at least, when the files were last counted, less what was taken since
std::atomic<DeviceFault> g_fault{DeviceFault::None};
std::atomic<int> g_turn{0}, g_calls{0};
std::atomic<bool> g_lasts{true};

std::uint64_t UsedIn(const std::string &folder)
{
    std::uint64_t used = 0;
    std::error_code none;
    for (const auto &entry : std::filesystem::directory_iterator(PathOf(folder), none))
        if (entry.is_regular_file(none))
            used += entry.file_size(none);
    return used;
}

std::uint64_t Count()
{
    const std::uint64_t used = UsedIn(g_folder);
    return used < *g_capacity ? *g_capacity - used : 0;
}

// Whoever asks may take it for a file of their own.
std::uint64_t RoomLeft()
{
    const std::lock_guard lock(g_lock);
    g_left = 0;
    return g_capacity ? Count() : UINT64_MAX;
}

// For a file that gets longer.
bool TakeRoom(std::uint64_t bytes)
{
    const std::lock_guard lock(g_lock);
    if (!g_capacity)
        return true;
    if (g_left < bytes)
        g_left = Count();
    if (g_left < bytes)
        return false;
    g_left -= bytes;
    return true;
}

// Whether a call of this kind fails now.
bool Strikes(sqlite3_file *file, DeviceFault kind)
{
    if (g_fault != kind)
        return false;
    const int call = ++g_calls;
    if (call < g_turn || (call > g_turn && !g_lasts))
        return false;
    Layered(file)->lastError = kind == DeviceFault::Quota ? kQuota : kDevice;
    errno = ENOENT; // another call's
    return true;
}

int Read(sqlite3_file *file, void *bytes, int size, sqlite3_int64 at)
{
    if (Strikes(file, DeviceFault::Read))
        return SQLITE_IOERR_READ;
    return Forward<&sqlite3_io_methods::xRead>(file, bytes, size, at);
}

int Write(sqlite3_file *file, const void *bytes, int size, sqlite3_int64 at)
{
    if (Strikes(file, DeviceFault::Write) || Strikes(file, DeviceFault::Quota))
        return SQLITE_IOERR_WRITE;
    sqlite3_int64 now = 0;
    Forward<&sqlite3_io_methods::xFileSize>(file, &now);
    if (Layered(file)->name && at + size > now && !TakeRoom(static_cast<std::uint64_t>(at + size - now)))
        return SQLITE_FULL;
    return Forward<&sqlite3_io_methods::xWrite>(file, bytes, size, at);
}

int Truncate(sqlite3_file *file, sqlite3_int64 size)
{
    return Strikes(file, DeviceFault::Truncate) ? SQLITE_IOERR_TRUNCATE
                                                : Forward<&sqlite3_io_methods::xTruncate>(file, size);
}

int Sync(sqlite3_file *file, int)
{
    return Strikes(file, DeviceFault::Sync) ? SQLITE_IOERR_FSYNC : SQLITE_OK;
}

int Control(sqlite3_file *file, int what, void *argument)
{
    if (what == SQLITE_FCNTL_LAST_ERRNO && Layered(file)->lastError) {
        *static_cast<int *>(argument) = Layered(file)->lastError;
        return SQLITE_OK;
    }
    return Forward<&sqlite3_io_methods::xFileControl>(file, what, argument);
}

int ShmMap(sqlite3_file *file, int page, int size, int extend, void volatile **into)
{
    std::error_code none;
    const auto there = std::filesystem::file_size(PathOf(std::string(Layered(file)->name) + "-shm"), none);
    const std::uint64_t now = none ? 0 : there;
    const std::uint64_t wanted = (static_cast<std::uint64_t>(page) + 1) * static_cast<std::uint64_t>(size);
    if (extend && wanted > now && !TakeRoom(wanted - now))
        return SQLITE_IOERR_SHMSIZE;
    return Forward<&sqlite3_io_methods::xShmMap>(file, page, size, extend, into);
}

} // namespace

void AskDiskVfsForRoom()
{
    Reserve::Ask([](const std::string &) -> std::optional<std::uint64_t> { return RoomLeft(); });
}

void InstallDiskVfs()
{
    static const sqlite3_io_methods kMethods = [] {
        sqlite3_io_methods methods = ForwardingMethods();
        methods.xRead = Read;
        methods.xWrite = Write;
        methods.xTruncate = Truncate;
        methods.xSync = Sync;
        methods.xFileControl = Control;
        methods.xShmMap = ShmMap;
        return methods;
    }();
    InstallLayer({"disk", &kMethods});
    AskDiskVfsForRoom();
}

void SetDiskRoom(const std::string &folder, std::optional<std::uint64_t> bytes)
{
    const std::lock_guard lock(g_lock);
    g_folder = folder;
    g_left = 0;
    g_capacity = bytes ? std::optional(UsedIn(folder) + *bytes) : std::nullopt;
}

std::uint64_t DiskRoom()
{
    return RoomLeft();
}

void SetDeviceFault(DeviceFault fault, int n, bool lasts)
{
    g_fault = DeviceFault::None;
    g_calls = 0;
    g_turn = n;
    g_lasts = lasts;
    g_fault = fault;
}

bool DeviceHasFailed()
{
    return g_calls >= g_turn;
}

} // namespace localmapi::storage
