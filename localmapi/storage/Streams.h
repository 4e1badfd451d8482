// Long values as they lie in the file: in chunks that have checksums, and once for all properties that have the same.
#pragma once
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

// Values up to this many bytes lie in the property table, longer ones in streams; the data of an attachment always.
constexpr std::uint64_t kLongestInline = 8 * 1024;
constexpr std::size_t kChunkSize = 256 * 1024;

constexpr bool IsLong(Tag tag, std::uint64_t size)
{
    return size > kLongestInline || (TagId(tag) == kAttachDataId && size > 0);
}

// CRC-32 as in ISO 3309, what zlib and gzip have.
std::uint32_t ChecksumOf(const void *data, std::size_t size);

// Where the data of a property lie: those of several may be the same.
std::optional<StoredStream> FindStream(Connection &connection, ObjectId object, Tag tag);
// NotFound unless the data are there, as long as they were.
StoredStream RequireStream(Connection &connection, std::int64_t id);
// NotFound; Corrupt where something lacks, CorruptData where something was changed.
Bytes ReadChunk(Connection &connection, const StoredStream &stream, std::uint64_t number);
Bytes ReadWhole(Connection &connection, const StoredStream &stream);

// An object that what several others have in common lies in. It goes with the last that names it. Its number tells of
// data that are begun and have not been named yet, or are going.
constexpr std::int32_t kBegun = 1, kGoing = 2;
ObjectId InsertCommon(Writer &writer, std::int64_t size, bool begun = false);
// Data that properties will name: text, bytes or a spool.
StoredStream InsertCommonStream(Writer &writer, Tag tag, const Value &value);
// The property names the data instead of having its own; it has a row without a value already.
void NameStream(Writer &writer, ObjectId object, Tag tag, const StoredStream &data);

void RemoveUnnamed(Writer &writer, const StoredStream &data);

// Data are begun in one transaction and go on in others.
StoredStream BeginCommonStream(Writer &writer, Tag tag, std::uint64_t size);
void InsertChunk(Writer &writer, std::int64_t stream, std::uint64_t number, const void *data, std::size_t size);

// The stream of a property that has data of its own.
void InsertStream(Writer &writer, ObjectId object, Tag tag, const Value &value);

} // namespace localmapi::storage
