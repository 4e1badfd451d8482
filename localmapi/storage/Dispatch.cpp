// A message on its way: from where it lies to all the places where it arrives, in one transaction.
#include "localmapi/storage/Messages.h"
#include <algorithm>
#include <set>

namespace localmapi::storage
{

namespace
{

std::vector<ObjectRow> ChildrenOf(Writer &writer, ObjectId parent, ObjectKind kind)
{
    std::vector<ObjectId> ids;
    {
        Statement rows = writer->Prepare("SELECT id FROM object WHERE parent = ? AND kind = ? ORDER BY number, id");
        rows.Bind(parent, static_cast<std::int64_t>(kind));
        while (rows.Step())
            ids.push_back(rows.Integer(0));
    }
    std::vector<ObjectRow> children;
    for (ObjectId id : ids)
        children.push_back(GetObject(*writer, id));
    return children;
}

// All of a stored message, to make another one of it in this transaction: long values stay where they are.
MessageChanges ContentOf(Writer &writer, const ObjectRow &message)
{
    MessageChanges content;
    content.properties.set = ReadAll(*writer, message, kLongestInline);
    content.properties.set.Erase(kCreationTime);
    content.recipients.emplace();
    for (const ObjectRow &recipient : ChildrenOf(writer, message.info.id, ObjectKind::Recipient))
        content.recipients->push_back(ReadProperties(*writer, recipient.info.id, kLongestInline));
    for (const ObjectRow &row : ChildrenOf(writer, message.info.id, ObjectKind::Attachment)) {
        AttachmentChanges attachment;
        attachment.number = row.info.number;
        attachment.properties.set = ReadAll(*writer, row, kLongestInline);
        for (const ObjectRow &embedded : ChildrenOf(writer, row.info.id, ObjectKind::Message))
            attachment.embedded = std::make_shared<MessageChanges>(ContentOf(writer, embedded));
        content.attachments.push_back(std::move(attachment));
    }
    return content;
}

// The message as it is to be in a place.
MessageChanges Merged(MessageChanges content, const Destination &destination)
{
    for (Tag tag : destination.changes.properties.remove)
        content.properties.set.Erase(tag);
    for (const Property &property : destination.changes.properties.set)
        content.properties.set.Set(property.tag, property.value);
    if (destination.recipients)
        content.recipients = *destination.recipients;
    return content;
}

ObjectId Deliver(Writer &writer, const Destination &destination, const MessageChanges &content)
{
    if (!destination.cover)
        return InsertMessage(writer, destination.folder, Merged(content, destination));
    MessageChanges cover = *destination.cover;
    cover.attachments.at(0).embedded = std::make_shared<MessageChanges>(Merged(content, destination));
    return InsertMessage(writer, destination.folder, cover);
}

// The stored message itself becomes the one in the destination: nothing of it is written again.
ObjectId Carry(Writer &writer, const ObjectRow &stored, const Destination &destination)
{
    ObjectId id = stored.info.id;
    if (stored.info.parent != destination.folder)
        id = MoveMessage(writer, stored, destination.folder);
    MessageChanges changes = destination.changes;
    if (destination.recipients)
        changes.recipients = *destination.recipients;
    ApplyToMessage(writer, GetObject(*writer, id), changes);
    return id;
}

} // namespace

std::vector<ObjectId> Objects::Send(const Dispatch &dispatch)
{
    Writer writer(m_site.GetDatabase());
    std::set<ObjectId> folders;
    for (const Destination &destination : dispatch.destinations)
        if (folders.insert(destination.folder).second)
            RequireFolder(writer, destination.folder);
    std::optional<ObjectRow> stored;
    if (dispatch.message) {
        stored = FindMessage(writer, dispatch.message);
        if (!stored)
            throw Error(Fault::NotFound, "The message is not in the site (any more).");
        if (dispatch.expected && *dispatch.expected != stored->info.change)
            throw Error(Fault::Changed, "The message was changed by somebody else.");
        ApplyToMessage(writer, *stored, dispatch.content);
        stored = FindMessage(writer, dispatch.message);
    }
    // The last place that takes the message as it is gets the stored one; copies are made before.
    std::size_t last = dispatch.destinations.size();
    for (std::size_t i = 0; stored && i < dispatch.destinations.size(); ++i)
        if (!dispatch.destinations[i].cover)
            last = i;
    std::vector<ObjectId> ids(dispatch.destinations.size());
    std::optional<MessageChanges> copy;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i == last)
            continue;
        if (stored && !copy)
            copy = ContentOf(writer, *stored);
        ids[i] = Deliver(writer, dispatch.destinations[i], copy ? *copy : dispatch.content);
    }
    if (last < ids.size())
        ids[last] = Carry(writer, *stored, dispatch.destinations[last]);
    else if (stored)
        RemoveMessage(writer, *stored);
    writer.Commit();
    return ids;
}

} // namespace localmapi::storage
