#include "localmapi/storage/ChangeEntry.h"

namespace localmapi::storage
{

std::int64_t LastEntry(Connection &connection)
{
    return connection.Integer("SELECT max(number) FROM change_entry");
}

bool HoldsEntriesAfter(Connection &connection, std::int64_t number)
{
    Statement find = connection.Prepare("SELECT 1 FROM change_entry WHERE number = ?");
    return find.Bind(number).Step();
}

std::vector<ChangeEntry> EntriesAfter(Connection &connection, std::int64_t number, std::size_t most)
{
    Statement rows = connection.Prepare("SELECT number, kind, event, container, object, flags, class, importance "
                                        "FROM change_entry WHERE number > ? ORDER BY number LIMIT ?");
    rows.Bind(number, static_cast<std::int64_t>(most));
    std::vector<ChangeEntry> entries;
    while (rows.Step()) {
        ChangeEntry entry{rows.Integer(0),
                          static_cast<ObjectKind>(rows.Integer(1)),
                          static_cast<ChangeEntry::Event>(rows.Integer(2)),
                          rows.Integer(3),
                          rows.Integer(4),
                          {}};
        if (!rows.IsNull(5)) {
            entry.before.emplace().flags = rows.Integer32(5);
            if (!rows.IsNull(6))
                entry.before->messageClass = rows.Text(6);
            if (!rows.IsNull(7))
                entry.before->importance = rows.Integer32(7);
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

} // namespace localmapi::storage
