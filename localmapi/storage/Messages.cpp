// Messages are made, changed, copied, moved and removed here, with their recipients and attachments, facets and
// entries. Lists of them are in Lists.cpp.
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Staging.h"
#include <algorithm>
#include <set>

namespace localmapi::storage
{

namespace
{

// What a message's own row says beside its id and place.
struct MessageRow {
    FacetKey key;
    std::int64_t submitted = kNoTime, delivered = kNoTime;

    void Set(const Property &property)
    {
        auto number = std::get_if<std::int32_t>(&property.value);
        auto time = std::get_if<std::int64_t>(&property.value);
        auto text = std::get_if<std::string>(&property.value);
        if (property.tag == kMessageFlags && number)
            key.flags = (*number & ~kFlagHasAttachments) | (key.flags & kFlagHasAttachments);
        else if (property.tag == kImportance && number)
            key.importance = *number;
        else if (property.tag == kMessageClass && text)
            key.messageClass = *text;
        else if (property.tag == kClientSubmitTime && time)
            submitted = *time;
        else if (property.tag == kMessageDeliveryTime && time)
            delivered = *time;
    }

    void Remove(Tag tag)
    {
        if (TagId(tag) == TagId(kMessageFlags))
            key.flags &= kFlagHasAttachments;
        else if (TagId(tag) == TagId(kImportance))
            key.importance.reset();
        else if (TagId(tag) == TagId(kMessageClass))
            key.messageClass.reset();
        else if (TagId(tag) == TagId(kClientSubmitTime))
            submitted = kNoTime;
        else if (TagId(tag) == TagId(kMessageDeliveryTime))
            delivered = kNoTime;
    }

    void Apply(const Changes &changes)
    {
        for (Tag tag : changes.remove)
            Remove(tag);
        for (const Property &property : changes.set)
            Set(property);
    }

    void HasAttachments(bool has)
    {
        key.flags = has ? key.flags | kFlagHasAttachments : key.flags & ~kFlagHasAttachments;
    }
};

// The size that a message will have when it is made of `content`.
std::int64_t SizeOf(const MessageChanges &content)
{
    std::int64_t size = StoredSize(ObjectKind::Message, content.properties.set);
    if (content.recipients)
        for (const PropertyBag &recipient : *content.recipients)
            size += StoredSize(ObjectKind::Recipient, recipient);
    for (const AttachmentChanges &attachment : content.attachments)
        if (!attachment.remove)
            size += StoredSize(ObjectKind::Attachment, attachment.properties.set) +
                    (attachment.embedded ? SizeOf(*attachment.embedded) : 0);
    return size;
}

void InsertAttachment(Writer &writer, ObjectId message, const AttachmentChanges &attachment)
{
    const PropertyBag &bag = attachment.properties.set;
    std::int64_t size =
        StoredSize(ObjectKind::Attachment, bag) + (attachment.embedded ? SizeOf(*attachment.embedded) : 0);
    ObjectId id = InsertObject(writer, {ObjectKind::Attachment, message, attachment.number}, bag, size);
    InsertProperties(writer, id, ObjectKind::Attachment, bag);
    if (attachment.embedded)
        InsertMessage(writer, id, *attachment.embedded);
}

void RequireDistinctNumbers(const std::vector<AttachmentChanges> &attachments)
{
    std::set<std::int32_t> numbers;
    for (const AttachmentChanges &attachment : attachments)
        if (!numbers.insert(attachment.number).second)
            throw Error(Fault::Collision, "Two attachments of a message have the same number.");
}

} // namespace

ObjectId InsertMessage(Writer &writer, ObjectId container, const MessageChanges &content, const RecipientList &list)
{
    RequireDistinctNumbers(content.attachments);
    MessageRow row;
    row.Apply(content.properties);
    row.HasAttachments(std::any_of(content.attachments.begin(), content.attachments.end(),
                                   [](const AttachmentChanges &attachment) { return !attachment.remove; }));
    ObjectId id = writer.NewId();
    const std::int64_t size = SizeOf(content) + list.size;
    auto created = content.properties.set.get<std::int64_t>(kCreationTime);
    writer
        ->Prepare("INSERT INTO object (id, kind, parent, facet, submitted, delivered, size, created, modified, change, "
                  "list) VALUES (?, 3, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .Bind(id, container, writer.Facets().Enter(*writer, container, row.key, {1, size}), row.submitted,
              row.delivered, size, created ? *created : writer.Now(), writer.Now(), writer.Change(),
              list.id ? std::optional(list.id) : std::nullopt)
        .Run();
    writer.Entries().MessageAdded(id, container, row.key);
    InsertProperties(writer, id, ObjectKind::Message, content.properties.set);
    if (content.recipients)
        InsertRecipients(writer, id, *content.recipients);
    for (const AttachmentChanges &attachment : content.attachments)
        if (!attachment.remove)
            InsertAttachment(writer, id, attachment);
    return id;
}

namespace
{

ObjectId ChildOf(Writer &writer, ObjectId parent, ObjectKind kind, std::int32_t number)
{
    Statement find = writer->Prepare("SELECT id FROM object WHERE parent = ? AND kind = ? AND number = ?");
    find.Bind(parent, static_cast<std::int64_t>(kind), number);
    return find.Step() ? find.Integer(0) : 0;
}

void ApplyToAttachment(Writer &writer, ObjectId message, const AttachmentChanges &changes)
{
    ObjectId id = ChildOf(writer, message, ObjectKind::Attachment, changes.number);
    if (changes.remove || changes.IsWhole())
        writer->Prepare("DELETE FROM object WHERE id = ?").Bind(id).Run();
    if (changes.remove)
        return;
    if (!id || changes.IsWhole())
        return InsertAttachment(writer, message, changes);
    ApplyChanges(writer, id, ObjectKind::Attachment, changes.properties);
    if (changes.embedded) {
        if (ObjectId embedded = ChildOf(writer, id, ObjectKind::Message, 0))
            ApplyToMessage(writer, GetObject(*writer, embedded), *changes.embedded);
        else
            InsertMessage(writer, id, *changes.embedded);
    }
    writer->Prepare("UPDATE object SET size = ?, modified = ?, change = ? WHERE id = ?")
        .Bind(Measure(*writer, id), writer.Now(), writer.Change(), id)
        .Run();
}

// Gives a message's row what it is to say, in the facet that follows from it.
void UpdateRow(Writer &writer, const ObjectRow &old, const MessageRow &row)
{
    ObjectId id = old.info.id;
    const std::int64_t size = Measure(*writer, id);
    writer.Facets().Leave(old.facet, {1, old.size});
    std::int64_t facet = writer.Facets().Enter(*writer, old.info.parent, row.key, {1, size});
    writer
        ->Prepare("UPDATE object SET facet = ?, submitted = ?, delivered = ?, size = ?, modified = ?, change = ? "
                  "WHERE id = ?")
        .Bind(facet, row.submitted, row.delivered, size, writer.Now(), writer.Change(), id)
        .Run();
    writer.Entries().MessageChanged(id, old.info.parent, old.key, row.key);
}

} // namespace

void ApplyToMessage(Writer &writer, const ObjectRow &old, const MessageChanges &changes, const RecipientList &list)
{
    ObjectId id = old.info.id;
    RequireDistinctNumbers(changes.attachments);
    ApplyChanges(writer, id, ObjectKind::Message, changes.properties);
    if (changes.recipients || list.id)
        ReplaceRecipients(writer, id, list);
    if (changes.recipients)
        InsertRecipients(writer, id, *changes.recipients);
    for (const AttachmentChanges &attachment : changes.attachments)
        ApplyToAttachment(writer, id, attachment);
    MessageRow row{old.key, old.submitted, old.delivered};
    row.Apply(changes.properties);
    if (!changes.attachments.empty()) {
        Statement any = writer->Prepare("SELECT 1 FROM object WHERE parent = ? AND kind = 4 LIMIT 1");
        row.HasAttachments(any.Bind(id).Step());
    }
    UpdateRow(writer, old, row);
}

void RequireFolder(Writer &writer, ObjectId folder)
{
    if (GetObject(*writer, folder).info.kind != ObjectKind::Folder)
        throw Error(Fault::Invalid, "Messages can only lie in folders.");
}

std::optional<ObjectRow> FindMessage(Writer &writer, ObjectId id)
{
    std::optional<ObjectRow> row = FindObject(*writer, id);
    if (!row || row->info.kind != ObjectKind::Message)
        return {};
    std::optional<ObjectRow> container = FindObject(*writer, row->info.parent);
    return container && container->info.kind == ObjectKind::Folder ? row : std::nullopt;
}

ObjectId MoveMessage(Writer &writer, const ObjectRow &row, ObjectId folder)
{
    ObjectId id = writer.NewId();
    writer.Facets().Leave(row.facet, {1, row.size});
    std::int64_t facet = writer.Facets().Enter(*writer, folder, row.key, {1, row.size});
    writer->Prepare("UPDATE object SET id = ?, parent = ?, facet = ?, arrived = ?, change = ? WHERE id = ?")
        .Bind(id, folder, facet, writer.Now(), writer.Change(), row.info.id)
        .Run();
    writer.Entries().MessageRemoved(row.info.id, row.info.parent, row.key);
    writer.Entries().MessageAdded(id, folder, row.key);
    return id;
}

void RemoveMessage(Writer &writer, const ObjectRow &row)
{
    writer.Facets().Leave(row.facet, {1, row.size});
    writer->Prepare("DELETE FROM object WHERE id = ?").Bind(row.info.id).Run();
    writer.Entries().MessageRemoved(row.info.id, row.info.parent, row.key);
}

ObjectId CopyObject(Writer &writer, const ObjectRow &from, ObjectId parent)
{
    ObjectId id = writer.NewId();
    std::optional<std::int64_t> facet;
    if (from.info.kind == ObjectKind::Message)
        facet = writer.Facets().Enter(*writer, parent, from.key, {1, from.size});
    writer
        ->Prepare("INSERT INTO object (id, kind, parent, number, facet, submitted, delivered, size, created, modified, "
                  "arrived, change, list) SELECT ?1, kind, ?2, number, ?3, submitted, delivered, size, ?4, ?5, ?4, ?6, "
                  "list FROM object WHERE id = ?7")
        .Bind(id, parent, facet, writer.Now(), from.modified, writer.Change(), from.info.id)
        .Run();
    if (facet)
        writer.Entries().MessageAdded(id, parent, from.key);
    CopyProperties(writer, from.info.id, id);
    std::vector<ObjectId> children;
    {
        Statement rows = writer->Prepare("SELECT id FROM object WHERE parent = ? ORDER BY id");
        rows.Bind(from.info.id);
        while (rows.Step())
            children.push_back(rows.Integer(0));
    }
    for (ObjectId child : children)
        CopyObject(writer, GetObject(*writer, child), id);
    return id;
}

Share ShareOf(const MessageChanges &content)
{
    constexpr std::uint64_t kMuch = 1 << 20;
    return content.AddedSize() > kMuch ? Share::WithNobody : Share::WithOthers;
}

ObjectId Objects::CreateMessage(ObjectId folder, const MessageChanges &content, ChangeNumber *change)
{
    const Staging staging(m_site.GetDatabase(), content);
    Writer writer(m_site.GetDatabase(), ShareOf(staging.Content()));
    writer.RequireRoomFor(staging.Rest());
    RequireFolder(writer, folder);
    ObjectId id = InsertMessage(writer, folder, staging.Content());
    writer.Commit();
    if (change)
        *change = writer.Change();
    return id;
}

std::vector<ObjectId> Objects::CreateMessages(const std::vector<NewMessage> &messages)
{
    Writer writer(m_site.GetDatabase(), Share::WithNobody);
    std::set<ObjectId> folders;
    std::vector<ObjectId> ids;
    ids.reserve(messages.size());
    for (const NewMessage &message : messages) {
        if (folders.insert(message.folder).second)
            RequireFolder(writer, message.folder);
        ids.push_back(InsertMessage(writer, message.folder, message.content));
    }
    writer.Commit();
    return ids;
}

ChangeNumber Objects::ChangeMessage(ObjectId message, const MessageChanges &changes,
                                    std::optional<ChangeNumber> expected)
{
    const Staging staging(m_site.GetDatabase(), changes);
    Writer writer(m_site.GetDatabase(), ShareOf(staging.Content()));
    writer.RequireRoomFor(staging.Rest());
    std::optional<ObjectRow> row = FindMessage(writer, message);
    if (!row)
        throw Error(Fault::NotFound, "The message is not in the site (any more).");
    if (expected && *expected != row->info.change)
        throw Error(Fault::Changed, "The message was changed by somebody else.");
    ApplyToMessage(writer, *row, staging.Content());
    writer.Commit();
    return writer.Change();
}

} // namespace localmapi::storage
