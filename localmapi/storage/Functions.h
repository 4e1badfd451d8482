// The functions and collations that filters and orders are written with in SQL.
#pragma once
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

// The collation that orders the values of a tag, or null where SQLite's own order is right. Lists are to be cast to
// text first.
const char *CollationOf(Tag tag);

// Registers on every connection:
//   stream_value(object, tag)                the bytes of a property that lies in a stream (text for text tags)
//   value_size(value, tag, wide)             the bytes of a value, see ByteSize and Filter::wide
//   list_relates(value, tag, relation, one)  whether some value of a list relates to `one`
//   checksum_of(data)                         the checksum that a chunk of these bytes has
//   names_checksum(name, alias, address)     what a person's rows of the name index come to, see NamesChecksum
//   content(value, tag, how, pattern)        whether a text, binary or list contains the folded pattern
void RegisterFunctions(sqlite3 *connection);

// value_size() of a value that is not NULL; Corrupt where a list is none.
std::uint64_t StoredSize(sqlite3_value *value, Tag tag, bool wide = false);

// `how` of content().
int ContentFlags(const Filter &filter);

} // namespace localmapi::storage
