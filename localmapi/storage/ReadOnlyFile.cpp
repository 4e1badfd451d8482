#include "localmapi/storage/ReadOnlyFile.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"

namespace localmapi::storage
{

namespace
{

constexpr int kMostOpenings = 3; // files beside the site come and go with others who have it open

bool IsThere(const std::string &path)
{
    std::error_code none;
    return std::filesystem::exists(PathOf(path), none);
}

bool HasContent(const std::string &path)
{
    std::error_code none;
    const auto size = std::filesystem::file_size(PathOf(path), none);
    return !none && size > 0;
}

} // namespace

std::unique_ptr<Connection> OpenForReading(const std::string &path, int busyTimeoutMs)
{
    if (MayWrite(path)) {
        // Where a process was killed that was about to give a file its log, as a copy has none yet, a journal lies
        // there that only a writer plays back.
        if (HasContent(path + "-journal"))
            Connection(path, SQLITE_OPEN_READWRITE, busyTimeoutMs).Integer("PRAGMA schema_version");
        return std::make_unique<Connection>(path, SQLITE_OPEN_READONLY, busyTimeoutMs);
    }
    for (int tries = 1;; ++tries) {
        const bool hasIndex = IsThere(path + "-shm");
        if (!HasContent(path + "-wal") && !(hasIndex && IsThere(path + "-wal")))
            return std::make_unique<Connection>(path, Connection::Special::OfMoment, busyTimeoutMs);
        if (hasIndex) {
            auto connection = std::make_unique<Connection>(path, Connection::Special::MakesNothing, busyTimeoutMs);
            try {
                connection->Integer("PRAGMA schema_version"); // opens what lies beside the file
                return connection;
            } catch (const Error &error) {
                if (error.GetFault() != Fault::NoAccess || tries == kMostOpenings)
                    throw;
            }
        } else if (tries == kMostOpenings) {
            throw Error(Fault::NoAccess, "'" + path +
                                             "' has a log that only who may write to the site can play back: it has to "
                                             "be opened for writing once.");
        }
    }
}

} // namespace localmapi::storage
