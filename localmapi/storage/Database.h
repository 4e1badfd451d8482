// The open file behind a Site: its connections, and the two ways to work with them.
#pragma once
#include "localmapi/storage/CountCache.h"
#include "localmapi/storage/EntryWriter.h"
#include "localmapi/storage/Facets.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Reserve.h"
#include "localmapi/storage/Site.h"
#include "localmapi/storage/Sqlite.h"
#include "localmapi/storage/WriteTurn.h"
#include <atomic>

namespace localmapi::storage
{

// NotFound; NotASite for what is no file, a folder excepted, which is no access.
void RequireOrdinaryFile(const std::string &path);

// The version of a site's file, before anything else is read through the connection: NotASite, TooNew, ForeignLog.
std::int64_t RequireSite(Connection &connection, const std::string &path);

class Database
{
  public:
    static std::shared_ptr<Database> Create(const std::string &path, const std::string &server,
                                            const std::string &organization, const OpenOptions &options);
    static std::shared_ptr<Database> Open(const std::string &path, const OpenOptions &options);

    const std::string &Path() const { return m_path; }
    const std::optional<Site::Former> &UpgradedFrom() const { return m_former; }
    CountCache &Counts() { return m_counts; }
    void RequireWritable() const; // NoAccess
    WriteQueue &Writers() { return m_writers; }
    // TooNew: another program may have brought the file to a newer version since it was opened.
    void RequireKnownVersion(Connection &connection) const;
    // How often room was made, when what is tried now began, how often it was for this, and how often others made it.
    struct Tried {
        std::uint64_t made = 0;
        int times = 0;
        int byOthers = 0;
    };
    Tried Try() const noexcept { return {m_roomMade}; }
    // For what is to be tried again after the disk was full: the log is written back, so that its room is used again,
    // and then the reserve is given up, little of it first; one thread does it for all that wait. False: there is
    // nothing more to be had, or it never is enough.
    bool MakeRoom(Tried &tried) noexcept;
    // Full: the file could not take so many bytes and all that the log has for it, and the log them before that, or
    // only with what is set aside.
    void RequireRoomToGrow(Connection &connection, std::uint64_t bytes);
    // Whether the path still names the file that was opened.
    bool IsInPlace() const noexcept { return FileIdentity::At(m_path) == m_identity; }
    const Reserve &GetReserve() const { return m_reserve; }

    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

  private:
    friend class Reader;
    friend class WriteTurn;
    friend class Writer;
    Database(const std::string &path, const OpenOptions &options);
    Error Replaced() const;
    void RequireInPlace() const; // Replaced
    std::unique_ptr<Connection> Open() const;
    std::unique_ptr<Connection> Connect() const;
    std::unique_ptr<Connection> Take();
    void GiveBack(std::unique_ptr<Connection> connection) noexcept;
    void Close(std::unique_ptr<Connection> connection) const noexcept;
    void Admit();
    void BringUpToDate(std::unique_ptr<Connection> &connection);
    void UseLog(Connection &connection) const;
    bool MakeRoomOnce(int times) noexcept REQUIRES(m_roomLock);
    std::unique_ptr<Connection> TakeToMakeRoom() noexcept;
    void FillReserveUp() noexcept;
    void AfterFullDisk(Connection &connection) noexcept;
    bool HasRoomToWriteBack(Connection &connection) const noexcept;
    std::optional<int> WriteBack(Connection &connection) const noexcept;
    void AfterCommit(Connection &connection) noexcept;

    std::string m_path, m_file; // as it was named, and without links
    OpenOptions m_options;
    std::optional<Site::Former> m_former;
    std::optional<FileIdentity> m_identity;
    locks::Mutex m_lock;
    std::vector<std::unique_ptr<Connection>> m_idle GUARDED_BY(m_lock);
    CountCache m_counts;
    WriteQueue m_writers; // of this process; SQLite sees to the others
    Reserve m_reserve;
    locks::Mutex m_roomLock;
    std::atomic<std::uint64_t> m_roomMade{0};
    std::atomic<bool> m_isLow{false}; // the disk has no room for all of the reserve, as far as this process knows
    std::atomic<std::int64_t> m_lookNext{0}, m_fillUpNext{0};
};

// What frees room, and what a logon writes, is done on a full disk too.
template <class Work> auto EvenOnAFullDisk(Database &database, Work work)
{
    for (Database::Tried tried = database.Try();;)
        try {
            return work();
        } catch (const Error &error) {
            if (error.GetFault() != Fault::Full || !database.MakeRoom(tried))
                throw;
        }
}

// A connection on which everything is seen as of one moment.
class Reader
{
  public:
    explicit Reader(Database &database, Where where = Where::Here());
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;
    Connection *operator->() const { return m_connection.get(); }
    Connection &operator*() const { return *m_connection; }

  private:
    Database &m_database;
    std::unique_ptr<Connection> m_connection;
    std::optional<Transaction> m_transaction;
};

// Whether a writer may use the room that is set aside for a full disk, since it frees some or wants next to none.
enum class Room { IsNeeded, IsMade };

// What a write transaction does, with the numbers it gives out. Nothing of it happened unless Commit() returned, which
// is the last that is done with it.
class Writer
{
  public:
    explicit Writer(Database &database, Share share = Share::WithOthers, References references = References::Checked,
                    Room room = Room::IsNeeded, Where where = Where::Here());
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;
    Connection *operator->() const { return m_connection; }
    Connection &operator*() const { return *m_connection; }

    std::int64_t NewId() { return m_numbers.nextId++; }
    ChangeNumber Change() const { return m_numbers.change; } // of all that it does
    std::int64_t Now() const { return m_now; }               // the moment that its objects are written at
    FacetWriter &Facets() { return m_facets; }
    EntryWriter &Entries() { return m_entries; }
    // Full where there is no room for so many bytes that it is about to write, before they take what there is.
    void RequireRoomFor(std::uint64_t bytes);
    void Commit();

  private:
    Database &m_database;
    const Room m_room;
    std::uint64_t m_asked = 0; // bytes that there was room for
    WriteTurn m_turn;
    Connection *m_connection = nullptr; // while it works
    Numbers m_numbers;
    std::int64_t m_now = 0;
    FacetWriter m_facets;
    EntryWriter m_entries;
};

} // namespace localmapi::storage
