#include "localmapi/storage/ChangeEntry.h"

namespace localmapi::storage
{

std::int64_t lastEntry(Connection &connection)
{
    return connection.integer("SELECT max(number) FROM change_entry");
}

bool holdsEntriesAfter(Connection &connection, std::int64_t number)
{
    Statement find = connection.prepare("SELECT 1 FROM change_entry WHERE number = ?");
    return find.bind(number).step();
}

std::vector<ChangeEntry> entriesAfter(Connection &connection, std::int64_t number, std::size_t most)
{
    Statement rows = connection.prepare("SELECT number, kind, event, container, object, flags, class, importance "
                                        "FROM change_entry WHERE number > ? ORDER BY number LIMIT ?");
    rows.bind(number, static_cast<std::int64_t>(most));
    std::vector<ChangeEntry> entries;
    while (rows.step()) {
        ChangeEntry entry{rows.integer(0),
                          static_cast<ObjectKind>(rows.integer(1)),
                          static_cast<ChangeEntry::Event>(rows.integer(2)),
                          rows.integer(3),
                          rows.integer(4),
                          {}};
        if (!rows.isNull(5)) {
            entry.before.emplace().flags = rows.integer32(5);
            if (!rows.isNull(6))
                entry.before->messageClass = rows.text(6);
            if (!rows.isNull(7))
                entry.before->importance = rows.integer32(7);
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

} // namespace localmapi::storage
