// Messages are made, changed, copied, moved and removed here, with their recipients and attachments, facets and
// entries.
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Schema.h"
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

    void set(const Property &property)
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

    void remove(Tag tag)
    {
        if (tagId(tag) == tagId(kMessageFlags))
            key.flags &= kFlagHasAttachments;
        else if (tagId(tag) == tagId(kImportance))
            key.importance.reset();
        else if (tagId(tag) == tagId(kMessageClass))
            key.messageClass.reset();
        else if (tagId(tag) == tagId(kClientSubmitTime))
            submitted = kNoTime;
        else if (tagId(tag) == tagId(kMessageDeliveryTime))
            delivered = kNoTime;
    }

    void apply(const Changes &changes)
    {
        for (Tag tag : changes.remove)
            remove(tag);
        for (const Property &property : changes.set)
            set(property);
    }

    void hasAttachments(bool has)
    {
        key.flags = has ? key.flags | kFlagHasAttachments : key.flags & ~kFlagHasAttachments;
    }
};

std::int64_t sizeOf(ObjectKind kind, const PropertyBag &bag)
{
    std::int64_t size = 0;
    for (const Property &property : bag)
        if (!isColumn(kind, property.tag))
            size += static_cast<std::int64_t>(byteSize(property.value));
    return size;
}

// The size that a message will have when it is made of `content`.
std::int64_t sizeOf(const MessageChanges &content)
{
    std::int64_t size = sizeOf(ObjectKind::Message, content.properties.set);
    if (content.recipients)
        for (const PropertyBag &recipient : *content.recipients)
            size += sizeOf(ObjectKind::Recipient, recipient);
    for (const AttachmentChanges &attachment : content.attachments)
        if (!attachment.remove)
            size += sizeOf(ObjectKind::Attachment, attachment.properties.set) +
                    (attachment.embedded ? sizeOf(*attachment.embedded) : 0);
    return size;
}

void insertRecipients(Writer &writer, ObjectId message, const std::vector<PropertyBag> &recipients)
{
    std::int32_t number = 0;
    for (const PropertyBag &recipient : recipients) {
        ObjectId id = insertObject(writer, {ObjectKind::Recipient, message, number++}, recipient,
                                   sizeOf(ObjectKind::Recipient, recipient));
        insertProperties(writer, id, ObjectKind::Recipient, recipient);
    }
}

void insertAttachment(Writer &writer, ObjectId message, const AttachmentChanges &attachment)
{
    const PropertyBag &bag = attachment.properties.set;
    std::int64_t size = sizeOf(ObjectKind::Attachment, bag) + (attachment.embedded ? sizeOf(*attachment.embedded) : 0);
    ObjectId id = insertObject(writer, {ObjectKind::Attachment, message, attachment.number}, bag, size);
    insertProperties(writer, id, ObjectKind::Attachment, bag);
    if (attachment.embedded)
        insertMessage(writer, id, *attachment.embedded);
}

void requireDistinctNumbers(const std::vector<AttachmentChanges> &attachments)
{
    std::set<std::int32_t> numbers;
    for (const AttachmentChanges &attachment : attachments)
        if (!numbers.insert(attachment.number).second)
            throw Error(Fault::Collision, "Two attachments of a message have the same number.");
}

} // namespace

ObjectId insertMessage(Writer &writer, ObjectId container, const MessageChanges &content)
{
    requireDistinctNumbers(content.attachments);
    MessageRow row;
    row.apply(content.properties);
    row.hasAttachments(std::any_of(content.attachments.begin(), content.attachments.end(),
                                   [](const AttachmentChanges &attachment) { return !attachment.remove; }));
    ObjectId id = writer.newId();
    auto created = content.properties.set.get<std::int64_t>(kCreationTime);
    writer
        ->prepare("INSERT INTO object (id, kind, parent, facet, submitted, delivered, size, created, modified, change) "
                  "VALUES (?, 3, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(id, container, writer.facets().enter(*writer, container, row.key), row.submitted, row.delivered,
              sizeOf(content), created ? *created : writer.now(), writer.now(), writer.change())
        .run();
    writer.entries().messageAdded(id, container, row.key);
    insertProperties(writer, id, ObjectKind::Message, content.properties.set);
    if (content.recipients)
        insertRecipients(writer, id, *content.recipients);
    for (const AttachmentChanges &attachment : content.attachments)
        if (!attachment.remove)
            insertAttachment(writer, id, attachment);
    return id;
}

namespace
{

ObjectId childOf(Writer &writer, ObjectId parent, ObjectKind kind, std::int32_t number)
{
    Statement find = writer->prepare("SELECT id FROM object WHERE parent = ? AND kind = ? AND number = ?");
    find.bind(parent, static_cast<std::int64_t>(kind), number);
    return find.step() ? find.integer(0) : 0;
}

void applyToAttachment(Writer &writer, ObjectId message, const AttachmentChanges &changes)
{
    ObjectId id = childOf(writer, message, ObjectKind::Attachment, changes.number);
    if (changes.remove) {
        writer->prepare("DELETE FROM object WHERE id = ?").bind(id).run();
        return;
    }
    if (!id)
        return insertAttachment(writer, message, changes);
    applyChanges(writer, id, ObjectKind::Attachment, changes.properties);
    if (changes.embedded) {
        if (ObjectId embedded = childOf(writer, id, ObjectKind::Message, 0))
            applyToMessage(writer, getObject(*writer, embedded), *changes.embedded);
        else
            insertMessage(writer, id, *changes.embedded);
    }
    writer->prepare("UPDATE object SET size = ?, modified = ?, change = ? WHERE id = ?")
        .bind(measure(*writer, id), writer.now(), writer.change(), id)
        .run();
}

// Gives a message's row what it is to say, in the facet that follows from it.
void updateRow(Writer &writer, const ObjectRow &old, const MessageRow &row)
{
    ObjectId id = old.info.id;
    writer.facets().leave(old.facet);
    std::int64_t facet = writer.facets().enter(*writer, old.info.parent, row.key);
    writer
        ->prepare("UPDATE object SET facet = ?, submitted = ?, delivered = ?, size = ?, modified = ?, change = ? "
                  "WHERE id = ?")
        .bind(facet, row.submitted, row.delivered, measure(*writer, id), writer.now(), writer.change(), id)
        .run();
    writer.entries().messageChanged(id, old.info.parent, old.key, row.key);
}

} // namespace

void applyToMessage(Writer &writer, const ObjectRow &old, const MessageChanges &changes)
{
    ObjectId id = old.info.id;
    requireDistinctNumbers(changes.attachments);
    applyChanges(writer, id, ObjectKind::Message, changes.properties);
    if (changes.recipients) {
        writer->prepare("DELETE FROM object WHERE parent = ? AND kind = 5").bind(id).run();
        insertRecipients(writer, id, *changes.recipients);
    }
    for (const AttachmentChanges &attachment : changes.attachments)
        applyToAttachment(writer, id, attachment);
    MessageRow row{old.key, old.submitted, old.delivered};
    row.apply(changes.properties);
    if (!changes.attachments.empty()) {
        Statement any = writer->prepare("SELECT 1 FROM object WHERE parent = ? AND kind = 4 LIMIT 1");
        row.hasAttachments(any.bind(id).step());
    }
    updateRow(writer, old, row);
}

void requireFolder(Writer &writer, ObjectId folder)
{
    if (getObject(*writer, folder).info.kind != ObjectKind::Folder)
        throw Error(Fault::Invalid, "Messages can only lie in folders.");
}

std::optional<ObjectRow> findMessage(Writer &writer, ObjectId id)
{
    std::optional<ObjectRow> row = findObject(*writer, id);
    if (!row || row->info.kind != ObjectKind::Message)
        return {};
    std::optional<ObjectRow> container = findObject(*writer, row->info.parent);
    return container && container->info.kind == ObjectKind::Folder ? row : std::nullopt;
}

ObjectId moveMessage(Writer &writer, const ObjectRow &row, ObjectId folder)
{
    ObjectId id = writer.newId();
    writer.facets().leave(row.facet);
    std::int64_t facet = writer.facets().enter(*writer, folder, row.key);
    writer->prepare("UPDATE object SET id = ?, parent = ?, facet = ?, change = ? WHERE id = ?")
        .bind(id, folder, facet, writer.change(), row.info.id)
        .run();
    writer.entries().messageRemoved(row.info.id, row.info.parent, row.key);
    writer.entries().messageAdded(id, folder, row.key);
    return id;
}

void removeMessage(Writer &writer, const ObjectRow &row)
{
    writer.facets().leave(row.facet);
    writer->prepare("DELETE FROM object WHERE id = ?").bind(row.info.id).run();
    writer.entries().messageRemoved(row.info.id, row.info.parent, row.key);
}

namespace
{

ObjectId copyObject(Writer &writer, const ObjectRow &from, ObjectId parent)
{
    ObjectId id = writer.newId();
    std::optional<std::int64_t> facet;
    if (from.info.kind == ObjectKind::Message)
        facet = writer.facets().enter(*writer, parent, from.key);
    writer
        ->prepare("INSERT INTO object (id, kind, parent, number, facet, submitted, delivered, size, created, modified, "
                  "change) SELECT ?, kind, ?, number, ?, submitted, delivered, size, ?, ?, ? FROM object WHERE id = ?")
        .bind(id, parent, facet, writer.now(), from.modified, writer.change(), from.info.id)
        .run();
    if (facet)
        writer.entries().messageAdded(id, parent, from.key);
    copyProperties(writer, from.info.id, id);
    std::vector<ObjectId> children;
    {
        Statement rows = writer->prepare("SELECT id FROM object WHERE parent = ? ORDER BY id");
        rows.bind(from.info.id);
        while (rows.step())
            children.push_back(rows.integer(0));
    }
    for (ObjectId child : children)
        copyObject(writer, getObject(*writer, child), id);
    return id;
}

// Does one thing to each message of a list, in one transaction, and gathers the answers.
template <class Answer, class Work>
std::vector<Answer> forEach(Writer &writer, const std::vector<ObjectId> &messages, Work work)
{
    std::vector<Answer> answers;
    answers.reserve(messages.size());
    for (ObjectId id : messages) {
        std::optional<ObjectRow> row = findMessage(writer, id);
        answers.push_back(row ? Answer(work(*row)) : Answer());
    }
    writer.commit();
    return answers;
}

} // namespace

ObjectId Objects::createMessage(ObjectId folder, const MessageChanges &content)
{
    Writer writer(m_site.database());
    requireFolder(writer, folder);
    ObjectId id = insertMessage(writer, folder, content);
    writer.commit();
    return id;
}

std::vector<ObjectId> Objects::createMessages(const std::vector<NewMessage> &messages)
{
    Writer writer(m_site.database());
    std::set<ObjectId> folders;
    std::vector<ObjectId> ids;
    ids.reserve(messages.size());
    for (const NewMessage &message : messages) {
        if (folders.insert(message.folder).second)
            requireFolder(writer, message.folder);
        ids.push_back(insertMessage(writer, message.folder, message.content));
    }
    writer.commit();
    return ids;
}

ChangeNumber Objects::changeMessage(ObjectId message, const MessageChanges &changes,
                                    std::optional<ChangeNumber> expected)
{
    Writer writer(m_site.database());
    std::optional<ObjectRow> row = findMessage(writer, message);
    if (!row)
        throw Error(Fault::NotFound, "The message is not in the site (any more).");
    if (expected && *expected != row->info.change)
        throw Error(Fault::Changed, "The message was changed by somebody else.");
    applyToMessage(writer, *row, changes);
    writer.commit();
    return writer.change();
}

std::vector<ObjectId> Objects::copyMessages(const std::vector<ObjectId> &messages, ObjectId folder)
{
    Writer writer(m_site.database());
    requireFolder(writer, folder);
    return forEach<ObjectId>(writer, messages, [&](const ObjectRow &row) { return copyObject(writer, row, folder); });
}

std::vector<ObjectId> Objects::moveMessages(const std::vector<ObjectId> &messages, ObjectId folder)
{
    Writer writer(m_site.database());
    requireFolder(writer, folder);
    return forEach<ObjectId>(writer, messages, [&](const ObjectRow &row) { return moveMessage(writer, row, folder); });
}

std::vector<bool> Objects::removeMessages(const std::vector<ObjectId> &messages)
{
    Writer writer(m_site.database());
    return forEach<bool>(writer, messages, [&](const ObjectRow &row) {
        removeMessage(writer, row);
        return true;
    });
}

std::vector<bool> Objects::changeFlags(const std::vector<ObjectId> &messages, std::int32_t set, std::int32_t clear)
{
    Writer writer(m_site.database());
    return forEach<bool>(writer, messages, [&](const ObjectRow &row) {
        FacetKey key = row.key;
        key.flags = ((key.flags | set) & ~clear & ~kFlagHasAttachments) | (key.flags & kFlagHasAttachments);
        if (key == row.key)
            return true;
        writer.facets().leave(row.facet);
        writer->prepare("UPDATE object SET facet = ?, modified = ?, change = ? WHERE id = ?")
            .bind(writer.facets().enter(*writer, row.info.parent, key), writer.now(), writer.change(), row.info.id)
            .run();
        writer.entries().messageChanged(row.info.id, row.info.parent, row.key, key);
        return true;
    });
}

void Objects::removeAllMessages(ObjectId folder)
{
    Writer writer(m_site.database());
    requireFolder(writer, folder);
    for (const Facet &facet : facetsOf(*writer, folder)) {
        if (facet.key.flags & kFlagAssociated)
            continue;
        writer->prepare("DELETE FROM object WHERE facet = ?").bind(facet.id).run();
        writer.facets().leave(facet.id, facet.count);
        writer.entries().facetChanged(folder, facet.key, {});
    }
    writer.commit();
}

void Objects::setAllRead(ObjectId folder, bool read)
{
    Writer writer(m_site.database());
    requireFolder(writer, folder);
    for (const Facet &facet : facetsOf(*writer, folder)) {
        if ((facet.key.flags & kFlagAssociated) || ((facet.key.flags & kFlagRead) != 0) == read)
            continue;
        FacetKey key = facet.key;
        key.flags ^= kFlagRead;
        std::int64_t to = writer.facets().enter(*writer, folder, key, facet.count);
        writer.facets().leave(facet.id, facet.count);
        writer->prepare("UPDATE object SET facet = ?, modified = ?, change = ? WHERE facet = ?")
            .bind(to, writer.now(), writer.change(), facet.id)
            .run();
        writer.entries().facetChanged(folder, facet.key, key);
    }
    writer.commit();
}

} // namespace localmapi::storage
