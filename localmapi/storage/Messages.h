// What a write transaction does to single messages; for this layer only.
#pragma once
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Recipients.h"

namespace localmapi::storage
{

// Whether others may wait for a message to be written.
Share ShareOf(const MessageChanges &content);
void RequireFolder(Writer &writer, ObjectId folder);
// A message that lies in a folder; embedded ones belong to their attachments.
std::optional<ObjectRow> FindMessage(Writer &writer, ObjectId id);
// A new message in a folder, or in an attachment; its recipients are given with the rest, or in a list.
ObjectId InsertMessage(Writer &writer, ObjectId container, const MessageChanges &content,
                       const RecipientList &list = {});
void ApplyToMessage(Writer &writer, const ObjectRow &old, const MessageChanges &changes,
                    const RecipientList &list = {});
ObjectId MoveMessage(Writer &writer, const ObjectRow &row, ObjectId folder); // its new id
void RemoveMessage(Writer &writer, const ObjectRow &row);
// The object, with all that is in it, once more in another one.
ObjectId CopyObject(Writer &writer, const ObjectRow &from, ObjectId parent);
// Deletes the messages of a folder and of those in it, where they are more than one commit may take.
void EmptyLargeBranch(const Site &site, ObjectId folder);

} // namespace localmapi::storage
