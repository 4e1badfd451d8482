// The file, its idle connections, and the beginning and end of reading and writing.
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/Functions.h"
#include "localmapi/storage/Guid.h"
#include "localmapi/storage/NewFile.h"
#include "localmapi/storage/OwnLog.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/ReadOnlyFile.h"
#include "localmapi/storage/Rights.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Sizes.h"
#include "localmapi/storage/SqliteVersion.h"
#include "localmapi/storage/Time.h"
#include "localmapi/storage/Upgrade.h"
#include <algorithm>
#include <array>
#include <thread>

namespace localmapi::storage
{

namespace
{

constexpr std::size_t kIdleConnections = 16;

// One that is read in a few milliseconds by who opens the site next.
bool HasShortLog(const Connection &connection)
{
    constexpr std::uint64_t kShort = 2 << 20;
    const std::optional<std::uint64_t> size = connection.LogSize();
    return size && *size <= kShort;
}

// What is deleted is not overwritten: on a full disk there would be no room to. Nor is the log written back there
// unless there is room for all of it.
void MindRoom(Connection &connection)
{
    connection.Execute("PRAGMA secure_delete = OFF");
    connection.KeepLog();
}

// Every connection of a site is set up alike.
void PrepareForUse(Connection &connection)
{
    connection.Execute("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON; PRAGMA cell_size_check = ON;"
                       "PRAGMA temp_store = MEMORY");
    MindRoom(connection);
    connection.ShareMemory();
    RegisterFunctions(connection.Handle());
}

std::string WithoutLinks(const std::string &path)
{
    std::error_code none;
    const auto found = std::filesystem::canonical(PathOf(path), none);
    return none ? path : Utf8Of(found);
}

Error TooNew(const std::string &path, std::int64_t version)
{
    return {Fault::TooNew, "'" + path + "' was written by a newer version of localmapi (its format is " +
                               std::to_string(version) + ", this version knows up to " +
                               std::to_string(kSchemaVersion) + ")."};
}

} // namespace

// Absolute: the host may change its folder.
Database::Database(const std::string &path, const OpenOptions &options)
    : m_path(Utf8Of(std::filesystem::absolute(PathOf(path)))), m_file(WithoutLinks(m_path)), m_options(options),
      m_reserve(m_file)
{
}

std::shared_ptr<Database> Database::Create(const std::string &path, const std::string &server,
                                           const std::string &organization, const OpenOptions &options)
{
    if (server.empty() || organization.empty())
        throw Error(Fault::Invalid, "A site needs the names of a server and of an organization.");
    // Both are parts of distinguished names.
    for (const std::string &name : {server, organization})
        if (name.find_first_of("/=") != name.npos)
            throw Error(Fault::Invalid, "'" + name + "' can't name a server or an organization: it holds '/' or '='.");
    RequireFreeName(path);
    // Under its name there is a whole site or nothing, whenever this ends.
    NewFile unfinished(path);
    {
        Connection connection(unfinished.Path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, options.busyTimeoutMs);
        connection.Execute("PRAGMA page_size = 8192; PRAGMA synchronous = FULL");
        {
            Transaction transaction(connection, Transaction::Kind::Write);
            CreateSchema(connection);
            Statement insert = connection.Prepare(
                "INSERT INTO site (one, server, organization, uid, next_id, change) VALUES (1, ?, ?, ?, 1, 0)");
            const Guid uid = NewGuid();
            insert.Bind(server, organization, uid).Run();
            MarkCommit(connection, 1, 0);
            transaction.Commit();
        }
        connection.Execute("PRAGMA journal_mode = WAL");
    }
    unfinished.PutInPlace();
    return Open(path, options);
}

std::shared_ptr<Database> Database::Open(const std::string &path, const OpenOptions &options)
{
    RequireSoundSqlite(sqlite3_libversion_number());
    std::shared_ptr<Database> database(new Database(path, options));
    database->m_identity = FileIdentity::At(database->m_path);
    RequireOrdinaryFile(path);
    // What is set aside does not make room for a copy of the whole.
    std::optional<NoRoomForCopy> refused;
    EvenOnAFullDisk(*database, [&] {
        try {
            database->Admit();
        } catch (const NoRoomForCopy &error) {
            refused = error;
        }
    });
    if (refused)
        throw NoRoomForCopy(*refused);
    if (options.readOnly)
        database->m_isLow = database->m_reserve.IsShort();
    else
        database->FillReserveUp();
    return database;
}

namespace
{

// By its first bytes, whatever has become of the others. SQLite is not asked: it would play back the log beside it
// first.
bool SaysThatItIsASite(const Connection &connection)
{
    constexpr std::size_t kApplicationIdAt = 68;
    std::array<unsigned char, kApplicationIdAt + 4> header{};
    connection.ReadFile(0, header.data(), header.size());
    std::int64_t application = 0;
    for (std::size_t at = kApplicationIdAt; at < header.size(); ++at)
        application = application << 8 | header[at];
    return application == kApplicationId;
}

} // namespace

void RequireOrdinaryFile(const std::string &path)
{
    std::error_code none;
    const auto type = std::filesystem::status(PathOf(path), none).type();
    if (type == std::filesystem::file_type::not_found)
        throw Error(Fault::NotFound, "'" + path + "' is not there.");
    // To read from a pipe is to wait for its other end.
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::directory)
        throw Error(Fault::NotASite, "'" + path + "' is no ordinary file.");
}

std::int64_t RequireSite(Connection &connection, const std::string &path)
{
    if (!SaysThatItIsASite(connection))
        throw Error(Fault::NotASite, "'" + path + "' is no site of localmapi.");
    RequireOwnLog(connection);
    std::int64_t application = 0, version = 0;
    try {
        application = connection.Integer("PRAGMA application_id");
        version = connection.Integer("PRAGMA user_version");
    } catch (const Error &error) {
        if (error.GetFault() != Fault::Corrupt)
            throw;
    }
    if (application != kApplicationId)
        throw Error(Fault::Corrupt, "'" + path + "' (damaged): it is cut short.");
    if (version > kSchemaVersion)
        throw TooNew(path, version);
    return version;
}

// A copy has none until it is opened. SQLite does not wait here for others who do the same: each may hold what the
// other one wants.
void Database::UseLog(Connection &connection) const
{
    constexpr auto kBetweenTries = std::chrono::milliseconds(5);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_options.busyTimeoutMs);
    for (;; std::this_thread::sleep_for(kBetweenTries))
        try {
            connection.Execute("PRAGMA journal_mode = WAL");
            return;
        } catch (const Error &error) {
            if (error.GetFault() != Fault::Busy || std::chrono::steady_clock::now() >= end)
                throw;
        }
}

void Database::BringUpToDate(std::unique_ptr<Connection> &connection)
{
    MindRoom(*connection);
    try {
        m_former = Upgrade(*connection, m_path, m_options, [&] { WriteBack(*connection); });
    } catch (...) {
        Close(std::move(connection));
        throw;
    }
}

// Looks before it touches anything: a file of another application stays as it is.
void Database::Admit()
{
    auto connection = Open();
    // Before SQLite looks at it, and makes a log beside it that nobody else could write to.
    if (!m_options.readOnly && sqlite3_db_readonly(connection->Handle(), "main") == 1 && SaysThatItIsASite(*connection))
        throw Error(Fault::NoAccess, "'" + m_path + "' can only be read.");
    const std::int64_t version = RequireSite(*connection, m_path);
    if (!m_options.readOnly) {
        UseLog(*connection);
        BringUpToDate(connection);
    } else if (version < kSchemaVersion) {
        throw Error(Fault::NoAccess, "'" + m_path + "' is of an older version and has to be opened for writing once.");
    }
    PrepareForUse(*connection);
    if (connection->Integer("SELECT count(*) FROM site") != 1)
        throw Error(Fault::Corrupt, "'" + m_path + "' (damaged): it does not say what site it is.");
    if (!connection->IsOfMoment())
        ShareRights(m_path); // its log is there since the first reading, and empty
    GiveBack(std::move(connection));
}

// Of the file that was admitted, and no other.
std::unique_ptr<Connection> Database::Open() const
{
    auto connection = m_options.readOnly
                          ? OpenForReading(m_path, m_options.busyTimeoutMs)
                          : std::make_unique<Connection>(m_path, SQLITE_OPEN_READWRITE, m_options.busyTimeoutMs);
    if (connection->HasMoved())
        throw Replaced();
    RequireInPlace();
    return connection;
}

std::unique_ptr<Connection> Database::Connect() const
{
    auto connection = Open();
    PrepareForUse(*connection);
    return connection;
}

std::unique_ptr<Connection> Database::Take()
{
    RequireInPlace();
    {
        const locks::Hold lock(m_lock);
        if (!m_idle.empty()) {
            auto connection = std::move(m_idle.back());
            m_idle.pop_back();
            return connection;
        }
    }
    return Connect();
}

void Database::GiveBack(std::unique_ptr<Connection> connection) noexcept
{
    const locks::Hold lock(m_lock);
    if (m_idle.size() < kIdleConnections && !connection->IsOfMoment() && !connection->IsInTransaction())
        try {
            m_idle.push_back(std::move(connection));
        } catch (const std::bad_alloc &) { // then it is closed instead
        }
    if (connection)
        Close(std::move(connection));
}

// The last one to close a file writes its log back and deletes it, by name. That name may be another file's by now.
void Database::Close(std::unique_ptr<Connection> connection) const noexcept
{
    const bool leavesIt = m_options.leavesShortLog && !m_isLow && HasShortLog(*connection);
    if (!IsInPlace() || leavesIt || !HasRoomToWriteBack(*connection))
        connection->LeaveLog();
}

Database::~Database()
{
    for (auto &connection : m_idle)
        Close(std::move(connection));
}

Error Database::Replaced() const
{
    return {Fault::Replaced, "'" + m_path +
                                 "' was replaced, moved or deleted while it was open. What was written last is "
                                 "in the file that it was. Log on again for the one that is there now."};
}

void Database::RequireInPlace() const
{
    if (!IsInPlace())
        throw Replaced();
}

void Database::RequireWritable() const
{
    if (m_options.readOnly)
        throw Error(Fault::NoAccess, "'" + m_path + "' was opened for reading only.");
}

void Database::RequireKnownVersion(Connection &connection) const
{
    if (const std::int64_t version = connection.Integer("PRAGMA user_version"); version > kSchemaVersion)
        throw TooNew(m_path, version);
}

Reader::Reader(Database &database, Where where) : m_database(database), m_connection(database.Take())
{
    m_transaction.emplace(*m_connection, Transaction::Kind::Read, where);
    database.RequireKnownVersion(*m_connection);
}

Reader::~Reader()
{
    m_transaction.reset();
    m_database.GiveBack(std::move(m_connection));
}

Writer::Writer(Database &database, Share share, References references, Room room, Where where)
    : m_database(database), m_room(room), m_turn(database, database.m_writers, share)
{
    m_turn.Begin(references, where);
    m_connection = &m_turn.GetConnection();
    m_numbers = m_turn.GetNumbers();
    ++m_numbers.change;
    m_now = CurrentTime();
}

void Writer::RequireRoomFor(std::uint64_t bytes)
{
    constexpr std::uint64_t kInMemory = 1 << 20; // until the end, where there is another look
    if (m_room == Room::IsMade || bytes <= kInMemory)
        return;
    const auto free = static_cast<std::uint64_t>(m_connection->Integer("PRAGMA freelist_count") *
                                                 m_connection->Integer("PRAGMA page_size"));
    if (bytes > free) {
        m_database.RequireRoomToGrow(*m_connection, bytes + (bytes - free));
        m_asked = bytes;
    }
}

void Writer::Commit()
{
    const ChangeNumber change = m_numbers.change;
    const std::set<ObjectId> touched = m_facets.Settle(*m_connection, change);
    RequireRoom(*m_connection, m_facets.Growth());
    const bool announce = m_entries.Settle(*m_connection, change, touched);
    if (m_room == Room::IsNeeded)
        if (const std::uint64_t grown = m_turn.Growth(); grown > 0)
            m_database.RequireRoomToGrow(*m_connection, grown - std::min(grown, m_asked));
    m_connection = nullptr;
    m_turn.Commit(m_numbers, announce);
}

} // namespace localmapi::storage
