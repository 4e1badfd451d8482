// SQLite packs the file; a commit of our own then marks it, so that logs from before are known not to be its own.
#include "localmapi/storage/Compact.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Functions.h"

namespace localmapi::storage
{

namespace
{

constexpr int kLockTimeoutMs = 30000, kWriteBackTimeoutMs = 3000;
constexpr int kStepsBetweenLooks = 1000;

std::string Megabytes(std::int64_t bytes)
{
    return std::to_string((bytes >> 20) + 1) + " MB";
}

// Ends a statement that runs too long, or is not wanted any more.
class Watchdog
{
  public:
    Watchdog(sqlite3 *handle, std::optional<std::chrono::seconds> longest,
             const std::function<bool(std::chrono::seconds)> &goOn)
        : m_handle(handle), m_longest(longest), m_goOn(goOn)
    {
        sqlite3_progress_handler(m_handle, kStepsBetweenLooks, Look, this);
    }
    ~Watchdog() { sqlite3_progress_handler(m_handle, 0, nullptr, nullptr); }
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;
    bool IsTooLong() const { return m_isTooLong; }
    bool IsStopped() const { return m_isStopped; }

  private:
    static int Look(void *self)
    {
        auto &dog = *static_cast<Watchdog *>(self);
        const auto since = std::chrono::steady_clock::now() - dog.m_begun;
        dog.m_isTooLong = dog.m_longest && since > *dog.m_longest;
        try {
            dog.m_isStopped = dog.m_goOn && !dog.m_goOn(std::chrono::duration_cast<std::chrono::seconds>(since));
        } catch (...) { // what it throws can't pass SQLite
            dog.m_isStopped = true;
        }
        return dog.m_isTooLong || dog.m_isStopped;
    }

    sqlite3 *m_handle;
    const std::optional<std::chrono::seconds> m_longest;
    const std::function<bool(std::chrono::seconds)> &m_goOn;
    const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
    bool m_isTooLong = false, m_isStopped = false;
};

void Pack(Connection &connection, const std::string &path, std::optional<std::chrono::seconds> longest,
          const std::function<bool(std::chrono::seconds)> &goOn)
{
    const Watchdog dog(connection.Handle(), longest, goOn);
    try {
        connection.Execute("VACUUM");
    } catch (const Error &) {
        if (dog.IsStopped())
            throw Error(Fault::Failed, "It was stopped; '" + path + "' is as it was.");
        if (dog.IsTooLong())
            throw Error(Fault::Busy, "To compact '" + path +
                                         "' would keep others from writing for too long, more than " +
                                         std::to_string(longest->count()) + " s; it is as it was.");
        throw;
    }
}

} // namespace

Compacted Compact(const Site &site, std::optional<std::chrono::seconds> longest,
                  const std::function<bool(std::chrono::seconds)> &goOn)
{
    Connection connection(site.Path(), SQLITE_OPEN_READWRITE, kLockTimeoutMs);
    if (connection.HasMoved() || !site.IsInPlace())
        throw Error(Fault::Replaced, "'" + site.Path() + "' was replaced, moved or deleted while it was open.");
    // What sorts and compares is known by name in the file. Temporary files, not memory: as much as the site has.
    RegisterFunctions(connection.Handle());
    connection.Execute("PRAGMA synchronous = FULL; PRAGMA temp_store = FILE; PRAGMA wal_autocheckpoint = 0");
    const std::int64_t page = connection.Integer("PRAGMA page_size");
    const std::int64_t pages = connection.Integer("PRAGMA page_count");
    const std::int64_t used = page * (pages - connection.Integer("PRAGMA freelist_count"));
    Compacted result;
    result.before = page * pages;
    if (const auto room = Reserve::RoomFor(site.Path()); room && *room < static_cast<std::uint64_t>(used))
        throw Error(Fault::Full, "To compact '" + site.Path() + "' takes " + Megabytes(used) +
                                     " of room beside it; there are " + Megabytes(static_cast<std::int64_t>(*room)) +
                                     ".");
    // A copy has another number of its schema than the mark in it says, and what is packed is known by the number
    // before.
    if (connection.Integer("SELECT coalesce(schema_number, 0) <> (SELECT schema_version FROM pragma_schema_version) "
                           "FROM site"))
        Writer(site.GetDatabase()).Commit();
    Pack(connection, site.Path(), longest, goOn);
    try {
        Writer(site.GetDatabase()).Commit();
    } catch (const Error &error) {
        if (error.GetFault() != Fault::Busy)
            throw; // else whoever writes next makes the mark
    }
    sqlite3_busy_timeout(connection.Handle(), kWriteBackTimeoutMs);
    result.isDone = sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                              nullptr) == SQLITE_OK;
    result.after = page * connection.Integer("PRAGMA page_count");
    return result;
}

} // namespace localmapi::storage
