// A database, page by page, onto another one.
#pragma once
#include "localmapi/storage/Site.h"
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

// One connection's database onto another's. The target is locked for writing from the first step on, and as it was
// where it does not come to the last. SQLite copies again what others write to the source meanwhile.
class PageCopy
{
  public:
    PageCopy(Connection &from, Connection &to);
    ~PageCopy();
    PageCopy(const PageCopy &) = delete;
    PageCopy &operator=(const PageCopy &) = delete;

    bool Step(int pages); // false when all is copied, and written
    void Run(const CopyProgress &progress);

  private:
    Connection &m_to;
    sqlite3_backup *m_backup;
};

// Into a file that is there and empty.
void CopyWhole(Connection &from, const std::string &to, const CopyProgress &progress);

} // namespace localmapi::storage
