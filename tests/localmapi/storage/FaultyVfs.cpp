// A layer over SQLite's own file access that passes every call on and counts those that write. A sync is only counted.
#include "FaultyVfs.h"
#include "platform/locks/Mutex.h"
#include <atomic>
#include <cstdlib>
#include <new>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

std::atomic<WriteFault> g_fault{WriteFault::None};
std::atomic<int> g_turn{0};
std::atomic<int> g_writes{0};
std::atomic<int> g_syncs{0};
locks::Mutex g_gate;
locks::Condition g_gateChanged;
bool g_held GUARDED_BY(g_gate) = false;
int g_waiting GUARDED_BY(g_gate) = 0;
sqlite3_vfs *g_realVfs = nullptr;

int Strike()
{
    int turn = ++g_writes;
    WriteFault fault = g_fault;
    if (fault == WriteFault::Exit && turn == g_turn)
        std::_Exit(42); // as if killed: nothing is closed, nothing flushed
    return fault == WriteFault::DiskFull && turn >= g_turn ? SQLITE_FULL : SQLITE_OK;
}

struct File {
    sqlite3_file base;
    sqlite3_file *real;
};

sqlite3_file *RealOf(sqlite3_file *file)
{
    return reinterpret_cast<File *>(file)->real;
}

template <auto Method, class... Arguments> int Forward(sqlite3_file *file, Arguments... arguments)
{
    sqlite3_file *real = RealOf(file);
    return (real->pMethods->*Method)(real, arguments...);
}

template <auto Method, class... Arguments> int ForwardWrite(sqlite3_file *file, Arguments... arguments)
{
    if (int fault = Strike())
        return fault;
    return Forward<Method, Arguments...>(file, arguments...);
}

// Counted but not done: a process that ends takes nothing from the system's cache, and the tests run often.
int Sync(sqlite3_file *, int)
{
    ++g_syncs;
    {
        const locks::Hold hold(g_gate);
        ++g_waiting;
        g_gateChanged.NotifyAll();
        while (g_held)
            g_gateChanged.Wait(g_gate);
        --g_waiting;
    }
    return Strike();
}

const sqlite3_io_methods kMethods = {
    3,
    Forward<&sqlite3_io_methods::xClose>,
    Forward<&sqlite3_io_methods::xRead>,
    ForwardWrite<&sqlite3_io_methods::xWrite>,
    ForwardWrite<&sqlite3_io_methods::xTruncate>,
    Sync,
    Forward<&sqlite3_io_methods::xFileSize>,
    Forward<&sqlite3_io_methods::xLock>,
    Forward<&sqlite3_io_methods::xUnlock>,
    Forward<&sqlite3_io_methods::xCheckReservedLock>,
    Forward<&sqlite3_io_methods::xFileControl>,
    Forward<&sqlite3_io_methods::xSectorSize>,
    Forward<&sqlite3_io_methods::xDeviceCharacteristics>,
    Forward<&sqlite3_io_methods::xShmMap>,
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
    int result = g_realVfs->xOpen(g_realVfs, name, wrapper->real, flags, outFlags);
    wrapper->base.pMethods = wrapper->real->pMethods ? &kMethods : nullptr;
    return result;
}

int DeleteCounted(sqlite3_vfs *, const char *name, int sync)
{
    if (int fault = Strike())
        return fault;
    return g_realVfs->xDelete(g_realVfs, name, sync);
}

} // namespace

void InstallFaultyVfs()
{
    static sqlite3_vfs vfs;
    g_realVfs = sqlite3_vfs_find(nullptr);
    vfs = *g_realVfs;
    vfs.zName = "faulty";
    vfs.pNext = nullptr;
    vfs.szOsFile = static_cast<int>(sizeof(File)) + g_realVfs->szOsFile;
    vfs.xOpen = OpenWrapped;
    vfs.xDelete = DeleteCounted;
    sqlite3_vfs_register(&vfs, 1);
}

void SetWriteFault(WriteFault fault, int n)
{
    g_fault = WriteFault::None;
    g_writes = 0;
    g_syncs = 0;
    g_turn = n;
    g_fault = fault;
}

int WritesSeen()
{
    return g_writes;
}

int SyncsSeen()
{
    return g_syncs;
}

SyncsHeld::SyncsHeld()
{
    const locks::Hold hold(g_gate);
    g_held = true;
}

SyncsHeld::~SyncsHeld()
{
    const locks::Hold hold(g_gate);
    g_held = false;
    g_gateChanged.NotifyAll();
}

void SyncsHeld::WaitForOne() const
{
    const locks::Hold hold(g_gate);
    while (g_waiting == 0)
        g_gateChanged.Wait(g_gate);
}

} // namespace localmapi::storage
