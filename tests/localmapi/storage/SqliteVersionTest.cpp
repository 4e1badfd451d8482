// Proves which versions of SQLite are taken, and that the one that is linked in is one of them.
#include "localmapi/storage/SqliteVersion.h"
#include "Fixture.h"
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

TEST(SqliteVersionTest, VersionsThatLoseWhatSeveralProcessesWriteAreRefused)
{
    for (const int version : {3007000, 3040001, 3044005, 3045000, 3050006, 3051000, 3051002}) {
        EXPECT_FALSE(IsSoundSqlite(version)) << version;
        EXPECT_EQ(FaultOf([&] { RequireSoundSqlite(version); }), Fault::Failed) << version;
    }
    for (const int version : {3044006, 3044099, 3050007, 3051003, 3054001, 4000000})
        EXPECT_EQ(FaultOf([&] { RequireSoundSqlite(version); }), std::nullopt) << version;
}

TEST(SqliteVersionTest, TheOneInUseIsTheOneThatWasBuiltAgainst)
{
    EXPECT_TRUE(IsSoundSqlite(sqlite3_libversion_number()));
    EXPECT_EQ(SqliteVersion(), SQLITE_VERSION);
}

} // namespace

} // namespace localmapi::storage
