// Where a copy stands that takes the place of a site: it goes on from the last commit there.
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/NewFile.h"
#include "localmapi/storage/PageCopy.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Schema.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

constexpr int kBusyTimeoutMs = 30000;

// Where a site stands.
struct Standing {
    Guid uid{};
    std::int64_t nextId = 0, change = 0, stamp = 0, schema = 0, entry = 0;
};

Standing StandingOf(Connection &connection)
{
    Statement row =
        connection.Prepare("SELECT uid, next_id, change, stamp, (SELECT schema_version FROM pragma_schema_version), "
                           "(SELECT max(number) FROM change_entry) FROM site");
    if (!row.Step())
        throw Error(Fault::Corrupt, "The file does not say what site it is.");
    return {row.GetGuid(0), row.Integer(1), row.Integer(2), row.Integer(3), row.Integer(4), row.Integer(5)};
}

// The copy goes on from the site's last commit: the site's log will hold both.
void GoOnFrom(Connection &copy, Connection &present)
{
    Transaction transaction(copy, Transaction::Kind::Write);
    const Standing own = StandingOf(copy), site = StandingOf(present);
    // The numbers of names that were made since are not given to others.
    Statement names = present.Prepare("SELECT id, uid, number, name FROM named_property");
    while (names.Step())
        copy.Prepare("INSERT OR IGNORE INTO named_property (id, uid, number, name) VALUES (?, ?, ?, ?)")
            .Bind(names.Integer(0), names.GetGuid(1),
                  names.IsNull(2) ? std::optional<std::int64_t>() : std::optional(names.Integer(2)),
                  names.IsNull(3) ? std::optional<std::string>() : std::optional(names.Text(3)))
            .Run();
    // Nobody has seen the newest entry: all who watch have missed something.
    copy.Execute("DELETE FROM change_entry");
    copy.Prepare("INSERT INTO change_entry (number, kind, event, container, object) VALUES (?, 3, 4, 0, 0)")
        .Bind(std::max(own.entry, site.entry) + 1)
        .Run();
    copy.Prepare("UPDATE site SET next_id = max(next_id, ?), change = ?, stamp_before = ?, stamp = random(), "
                 "schema_number = ?")
        .Bind(site.nextId, std::max(own.change, site.change) + 1, site.stamp, site.schema)
        .Run();
    transaction.Commit();
}

// At its end the log, which holds all of the copy or what there was room for, is written back and given up, as far as
// others do not need it.
class WrittenBack
{
  public:
    explicit WrittenBack(Connection &connection) : m_connection(connection) {}
    ~WrittenBack()
    {
        sqlite3_busy_timeout(m_connection.Handle(), 1000);
        sqlite3_wal_checkpoint_v2(m_connection.Handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    }
    WrittenBack(const WrittenBack &) = delete;
    WrittenBack &operator=(const WrittenBack &) = delete;

  private:
    Connection &m_connection;
};

void PutBack(Connection &copy, const Site &site, const CopyProgress &progress)
{
    if (site.Info().uid != StandingOf(copy).uid)
        throw Error(Fault::Collision, "It is a copy of another site than '" + site.Path() + "'.");
    Connection target(site.Path(), SQLITE_OPEN_READWRITE, kBusyTimeoutMs);
    const WrittenBack writtenBack(target);
    PageCopy pages(copy, target);
    pages.Step(1);
    // Nobody else writes from here on. SQLite copies again what changes in the copy meanwhile.
    Reader reader(site.GetDatabase());
    GoOnFrom(copy, *reader);
    pages.Run(progress);
}

Site OpenToRestore(const std::string &path)
{
    try {
        return Site::Open(path);
    } catch (const Error &error) {
        const Fault fault = error.GetFault();
        if (fault == Fault::Corrupt || fault == Fault::NotASite || fault == Fault::ForeignLog)
            throw Error(fault, error.what() + std::string(" For a copy to take its place, move its files away first."));
        throw;
    }
}

} // namespace

void Backup(const Site &site, const std::string &file, const CopyProgress &progress)
{
    RequireFreeName(file);
    NewFile copy(file);
    {
        Reader reader(site.GetDatabase());
        reader->Integer("SELECT change FROM site"); // the moment
        CopyWhole(*reader, copy.Path(), progress);
    }
    copy.PutInPlace();
}

void Restore(const std::string &file, const std::string &path, const CopyProgress &progress)
{
    RequireOrdinaryFile(file);
    std::error_code none;
    const bool isNew = !std::filesystem::exists(PathOf(path), none);
    std::optional<Site> site;
    if (isNew)
        RequireFreeName(path);
    else
        site = OpenToRestore(path);
    NewFile prepared(path);
    {
        Connection copy(file, SQLITE_OPEN_READONLY, kBusyTimeoutMs);
        RequireSite(copy, file);
        CopyWhole(copy, prepared.Path(), progress);
    }
    {
        const Site upgraded = Site::Open(prepared.Path(), {.keepsOldCopy = false});
    }
    if (isNew) {
        prepared.PutInPlace();
        return;
    }
    Connection copy(prepared.Path(), SQLITE_OPEN_READWRITE, 0);
    PutBack(copy, *site, progress);
    if (!site->IsInPlace())
        throw Error(Fault::Replaced, "'" + path + "' was replaced, moved or deleted meanwhile.");
    ChangeSignal::Announce(path);
}

} // namespace localmapi::storage
