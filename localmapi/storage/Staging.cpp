// The states of what is written ahead, in the number of its object: begun, in use (0), and going. What is going is not
// taken up again by whoever began it and was away for long.
#include "localmapi/storage/Staging.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Streams.h"
#include "localmapi/storage/Time.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

constexpr std::uint64_t kChunksAtOnce = kWrittenAtOnce / kChunkSize;
constexpr std::int64_t kForgottenAfter = std::int64_t{3600} * 10'000'000;

void ReplaceIn(PropertyBag &bag, const std::function<Value(Tag, const Value &)> &replaced)
{
    std::vector<Property> found;
    for (const Property &property : bag)
        if (const Value &value = property.value;
            (std::holds_alternative<std::string>(value) || std::holds_alternative<Bytes>(value) ||
             std::holds_alternative<SpoolPtr>(value)) &&
            IsLong(property.tag, ByteSize(value)))
            if (Value other = replaced(property.tag, value); !IsAbsent(other))
                found.push_back({property.tag, std::move(other)});
    for (Property &property : found)
        bag.Set(property.tag, std::move(property.value));
}

bool IsSpooled(const Value &value)
{
    return std::holds_alternative<SpoolPtr>(value);
}

bool IsToBeWritten(const Value &value)
{
    return !std::holds_alternative<StoredStream>(value);
}

std::uint64_t SizeOf(const MessageChanges &content, bool (*counts)(const Value &))
{
    std::uint64_t size = 0;
    const auto add = [&](const PropertyBag &bag) {
        for (const Property &property : bag)
            if (counts(property.value))
                size += ByteSize(property.value);
    };
    add(content.properties.set);
    for (const AttachmentChanges &attachment : content.attachments)
        if (!attachment.remove) {
            add(attachment.properties.set);
            if (attachment.embedded)
                size += SizeOf(*attachment.embedded, counts);
        }
    return size;
}

// Each transaction takes so much of it that nobody waits long.
void Remove(Database &database, std::int64_t stream)
{
    const auto removePiece = [&] {
        Writer writer(database, Share::WithNobody, References::Checked, Room::IsMade);
        writer
            ->Prepare(
                "UPDATE object SET number = 2 WHERE number <> 2 AND id = (SELECT object FROM stream WHERE id = ?)")
            .Bind(stream)
            .Run();
        writer->Prepare("DELETE FROM chunk WHERE id IN (SELECT id FROM chunk WHERE stream = ? ORDER BY number LIMIT ?)")
            .Bind(stream, static_cast<std::int64_t>(kChunksAtOnce))
            .Run();
        const bool more = writer->ChangedRows() == static_cast<int>(kChunksAtOnce);
        if (!more)
            writer->Prepare("DELETE FROM object WHERE kind = 9 AND id = (SELECT object FROM stream WHERE id = ?)")
                .Bind(stream)
                .Run();
        writer.Commit();
        return more;
    };
    while (EvenOnAFullDisk(database, removePiece)) {
    }
}

bool IsBegun(Connection &connection, std::int64_t stream)
{
    Statement find = connection.Prepare("SELECT 1 FROM stream s JOIN object o ON o.id = s.object "
                                        "WHERE s.id = ? AND o.kind = 9 AND o.number = 1");
    find.Bind(stream);
    return find.Step();
}

} // namespace

void ReplaceLongValues(MessageChanges &content, const std::function<Value(Tag, const Value &)> &replaced)
{
    ReplaceIn(content.properties.set, replaced);
    for (AttachmentChanges &attachment : content.attachments) {
        if (attachment.remove)
            continue;
        ReplaceIn(attachment.properties.set, replaced);
        if (attachment.embedded) {
            auto held = std::make_shared<MessageChanges>(*attachment.embedded);
            ReplaceLongValues(*held, replaced);
            attachment.embedded = std::move(held);
        }
    }
}

Staging::Staging(Database &database, const MessageChanges &content) : m_given(content), m_begun(database)
{
    if (SizeOf(content, IsSpooled) <= kWrittenAtOnce)
        return;
    m_staged = content;
    ReplaceLongValues(*m_staged, [&](Tag tag, const Value &value) {
        auto spool = std::get_if<SpoolPtr>(&value);
        return spool ? Value(Write(tag, **spool)) : Value();
    });
}

std::uint64_t Staging::Rest() const
{
    return SizeOf(Content(), IsToBeWritten);
}

StoredStream Staging::Write(Tag tag, const Spool &spool)
{
    StoredStream data;
    Bytes buffer(kChunkSize);
    const std::uint64_t chunks = (spool.size() + kChunkSize - 1) / kChunkSize;
    for (std::uint64_t number = 0; number < chunks;) {
        Writer writer(m_begun.database, Share::WithNobody);
        if (number == 0) {
            data = BeginCommonStream(writer, tag, spool.size());
            m_begun.streams.push_back(data.id);
        } else {
            if (!IsBegun(*writer, data.id))
                throw Error(Fault::NotFound, "What was written of the data is not in the site any more.");
            writer->Prepare("UPDATE object SET modified = ? WHERE id = (SELECT object FROM stream WHERE id = ?)")
                .Bind(writer.Now(), data.id)
                .Run();
        }
        writer.RequireRoomFor(std::min(kWrittenAtOnce, spool.size() - number * kChunkSize));
        for (const std::uint64_t end = std::min(chunks, number + kChunksAtOnce); number < end; ++number)
            InsertChunk(writer, data.id, number, buffer.data(),
                        spool.Read(number * kChunkSize, buffer.data(), buffer.size()));
        writer.Commit();
    }
    return data;
}

Staging::Begun::~Begun()
{
    for (const std::int64_t stream : streams)
        try {
            if (IsBegun(*Reader(database), stream))
                Remove(database, stream);
        } catch (const std::exception &) { // it is removed when it is forgotten
        }
}

void RemoveForgotten(Database &database)
{
    std::vector<std::int64_t> forgotten;
    {
        Reader reader(database);
        Statement find =
            reader->Prepare("SELECT s.id FROM object o JOIN stream s ON s.object = o.id WHERE o.parent IS NULL "
                            "AND o.kind = 9 AND o.number >= 1 AND (o.number = 2 OR o.modified < ?)");
        find.Bind(CurrentTime() - kForgottenAfter);
        while (find.Step())
            forgotten.push_back(find.Integer(0));
    }
    for (const std::int64_t stream : forgotten)
        Remove(database, stream);
}

} // namespace localmapi::storage
