// The index that typed names find people by: what somebody's name, alias and address say from the beginning of each
// word on. A filter over the directory that asks for words or whole texts looks at those people alone who may satisfy
// it, however many there are.
#pragma once
#include "localmapi/storage/FilterSql.h"

namespace localmapi::storage
{

extern const char *const kNameIndexTables;

void IndexNames(Connection &connection, ObjectId person, std::initializer_list<std::string_view> texts);
// One person anew, who may be nobody any more.
void IndexAnew(Connection &connection, ObjectId person);
// Everybody who is in the directory, in a file that had no index.
void IndexEverybody(Connection &connection);

// The sum of the checksums of somebody's rows, as they ought to be.
std::int64_t NamesChecksum(std::initializer_list<std::string_view> texts);

// A SELECT of the ids of all people who may satisfy the filter, and perhaps of some who do not; nothing where the
// filter has to be asked of everybody.
std::optional<SqlText> PeopleFor(const Filter &filter);

} // namespace localmapi::storage
