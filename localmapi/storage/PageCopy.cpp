#include "localmapi/storage/PageCopy.h"

namespace localmapi::storage
{

namespace
{
constexpr int kPagesAStep = 1000;
}

PageCopy::PageCopy(Connection &from, Connection &to)
    : m_to(to), m_backup(sqlite3_backup_init(to.Handle(), "main", from.Handle(), "main"))
{
    if (!m_backup)
        to.Fail(sqlite3_errcode(to.Handle()));
}

PageCopy::~PageCopy()
{
    sqlite3_backup_finish(m_backup);
}

bool PageCopy::Step(int pages)
{
    const int result = sqlite3_backup_step(m_backup, pages);
    if (result != SQLITE_OK && result != SQLITE_DONE)
        m_to.Fail(result);
    return result == SQLITE_OK;
}

void PageCopy::Run(const CopyProgress &progress)
{
    while (Step(kPagesAStep))
        if (progress) {
            const auto total = static_cast<std::uint64_t>(sqlite3_backup_pagecount(m_backup));
            progress(total - static_cast<std::uint64_t>(sqlite3_backup_remaining(m_backup)), total);
        }
}

void CopyWhole(Connection &from, const std::string &to, const CopyProgress &progress)
{
    Connection target(to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0);
    PageCopy(from, target).Run(progress);
    // A file without a log can be read where nothing can be written.
    target.Execute("PRAGMA journal_mode = DELETE");
}

} // namespace localmapi::storage
