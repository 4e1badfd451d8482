// A layer over SQLite's own access to files: passes every call on, but for those that a test's own methods stand for.
#pragma once
#include <sqlite3.h>

namespace localmapi::storage
{

// The real file follows in memory.
struct LayeredFile {
    sqlite3_file base;
    sqlite3_file *real;
    const char *name; // SQLite's own; null for a temporary file
    int lastError;    // of the system, for a layer to use; 0 at first
};

inline LayeredFile *Layered(sqlite3_file *file)
{
    return reinterpret_cast<LayeredFile *>(file);
}

inline sqlite3_file *RealOf(sqlite3_file *file)
{
    return Layered(file)->real;
}

template <auto Method, class... Arguments> int Forward(sqlite3_file *file, Arguments... arguments)
{
    sqlite3_file *real = RealOf(file);
    return (real->pMethods->*Method)(real, arguments...);
}

// Methods that pass everything on, to be changed by a layer.
sqlite3_io_methods ForwardingMethods();

// What a layer has instead of the real one's; null where there is nothing.
struct VfsLayer {
    const char *name;
    const sqlite3_io_methods *methods; // must stay
    int (*deleteFile)(sqlite3_vfs *, const char *, int) = nullptr;
    void (*opened)(sqlite3_file *) = nullptr; // told of each file that was opened
};

// Makes it the file access of every connection opened from now on in this process; call once, before the first one.
// What the real one is.
sqlite3_vfs *InstallLayer(const VfsLayer &layer);

} // namespace localmapi::storage
