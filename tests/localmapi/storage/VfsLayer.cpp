#include "VfsLayer.h"
#include <new>

namespace localmapi::storage
{

namespace
{

sqlite3_vfs *g_beneath = nullptr;
VfsLayer g_layer{};

int OpenLayered(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *outFlags)
{
    auto *layered = new (file) LayeredFile{};
    layered->real = reinterpret_cast<sqlite3_file *>(layered + 1);
    layered->name = name;
    const int result = g_beneath->xOpen(g_beneath, name, layered->real, flags, outFlags);
    layered->base.pMethods = layered->real->pMethods ? g_layer.methods : nullptr;
    if (result == SQLITE_OK && g_layer.opened)
        g_layer.opened(file);
    return result;
}

} // namespace

sqlite3_io_methods ForwardingMethods()
{
    return {
        3,
        Forward<&sqlite3_io_methods::xClose>,
        Forward<&sqlite3_io_methods::xRead>,
        Forward<&sqlite3_io_methods::xWrite>,
        Forward<&sqlite3_io_methods::xTruncate>,
        Forward<&sqlite3_io_methods::xSync>,
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
}

sqlite3_vfs *InstallLayer(const VfsLayer &layer)
{
    static sqlite3_vfs vfs;
    g_layer = layer;
    g_beneath = sqlite3_vfs_find(nullptr);
    vfs = *g_beneath;
    vfs.zName = layer.name;
    vfs.pNext = nullptr;
    vfs.szOsFile = static_cast<int>(sizeof(LayeredFile)) + g_beneath->szOsFile;
    vfs.xOpen = OpenLayered;
    if (layer.deleteFile)
        vfs.xDelete = layer.deleteFile;
    sqlite3_vfs_register(&vfs, 1);
    return g_beneath;
}

} // namespace localmapi::storage
