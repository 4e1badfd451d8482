// A connection's part in the log beside the file.
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

void Connection::KeepLog() noexcept
{
    const auto committed = [](void *self, sqlite3 *, const char *, int pages) {
        static_cast<Connection *>(self)->m_logPages = pages;
        return SQLITE_OK;
    };
    sqlite3_wal_hook(m_handle, committed, this); // in the place of the one that writes it back
}

std::optional<std::uint64_t> Connection::LogBeyondFile() noexcept
{
    sqlite3_file *file = nullptr;
    sqlite3_int64 size = 0;
    if (sqlite3_file_control(m_handle, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file->pMethods ||
        file->pMethods->xFileSize(file, &size) != SQLITE_OK)
        return 0;
    try {
        const std::int64_t length = Integer("PRAGMA page_count") * Integer("PRAGMA page_size");
        return length > size ? static_cast<std::uint64_t>(length - size) : 0;
    } catch (const std::exception &) {
        return {};
    }
}

std::optional<std::uint64_t> Connection::LogSize() const noexcept
{
    try {
        std::error_code none;
        const auto size =
            std::filesystem::file_size(PathOf(sqlite3_filename_wal(sqlite3_db_filename(m_handle, "main"))), none);
        return none ? std::optional<std::uint64_t>() : size;
    } catch (const std::exception &) {
        return {};
    }
}

void Connection::ShortenLog(std::uint64_t longest) noexcept
{
    if (LogSize().value_or(0) <= longest)
        return;
    // Who reads or writes now is not waited for.
    sqlite3_busy_handler(m_handle, nullptr, nullptr);
    sqlite3_wal_checkpoint_v2(m_handle, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    sqlite3_busy_handler(m_handle, WaitForOthers, this);
}

void Connection::LeaveLog() const noexcept
{
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

} // namespace localmapi::storage
