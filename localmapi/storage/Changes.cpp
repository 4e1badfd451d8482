#include "localmapi/storage/Changes.h"
#include <algorithm>

namespace localmapi::storage
{

void Changes::setLater(Tag tag, Value value)
{
    set.set(tag, std::move(value));
    std::erase_if(remove, [&](Tag removed) { return tagId(removed) == tagId(tag); });
}

void Changes::removeLater(std::uint16_t id)
{
    const Tag tag = Tag{id} << 16;
    set.erase(tag);
    if (std::find(remove.begin(), remove.end(), tag) == remove.end())
        remove.push_back(tag);
}

void Changes::applyTo(PropertyBag &bag) const
{
    for (const Tag tag : remove)
        bag.erase(tag);
    for (const Property &property : set)
        bag.set(property.tag, property.value);
}

const AttachmentChanges *MessageChanges::attachment(std::int32_t number) const
{
    const auto found = std::find_if(attachments.begin(), attachments.end(),
                                    [&](const AttachmentChanges &one) { return one.number == number; });
    return found == attachments.end() ? nullptr : &*found;
}

void MessageChanges::replaceAttachment(AttachmentChanges attachment)
{
    forgetAttachment(attachment.number);
    // New ones are made in the order of their numbers.
    const auto behind = std::find_if(attachments.begin(), attachments.end(),
                                     [&](const AttachmentChanges &one) { return one.number > attachment.number; });
    attachments.insert(behind, std::move(attachment));
}

void MessageChanges::forgetAttachment(std::int32_t number)
{
    std::erase_if(attachments, [&](const AttachmentChanges &one) { return one.number == number; });
}

std::uint64_t MessageChanges::addedSize() const
{
    std::uint64_t size = byteSize(properties.set);
    if (recipients)
        for (const PropertyBag &recipient : *recipients)
            size += byteSize(recipient);
    for (const AttachmentChanges &one : attachments) {
        size += byteSize(one.properties.set);
        if (one.embedded)
            size += one.embedded->addedSize();
    }
    return size;
}

std::uint64_t byteSize(const PropertyBag &bag)
{
    std::uint64_t size = 0;
    for (const Property &property : bag)
        size += byteSize(property.value);
    return size;
}

} // namespace localmapi::storage
