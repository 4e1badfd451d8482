// Reading objects of any kind, and folders. Messages are in Messages.cpp, what is sent in Dispatch.cpp.
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Recipients.h"
#include "localmapi/storage/StoredReader.h"
#include "localmapi/storage/Text.h"

namespace localmapi::storage
{

namespace
{

class MemoryStream : public Stream
{
  public:
    explicit MemoryStream(std::string bytes) : m_bytes(std::move(bytes)) {}
    std::uint64_t size() const override { return m_bytes.size(); }
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override
    {
        if (offset >= m_bytes.size())
            return 0;
        return m_bytes.copy(static_cast<char *>(into), length, static_cast<std::size_t>(offset));
    }

  private:
    std::string m_bytes;
};

std::vector<ObjectInfo> Children(Connection &connection, ObjectId parent, ObjectKind kind)
{
    Statement rows =
        connection.Prepare("SELECT id, number, change FROM object WHERE parent = ? AND kind = ? ORDER BY number, id");
    rows.Bind(parent, static_cast<std::int64_t>(kind));
    std::vector<ObjectInfo> found;
    while (rows.Step())
        found.push_back({rows.Integer(0), kind, parent, rows.Integer32(1), rows.Integer(2)});
    return found;
}

} // namespace

std::optional<ObjectInfo> Objects::Find(ObjectId id) const
{
    Reader reader(m_site.GetDatabase());
    std::optional<ObjectRow> row = FindObject(*reader, id);
    return row ? std::optional(row->info) : std::nullopt;
}

std::vector<std::optional<ObjectInfo>> Objects::Find(const std::vector<ObjectId> &ids) const
{
    Reader reader(m_site.GetDatabase());
    std::map<std::int64_t, FacetKey> facets;
    std::vector<std::optional<ObjectInfo>> found;
    found.reserve(ids.size());
    for (const ObjectId id : ids) {
        const std::optional<ObjectRow> row = FindObject(*reader, id, &facets);
        found.push_back(row ? std::optional(row->info) : std::nullopt);
    }
    return found;
}

ObjectInfo Objects::Info(ObjectId id) const
{
    Reader reader(m_site.GetDatabase());
    return GetObject(*reader, id).info;
}

PropertyBag Objects::ReadUpTo(ObjectId id, std::uint64_t longest) const
{
    Reader reader(m_site.GetDatabase());
    return ReadAll(*reader, GetObject(*reader, id), longest);
}

PropertyBag Objects::Read(ObjectId id, const std::vector<Tag> &tags, std::uint64_t longest) const
{
    Reader reader(m_site.GetDatabase());
    std::vector<Value> values = RowReader(*reader, GetObject(*reader, id).info.kind, tags, longest).Read(id);
    PropertyBag bag;
    for (std::size_t i = 0; i < tags.size(); ++i)
        if (!IsAbsent(values[i]))
            bag.Set(tags[i], std::move(values[i]));
    return bag;
}

std::vector<ObjectInfo> Objects::Attachments(ObjectId message) const
{
    Reader reader(m_site.GetDatabase());
    return Children(*reader, message, ObjectKind::Attachment);
}

std::vector<PropertyBag> Objects::Recipients(ObjectId message, std::uint64_t longest) const
{
    Reader reader(m_site.GetDatabase());
    return ReadRecipients(*reader, message, longest);
}

ObjectId Objects::EmbeddedMessage(ObjectId attachment) const
{
    Reader reader(m_site.GetDatabase());
    std::vector<ObjectInfo> held = Children(*reader, attachment, ObjectKind::Message);
    return held.empty() ? 0 : held.front().id;
}

std::unique_ptr<Stream> Objects::OpenStream(const StoredStream &stream) const
{
    return OpenStored(m_site, stream.id);
}

std::unique_ptr<Stream> Objects::OpenProperty(ObjectId id, Tag tag) const
{
    PropertyBag bag = Read(id, {tag}, kLongestInline);
    const Value *value = bag.Find(tag);
    if (!value)
        return nullptr;
    if (auto stored = std::get_if<StoredStream>(value))
        return OpenStored(m_site, stored->id);
    if (auto text = std::get_if<std::string>(value))
        return std::make_unique<MemoryStream>(*text);
    if (auto bytes = std::get_if<Bytes>(value))
        return std::make_unique<MemoryStream>(std::string(bytes->begin(), bytes->end()));
    throw Error(Fault::Invalid, "Only text and binary properties can be read as streams.");
}

namespace
{

ObjectId ChildFolderNamed(Connection &connection, ObjectId parent, const std::string &name)
{
    Statement rows = connection.Prepare("SELECT o.id, p.value FROM object o JOIN property p ON p.object = o.id "
                                        "AND p.tag = ? WHERE o.parent = ? AND o.kind = 2");
    rows.Bind(kDisplayName, parent);
    std::string key = FoldCase(name);
    while (rows.Step())
        if (FoldCase(rows.Text(1)) == key)
            return rows.Integer(0);
    return 0;
}

void RequireFreeName(Connection &connection, ObjectId parent, const PropertyBag &properties, ObjectId self)
{
    auto name = properties.get<std::string>(kDisplayName);
    ObjectId other = name ? ChildFolderNamed(connection, parent, *name) : 0;
    if (other && other != self)
        throw Error(Fault::Collision, "There is a folder '" + *name + "' already.");
}

} // namespace

ObjectId InsertFolder(Writer &writer, ObjectId parent, const PropertyBag &properties)
{
    ObjectKind kind = GetObject(*writer, parent).info.kind;
    if (kind != ObjectKind::Folder && kind != ObjectKind::Mailbox)
        throw Error(Fault::Invalid, "A folder can only be made in a mailbox or in another folder.");
    RequireFreeName(*writer, parent, properties, 0);
    ObjectId id = InsertObject(writer, {ObjectKind::Folder, parent}, properties);
    InsertProperties(writer, id, ObjectKind::Folder, properties);
    return id;
}

ObjectId Objects::CreateFolder(ObjectId parent, const PropertyBag &properties)
{
    Writer writer(m_site.GetDatabase());
    int depth = 0;
    for (std::optional<ObjectRow> above = FindObject(*writer, parent); above && above->info.kind == ObjectKind::Folder;
         above = FindObject(*writer, above->info.parent))
        if (++depth >= kDeepestFolder)
            throw Error(Fault::TooComplex, "Folders can not lie deeper in each other.");
    ObjectId id = InsertFolder(writer, parent, properties);
    writer.Commit();
    return id;
}

std::optional<ObjectId> Objects::FolderNamed(ObjectId parent, const std::string &name) const
{
    Reader reader(m_site.GetDatabase());
    ObjectId found = ChildFolderNamed(*reader, parent, name);
    return found ? std::optional(found) : std::nullopt;
}

namespace
{

void RequireOwnFolder(Connection &connection, ObjectId folder)
{
    if (GetObject(connection, folder).info.kind != ObjectKind::Folder)
        throw Error(Fault::Invalid, "The object to be removed is no folder.");
    Statement special = connection.Prepare("SELECT 1 FROM mailbox WHERE ?1 IN "
                                           "(root, ipm_subtree, inbox, outbox, sent_items, deleted_items, calendar)");
    if (special.Bind(folder).Step())
        throw Error(Fault::Invalid, "A folder that every mailbox has can't be removed.");
}

} // namespace

void Objects::RemoveFolder(ObjectId folder)
{
    {
        Reader reader(m_site.GetDatabase());
        RequireOwnFolder(*reader, folder);
    }
    EmptyLargeBranch(m_site, folder);
    EvenOnAFullDisk(m_site.GetDatabase(), [&] {
        Writer writer(m_site.GetDatabase(), Share::WithNobody, References::Checked, Room::IsMade);
        RequireOwnFolder(*writer, folder);
        writer.Entries().FolderRemoved(*writer, folder);
        writer->Prepare("DELETE FROM object WHERE id = ?").Bind(folder).Run();
        writer.Commit();
    });
}

ChangeNumber Objects::Change(ObjectId id, const Changes &changes, std::optional<ChangeNumber> expected)
{
    Writer writer(m_site.GetDatabase());
    ObjectRow row = GetObject(*writer, id);
    ObjectKind kind = row.info.kind;
    if (kind == ObjectKind::Message || kind == ObjectKind::Attachment || kind == ObjectKind::Recipient)
        throw Error(Fault::Invalid, "A message is changed as a whole.");
    if (expected && *expected != row.info.change)
        throw Error(Fault::Changed, "The object was changed by somebody else.");
    if (kind == ObjectKind::Folder)
        RequireFreeName(*writer, row.info.parent, changes.set, id);
    ApplyChanges(writer, id, kind, changes);
    writer->Prepare("UPDATE object SET modified = ?, change = ? WHERE id = ?")
        .Bind(writer.Now(), writer.Change(), id)
        .Run();
    if (kind == ObjectKind::Folder || kind == ObjectKind::User || kind == ObjectKind::Contact)
        writer.Entries().ObjectChanged(kind, id, row.info.parent);
    writer.Commit();
    return writer.Change();
}

} // namespace localmapi::storage
