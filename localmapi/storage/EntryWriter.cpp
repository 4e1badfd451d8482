// Collects entries by container, so that one of which much changed gets few, and writes them with the transaction. Old
// ones are deleted here too.
#include "localmapi/storage/EntryWriter.h"
#include "localmapi/storage/Tags.h"

namespace localmapi::storage
{

namespace
{

using Event = ChangeEntry::Event;

// More changes than this to the messages of one container in one transaction are told together.
constexpr std::size_t kMostTold = 100;
// How many entries are kept, and after how many transactions, of whatever kind, older ones are looked for.
constexpr std::int64_t kKept = 10000;
constexpr ChangeNumber kPruneEvery = 256;

// Whether the counts in a folder's row are others when a message changes so.
bool IsCountedOtherwise(const FacetKey &before, const FacetKey &after)
{
    return ((before.flags ^ after.flags) & (kFlagRead | kFlagAssociated)) != 0;
}

// Writes the rows of one transaction.
class Inserter
{
  public:
    Inserter(Connection &connection, ChangeNumber change)
        : m_change(change), m_changeBefore(LastEntry(connection) / kEntriesPerChange),
          m_first(change * kEntriesPerChange), m_next(m_first), m_connection(connection),
          m_insert(connection.Prepare("INSERT INTO change_entry (number, kind, event, container, object, flags, class, "
                                      "importance) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"))
    {
    }

    void Write(const ChangeEntry &entry)
    {
        if (m_next - m_first == kEntriesPerChange)
            throw Error(Fault::TooBig, "A single change touches too many objects.");
        // One expression: the statement reads bound text where it lies until it has run.
        m_insert
            .Bind(m_next++, static_cast<std::int64_t>(entry.kind), static_cast<std::int64_t>(entry.event),
                  entry.container, entry.object, entry.before ? std::optional(entry.before->flags) : std::nullopt,
                  entry.before ? entry.before->messageClass : std::nullopt,
                  entry.before ? entry.before->importance : std::nullopt)
            .Run();
    }

    void Prune()
    {
        if (m_change / kPruneEvery != m_changeBefore / kPruneEvery || m_next - m_first > kPruneEvery)
            m_connection
                .Prepare("DELETE FROM change_entry WHERE number <= "
                         "(SELECT number FROM change_entry ORDER BY number DESC LIMIT 1 OFFSET ?)")
                .Bind(kKept)
                .Run();
    }

  private:
    ChangeNumber m_change, m_changeBefore; // the one that wrote the newest entry until now
    std::int64_t m_first, m_next;
    Connection &m_connection;
    Statement m_insert;
};

} // namespace

EntryWriter::Contents &EntryWriter::Add(ObjectId container, Event event, ObjectId message, const FacetKey *before,
                                        const FacetKey *after)
{
    Contents &contents = m_contents[container];
    for (const FacetKey *key : {before, after})
        if (key)
            contents.keys.insert(*key);
    if (!before || !after || IsCountedOtherwise(*before, *after))
        m_counted.insert(container);
    if (!contents.several)
        contents.entries.push_back(
            {0, ObjectKind::Message, event, container, message, before ? std::optional(*before) : std::nullopt});
    if (contents.entries.size() > kMostTold) {
        contents.several = true;
        contents.entries.clear();
    }
    return contents;
}

void EntryWriter::MessageAdded(ObjectId message, ObjectId container, const FacetKey &after)
{
    Add(container, Event::Added, message, nullptr, &after);
}

void EntryWriter::MessageChanged(ObjectId message, ObjectId container, const FacetKey &before, const FacetKey &after)
{
    Add(container, Event::Modified, message, &before, &after);
}

void EntryWriter::MessageRemoved(ObjectId message, ObjectId container, const FacetKey &before)
{
    Add(container, Event::Removed, message, &before, nullptr);
}

void EntryWriter::FacetChanged(ObjectId container, const FacetKey &before, const std::optional<FacetKey> &after)
{
    Contents &contents = Add(container, Event::Several, 0, &before, after ? &*after : nullptr);
    contents.several = true;
    contents.entries.clear();
}

void EntryWriter::ObjectAdded(ObjectKind kind, ObjectId object, ObjectId container)
{
    m_objects.push_back({0, kind, Event::Added, container, object, {}});
    if (kind == ObjectKind::Folder) {
        m_told.insert(object);
        m_counted.insert(container);
    }
}

void EntryWriter::ObjectChanged(ObjectKind kind, ObjectId object, ObjectId container)
{
    m_objects.push_back({0, kind, Event::Modified, container, object, {}});
    if (kind == ObjectKind::Folder)
        m_told.insert(object);
}

void EntryWriter::FolderRemoved(Connection &connection, ObjectId folder)
{
    Statement rows = connection.Prepare(
        "WITH RECURSIVE gone (id, parent) AS (SELECT id, parent FROM object WHERE id = ? UNION ALL "
        "SELECT o.id, o.parent FROM object o JOIN gone ON o.parent = gone.id WHERE o.kind = 2) SELECT * FROM gone");
    rows.Bind(folder);
    while (rows.Step()) {
        ObjectId gone = rows.Integer(0), parent = rows.Integer(1);
        m_objects.push_back({0, ObjectKind::Folder, Event::Removed, parent, gone, {}});
        m_objects.push_back({0, ObjectKind::Message, Event::Several, gone, 0, {}});
        m_told.insert(gone);
        if (gone == folder)
            m_counted.insert(parent);
    }
}

std::vector<ChangeEntry> EntryWriter::EntriesOf(ObjectId container, Contents &&contents)
{
    if (!contents.several)
        return std::move(contents.entries);
    std::vector<ChangeEntry> entries;
    if (contents.keys.size() > kMostTold || contents.keys.empty())
        entries.push_back({0, ObjectKind::Message, Event::Several, container, 0, {}});
    else
        for (const FacetKey &key : contents.keys)
            entries.push_back({0, ObjectKind::Message, Event::Several, container, 0, key});
    return entries;
}

void EntryWriter::AddRowsOf(Connection &connection, const std::set<ObjectId> &touched)
{
    for (ObjectId container : touched)
        if (!m_contents.count(container)) {
            m_contents[container].several = true;
            m_counted.insert(container);
        }
    Statement parent = connection.Prepare("SELECT parent FROM object WHERE id = ? AND kind = 2");
    for (ObjectId container : m_counted) {
        parent.Bind(container);
        if (parent.Step() && !m_told.count(container))
            m_objects.push_back({0, ObjectKind::Folder, Event::Modified, parent.Integer(0), container, {}});
        parent.Rewind();
    }
}

bool EntryWriter::Settle(Connection &connection, ChangeNumber change, const std::set<ObjectId> &touched)
{
    AddRowsOf(connection, touched);
    if (!m_everything && m_contents.empty() && m_objects.empty())
        return false;
    Inserter inserter(connection, change);
    if (m_everything) {
        connection.Execute("DELETE FROM change_entry");
        inserter.Write({});
    } else {
        for (auto &[container, contents] : m_contents)
            for (const ChangeEntry &entry : EntriesOf(container, std::move(contents)))
                inserter.Write(entry);
        for (const ChangeEntry &entry : m_objects)
            inserter.Write(entry);
        inserter.Prune();
    }
    *this = {};
    return true;
}

} // namespace localmapi::storage
