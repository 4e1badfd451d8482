// Values as they lie in the file: numbers, text and bytes as SQLite's own types, lists as bytes.
#pragma once
#include "localmapi/storage/Sqlite.h"
#include "localmapi/storage/Value.h"

namespace localmapi::storage
{

// A value made ready to be bound; holds what has to live until the statement has run. Streams are not encoded here.
class Encoded
{
  public:
    explicit Encoded(const Value &value);
    void Bind(Statement &statement, int at) const;

  private:
    const Value &m_value;
    Bytes m_list;
};

// The value in a column under a tag; std::monostate for NULL. Corrupt when it isn't one of the tag's type.
Value Decode(const Statement &row, int column, Tag tag);

Bytes EncodeList(const Value &list);
Value DecodeList(Tag tag, const std::uint8_t *data, std::size_t size);

} // namespace localmapi::storage
