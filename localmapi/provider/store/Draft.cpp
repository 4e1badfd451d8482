#include "localmapi/provider/store/Draft.h"

namespace localmapi
{

void PropertyDraft::Set(storage::Tag tag, storage::Value value)
{
    set.set(tag, std::move(value));
    removed.erase(storage::tagId(tag));
}

void PropertyDraft::Remove(std::uint16_t id)
{
    set.erase(storage::Tag{id} << 16);
    removed.insert(id);
}

void PropertyDraft::ApplyTo(storage::PropertyBag &bag) const
{
    for (const std::uint16_t id : removed)
        bag.erase(storage::Tag{id} << 16);
    for (const storage::Property &property : set)
        bag.set(property.tag, property.value);
}

storage::Changes PropertyDraft::ToChanges() const
{
    storage::Changes changes;
    changes.set = set;
    for (const std::uint16_t id : removed)
        changes.remove.push_back(storage::Tag{id} << 16);
    return changes;
}

storage::MessageChanges MessageDraft::ToChanges() const
{
    storage::MessageChanges changes;
    changes.properties = properties.ToChanges();
    changes.recipients = recipients;
    for (const std::int32_t number : removedAttachments) {
        storage::AttachmentChanges attachment;
        attachment.number = number;
        attachment.remove = true;
        changes.attachments.push_back(std::move(attachment));
    }
    for (const auto &[number, draft] : attachments) {
        storage::AttachmentChanges attachment;
        attachment.number = number;
        attachment.properties = draft.properties.ToChanges();
        if (draft.embedded)
            attachment.embedded = std::make_shared<storage::MessageChanges>(draft.embedded->ToChanges());
        changes.attachments.push_back(std::move(attachment));
    }
    return changes;
}

std::uint64_t MessageDraft::Size() const
{
    std::uint64_t size = SizeOf(properties.set);
    if (recipients)
        for (const storage::PropertyBag &recipient : *recipients)
            size += SizeOf(recipient);
    for (const auto &attachment : attachments) {
        size += SizeOf(attachment.second.properties.set);
        if (attachment.second.embedded)
            size += attachment.second.embedded->Size();
    }
    return size;
}

std::uint64_t SizeOf(const storage::PropertyBag &bag)
{
    std::uint64_t size = 0;
    for (const storage::Property &property : bag)
        size += storage::byteSize(property.value);
    return size;
}

} // namespace localmapi
