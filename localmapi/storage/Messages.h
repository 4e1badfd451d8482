// What a write transaction does to single messages; for this layer only.
#pragma once
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Recipients.h"

namespace localmapi::storage
{

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

} // namespace localmapi::storage
