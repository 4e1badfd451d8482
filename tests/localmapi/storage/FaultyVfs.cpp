// A layer over SQLite's own file access that passes every call on and counts those that write. A sync is only counted.
#include "FaultyVfs.h"
#include <atomic>
#include <cstdlib>
#include <new>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

std::atomic<WriteFault> theFault{WriteFault::None};
std::atomic<int> theTurn{0};
std::atomic<int> theWrites{0};
sqlite3_vfs *theRealVfs = nullptr;

int strike()
{
    int turn = ++theWrites;
    WriteFault fault = theFault;
    if (fault == WriteFault::Exit && turn == theTurn)
        std::_Exit(42); // as if killed: nothing is closed, nothing flushed
    return fault == WriteFault::DiskFull && turn >= theTurn ? SQLITE_FULL : SQLITE_OK;
}

struct File {
    sqlite3_file base;
    sqlite3_file *real;
};

sqlite3_file *realOf(sqlite3_file *file)
{
    return reinterpret_cast<File *>(file)->real;
}

template <auto Method, class... Arguments> int forward(sqlite3_file *file, Arguments... arguments)
{
    sqlite3_file *real = realOf(file);
    return (real->pMethods->*Method)(real, arguments...);
}

template <auto Method, class... Arguments> int forwardWrite(sqlite3_file *file, Arguments... arguments)
{
    if (int fault = strike())
        return fault;
    return forward<Method, Arguments...>(file, arguments...);
}

// Counted but not done: a process that ends takes nothing from the system's cache, and the tests run often.
int sync(sqlite3_file *, int)
{
    return strike();
}

const sqlite3_io_methods kMethods = {
    3,
    forward<&sqlite3_io_methods::xClose>,
    forward<&sqlite3_io_methods::xRead>,
    forwardWrite<&sqlite3_io_methods::xWrite>,
    forwardWrite<&sqlite3_io_methods::xTruncate>,
    sync,
    forward<&sqlite3_io_methods::xFileSize>,
    forward<&sqlite3_io_methods::xLock>,
    forward<&sqlite3_io_methods::xUnlock>,
    forward<&sqlite3_io_methods::xCheckReservedLock>,
    forward<&sqlite3_io_methods::xFileControl>,
    forward<&sqlite3_io_methods::xSectorSize>,
    forward<&sqlite3_io_methods::xDeviceCharacteristics>,
    forward<&sqlite3_io_methods::xShmMap>,
    forward<&sqlite3_io_methods::xShmLock>,
    [](sqlite3_file *file) { realOf(file)->pMethods->xShmBarrier(realOf(file)); },
    forward<&sqlite3_io_methods::xShmUnmap>,
    forward<&sqlite3_io_methods::xFetch>,
    forward<&sqlite3_io_methods::xUnfetch>,
};

int openFile(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *outFlags)
{
    File *wrapper = new (file) File{};
    wrapper->real = reinterpret_cast<sqlite3_file *>(wrapper + 1);
    int result = theRealVfs->xOpen(theRealVfs, name, wrapper->real, flags, outFlags);
    wrapper->base.pMethods = wrapper->real->pMethods ? &kMethods : nullptr;
    return result;
}

int deleteFile(sqlite3_vfs *, const char *name, int sync)
{
    if (int fault = strike())
        return fault;
    return theRealVfs->xDelete(theRealVfs, name, sync);
}

} // namespace

void InstallFaultyVfs()
{
    static sqlite3_vfs vfs;
    theRealVfs = sqlite3_vfs_find(nullptr);
    vfs = *theRealVfs;
    vfs.zName = "faulty";
    vfs.pNext = nullptr;
    vfs.szOsFile = static_cast<int>(sizeof(File)) + theRealVfs->szOsFile;
    vfs.xOpen = openFile;
    vfs.xDelete = deleteFile;
    sqlite3_vfs_register(&vfs, 1);
}

void setWriteFault(WriteFault fault, int n)
{
    theFault = WriteFault::None;
    theWrites = 0;
    theTurn = n;
    theFault = fault;
}

int writesSeen()
{
    return theWrites;
}

} // namespace localmapi::storage
