// The copy is made without a lock, and taken only when nothing was written since: else it is made again, at last with
// the lock. Each version is a transaction of its own.
#include "localmapi/storage/Upgrade.h"
#include "localmapi/storage/NewFile.h"
#include "localmapi/storage/PageCopy.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Schema.h"

namespace localmapi::storage
{

namespace
{

constexpr int kCopiesWithoutLock = 2;

std::int64_t VersionOf(Connection &connection)
{
    return connection.Integer("PRAGMA user_version");
}

std::string FreeNameFor(const std::string &path, std::int64_t version)
{
    const std::string name = path + ".format-" + std::to_string(version);
    std::error_code none;
    std::string free = name;
    for (int number = 2; std::filesystem::exists(PathOf(free), none); ++number)
        free = name + "-" + std::to_string(number);
    return free;
}

// What the file was, not yet under its name.
class OldCopy
{
  public:
    OldCopy(Connection &connection, const std::string &path, const CopyProgress &progress)
        : m_version(VersionOf(connection)), m_name(FreeNameFor(path, m_version)), m_file(m_name)
    {
        try {
            CopyWhole(connection, m_file.Path(), progress);
            Connection copy(m_file.Path(), SQLITE_OPEN_READONLY, 0);
            m_version = VersionOf(copy);
            m_change = copy.Integer("SELECT change FROM site");
        } catch (const Error &error) {
            if (error.GetFault() != Fault::Full)
                throw;
            throw NoRoomForCopy("There is no room for a copy of '" + path +
                                "', which is kept when a file of an older version is brought to this one: " +
                                error.what() + " 'localmapi upgrade --no-copy' keeps none.");
        }
    }

    bool IsOf(Connection &connection) const
    {
        return VersionOf(connection) == m_version && connection.Integer("SELECT change FROM site") == m_change;
    }
    const std::string &PutInPlace()
    {
        m_file.PutInPlace();
        return m_name;
    }

  private:
    std::int64_t m_version;
    std::int64_t m_change = 0;
    std::string m_name;
    NewFile m_file;
};

// False where it has to be tried again, since somebody else wrote meanwhile.
bool TakeFirstStep(Connection &connection, const std::string &path, const OpenOptions &options, bool withLock,
                   std::string &kept)
{
    std::optional<OldCopy> copy;
    std::optional<Transaction> transaction;
    if (withLock)
        transaction.emplace(connection, Transaction::Kind::Write);
    if (options.keepsOldCopy)
        copy.emplace(connection, path, options.copying);
    if (!withLock)
        transaction.emplace(connection, Transaction::Kind::Write);
    const std::int64_t version = VersionOf(connection);
    if (version >= kSchemaVersion)
        return true; // another process was faster, and has the copy
    if (copy && !copy->IsOf(connection))
        return false;
    TakeStep(connection, version);
    if (copy)
        kept = copy->PutInPlace();
    transaction->Commit();
    return true;
}

} // namespace

std::optional<Site::Former> Upgrade(Connection &connection, const std::string &path, const OpenOptions &options,
                                    const std::function<void()> &afterStep)
{
    const std::int64_t former = VersionOf(connection);
    if (former < 1)
        throw Error(Fault::NotASite, "The file has no version.");
    if (former >= kSchemaVersion)
        return {};
    std::string kept;
    for (int tried = 0; !TakeFirstStep(connection, path, options, tried >= kCopiesWithoutLock, kept); ++tried) {
    }
    afterStep();
    while (VersionOf(connection) < kSchemaVersion) {
        Transaction transaction(connection, Transaction::Kind::Write);
        if (const std::int64_t version = VersionOf(connection); version < kSchemaVersion)
            TakeStep(connection, version);
        transaction.Commit();
        afterStep();
    }
    return Site::Former{former, kept};
}

} // namespace localmapi::storage
