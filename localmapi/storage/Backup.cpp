// Copies page by page, and where a copy stands that takes the place of a site: it goes on from the last commit there.
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/NewFile.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Schema.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

constexpr int kPagesAStep = 1000;
constexpr int kBusyTimeoutMs = 30000;

// One connection's database page by page onto another's. The target is locked for writing from the first step on, and
// as it was where it does not come to the last.
class PageCopy
{
  public:
    PageCopy(Connection &from, Connection &to)
        : m_to(to), m_backup(sqlite3_backup_init(to.Handle(), "main", from.Handle(), "main"))
    {
        if (!m_backup)
            to.Fail(sqlite3_errcode(to.Handle()));
    }
    ~PageCopy() { sqlite3_backup_finish(m_backup); }
    PageCopy(const PageCopy &) = delete;
    PageCopy &operator=(const PageCopy &) = delete;

    // False when all is copied, and written.
    bool Step(int pages)
    {
        const int result = sqlite3_backup_step(m_backup, pages);
        if (result != SQLITE_OK && result != SQLITE_DONE)
            m_to.Fail(result);
        return result == SQLITE_OK;
    }
    void Run(const CopyProgress &progress)
    {
        while (Step(kPagesAStep))
            if (progress) {
                const auto total = static_cast<std::uint64_t>(sqlite3_backup_pagecount(m_backup));
                progress(total - static_cast<std::uint64_t>(sqlite3_backup_remaining(m_backup)), total);
            }
    }

  private:
    Connection &m_to;
    sqlite3_backup *m_backup;
};

void CopyWhole(Connection &from, const std::string &to, const CopyProgress &progress)
{
    Connection target(to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0);
    PageCopy(from, target).Run(progress);
}

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
void GoOnFrom(Connection &copy, const Standing &site)
{
    Transaction transaction(copy, Transaction::Kind::Write);
    const Standing own = StandingOf(copy);
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

void PutBack(Connection &copy, const Site &site, const CopyProgress &progress)
{
    if (site.Info().uid != StandingOf(copy).uid)
        throw Error(Fault::Collision, "It is a copy of another site than '" + site.Path() + "'.");
    Connection target(site.Path(), SQLITE_OPEN_READWRITE, kBusyTimeoutMs);
    PageCopy pages(copy, target);
    pages.Step(1);
    // Nobody else writes from here on. SQLite copies again what changes in the copy meanwhile.
    Reader reader(site.GetDatabase());
    GoOnFrom(copy, StandingOf(*reader));
    pages.Run(progress);
}

} // namespace

void Backup(const Site &site, const std::string &file, const CopyProgress &progress)
{
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
    NewFile prepared(path);
    {
        Connection copy(file, SQLITE_OPEN_READONLY, kBusyTimeoutMs);
        RequireSite(copy, file);
        CopyWhole(copy, prepared.Path(), progress);
    }
    {
        const Site upgraded = Site::Open(prepared.Path());
    }
    if (!FileIdentity::At(path) || !std::filesystem::exists(PathOf(path))) {
        prepared.PutInPlace();
        return;
    }
    const Site site = Site::Open(path);
    Connection copy(prepared.Path(), SQLITE_OPEN_READWRITE, 0);
    PutBack(copy, site, progress);
    if (!site.IsInPlace())
        throw Error(Fault::Replaced, "'" + path + "' was replaced, moved or deleted meanwhile.");
    ChangeSignal::Announce(path);
}

} // namespace localmapi::storage
