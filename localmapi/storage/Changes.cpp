#include "localmapi/storage/Changes.h"
#include <algorithm>

namespace localmapi::storage
{

void Changes::SetLater(Tag tag, Value value)
{
    set.Set(tag, std::move(value));
    std::erase_if(remove, [&](Tag removed) { return TagId(removed) == TagId(tag); });
}

void Changes::RemoveLater(std::uint16_t id)
{
    const Tag tag = Tag{id} << 16;
    set.Erase(tag);
    if (std::find(remove.begin(), remove.end(), tag) == remove.end())
        remove.push_back(tag);
}

void Changes::ApplyTo(PropertyBag &bag) const
{
    for (const Tag tag : remove)
        bag.Erase(tag);
    for (const Property &property : set)
        bag.Set(property.tag, property.value);
}

const AttachmentChanges *MessageChanges::FindAttachment(std::int32_t number) const
{
    const auto found = std::find_if(attachments.begin(), attachments.end(),
                                    [&](const AttachmentChanges &one) { return one.number == number; });
    return found == attachments.end() ? nullptr : &*found;
}

void MessageChanges::ReplaceAttachment(AttachmentChanges attachment)
{
    ForgetAttachment(attachment.number);
    // New ones are made in the order of their numbers.
    const auto behind = std::find_if(attachments.begin(), attachments.end(),
                                     [&](const AttachmentChanges &one) { return one.number > attachment.number; });
    attachments.insert(behind, std::move(attachment));
}

void MessageChanges::ForgetAttachment(std::int32_t number)
{
    std::erase_if(attachments, [&](const AttachmentChanges &one) { return one.number == number; });
}

void MessageChanges::Written() const noexcept
{
    for (const AttachmentChanges &one : attachments) {
        if (one.isUnwritten)
            *one.isUnwritten = false;
        if (one.embedded)
            one.embedded->Written();
    }
}

std::uint64_t MessageChanges::AddedSize() const
{
    std::uint64_t size = ByteSize(properties.set);
    if (recipients)
        for (const PropertyBag &recipient : *recipients)
            size += ByteSize(recipient);
    for (const AttachmentChanges &one : attachments) {
        size += ByteSize(one.properties.set);
        if (one.embedded)
            size += one.embedded->AddedSize();
    }
    return size;
}

std::uint64_t ByteSize(const PropertyBag &bag)
{
    std::uint64_t size = 0;
    for (const Property &property : bag)
        size += ByteSize(property.value);
    return size;
}

} // namespace localmapi::storage
