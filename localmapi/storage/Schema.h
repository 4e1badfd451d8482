// The tables of a site, and the steps from each version of them to the next.
#pragma once
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

constexpr std::int64_t kApplicationId = 0x4C4D4150;
constexpr std::int64_t kSchemaVersion = 6;

// The time column of a message that lacks the property: less than every time.
constexpr std::int64_t kNoTime = INT64_MIN;

void CreateSchema(Connection &connection);
// The last write of every transaction: the numbers that it has used, and its mark.
void MarkCommit(Connection &connection, std::int64_t nextId, ChangeNumber change);
// Brings a file from one version to the next, in the transaction that is open.
void TakeStep(Connection &connection, std::int64_t fromVersion);

} // namespace localmapi::storage
