// What was changed in a message and its parts and is not in the file yet. A draft is a difference to what is stored;
// copies are cheap, since long values are shared.
#pragma once
#include "localmapi/storage/Objects.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace localmapi
{

struct PropertyDraft {
    storage::PropertyBag set;
    std::set<std::uint16_t> removed;

    void Set(storage::Tag tag, storage::Value value);
    void Remove(std::uint16_t id);
    bool empty() const { return set.empty() && removed.empty(); }
    // Makes of a stored bag what it will be.
    void ApplyTo(storage::PropertyBag &bag) const;
    storage::Changes ToChanges() const;
};

struct MessageDraft;

struct AttachmentDraft {
    PropertyDraft properties;
    std::shared_ptr<const MessageDraft> embedded;
};

struct MessageDraft {
    PropertyDraft properties;
    std::optional<std::vector<storage::PropertyBag>> recipients;
    std::map<std::int32_t, AttachmentDraft> attachments;
    std::set<std::int32_t> removedAttachments;

    bool empty() const
    {
        return properties.empty() && !recipients && attachments.empty() && removedAttachments.empty();
    }
    storage::MessageChanges ToChanges() const;
    // The bytes that it adds, about.
    std::uint64_t Size() const;
};

std::uint64_t SizeOf(const storage::PropertyBag &bag);

} // namespace localmapi
