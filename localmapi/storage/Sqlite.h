// Owners over SQLite: a connection with its cache of prepared statements, a statement, a transaction. A connection is
// used by one thread at a time.
#pragma once
#include "localmapi/storage/Error.h"
#include "localmapi/storage/Value.h"
#include <optional>
#include <sqlite3.h>
#include <string_view>
#include <unordered_map>

namespace localmapi::storage
{

// The function and line in which something was begun: a default argument `Where where = Where::here()`.
class Where
{
  public:
    static constexpr Where here(const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
    {
        return {function, line};
    }
    constexpr const char *function_name() const { return m_function; }
    constexpr int line() const { return m_line; }

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
    template <class... Arguments> Statement &bind(const Arguments &...arguments)
    {
        int at = 0;
        (bindAt(++at, arguments), ...);
        return *this;
    }
    void bindAt(int at, std::int64_t value);
    void bindAt(int at, std::int32_t value) { bindAt(at, std::int64_t{value}); }
    void bindAt(int at, Tag value) { bindAt(at, std::int64_t{value}); }
    void bindAt(int at, bool value) { bindAt(at, std::int64_t{value}); }
    void bindAt(int at, double value);
    void bindAt(int at, std::string_view text);
    void bindAt(int at, const std::string &text) { bindAt(at, std::string_view(text)); }
    void bindAt(int at, const char *text) { bindAt(at, std::string_view(text)); }
    void bindAt(int at, const void *bytes, std::size_t size);
    void bindAt(int at, const Bytes &bytes) { bindAt(at, bytes.data(), bytes.size()); }
    void bindAt(int at, const Guid &guid) { bindAt(at, guid.data(), guid.size()); }
    void bindAt(int at, std::nullptr_t);
    template <class T> void bindAt(int at, const std::optional<T> &value)
    {
        if (value)
            bindAt(at, *value);
        else
            bindAt(at, nullptr);
    }

    bool step(); // true: there is a row
    void run();  // steps to the end and makes the statement ready for the next run
    void rewind();

    bool isNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    std::int64_t integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::int32_t integer32(int column) const { return static_cast<std::int32_t>(integer(column)); }
    double real(int column) const { return sqlite3_column_double(m_statement, column); }
    std::string text(int column) const;
    Bytes bytes(int column) const;
    Guid guid(int column) const;
    sqlite3_stmt *handle() const { return m_statement; }

  private:
    friend class Connection;
    Statement(Connection &connection, sqlite3_stmt *statement) : m_connection(&connection), m_statement(statement) {}
    void check(int result) const;

    Connection *m_connection;
    sqlite3_stmt *m_statement;
};

class Connection
{
  public:
    // flags: SQLITE_OPEN_...; an empty path is a private temporary file.
    Connection(const std::string &path, int flags, int busyTimeoutMs);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    Statement prepare(std::string_view sql);
    void execute(const std::string &sql);       // any number of statements, no results
    std::int64_t integer(std::string_view sql); // the first column of the first row; 0 when there is none
    int changes() const { return sqlite3_changes(m_handle); }
    sqlite3 *handle() const { return m_handle; }
    [[noreturn]] void fail(int result) const; // throws what SQLite says of the last call

  private:
    friend class Statement;
    friend class Transaction;
    void giveBack(sqlite3_stmt *statement) noexcept;
    void forgetStatements() noexcept;

    std::string m_path;
    sqlite3 *m_handle = nullptr;
    std::unordered_multimap<std::string_view, sqlite3_stmt *> m_idle; // keyed by the statement's own text
    const Where *m_begun = nullptr;
};

// A transaction: rolled back when it goes, unless it was committed.
class Transaction
{
  public:
    enum class Kind { Read, Write };
    Transaction(Connection &connection, Kind kind, Where where = Where::here());
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    void commit();

  private:
    Connection &m_connection;
    Where m_where;
    bool m_open = true;
};

} // namespace localmapi::storage
