// SQLite behind owners: its results become exceptions with the place of the call in them.
#include "localmapi/storage/Sqlite.h"
#include "localmapi/storage/FileSystem.h"
#include <new>
#include <system_error>
#include <utility>

namespace localmapi::storage
{

namespace
{

constexpr std::size_t kIdleStatements = 500;

Fault FaultOf(int extended, int systemError)
{
    if (extended == SQLITE_CONSTRAINT_FOREIGNKEY)
        return Fault::NotFound;
    switch (extended & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return Fault::Busy;
    case SQLITE_FULL:
        return Fault::Full;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return Fault::Corrupt;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return Fault::NoAccess;
    case SQLITE_CANTOPEN:
        return IsNoRoom(systemError) ? Fault::Full : IsDeviceError(systemError) ? Fault::Disk : Fault::NoAccess;
    case SQLITE_TOOBIG:
        return Fault::TooBig;
    case SQLITE_CONSTRAINT:
        return Fault::Collision;
    case SQLITE_IOERR:
        if (extended == SQLITE_IOERR_CORRUPTFS)
            return Fault::Corrupt;
        // All that is written of the shared memory is one byte of each of its pages, to have room for them.
        if (extended == SQLITE_IOERR_SHMSIZE && !IsDeviceError(systemError))
            return Fault::Full;
        return IsNoRoom(systemError) ? Fault::Full : Fault::Disk;
    default:
        return Fault::Failed;
    }
}

// What the system said last of a file of the connection; 0: nothing.
int LastErrorOf(sqlite3 *handle, int whichFile)
{
    sqlite3_file *file = nullptr;
    int error = 0;
    if (sqlite3_file_control(handle, "main", whichFile, &file) == SQLITE_OK && file && file->pMethods)
        file->pMethods->xFileControl(file, SQLITE_FCNTL_LAST_ERRNO, &error);
    return error;
}

// What the system said of the call that failed. The thread's own error may be another call's by now; each file keeps
// what became of its own.
int SystemErrorOf(sqlite3 *handle)
{
    const int error = sqlite3_system_errno(handle);
    if (IsNoRoom(error) || IsDeviceError(error))
        return error;
    for (const int which : {SQLITE_FCNTL_JOURNAL_POINTER, SQLITE_FCNTL_FILE_POINTER})
        if (const int own = LastErrorOf(handle, which); IsNoRoom(own) || IsDeviceError(own))
            return own;
    return error;
}

} // namespace

Statement::Statement(Statement &&other) noexcept
    : m_connection(other.m_connection), m_statement(std::exchange(other.m_statement, nullptr))
{
}

Statement::~Statement()
{
    if (m_statement)
        m_connection->GiveBack(m_statement);
}

void Statement::Check(int result) const
{
    if (result != SQLITE_OK)
        m_connection->Fail(result);
}

void Statement::BindAt(int at, std::int64_t value)
{
    Check(sqlite3_bind_int64(m_statement, at, value));
}

void Statement::BindAt(int at, double value)
{
    Check(sqlite3_bind_double(m_statement, at, value));
}

void Statement::BindAt(int at, std::string_view text)
{
    Check(
        sqlite3_bind_text64(m_statement, at, text.data() ? text.data() : "", text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::BindAt(int at, const void *bytes, std::size_t size)
{
    Check(size ? sqlite3_bind_blob64(m_statement, at, bytes, size, SQLITE_STATIC)
               : sqlite3_bind_zeroblob(m_statement, at, 0));
}

void Statement::BindAt(int at, std::nullptr_t)
{
    Check(sqlite3_bind_null(m_statement, at));
}

bool Statement::Step()
{
    int result = sqlite3_step(m_statement);
    if (result == SQLITE_ROW)
        return true;
    if (result == SQLITE_DONE)
        return false;
    m_connection->Fail(result);
}

void Statement::Run()
{
    while (Step()) {
    }
    Rewind();
}

void Statement::Rewind()
{
    sqlite3_reset(m_statement);
}

std::string Statement::Text(int column) const
{
    auto data = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return data ? std::string(data, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)))
                : std::string();
}

Bytes Statement::GetBytes(int column) const
{
    auto data = static_cast<const std::uint8_t *>(sqlite3_column_blob(m_statement, column));
    return data ? Bytes(data, data + sqlite3_column_bytes(m_statement, column)) : Bytes();
}

Guid Statement::GetGuid(int column) const
{
    Bytes held = GetBytes(column);
    Guid guid{};
    if (held.size() != guid.size())
        throw Error(Fault::Corrupt, "A 16-byte identifier in the file has another length.");
    std::copy(held.begin(), held.end(), guid.begin());
    return guid;
}

namespace
{

// The name as SQLite takes one with parameters.
std::string UriOf(const std::string &path, const char *parameters)
{
    std::string uri = "file:";
    for (const char one : path) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(one);
        if (byte > 0x20 && byte < 0x7F && one != '%' && one != '?' && one != '#')
            uri += one;
        else
            uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return uri + parameters;
}

} // namespace

Connection::Connection(const std::string &path, int flags, int busyTimeoutMs)
    : m_path(path), m_busyTimeout(busyTimeoutMs)
{
    Open(path, flags);
}

Connection::Connection(const std::string &path, Special special, int busyTimeoutMs)
    : m_path(path), m_isOfMoment(special == Special::OfMoment), m_busyTimeout(busyTimeoutMs)
{
    Open(UriOf(path, m_isOfMoment ? "?immutable=1" : "?readonly_shm=1"), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

void Connection::Open(const std::string &name, int flags)
{
    int result = sqlite3_open_v2(name.c_str(), &m_handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK) {
        std::string text = m_handle ? sqlite3_errmsg(m_handle) : "out of memory";
        Fault fault =
            FaultOf(m_handle ? sqlite3_extended_errcode(m_handle) : result, m_handle ? SystemErrorOf(m_handle) : 0);
        sqlite3_close(m_handle);
        throw Error(fault, "'" + m_path + "' can't be opened: " + text + ".");
    }
    sqlite3_extended_result_codes(m_handle, 1);
    sqlite3_busy_handler(m_handle, WaitForOthers, this);
}

// Looks again at short, even intervals. SQLite's own ones grow, and who waits longest would have the least chance.
int Connection::WaitForOthers(void *connection, int tries)
{
    constexpr int kIntervalMs = 2;
    auto &self = *static_cast<Connection *>(connection);
    const auto now = std::chrono::steady_clock::now();
    if (tries == 0 || now - self.m_busyLooked > std::chrono::seconds(1)) // it does not always count anew
        self.m_busySince = now;
    self.m_busyLooked = now;
    if (now - self.m_busySince >= self.m_busyTimeout)
        return 0;
    sqlite3_sleep(kIntervalMs);
    return 1;
}

Connection::~Connection()
{
    ForgetStatements();
    sqlite3_close(m_handle);
}

void Connection::ShareMemory()
{
    m_cache.emplace();
    Execute("PRAGMA cache_size = -" + std::to_string(m_cache->KiB()));
}

bool Connection::HasMoved() const
{
    int moved = 0;
    return sqlite3_file_control(m_handle, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved;
}

bool Connection::ReadFile(std::int64_t at, void *bytes, std::size_t size) const
{
    sqlite3_file *file = nullptr;
    if (sqlite3_file_control(m_handle, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file ||
        !file->pMethods)
        return false;
    const int result = file->pMethods->xRead(file, bytes, static_cast<int>(size), at);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ)
        Fail(result);
    return result == SQLITE_OK;
}

void Connection::CheckReferences(bool check) const noexcept
{
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_ENABLE_FKEY, check ? 1 : 0, nullptr);
}

void Connection::Fail(int result) const
{
    int extended = sqlite3_extended_errcode(m_handle);
    const bool isLast = (extended & 0xFF) == (result & 0xFF);
    if (!isLast)
        extended = result;
    const int system = SystemErrorOf(m_handle);
    const Fault fault = FaultOf(extended, system);
    const bool isMemory = result == SQLITE_NOMEM || extended == SQLITE_IOERR_NOMEM;
    if (m_begun && sqlite3_get_autocommit(m_handle)) {
        m_endedBy = isMemory ? SQLITE_NOMEM : result;
        m_endedByFault = fault;
    }
    if (isMemory)
        throw std::bad_alloc();
    if (fault == Fault::Full)
        m_metFullDisk = true;
    std::string text = m_path.empty() ? "A temporary file" : "'" + m_path + "'";
    text +=
        std::string(" (") + FaultName(fault) + "): " + (isLast ? sqlite3_errmsg(m_handle) : sqlite3_errstr(extended));
    if (fault == Fault::Disk && IsDeviceError(system))
        text += " (" + std::system_category().message(system) + ")";
    throw Error(fault, text + ".");
}

void Connection::RequireTransaction() const
{
    if (!sqlite3_get_autocommit(m_handle))
        return;
    if (m_endedBy == SQLITE_NOMEM)
        throw std::bad_alloc();
    throw Error(m_endedByFault, "'" + m_path + "' (" + FaultName(m_endedByFault) +
                                    "): another change that was to be written with this one failed: " +
                                    sqlite3_errstr(m_endedBy) + ".");
}

Statement Connection::Prepare(std::string_view sql)
{
    if (auto found = m_idle.find(sql); found != m_idle.end()) {
        Statement statement(*this, found->second);
        m_idle.erase(found);
        ++m_borrowed;
        return statement;
    }
    sqlite3_stmt *prepared = nullptr;
    int result = sqlite3_prepare_v3(m_handle, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                    &prepared, nullptr);
    if (result != SQLITE_OK)
        Fail(result);
    ++m_borrowed;
    return Statement(*this, prepared);
}

void Connection::GiveBack(sqlite3_stmt *statement) noexcept
{
    --m_borrowed;
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    try {
        if (m_idle.size() >= kIdleStatements)
            ForgetStatements();
        m_idle.emplace(sqlite3_sql(statement), statement);
    } catch (const std::bad_alloc &) {
        sqlite3_finalize(statement);
    }
}

void Connection::ForgetStatements() noexcept
{
    for (auto &[sql, statement] : m_idle)
        sqlite3_finalize(statement);
    m_idle.clear();
}

void Connection::Execute(const std::string &sql)
{
    int result = sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK)
        Fail(result);
}

std::int64_t Connection::Integer(std::string_view sql)
{
    Statement statement = Prepare(sql);
    return statement.Step() ? statement.Integer(0) : 0;
}

Transaction::Transaction(Connection &connection, Kind kind, Where where) : m_connection(connection), m_where(where)
{
    if (connection.m_begun)
        throw Error(Fault::Failed, std::string("A transaction begun in ") + connection.m_begun->FunctionName() +
                                       " is still open in " + where.FunctionName() + ".");
    connection.Prepare(kind == Kind::Read ? "BEGIN" : "BEGIN IMMEDIATE").Run();
    connection.m_begun = &m_where;
}

Transaction::~Transaction()
{
    m_connection.m_begun = nullptr;
    // An error may have ended the transaction already; SQLite is then back in its automatic mode.
    if (!m_open || sqlite3_get_autocommit(m_connection.m_handle))
        return;
    try {
        m_connection.Prepare("ROLLBACK").Run(); // every reading ends so: not parsed each time
    } catch (...) {
        sqlite3_exec(m_connection.m_handle, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::Commit()
{
    m_connection.Prepare("COMMIT").Run();
    m_open = false;
}

} // namespace localmapi::storage
