// Values as they lie in the file: numbers, text and bytes as SQLite's own types, lists as bytes; and the functions and
// collations that filters are written with.
#pragma once
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Sqlite.h"
#include <string_view>

namespace localmapi::storage
{

// A value made ready to be bound; holds what has to live until the statement has run. Streams are not encoded here.
class Encoded
{
  public:
    explicit Encoded(const Value &value);
    void bind(Statement &statement, int at) const;

  private:
    const Value &m_value;
    Bytes m_list;
};

// The value in a column under a tag; std::monostate for NULL. Corrupt when it isn't one of the tag's type.
Value decode(const Statement &row, int column, Tag tag);

Bytes encodeList(const Value &list);
Value decodeList(Tag tag, const std::uint8_t *data, std::size_t size);

// The collation that orders the values of a tag, or null where SQLite's own order is right. Lists are to be cast to
// text first.
const char *collationOf(Tag tag);

// Registers on every connection:
//   stream_value(object, tag)                the bytes of a property that lies in a stream (text for text tags)
//   value_size(value, tag, wide)             the bytes of a value, see byteSize and Filter::wide
//   list_relates(value, tag, relation, one)  whether some value of a list relates to `one`
//   content(value, tag, how, pattern)        whether a text, binary or list contains the folded pattern
void registerFunctions(sqlite3 *connection);

// `how` of content().
int contentFlags(const Filter &filter);

// Shared with the evaluation of filters in memory.
bool related(int order, Relation relation);
bool contains(std::string_view value, std::string_view pattern, Filter::Match match);
std::string folded(const Filter &filter, std::string_view text);

} // namespace localmapi::storage
