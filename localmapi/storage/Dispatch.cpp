// A message on its way: from where it lies to all the places where it arrives, in one transaction.
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Staging.h"
#include <map>
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
    content.recipients = ReadRecipients(*writer, message.info.id, kLongestInline);
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
    return content;
}

// The lists of recipients, each of which is written once.
class Lists
{
  public:
    explicit Lists(Writer &writer) : m_writer(writer) {}

    RecipientList Named(const std::vector<PropertyBag> &recipients)
    {
        auto [known, isNew] = m_known.try_emplace(&recipients);
        if (isNew)
            known->second = InsertList(m_writer, recipients);
        return known->second;
    }

  private:
    Writer &m_writer;
    std::map<const std::vector<PropertyBag> *, RecipientList> m_known;
};

// A message that goes to several places: what is long lies in the file once, and so do its recipients.
class Letter
{
  public:
    Letter(Writer &writer, Lists &lists, MessageChanges content, bool several)
        : m_writer(writer), m_lists(lists), m_several(several), m_content(std::move(content))
    {
        m_recipients.swap(m_content.recipients);
        if (several)
            ReplaceLongValues(m_content, [&](Tag tag, const Value &value) {
                m_common.push_back(InsertCommonStream(m_writer, tag, value));
                return Value(m_common.back());
            });
    }

    ObjectId Deliver(const Destination &destination)
    {
        const std::vector<PropertyBag> *recipients = destination.recipients ? destination.recipients.get()
                                                     : m_recipients         ? &*m_recipients
                                                                            : nullptr;
        MessageChanges content = Merged(m_content, destination);
        if (m_several && !destination.cover)
            return InsertMessage(m_writer, destination.folder, content,
                                 recipients ? m_lists.Named(*recipients) : RecipientList());
        if (recipients)
            content.recipients = *recipients;
        if (!destination.cover)
            return InsertMessage(m_writer, destination.folder, content);
        MessageChanges cover = *destination.cover;
        cover.attachments.at(0).embedded = std::make_shared<MessageChanges>(std::move(content));
        return InsertMessage(m_writer, destination.folder, cover);
    }

    // A place may have had other values than these.
    void RemoveWhatNobodyHas()
    {
        for (const StoredStream &data : m_common)
            RemoveUnnamed(m_writer, data);
    }

  private:
    Writer &m_writer;
    Lists &m_lists;
    bool m_several;
    std::optional<std::vector<PropertyBag>> m_recipients;
    MessageChanges m_content;
    std::vector<StoredStream> m_common;
};

// The stored message itself becomes the one in the destination: nothing of it is written again.
ObjectId Carry(Writer &writer, Lists &lists, const ObjectRow &stored, const Destination &destination)
{
    ObjectId id = stored.info.id;
    if (stored.info.parent != destination.folder)
        id = MoveMessage(writer, stored, destination.folder);
    ApplyToMessage(writer, GetObject(*writer, id), destination.changes,
                   destination.recipients ? lists.Named(*destination.recipients) : RecipientList());
    return id;
}

} // namespace

std::vector<ObjectId> Objects::Send(const Dispatch &dispatch)
{
    // What is long is written once, the rest in every place.
    constexpr std::size_t kMany = 100;
    const Staging staging(m_site.GetDatabase(), dispatch.content);
    Writer writer(m_site.GetDatabase(),
                  dispatch.destinations.size() > kMany ? Share::WithNobody : ShareOf(staging.Content()));
    writer.RequireRoomFor(staging.Rest());
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
        ApplyToMessage(writer, *stored, staging.Content());
        stored = FindMessage(writer, dispatch.message);
    }
    // The last place that takes the message as it is gets the stored one; copies are made before.
    std::size_t last = dispatch.destinations.size();
    for (std::size_t i = 0; stored && i < dispatch.destinations.size(); ++i)
        if (!dispatch.destinations[i].cover)
            last = i;
    std::vector<ObjectId> ids(dispatch.destinations.size());
    Lists lists(writer);
    std::optional<Letter> letter;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i == last)
            continue;
        if (!letter)
            letter.emplace(writer, lists, stored ? ContentOf(writer, *stored) : staging.Content(), ids.size() > 1);
        ids[i] = letter->Deliver(dispatch.destinations[i]);
    }
    if (letter)
        letter->RemoveWhatNobodyHas();
    if (last < ids.size())
        ids[last] = Carry(writer, lists, *stored, dispatch.destinations[last]);
    else if (stored)
        RemoveMessage(writer, *stored);
    writer.Commit();
    return ids;
}

} // namespace localmapi::storage
