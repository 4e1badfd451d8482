// Data in chunks, and how properties come to have the same: the stream that has the data is given to an object of its
// own, without a byte of it being moved, and the properties name it.
#include "localmapi/storage/Streams.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Spool.h"
#include <algorithm>
#include <zlib.h>

namespace localmapi::storage
{

std::uint32_t ChecksumOf(const void *data, std::size_t size)
{
    return static_cast<std::uint32_t>(crc32_z(0, static_cast<const Bytef *>(data), size));
}

std::optional<StoredStream> FindStream(Connection &connection, ObjectId object, Tag tag)
{
    Statement find = connection.Prepare("SELECT IFNULL(data, id), size FROM stream WHERE object = ? AND tag = ?");
    find.Bind(object, tag);
    if (!find.Step())
        return {};
    return StoredStream{find.Integer(0), static_cast<std::uint64_t>(find.Integer(1))};
}

StoredStream RequireStream(Connection &connection, std::int64_t id)
{
    Statement find = connection.Prepare("SELECT size FROM stream WHERE id = ?");
    find.Bind(id);
    if (!find.Step())
        throw Error(Fault::NotFound, "The data is not in the site any more.");
    return {id, static_cast<std::uint64_t>(find.Integer(0))};
}

Bytes ReadChunk(Connection &connection, const StoredStream &stream, std::uint64_t number)
{
    Statement find = connection.Prepare("SELECT data, checksum FROM chunk WHERE stream = ? AND number = ?");
    find.Bind(stream.id, static_cast<std::int64_t>(number));
    if (!find.Step()) {
        RequireStream(connection, stream.id);
        throw Error(Fault::Corrupt, "A stream in the file has a gap.");
    }
    Bytes data = find.GetBytes(0);
    if (data.size() != std::min<std::uint64_t>(kChunkSize, stream.size - number * kChunkSize))
        throw Error(Fault::Corrupt, "A stream in the file is shorter or longer than it should be.");
    // What older versions wrote has none.
    if (!find.IsNull(1) && find.Integer(1) != ChecksumOf(data.data(), data.size()))
        throw Error(Fault::CorruptData, "The data is not what was written: its checksum is another one.");
    return data;
}

Bytes ReadWhole(Connection &connection, const StoredStream &stream)
{
    Bytes whole;
    for (std::uint64_t number = 0; whole.size() < stream.size; ++number) {
        const Bytes piece = ReadChunk(connection, stream, number);
        whole.insert(whole.end(), piece.begin(), piece.end());
    }
    return whole;
}

void InsertChunk(Writer &writer, std::int64_t stream, std::uint64_t number, const void *data, std::size_t size)
{
    Statement insert = writer->Prepare("INSERT INTO chunk (stream, number, checksum, data) VALUES (?, ?, ?, ?)");
    insert.Bind(stream, static_cast<std::int64_t>(number), std::int64_t{ChecksumOf(data, size)});
    insert.BindAt(4, data, size);
    insert.Run();
}

namespace
{

std::int64_t InsertStreamRow(Writer &writer, ObjectId object, Tag tag, std::uint64_t size,
                             std::optional<std::int64_t> data = {})
{
    std::int64_t id = writer.NewId();
    writer->Prepare("INSERT INTO stream (id, object, tag, size, data) VALUES (?, ?, ?, ?, ?)")
        .Bind(id, object, tag, static_cast<std::int64_t>(size), data)
        .Run();
    return id;
}

void InsertValuelessRow(Writer &writer, ObjectId object, Tag tag)
{
    writer->Prepare("INSERT INTO property (object, tag) VALUES (?, ?)").Bind(object, tag).Run();
}

void InsertBytes(Writer &writer, std::int64_t stream, const void *data, std::size_t size)
{
    auto from = static_cast<const std::uint8_t *>(data);
    for (std::uint64_t number = 0; size; ++number) {
        std::size_t piece = std::min(size, kChunkSize);
        InsertChunk(writer, stream, number, from, piece);
        from += piece;
        size -= piece;
    }
}

void InsertSpool(Writer &writer, std::int64_t stream, const Spool &spool)
{
    Bytes buffer(static_cast<std::size_t>(std::min<std::uint64_t>(kChunkSize, spool.size())));
    std::uint64_t offset = 0;
    for (std::uint64_t number = 0; std::size_t piece = spool.Read(offset, buffer.data(), buffer.size()); ++number) {
        InsertChunk(writer, stream, number, buffer.data(), piece);
        offset += piece;
    }
}

// What was begun is in use from now on.
void Use(Writer &writer, ObjectId common)
{
    Statement state = writer->Prepare("SELECT number FROM object WHERE id = ?");
    state.Bind(common);
    if (!state.Step() || state.Integer(0) > kBegun)
        throw Error(Fault::NotFound, "The data to be copied is not in the site any more.");
    if (state.Integer(0) == kBegun)
        writer->Prepare("UPDATE object SET number = 0 WHERE id = ?").Bind(common).Run();
}

// Makes data that only one property has into such as several may have.
void MakeCommon(Writer &writer, const StoredStream &stream)
{
    ObjectId owner = 0;
    Tag tag = 0;
    {
        Statement find =
            writer->Prepare("SELECT s.object, s.tag, o.kind FROM stream s JOIN object o ON o.id = s.object "
                            "WHERE s.id = ?");
        find.Bind(stream.id);
        if (!find.Step() || RequireStream(*writer, stream.id) != stream)
            throw Error(Fault::NotFound, "The data to be copied is not in the site any more.");
        owner = find.Integer(0);
        tag = static_cast<Tag>(find.Integer(1));
        if (find.Integer(2) == static_cast<std::int64_t>(ObjectKind::Common))
            return Use(writer, owner);
    }
    const ObjectId common = InsertCommon(writer, static_cast<std::int64_t>(stream.size));
    InsertValuelessRow(writer, common, tag);
    writer->Prepare("UPDATE stream SET object = ? WHERE id = ?").Bind(common, stream.id).Run();
    InsertStreamRow(writer, owner, tag, stream.size, stream.id);
}

} // namespace

ObjectId InsertCommon(Writer &writer, std::int64_t size, bool begun)
{
    return InsertObject(writer, {ObjectKind::Common, 0, begun ? kBegun : 0}, {}, size);
}

StoredStream BeginCommonStream(Writer &writer, Tag tag, std::uint64_t size)
{
    const ObjectId common = InsertCommon(writer, static_cast<std::int64_t>(size), true);
    InsertValuelessRow(writer, common, tag);
    return {InsertStreamRow(writer, common, tag, size), size};
}

StoredStream InsertCommonStream(Writer &writer, Tag tag, const Value &value)
{
    const std::uint64_t size = ByteSize(value);
    const ObjectId common = InsertCommon(writer, static_cast<std::int64_t>(size));
    InsertValuelessRow(writer, common, tag);
    InsertStream(writer, common, tag, value);
    return *FindStream(*writer, common, tag);
}

void NameStream(Writer &writer, ObjectId object, Tag tag, const StoredStream &data)
{
    MakeCommon(writer, data);
    InsertStreamRow(writer, object, tag, data.size, data.id);
}

void InsertStream(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    if (auto stored = std::get_if<StoredStream>(&value))
        return NameStream(writer, object, tag, *stored);
    std::int64_t stream = InsertStreamRow(writer, object, tag, ByteSize(value));
    if (auto text = std::get_if<std::string>(&value))
        InsertBytes(writer, stream, text->data(), text->size());
    else if (auto bytes = std::get_if<Bytes>(&value))
        InsertBytes(writer, stream, bytes->data(), bytes->size());
    else
        InsertSpool(writer, stream, *std::get<SpoolPtr>(value));
}

void RemoveUnnamed(Writer &writer, const StoredStream &data)
{
    writer
        ->Prepare("DELETE FROM object WHERE id = (SELECT object FROM stream WHERE id = ?1) "
                  "AND NOT EXISTS (SELECT 1 FROM stream WHERE data = ?1)")
        .Bind(data.id)
        .Run();
}

} // namespace localmapi::storage
