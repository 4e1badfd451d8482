// Writing properties: short values into the cluster, long ones into streams.
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Spool.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

// A spool or stored stream that is short enough is held as an ordinary value.
Value Shortened(Writer &writer, Tag tag, const Value &value)
{
    Bytes whole;
    if (auto spool = std::get_if<SpoolPtr>(&value)) {
        whole.resize(static_cast<std::size_t>((*spool)->size()));
        whole.resize((*spool)->Read(0, whole.data(), whole.size()));
    } else {
        whole = ReadWhole(*writer, std::get<StoredStream>(value));
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

std::uint64_t InsertValue(Writer &writer, ObjectId object, Tag tag, const Value &value)
{
    std::uint64_t size = ByteSize(value);
    bool streamed = std::holds_alternative<StoredStream>(value) || std::holds_alternative<SpoolPtr>(value);
    bool mayBeLong = streamed || std::holds_alternative<std::string>(value) || std::holds_alternative<Bytes>(value);
    if (mayBeLong && IsLong(tag, size)) {
        InsertRow(writer, object, tag, {});
        InsertStream(writer, object, tag, value);
    } else {
        InsertRow(writer, object, tag, streamed ? Shortened(writer, tag, value) : value);
    }
    return size;
}

template <class T> std::optional<T> Given(const PropertyBag &bag, Tag tag)
{
    const T *value = bag.get<T>(tag);
    return value ? std::optional<T>(*value) : std::nullopt;
}

} // namespace

std::int64_t StoredSize(ObjectKind kind, const PropertyBag &bag)
{
    std::int64_t size = 0;
    for (const Property &property : bag)
        if (!IsColumn(kind, property.tag))
            size += static_cast<std::int64_t>(ByteSize(property.value));
    return size;
}

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
        Statement rows = writer->Prepare("SELECT IFNULL(data, id), size, tag FROM stream WHERE object = ? ORDER BY id");
        rows.Bind(from);
        while (rows.Step())
            streams.push_back(
                {{rows.Integer(0), static_cast<std::uint64_t>(rows.Integer(1))}, static_cast<Tag>(rows.Integer(2))});
    }
    for (const auto &[stream, tag] : streams)
        NameStream(writer, to, tag, stream);
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
