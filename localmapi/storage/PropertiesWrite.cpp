// Writing properties: short values into the cluster, long ones in chunks into streams.
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Spool.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

std::int64_t InsertStream(Writer &writer, ObjectId object, Tag tag, std::uint64_t size)
{
    std::int64_t id = writer.NewId();
    writer->Prepare("INSERT INTO stream (id, object, tag, size) VALUES (?, ?, ?, ?)")
        .Bind(id, object, tag, static_cast<std::int64_t>(size))
        .Run();
    return id;
}

void InsertChunk(Writer &writer, std::int64_t stream, std::int64_t number, const void *data, std::size_t size)
{
    Statement insert = writer->Prepare("INSERT INTO chunk (stream, number, data) VALUES (?, ?, ?)");
    insert.Bind(stream, number);
    insert.BindAt(3, data, size);
    insert.Run();
}

void InsertBytes(Writer &writer, std::int64_t stream, const void *data, std::size_t size)
{
    auto from = static_cast<const std::uint8_t *>(data);
    for (std::int64_t number = 0; size; ++number) {
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
    for (std::int64_t number = 0; std::size_t piece = spool.Read(offset, buffer.data(), buffer.size()); ++number) {
        InsertChunk(writer, stream, number, buffer.data(), piece);
        offset += piece;
    }
}

void CopyChunks(Writer &writer, std::int64_t from, std::int64_t to)
{
    writer
        ->Prepare("INSERT INTO chunk (stream, number, data) "
                  "SELECT ?2, number, data FROM chunk WHERE stream = ?1 ORDER BY number")
        .Bind(from, to)
        .Run();
}

// A spool or stored stream that is short enough is held as an ordinary value.
Value Shortened(Writer &writer, Tag tag, const Value &value)
{
    Bytes whole;
    if (auto spool = std::get_if<SpoolPtr>(&value)) {
        whole.resize(static_cast<std::size_t>((*spool)->size()));
        whole.resize((*spool)->Read(0, whole.data(), whole.size()));
    } else {
        Statement chunks = writer->Prepare("SELECT data FROM chunk WHERE stream = ? ORDER BY number");
        chunks.Bind(std::get<StoredStream>(value).id);
        while (chunks.Step()) {
            Bytes piece = chunks.GetBytes(0);
            whole.insert(whole.end(), piece.begin(), piece.end());
        }
    }
    if (TagType(tag) == Type::Text)
        return std::string(whole.begin(), whole.end());
    return whole;
}

void InsertRow(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    Statement insert = writer->Prepare("INSERT INTO property (object, tag, value) VALUES (?, ?, ?)");
    Encoded encoded(value);
    insert.Bind(object, tag);
    encoded.Bind(insert, 3);
    insert.Run();
}

// The stream that a value is to be copied from must still be there, and as long as it was.
void RequireStream(Writer &writer, const StoredStream &stream)
{
    Statement find = writer->Prepare("SELECT size FROM stream WHERE id = ?");
    find.Bind(stream.id);
    if (!find.Step() || static_cast<std::uint64_t>(find.Integer(0)) != stream.size)
        throw Error(Fault::NotFound, "The data to be copied is not in the site any more.");
}

void InsertLong(Writer &writer, ObjectId object, Tag tag, const Value &value, std::uint64_t size)
{
    InsertRow(writer, object, tag, {});
    std::int64_t stream = InsertStream(writer, object, tag, size);
    if (auto text = std::get_if<std::string>(&value))
        InsertBytes(writer, stream, text->data(), text->size());
    else if (auto bytes = std::get_if<Bytes>(&value))
        InsertBytes(writer, stream, bytes->data(), bytes->size());
    else if (auto spool = std::get_if<SpoolPtr>(&value))
        InsertSpool(writer, stream, **spool);
    else
        CopyChunks(writer, std::get<StoredStream>(value).id, stream);
}

std::uint64_t InsertValue(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    std::uint64_t size = ByteSize(value);
    auto stored = std::get_if<StoredStream>(&value);
    if (stored)
        RequireStream(writer, *stored);
    bool streamed = stored || std::holds_alternative<SpoolPtr>(value);
    bool mayBeLong = streamed || std::holds_alternative<std::string>(value) || std::holds_alternative<Bytes>(value);
    if (mayBeLong && size > kLongestInline)
        InsertLong(writer, object, tag, value, size);
    else
        InsertRow(writer, object, tag, streamed ? Shortened(writer, tag, value) : value);
    return size;
}

template <class T> std::optional<T> Given(const PropertyBag &bag, Tag tag)
{
    const T *value = bag.get<T>(tag);
    return value ? std::optional<T>(*value) : std::nullopt;
}

} // namespace

std::uint64_t InsertProperties(Writer &writer, ObjectId id, ObjectKind kind, const PropertyBag &bag)
{
    std::uint64_t size = 0;
    for (const Property &property : bag)
        if (!IsColumn(kind, property.tag))
            size += InsertValue(writer, id, property.tag, property.value);
    return size;
}

void ApplyChanges(Writer &writer, ObjectId id, ObjectKind kind, const Changes &changes)
{
    Statement remove = writer->Prepare("DELETE FROM property WHERE object = ? AND tag BETWEEN ? AND ?");
    auto removeTag = [&](Tag tag) { remove.Bind(id, tag & 0xFFFF0000, tag | 0xFFFF).Run(); };
    for (Tag tag : changes.remove)
        if (!IsColumn(kind, tag))
            removeTag(tag);
    for (const Property &property : changes.set) {
        if (IsColumn(kind, property.tag))
            continue;
        auto stored = std::get_if<StoredStream>(&property.value);
        std::optional<StoredStream> old = stored ? FindStream(*writer, id, property.tag) : std::nullopt;
        if (old && old->id == stored->id)
            continue; // its own value
        removeTag(property.tag);
        InsertValue(writer, id, property.tag, property.value);
    }
}

void CopyProperties(Writer &writer, ObjectId from, ObjectId to)
{
    writer->Prepare("INSERT INTO property (object, tag, value) SELECT ?2, tag, value FROM property WHERE object = ?1")
        .Bind(from, to)
        .Run();
    std::vector<std::pair<StoredStream, Tag>> streams;
    {
        Statement rows = writer->Prepare("SELECT id, size, tag FROM stream WHERE object = ? ORDER BY id");
        rows.Bind(from);
        while (rows.Step())
            streams.push_back(
                {{rows.Integer(0), static_cast<std::uint64_t>(rows.Integer(1))}, static_cast<Tag>(rows.Integer(2))});
    }
    for (const auto &[stream, tag] : streams)
        CopyChunks(writer, stream.id, InsertStream(writer, to, tag, stream.size));
}

ObjectId InsertObject(Writer &writer, const NewObject &object, const PropertyBag &bag, std::int64_t size)
{
    ObjectId id = writer.NewId();
    writer
        ->Prepare("INSERT INTO object (id, kind, parent, number, size, created, modified, change) "
                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
        .Bind(id, static_cast<std::int64_t>(object.kind),
              object.parent ? std::optional<std::int64_t>(object.parent) : std::nullopt, object.number, size,
              Given<std::int64_t>(bag, kCreationTime).value_or(writer.Now()), writer.Now(), writer.Change())
        .Run();
    if (object.kind == ObjectKind::Folder || object.kind == ObjectKind::User || object.kind == ObjectKind::Contact)
        writer.Entries().ObjectAdded(object.kind, id, object.parent);
    return id;
}

} // namespace localmapi::storage
