// Calls that write are counted and passed on. A sync is only counted.
#include "FaultyVfs.h"
#include "VfsLayer.h"
#include "platform/locks/Mutex.h"
#include <atomic>
#include <cstdlib>

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

int DeleteCounted(sqlite3_vfs *, const char *name, int sync)
{
    if (int fault = Strike())
        return fault;
    return g_realVfs->xDelete(g_realVfs, name, sync);
}

} // namespace

void InstallFaultyVfs()
{
    static const sqlite3_io_methods kMethods = [] {
        sqlite3_io_methods methods = ForwardingMethods();
        methods.xWrite = ForwardWrite<&sqlite3_io_methods::xWrite>;
        methods.xTruncate = ForwardWrite<&sqlite3_io_methods::xTruncate>;
        methods.xSync = Sync;
        return methods;
    }();
    g_realVfs = InstallLayer({"faulty", &kMethods, DeleteCounted});
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
