// What is to be other about an object than the file has it, until it is written: in one transaction, or not at all.
// Copies are cheap, since long values are shared.
#pragma once
#include "localmapi/storage/Value.h"
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace localmapi::storage
{

struct Changes {
    PropertyBag set;
    std::vector<Tag> remove; // by id, whatever the type

    bool empty() const { return set.empty() && remove.empty(); }
    // The last word on a property counts.
    void SetLater(Tag tag, Value value);
    void RemoveLater(std::uint16_t id);
    // Makes of the stored properties what they will be.
    void ApplyTo(PropertyBag &bag) const;
};

struct MessageChanges;

// One attachment of a message that is written: made when the number is new or it is whole, else changed or removed.
struct AttachmentChanges {
    std::int32_t number = 0; // chosen by the caller
    bool remove = false;
    Changes properties;
    std::shared_ptr<const MessageChanges> embedded; // the message it holds: made when it has none yet, else changed
    // Of a new one: whether it is still to be written. All copies of the draft know.
    std::shared_ptr<std::atomic<bool>> isUnwritten = nullptr;

    bool IsWhole() const { return isUnwritten && *isUnwritten; } // nothing of what has the number in the file stays
    bool WasWritten() const { return isUnwritten && !*isUnwritten; }
};

struct MessageChanges {
    Changes properties;
    std::optional<std::vector<PropertyBag>> recipients; // when given, the whole list, in order
    std::vector<AttachmentChanges> attachments;         // those not named stay as they are

    bool empty() const { return properties.empty() && !recipients && attachments.empty(); }
    // What is to become of the attachment with this number; null when it is to stay as it is.
    const AttachmentChanges *FindAttachment(std::int32_t number) const;
    // In the place of what was to become of it before.
    void ReplaceAttachment(AttachmentChanges attachment);
    void ForgetAttachment(std::int32_t number);
    // Once it is in the file: its new attachments, and those of messages in it, are no longer new.
    void Written() const noexcept;
    // The bytes that it adds, about.
    std::uint64_t AddedSize() const;
};

std::uint64_t ByteSize(const PropertyBag &bag);

} // namespace localmapi::storage
