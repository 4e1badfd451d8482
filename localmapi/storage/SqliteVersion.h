// Which SQLite is fit for a site that several processes use.
#pragma once
#include <string>

namespace localmapi::storage
{

// As SQLite counts: 3.51.3 is 3051003. Versions before lose commits where several processes write one log back, and two
// older lines were mended (https://www.sqlite.org/wal.html#walresetbug). cmake/SqliteVersion.cmake says the same.
constexpr bool IsSoundSqlite(int version)
{
    return version >= 3051003 || (version >= 3050007 && version < 3051000) || (version >= 3044006 && version < 3045000);
}

std::string SqliteVersion(); // of the library in use
// Failed: for a library that is not fit.
void RequireSoundSqlite(int version);

} // namespace localmapi::storage
