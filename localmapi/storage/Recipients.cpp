// Lists of recipients lie in an object of their own where several messages have them.
#include "localmapi/storage/Recipients.h"
#include "localmapi/storage/Properties.h"

namespace localmapi::storage
{

ObjectId HolderOfRecipients(Connection &connection, ObjectId message)
{
    Statement find = connection.Prepare("SELECT list FROM object WHERE id = ? AND list IS NOT NULL");
    find.Bind(message);
    return find.Step() ? find.Integer(0) : message;
}

std::vector<PropertyBag> ReadRecipients(Connection &connection, ObjectId message, std::uint64_t longest)
{
    std::vector<std::pair<ObjectId, std::int32_t>> rows;
    {
        Statement find =
            connection.Prepare("SELECT id, number FROM object WHERE parent = ? AND kind = 5 ORDER BY number, id");
        find.Bind(HolderOfRecipients(connection, message));
        while (find.Step())
            rows.emplace_back(find.Integer(0), find.Integer32(1));
    }
    std::vector<PropertyBag> recipients;
    recipients.reserve(rows.size());
    for (const auto &[id, number] : rows) {
        recipients.push_back(ReadProperties(connection, id, longest));
        recipients.back().Set(kRowId, number);
    }
    return recipients;
}

void InsertRecipients(Writer &writer, ObjectId holder, const std::vector<PropertyBag> &recipients)
{
    std::int32_t number = 0;
    for (const PropertyBag &recipient : recipients) {
        ObjectId id = InsertObject(writer, {ObjectKind::Recipient, holder, number++}, recipient,
                                   StoredSize(ObjectKind::Recipient, recipient));
        InsertProperties(writer, id, ObjectKind::Recipient, recipient);
    }
}

RecipientList InsertList(Writer &writer, const std::vector<PropertyBag> &recipients)
{
    RecipientList list;
    for (const PropertyBag &recipient : recipients)
        list.size += StoredSize(ObjectKind::Recipient, recipient);
    list.id = InsertCommon(writer, list.size);
    InsertRecipients(writer, list.id, recipients);
    return list;
}

void ReplaceRecipients(Writer &writer, ObjectId message, const RecipientList &list)
{
    writer->Prepare("DELETE FROM object WHERE parent = ? AND kind = 5").Bind(message).Run();
    writer->Prepare("UPDATE object SET list = ?2 WHERE id = ?1 AND list IS NOT ?2")
        .Bind(message, list.id ? std::optional(list.id) : std::nullopt)
        .Run();
}

} // namespace localmapi::storage
