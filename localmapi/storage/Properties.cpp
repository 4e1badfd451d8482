// Reading properties: those in the object's row, those in its property cluster, and the ends of long ones in streams.
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Sizes.h"
#include "platform/lifetime/Lasting.h"
#include <algorithm>
#include <limits>

namespace localmapi::storage
{

namespace
{

constexpr Tag kCommonColumns[] = {kObjectId, kParentId, kChangeNumber, kCreationTime, kLastModificationTime};
constexpr Tag kMessageColumns[] = {kMessageClass, kImportance,  kClientSubmitTime, kMessageDeliveryTime,
                                   kMessageFlags, kMessageSize, kHasAttachments};
constexpr Tag kAttachmentColumns[] = {kAttachNumber, kAttachSize};
constexpr Tag kRecipientColumns[] = {kRowId};
constexpr Tag kMailboxColumns[] = {kMessageSize, kReceiveQuota};
constexpr Tag kFolderColumns[] = {kContentCount, kContentUnread, kAssociatedCount, kSubfolders, kFolderChildCount};

template <class Visit> void EachColumn(ObjectKind kind, Visit visit)
{
    auto all = [&](const auto &tags) { std::for_each(std::begin(tags), std::end(tags), visit); };
    all(kCommonColumns);
    if (kind == ObjectKind::Message)
        all(kMessageColumns);
    else if (kind == ObjectKind::Attachment)
        all(kAttachmentColumns);
    else if (kind == ObjectKind::Recipient)
        all(kRecipientColumns);
    else if (kind == ObjectKind::Folder)
        all(kFolderColumns);
    else if (kind == ObjectKind::Mailbox)
        all(kMailboxColumns);
}

Value TimeValue(std::int64_t time)
{
    return time == kNoTime ? Value() : Value(time);
}

std::int32_t Clamped(std::int64_t number)
{
    return static_cast<std::int32_t>(std::min<std::int64_t>(number, std::numeric_limits<std::int32_t>::max()));
}

Value MessageColumn(const ObjectRow &row, Tag tag)
{
    switch (tag) {
    case kMessageClass:
        return row.key.messageClass ? Value(*row.key.messageClass) : Value();
    case kImportance:
        return row.key.importance ? Value(*row.key.importance) : Value();
    case kClientSubmitTime:
        return TimeValue(row.submitted);
    case kMessageDeliveryTime:
        return TimeValue(row.delivered);
    case kMessageFlags:
        return row.key.flags;
    case kMessageSize:
        return Clamped(row.size);
    case kHasAttachments:
        return (row.key.flags & kFlagHasAttachments) != 0;
    default:
        return {};
    }
}

std::int64_t Counted(Connection &connection, const char *sql, ObjectId folder)
{
    Statement count = connection.Prepare(sql);
    count.Bind(folder);
    return count.Step() ? count.Integer(0) : 0;
}

Value FolderColumn(Connection &connection, ObjectId folder, Tag tag)
{
    switch (tag) {
    case kContentCount:
        return Clamped(
            Counted(connection, "SELECT sum(count) FROM facet WHERE container = ? AND flags & 64 = 0", folder));
    case kContentUnread:
        return Clamped(
            Counted(connection, "SELECT sum(count) FROM facet WHERE container = ? AND flags & 65 = 0", folder));
    case kAssociatedCount:
        return Clamped(Counted(connection, "SELECT sum(count) FROM facet WHERE container = ? AND flags & 64", folder));
    case kSubfolders:
    case kFolderChildCount: {
        std::int64_t folders = Counted(connection, "SELECT count(*) FROM object WHERE parent = ? AND kind = 2", folder);
        return tag == kSubfolders ? Value(folders != 0) : Value(Clamped(folders));
    }
    default:
        return {};
    }
}

Value MailboxColumn(Connection &connection, ObjectId mailbox, Tag tag)
{
    if (tag == kMessageSize)
        return Clamped(BytesIn(connection, mailbox));
    const std::optional<std::int64_t> quota = tag == kReceiveQuota ? QuotaOf(connection, mailbox) : std::nullopt;
    return quota ? Value(Clamped(*quota / 1024)) : Value();
}

Value StreamedValue(Connection &connection, ObjectId id, Tag tag, std::uint64_t longest)
{
    std::optional<StoredStream> stream = FindStream(connection, id, tag);
    if (!stream)
        throw Error(Fault::Corrupt, "A property in the file has neither a value nor a stream.");
    if (stream->size > longest)
        return *stream;
    Bytes whole = ReadWhole(connection, *stream);
    return TagType(tag) == Type::Text ? Value(std::string(whole.begin(), whole.end())) : Value(std::move(whole));
}

Value PropertyValue(Connection &connection, const Statement &row, int column, ObjectId id, Tag tag,
                    std::uint64_t longest)
{
    return row.IsNull(column) ? StreamedValue(connection, id, tag, longest) : Decode(row, column, tag);
}

} // namespace

bool IsColumn(ObjectKind kind, Tag tag)
{
    bool found = false;
    EachColumn(kind, [&](Tag one) { found = found || one == tag; });
    return found;
}

std::optional<ObjectRow> FindObject(Connection &connection, ObjectId id, std::map<std::int64_t, FacetKey> *facets)
{
    Statement find =
        connection.Prepare("SELECT kind, parent, number, change, facet, submitted, delivered, size, created, modified "
                           "FROM object WHERE id = ?");
    find.Bind(id);
    if (!find.Step())
        return {};
    ObjectRow row;
    row.info = {id, static_cast<ObjectKind>(find.Integer(0)), find.Integer(1), find.Integer32(2), find.Integer(3)};
    row.facet = find.Integer(4);
    row.submitted = find.Integer(5);
    row.delivered = find.Integer(6);
    row.size = find.Integer(7);
    row.created = find.Integer(8);
    row.modified = find.Integer(9);
    if (row.info.kind != ObjectKind::Message)
        return row;
    std::map<std::int64_t, FacetKey> own;
    auto [known, isNew] = (facets ? *facets : own).try_emplace(row.facet);
    if (isNew)
        known->second = KeyOfFacet(connection, row.facet).second;
    row.key = known->second;
    return row;
}

std::optional<ObjectId> MailboxOfObject(Connection &connection, ObjectId object)
{
    Statement find = connection.Prepare("WITH RECURSIVE up (id, parent, kind) AS ("
                                        "SELECT id, parent, kind FROM object WHERE id = ? UNION ALL "
                                        "SELECT o.id, o.parent, o.kind FROM up JOIN object o ON o.id = up.parent) "
                                        "SELECT id FROM up WHERE kind = 1");
    find.Bind(object);
    return find.Step() ? std::optional(find.Integer(0)) : std::nullopt;
}

ObjectRow GetObject(Connection &connection, ObjectId id)
{
    std::optional<ObjectRow> row = FindObject(connection, id);
    if (!row)
        throw Error(Fault::NotFound, "The object is not in the site (any more).");
    return *std::move(row);
}

Value ColumnValue(Connection &connection, const ObjectRow &row, Tag tag)
{
    switch (tag) {
    case kObjectId:
        return row.info.id;
    case kParentId:
        return row.info.parent ? Value(row.info.parent) : Value();
    case kChangeNumber:
        return row.info.change;
    case kCreationTime:
        return row.created;
    case kLastModificationTime:
        return row.modified;
    default:
        break;
    }
    switch (row.info.kind) {
    case ObjectKind::Message:
        return MessageColumn(row, tag);
    case ObjectKind::Attachment:
        return tag == kAttachNumber ? Value(row.info.number) : tag == kAttachSize ? Value(Clamped(row.size)) : Value();
    case ObjectKind::Recipient:
        return tag == kRowId ? Value(row.info.number) : Value();
    case ObjectKind::Folder:
        return FolderColumn(connection, row.info.id, tag);
    case ObjectKind::Mailbox:
        return MailboxColumn(connection, row.info.id, tag);
    default:
        return {};
    }
}

PropertyBag ReadProperties(Connection &connection, ObjectId id, std::uint64_t longest)
{
    Statement rows = connection.Prepare("SELECT tag, value FROM property WHERE object = ? ORDER BY tag");
    rows.Bind(id);
    PropertyBag bag;
    while (rows.Step()) {
        Tag tag = static_cast<Tag>(rows.Integer(0));
        bag.Set(tag, PropertyValue(connection, rows, 1, id, tag, longest));
    }
    return bag;
}

PropertyBag ReadAll(Connection &connection, const ObjectRow &row, std::uint64_t longest)
{
    PropertyBag bag = ReadProperties(connection, row.info.id, longest);
    EachColumn(row.info.kind, [&](Tag tag) {
        if (Value value = ColumnValue(connection, row, tag); !IsAbsent(value))
            bag.Set(tag, std::move(value));
    });
    return bag;
}

RowReader::RowReader(Connection &connection, ObjectKind kind, const std::vector<Tag> &tags, std::uint64_t longest)
    : m_connection(connection), m_longest(longest), m_size(tags.size()),
      m_cluster(connection.Prepare("SELECT tag, value FROM property WHERE object = ? AND tag >= ? ORDER BY tag"))
{
    for (std::size_t i = 0; i < tags.size(); ++i)
        (IsColumn(kind, tags[i]) ? m_columns : m_properties).push_back({tags[i], i});
    std::stable_sort(m_properties.begin(), m_properties.end(),
                     [](const Wanted &left, const Wanted &right) { return left.tag < right.tag; });
}

std::vector<Value> RowReader::Read(ObjectId id)
{
    std::vector<Value> values(m_size);
    if (!m_columns.empty()) {
        std::optional<ObjectRow> row = FindObject(m_connection, id, &m_facets);
        if (!row)
            return values;
        for (const Wanted &column : m_columns)
            values[column.at] = ColumnValue(m_connection, *row, column.tag);
    }
    if (m_properties.empty())
        return values;
    // One walk over the object's cluster, beside the wanted tags, from the first of them to the last.
    m_cluster.Bind(id, m_properties.front().tag);
    auto wanted = m_properties.begin();
    while (wanted != m_properties.end() && m_cluster.Step()) {
        Tag tag = static_cast<Tag>(m_cluster.Integer(0));
        while (wanted != m_properties.end() && wanted->tag < tag)
            ++wanted;
        for (; wanted != m_properties.end() && wanted->tag == tag; ++wanted)
            values[wanted->at] = PropertyValue(m_connection, m_cluster, 1, id, tag, m_longest);
    }
    m_cluster.Rewind();
    return values;
}

std::string SizeTerm(const std::string &object)
{
    return "((SELECT IFNULL(sum(value_size(value, tag, 0)), 0) FROM property WHERE object = " + object +
           ") + (SELECT IFNULL(sum(size), 0) FROM stream WHERE object = " + object +
           ") + (SELECT IFNULL(sum(size), 0) FROM object WHERE parent = " + object +
           ") + IFNULL((SELECT size FROM object WHERE id = (SELECT list FROM object WHERE id = " + object + ")), 0))";
}

std::int64_t Measure(Connection &connection, ObjectId id)
{
    static const std::string &sql = lifetime::LastingFrom([] { return "SELECT " + SizeTerm("?1"); });
    Statement sum = connection.Prepare(sql);
    sum.Bind(id);
    return sum.Step() ? sum.Integer(0) : 0;
}

} // namespace localmapi::storage
