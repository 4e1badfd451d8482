// A message's recipients: a list of its own, or one that several messages have.
#pragma once
#include "localmapi/storage/Database.h"

namespace localmapi::storage
{

// A list that messages may name; none where the id is 0.
struct RecipientList {
    ObjectId id = 0;
    std::int64_t size = 0; // bytes
};

// What the recipients lie in: the message, or the list that it names.
ObjectId HolderOfRecipients(Connection &connection, ObjectId message);
std::vector<PropertyBag> ReadRecipients(Connection &connection, ObjectId message, std::uint64_t longest);

void InsertRecipients(Writer &writer, ObjectId holder, const std::vector<PropertyBag> &recipients);
RecipientList InsertList(Writer &writer, const std::vector<PropertyBag> &recipients);
// The message has none then, or those of a list.
void ReplaceRecipients(Writer &writer, ObjectId message, const RecipientList &list = {});

} // namespace localmapi::storage
