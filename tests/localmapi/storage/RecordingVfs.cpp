#include "RecordingVfs.h"
#include "VfsLayer.h"
#include <mutex>
#include <optional>
#include <string_view>

namespace localmapi::storage
{

namespace
{

sqlite3_vfs *g_recorded = nullptr;
std::mutex g_recording; // guards the two below
std::string g_site;
std::vector<DiskCall> g_written;

std::optional<Part> PartOf(const char *name)
{
    if (!name || g_site.empty() || !std::string_view(name).starts_with(g_site))
        return {};
    const std::string_view rest = std::string_view(name).substr(g_site.size());
    if (rest.empty())
        return Part::Site;
    return rest == "-wal" ? std::optional(Part::Log) : std::nullopt;
}

void Record(const char *name, DiskCall::Kind kind, std::int64_t at = 0, std::vector<char> bytes = {})
{
    const std::lock_guard lock(g_recording);
    if (const auto part = PartOf(name))
        g_written.push_back({kind, *part, at, std::move(bytes)});
}

int Write(sqlite3_file *file, const void *bytes, int size, sqlite3_int64 at)
{
    const auto *first = static_cast<const char *>(bytes);
    Record(Layered(file)->name, DiskCall::Kind::Write, at, {first, first + size});
    return Forward<&sqlite3_io_methods::xWrite>(file, bytes, size, at);
}

int Truncate(sqlite3_file *file, sqlite3_int64 size)
{
    Record(Layered(file)->name, DiskCall::Kind::Truncate, size);
    return Forward<&sqlite3_io_methods::xTruncate>(file, size);
}

int Sync(sqlite3_file *file, int)
{
    Record(Layered(file)->name, DiskCall::Kind::Sync);
    return SQLITE_OK;
}

int Delete(sqlite3_vfs *, const char *name, int sync)
{
    Record(name, DiskCall::Kind::Delete);
    return g_recorded->xDelete(g_recorded, name, sync);
}

} // namespace

void InstallRecordingVfs()
{
    static const sqlite3_io_methods kMethods = [] {
        sqlite3_io_methods methods = ForwardingMethods();
        methods.xWrite = Write;
        methods.xTruncate = Truncate;
        methods.xSync = Sync;
        return methods;
    }();
    g_recorded = InstallLayer({"recording", &kMethods, Delete});
}

void BeginRecording(const std::string &sitePath)
{
    const std::lock_guard lock(g_recording);
    g_site = sitePath;
    g_written.clear();
}

std::vector<DiskCall> EndRecording()
{
    const std::lock_guard lock(g_recording);
    g_site.clear();
    return std::move(g_written);
}

std::size_t RecordedSoFar()
{
    const std::lock_guard lock(g_recording);
    return g_written.size();
}

} // namespace localmapi::storage
