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

std::int64_t insertStream(Writer &writer, ObjectId object, Tag tag, std::uint64_t size)
{
    std::int64_t id = writer.newId();
    writer->prepare("INSERT INTO stream (id, object, tag, size) VALUES (?, ?, ?, ?)")
        .bind(id, object, tag, static_cast<std::int64_t>(size))
        .run();
    return id;
}

void insertChunk(Writer &writer, std::int64_t stream, std::int64_t number, const void *data, std::size_t size)
{
    Statement insert = writer->prepare("INSERT INTO chunk (stream, number, data) VALUES (?, ?, ?)");
    insert.bind(stream, number);
    insert.bindAt(3, data, size);
    insert.run();
}

void insertBytes(Writer &writer, std::int64_t stream, const void *data, std::size_t size)
{
    auto from = static_cast<const std::uint8_t *>(data);
    for (std::int64_t number = 0; size; ++number) {
        std::size_t piece = std::min(size, kChunkSize);
        insertChunk(writer, stream, number, from, piece);
        from += piece;
        size -= piece;
    }
}

void insertSpool(Writer &writer, std::int64_t stream, const Spool &spool)
{
    Bytes buffer(static_cast<std::size_t>(std::min<std::uint64_t>(kChunkSize, spool.size())));
    std::uint64_t offset = 0;
    for (std::int64_t number = 0; std::size_t piece = spool.read(offset, buffer.data(), buffer.size()); ++number) {
        insertChunk(writer, stream, number, buffer.data(), piece);
        offset += piece;
    }
}

void copyChunks(Writer &writer, std::int64_t from, std::int64_t to)
{
    writer
        ->prepare("INSERT INTO chunk (stream, number, data) "
                  "SELECT ?2, number, data FROM chunk WHERE stream = ?1 ORDER BY number")
        .bind(from, to)
        .run();
}

// A spool or stored stream that is short enough is held as an ordinary value.
Value shortened(Writer &writer, Tag tag, const Value &value)
{
    Bytes whole;
    if (auto spool = std::get_if<SpoolPtr>(&value)) {
        whole.resize(static_cast<std::size_t>((*spool)->size()));
        whole.resize((*spool)->read(0, whole.data(), whole.size()));
    } else {
        Statement chunks = writer->prepare("SELECT data FROM chunk WHERE stream = ? ORDER BY number");
        chunks.bind(std::get<StoredStream>(value).id);
        while (chunks.step()) {
            Bytes piece = chunks.bytes(0);
            whole.insert(whole.end(), piece.begin(), piece.end());
        }
    }
    if (tagType(tag) == Type::Text)
        return std::string(whole.begin(), whole.end());
    return whole;
}

void insertRow(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    Statement insert = writer->prepare("INSERT INTO property (object, tag, value) VALUES (?, ?, ?)");
    Encoded encoded(value);
    insert.bind(object, tag);
    encoded.bind(insert, 3);
    insert.run();
}

// The stream that a value is to be copied from must still be there, and as long as it was.
void requireStream(Writer &writer, const StoredStream &stream)
{
    Statement find = writer->prepare("SELECT size FROM stream WHERE id = ?");
    find.bind(stream.id);
    if (!find.step() || static_cast<std::uint64_t>(find.integer(0)) != stream.size)
        throw Error(Fault::NotFound, "The data to be copied is not in the site any more.");
}

void insertLong(Writer &writer, ObjectId object, Tag tag, const Value &value, std::uint64_t size)
{
    insertRow(writer, object, tag, {});
    std::int64_t stream = insertStream(writer, object, tag, size);
    if (auto text = std::get_if<std::string>(&value))
        insertBytes(writer, stream, text->data(), text->size());
    else if (auto bytes = std::get_if<Bytes>(&value))
        insertBytes(writer, stream, bytes->data(), bytes->size());
    else if (auto spool = std::get_if<SpoolPtr>(&value))
        insertSpool(writer, stream, **spool);
    else
        copyChunks(writer, std::get<StoredStream>(value).id, stream);
}

std::uint64_t insertValue(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    std::uint64_t size = byteSize(value);
    auto stored = std::get_if<StoredStream>(&value);
    if (stored)
        requireStream(writer, *stored);
    bool streamed = stored || std::holds_alternative<SpoolPtr>(value);
    bool mayBeLong = streamed || std::holds_alternative<std::string>(value) || std::holds_alternative<Bytes>(value);
    if (mayBeLong && size > kLongestInline)
        insertLong(writer, object, tag, value, size);
    else
        insertRow(writer, object, tag, streamed ? shortened(writer, tag, value) : value);
    return size;
}

template <class T> std::optional<T> given(const PropertyBag &bag, Tag tag)
{
    const T *value = bag.get<T>(tag);
    return value ? std::optional<T>(*value) : std::nullopt;
}

} // namespace

std::uint64_t insertProperties(Writer &writer, ObjectId id, ObjectKind kind, const PropertyBag &bag)
{
    std::uint64_t size = 0;
    for (const Property &property : bag)
        if (!isColumn(kind, property.tag))
            size += insertValue(writer, id, property.tag, property.value);
    return size;
}

void applyChanges(Writer &writer, ObjectId id, ObjectKind kind, const Changes &changes)
{
    Statement remove = writer->prepare("DELETE FROM property WHERE object = ? AND tag BETWEEN ? AND ?");
    auto removeTag = [&](Tag tag) { remove.bind(id, tag & 0xFFFF0000, tag | 0xFFFF).run(); };
    for (Tag tag : changes.remove)
        if (!isColumn(kind, tag))
            removeTag(tag);
    for (const Property &property : changes.set) {
        if (isColumn(kind, property.tag))
            continue;
        auto stored = std::get_if<StoredStream>(&property.value);
        std::optional<StoredStream> old = stored ? findStream(*writer, id, property.tag) : std::nullopt;
        if (old && old->id == stored->id)
            continue; // its own value
        removeTag(property.tag);
        insertValue(writer, id, property.tag, property.value);
    }
}

void copyProperties(Writer &writer, ObjectId from, ObjectId to)
{
    writer->prepare("INSERT INTO property (object, tag, value) SELECT ?2, tag, value FROM property WHERE object = ?1")
        .bind(from, to)
        .run();
    std::vector<std::pair<StoredStream, Tag>> streams;
    {
        Statement rows = writer->prepare("SELECT id, size, tag FROM stream WHERE object = ? ORDER BY id");
        rows.bind(from);
        while (rows.step())
            streams.push_back(
                {{rows.integer(0), static_cast<std::uint64_t>(rows.integer(1))}, static_cast<Tag>(rows.integer(2))});
    }
    for (const auto &[stream, tag] : streams)
        copyChunks(writer, stream.id, insertStream(writer, to, tag, stream.size));
}

ObjectId insertObject(Writer &writer, const NewObject &object, const PropertyBag &bag, std::int64_t size)
{
    ObjectId id = writer.newId();
    writer
        ->prepare("INSERT INTO object (id, kind, parent, number, size, created, modified, change) "
                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(id, static_cast<std::int64_t>(object.kind),
              object.parent ? std::optional<std::int64_t>(object.parent) : std::nullopt, object.number, size,
              given<std::int64_t>(bag, kCreationTime).value_or(writer.now()), writer.now(), writer.change())
        .run();
    if (object.kind == ObjectKind::Folder || object.kind == ObjectKind::User || object.kind == ObjectKind::Contact)
        writer.entries().objectAdded(object.kind, id, object.parent);
    return id;
}

} // namespace localmapi::storage
