#include "localmapi/storage/SqliteVersion.h"
#include "localmapi/storage/Error.h"
#include <sqlite3.h>

namespace localmapi::storage
{

std::string SqliteVersion()
{
    return sqlite3_libversion();
}

void RequireSoundSqlite(int version)
{
    if (!IsSoundSqlite(version))
        throw Error(Fault::Failed, "SQLite " + std::to_string(version / 1000000) + "." +
                                       std::to_string(version / 1000 % 1000) + "." + std::to_string(version % 1000) +
                                       ", which this program finds on the system, loses what several processes write "
                                       "to one file: it takes 3.51.3, 3.50.7 or 3.44.6.");
}

} // namespace localmapi::storage
