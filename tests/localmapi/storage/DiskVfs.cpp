// A layer over SQLite's own file access: what makes a file longer has to find room among the files of a folder, all of
// them counted, and calls of one kind fail when they are told to.
#include "DiskVfs.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Reserve.h"
#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

#ifdef EDQUOT
constexpr int kDevice = EIO, kQuota = EDQUOT;
#else
constexpr int kDevice = 1117, kQuota = 1295; // Windows' ERROR_IO_DEVICE, ERROR_DISK_QUOTA_EXCEEDED
#endif

sqlite3_vfs *g_realVfs = nullptr;
std::mutex g_lock; // of the two below
std::string g_folder;
std::optional<std::uint64_t> g_capacity;
std::atomic<DeviceFault> g_fault{DeviceFault::None};
std::atomic<int> g_turn{0}, g_calls{0};

std::uint64_t UsedIn(const std::string &folder)
{
    std::uint64_t used = 0;
    std::error_code none;
    for (const auto &entry : std::filesystem::directory_iterator(PathOf(folder), none))
        if (entry.is_regular_file(none))
            used += entry.file_size(none);
    return used;
}

std::uint64_t Room()
{
    const std::lock_guard lock(g_lock);
    if (!g_capacity)
        return UINT64_MAX;
    const std::uint64_t used = UsedIn(g_folder);
    return used < *g_capacity ? *g_capacity - used : 0;
}

struct File {
    sqlite3_file base;
    sqlite3_file *real;
    const char *name; // null for a temporary file
    int lastError;
};

File *Of(sqlite3_file *file)
{
    return reinterpret_cast<File *>(file);
}

sqlite3_file *RealOf(sqlite3_file *file)
{
    return Of(file)->real;
}

// Whether a call of this kind fails now.
bool Strikes(sqlite3_file *file, DeviceFault kind)
{
    if (g_fault != kind || ++g_calls < g_turn)
        return false;
    Of(file)->lastError = kind == DeviceFault::Quota ? kQuota : kDevice;
    errno = ENOENT; // another call's
    return true;
}

template <auto Method, class... Arguments> int Forward(sqlite3_file *file, Arguments... arguments)
{
    sqlite3_file *real = RealOf(file);
    return (real->pMethods->*Method)(real, arguments...);
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
    if (Of(file)->name && at + size > now && static_cast<std::uint64_t>(at + size - now) > Room())
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
    if (what == SQLITE_FCNTL_LAST_ERRNO && Of(file)->lastError) {
        *static_cast<int *>(argument) = Of(file)->lastError;
        return SQLITE_OK;
    }
    return Forward<&sqlite3_io_methods::xFileControl>(file, what, argument);
}

int ShmMap(sqlite3_file *file, int page, int size, int extend, void volatile **into)
{
    std::error_code none;
    const auto there = std::filesystem::file_size(PathOf(std::string(Of(file)->name) + "-shm"), none);
    const std::uint64_t now = none ? 0 : there;
    const std::uint64_t wanted = (static_cast<std::uint64_t>(page) + 1) * static_cast<std::uint64_t>(size);
    if (extend && wanted > now && wanted - now > Room())
        return SQLITE_IOERR_SHMSIZE;
    return Forward<&sqlite3_io_methods::xShmMap>(file, page, size, extend, into);
}

const sqlite3_io_methods kMethods = {
    3,
    Forward<&sqlite3_io_methods::xClose>,
    Read,
    Write,
    Truncate,
    Sync,
    Forward<&sqlite3_io_methods::xFileSize>,
    Forward<&sqlite3_io_methods::xLock>,
    Forward<&sqlite3_io_methods::xUnlock>,
    Forward<&sqlite3_io_methods::xCheckReservedLock>,
    Control,
    Forward<&sqlite3_io_methods::xSectorSize>,
    Forward<&sqlite3_io_methods::xDeviceCharacteristics>,
    ShmMap,
    Forward<&sqlite3_io_methods::xShmLock>,
    [](sqlite3_file *file) { RealOf(file)->pMethods->xShmBarrier(RealOf(file)); },
    Forward<&sqlite3_io_methods::xShmUnmap>,
    Forward<&sqlite3_io_methods::xFetch>,
    Forward<&sqlite3_io_methods::xUnfetch>,
};

int OpenWrapped(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *outFlags)
{
    File *wrapper = new (file) File{};
    wrapper->real = reinterpret_cast<sqlite3_file *>(wrapper + 1);
    wrapper->name = name;
    int result = g_realVfs->xOpen(g_realVfs, name, wrapper->real, flags, outFlags);
    wrapper->base.pMethods = wrapper->real->pMethods ? &kMethods : nullptr;
    return result;
}

} // namespace

void InstallDiskVfs()
{
    static sqlite3_vfs vfs;
    g_realVfs = sqlite3_vfs_find(nullptr);
    vfs = *g_realVfs;
    vfs.zName = "disk";
    vfs.pNext = nullptr;
    vfs.szOsFile = static_cast<int>(sizeof(File)) + g_realVfs->szOsFile;
    vfs.xOpen = OpenWrapped;
    sqlite3_vfs_register(&vfs, 1);
    Reserve::Ask([](const std::string &) { return Room(); });
}

void SetDiskRoom(const std::string &folder, std::optional<std::uint64_t> bytes)
{
    const std::lock_guard lock(g_lock);
    g_folder = folder;
    g_capacity = bytes ? std::optional(UsedIn(folder) + *bytes) : std::nullopt;
}

std::uint64_t DiskRoom()
{
    return Room();
}

void SetDeviceFault(DeviceFault fault, int n)
{
    g_fault = DeviceFault::None;
    g_calls = 0;
    g_turn = n;
    g_fault = fault;
}

} // namespace localmapi::storage
