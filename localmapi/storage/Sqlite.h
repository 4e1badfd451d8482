// Owners over SQLite: a connection with its cache of prepared statements, a statement, a transaction. A connection is
// used by one thread at a time.
#pragma once
#include "localmapi/storage/CacheShare.h"
#include "localmapi/storage/Error.h"
#include "localmapi/storage/Value.h"
#include <chrono>
#include <optional>
#include <sqlite3.h>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace localmapi::storage
{

// The function and line in which something was begun: a default argument `Where where = Where::Here()`.
class Where
{
  public:
    static constexpr Where Here(const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
    {
        return {function, line};
    }
    constexpr const char *FunctionName() const { return m_function; }
    constexpr int Line() const { return m_line; }

  private:
    constexpr Where(const char *function, int line) : m_function(function), m_line(line) {}
    const char *m_function;
    int m_line;
};

class Connection;

// A prepared statement, borrowed from its connection's cache and given back reset when it goes.
class Statement
{
  public:
    Statement(Statement &&other) noexcept;
    Statement &operator=(Statement &&) = delete;
    ~Statement();

    // Binds the arguments to the parameters 1, 2, ...; texts and blobs are not copied: they must outlive the steps.
    template <class... Arguments> Statement &Bind(const Arguments &...arguments)
    {
        int at = 0;
        (BindAt(++at, arguments), ...);
        return *this;
    }
    void BindAt(int at, std::int64_t value);
    void BindAt(int at, std::int32_t value) { BindAt(at, std::int64_t{value}); }
    void BindAt(int at, Tag value) { BindAt(at, std::int64_t{value}); }
    void BindAt(int at, bool value) { BindAt(at, std::int64_t{value}); }
    void BindAt(int at, double value);
    void BindAt(int at, std::string_view text);
    void BindAt(int at, const std::string &text) { BindAt(at, std::string_view(text)); }
    void BindAt(int at, const char *text) { BindAt(at, std::string_view(text)); }
    void BindAt(int at, const void *bytes, std::size_t size);
    void BindAt(int at, const Bytes &bytes) { BindAt(at, bytes.data(), bytes.size()); }
    void BindAt(int at, const Guid &guid) { BindAt(at, guid.data(), guid.size()); }
    void BindAt(int at, std::nullptr_t);
    template <class T> void BindAt(int at, const std::optional<T> &value)
    {
        if (value)
            BindAt(at, *value);
        else
            BindAt(at, nullptr);
    }

    bool Step(); // true: there is a row
    void Run();  // steps to the end and makes the statement ready for the next run
    void Rewind();

    bool IsNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    std::int64_t Integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::int32_t Integer32(int column) const { return static_cast<std::int32_t>(Integer(column)); }
    double Real(int column) const { return sqlite3_column_double(m_statement, column); }
    std::string Text(int column) const;
    Bytes GetBytes(int column) const;
    Guid GetGuid(int column) const;
    sqlite3_stmt *Handle() const { return m_statement; }

  private:
    friend class Connection;
    Statement(Connection &connection, sqlite3_stmt *statement) : m_connection(&connection), m_statement(statement) {}
    void Check(int result) const;

    Connection *m_connection;
    sqlite3_stmt *m_statement;
};

class Connection
{
  public:
    // flags: SQLITE_OPEN_...; an empty path is a private temporary file.
    Connection(const std::string &path, int flags, int busyTimeoutMs);
    // For reading, and nothing is made beside the file.
    enum class Special {
        MakesNothing, // its log and the index of it are there
        OfMoment      // the file as it lies there, without a log, by nobody else's leave
    };
    Connection(const std::string &path, Special special, int busyTimeoutMs);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    Statement Prepare(std::string_view sql);
    void Execute(const std::string &sql);       // any number of statements, no results
    std::int64_t Integer(std::string_view sql); // the first column of the first row; 0 when there is none
    int ChangedRows() const { return sqlite3_changes(m_handle); }
    sqlite3 *Handle() const { return m_handle; }
    // It hears nothing of changes: to be used for what is read at once, and not again.
    bool IsOfMoment() const { return m_isOfMoment; }
    // Gives its cache a part of the memory that all have.
    void ShareMemory();
    // Whether the path that it was opened by names another file by now, or none. False where the system sees to it.
    bool HasMoved() const;
    // SQLite writes its log back by itself no more.
    void KeepLog() noexcept;
    int LogPages() const { return m_logPages; } // at its last commit, where it keeps its log
    // How many bytes the file would be longer if all that its log has were in it; 0 where the file does not tell how
    // long it is. Nothing: what the log has can't be read.
    std::optional<std::uint64_t> LogBeyondFile() noexcept;
    std::optional<std::uint64_t> LogSize() const noexcept; // of the file that it is; nothing where there is none
    // Gives back the room of a log longer than this, where all of it is in the file and nobody reads from it.
    void ShortenLog(std::uint64_t longest) noexcept;
    // Bytes of the file as it lies there, without its log, past SQLite's own view of it. False where there are fewer;
    // what is lacking is zero. By SQLite's descriptor: another one that is closed would take its locks along.
    bool ReadFile(std::int64_t at, void *bytes, std::size_t size) const;
    void CheckReferences(bool check) const noexcept; // outside of transactions
    // Closing it shall neither write the log back nor delete it.
    void LeaveLog() const noexcept;
    // Also where ending one failed, for lack of memory. Closing the connection ends it.
    bool IsInTransaction() const { return !sqlite3_get_autocommit(m_handle); }
    // Whether somebody has statements of it that are not given back yet.
    bool HasBorrowedStatements() const { return m_borrowed != 0; }
    // SQLite ends a transaction by itself on some errors: throws the one that did, where none is open any more.
    void RequireTransaction() const;
    [[noreturn]] void Fail(int result) const; // throws what SQLite says of the last call
    // Whether the disk was full for it since this was asked last.
    bool TakeFullDisk() noexcept { return std::exchange(m_metFullDisk, false); }
    void MetFullDisk() noexcept { m_metFullDisk = true; }

  private:
    friend class Statement;
    friend class Transaction;
    void GiveBack(sqlite3_stmt *statement) noexcept;
    void ForgetStatements() noexcept;

    void Open(const std::string &name, int flags);

    std::string m_path;
    bool m_isOfMoment = false;
    std::optional<CacheShare> m_cache;
    sqlite3 *m_handle = nullptr;
    std::unordered_multimap<std::string_view, sqlite3_stmt *> m_idle; // keyed by the statement's own text
    int m_borrowed = 0;
    const Where *m_begun = nullptr;
    static int WaitForOthers(void *connection, int tries);
    std::chrono::milliseconds m_busyTimeout;
    std::chrono::steady_clock::time_point m_busySince, m_busyLooked;
    // What ended the last transaction that SQLite ended.
    mutable int m_endedBy = SQLITE_OK;
    mutable Fault m_endedByFault = Fault::Failed;
    mutable bool m_metFullDisk = false;
    int m_logPages = 0;
};

// A transaction: rolled back when it goes, unless it was committed.
class Transaction
{
  public:
    enum class Kind { Read, Write };
    Transaction(Connection &connection, Kind kind, Where where = Where::Here());
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    void Commit();

  private:
    Connection &m_connection;
    Where m_where;
    bool m_open = true;
};

} // namespace localmapi::storage
