// The schemas of contents and hierarchy tables.
#include "localmapi/provider/store/FolderTables.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/storage/Tags.h"

namespace localmapi
{

namespace
{

using storage::Filter;
using storage::ObjectId;

ObjectId NumberIn(const storage::Value &value)
{
    const auto *number = std::get_if<std::int64_t>(&value);
    return number ? *number : 0;
}

// The number in an instance key; 0 for bytes that are no such key.
ObjectId NumberOfKey(const storage::Bytes &key)
{
    std::uint64_t id = 0;
    if (key.size() != sizeof(id))
        return 0;
    for (const std::uint8_t byte : key)
        id = id << 8 | byte;
    return static_cast<ObjectId>(id);
}

Filter NumberIs(storage::Tag tag, ObjectId id)
{
    return id ? Filter::Compare(tag, storage::Relation::Equal, std::int64_t{id}) : Filter::Any({});
}

// PR_INSTANCE_KEY: the object's number, most significant byte first.
DerivedColumn InstanceKey()
{
    return {PR_INSTANCE_KEY,
            {storage::kObjectId},
            [](std::span<const storage::Value> from) -> storage::Value { return InstanceKeyOf(NumberIn(from[0])); },
            [](const storage::Value &value) {
                const auto *key = std::get_if<storage::Bytes>(&value);
                return NumberIs(storage::kObjectId, key ? NumberOfKey(*key) : 0);
            }};
}

// The number in an entry ID of this kind; 0 for other bytes, which no row's entry ID equals.
ObjectId NumberOfEntryId(const SiteUid &site, EntryKind kind, const storage::Bytes &bytes)
{
    try {
        const EntryId id =
            ParseEntryId(site, static_cast<ULONG>(bytes.size()), reinterpret_cast<const ENTRYID *>(bytes.data()), kind);
        return id.object;
    } catch (const Failure &) {
        return 0;
    }
}

// A property whose value is the entry ID made of a number in the row.
DerivedColumn EntryIdColumn(const StoreContext &store, storage::Tag tag, storage::Tag from, EntryKind kind)
{
    const SiteUid site = store.uid;
    return {tag,
            {from},
            [site, kind](std::span<const storage::Value> values) -> storage::Value {
                const ObjectId id = NumberIn(values[0]);
                return id ? storage::Value(MakeEntryId(site, kind, id)) : storage::Value();
            },
            [site, kind, from](const storage::Value &value) {
                const auto *bytes = std::get_if<storage::Bytes>(&value);
                return NumberIs(from, bytes ? NumberOfEntryId(site, kind, *bytes) : 0);
            }};
}

} // namespace

storage::Bytes InstanceKeyOf(ObjectId id)
{
    storage::Bytes key;
    for (int shift = 56; shift >= 0; shift -= 8)
        key.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(id) >> shift));
    return key;
}

TableSchema ContentsSchema(const StoreContext &store, ObjectId folder, bool unicode)
{
    TableSchema schema;
    schema.behaviour = store.behaviour;
    schema.columns = {PR_ENTRYID,
                      PR_MESSAGE_CLASS_W,
                      PR_SUBJECT_W,
                      PR_NORMALIZED_SUBJECT_W,
                      PR_SENDER_NAME_W,
                      PR_SENT_REPRESENTING_NAME_W,
                      PR_DISPLAY_TO_W,
                      PR_CLIENT_SUBMIT_TIME,
                      PR_MESSAGE_DELIVERY_TIME,
                      PR_MESSAGE_FLAGS,
                      PR_MESSAGE_SIZE,
                      PR_HASATTACH,
                      PR_IMPORTANCE,
                      PR_SENSITIVITY,
                      PR_PRIORITY,
                      PR_CREATION_TIME,
                      PR_LAST_MODIFICATION_TIME,
                      PR_RECORD_KEY,
                      PR_INSTANCE_KEY,
                      PR_OBJECT_TYPE,
                      PR_PARENT_ENTRYID,
                      PR_STORE_ENTRYID};
    schema.furtherColumns = {PR_SENDER_EMAIL_ADDRESS_W,
                             PR_SENDER_ADDRTYPE_W,
                             PR_SENDER_ENTRYID,
                             PR_SENT_REPRESENTING_EMAIL_ADDRESS_W,
                             PR_SENT_REPRESENTING_ADDRTYPE_W,
                             PR_RECEIVED_BY_NAME_W,
                             PR_DISPLAY_CC_W,
                             PR_DISPLAY_BCC_W,
                             PR_SUBJECT_PREFIX_W,
                             PR_CONVERSATION_TOPIC_W,
                             PR_CONVERSATION_INDEX,
                             PR_COMMENT_W,
                             PR_MSG_STATUS,
                             PR_SEARCH_KEY};
    schema.unicode = unicode;
    schema.constants =
        store.Common(MAPI_MESSAGE, MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE, store.writable);
    schema.constants.Set(PR_PARENT_ENTRYID, store.FolderId(folder));
    schema.constants.Set(PR_ROW_TYPE, std::int32_t{TBL_LEAF_ROW});
    schema.constants.Set(PR_DEPTH, std::int32_t{0});
    schema.derived = {EntryIdColumn(store, PR_ENTRYID, storage::kObjectId, EntryKind::Message),
                      EntryIdColumn(store, PR_RECORD_KEY, storage::kObjectId, EntryKind::Message), InstanceKey()};
    schema.subObjects = true;
    return schema;
}

TableSchema HierarchySchema(const StoreContext &store, bool unicode, bool deep)
{
    TableSchema schema;
    schema.behaviour = store.behaviour;
    schema.columns = {PR_ENTRYID,     PR_DISPLAY_NAME_W, PR_CONTAINER_CLASS_W, PR_COMMENT_W,
                      PR_SUBFOLDERS,  PR_CONTENT_COUNT,  PR_CONTENT_UNREAD,    PR_DEPTH,
                      PR_FOLDER_TYPE, PR_OBJECT_TYPE,    PR_PARENT_ENTRYID,    PR_INSTANCE_KEY,
                      PR_RECORD_KEY,  PR_STORE_ENTRYID};
    schema.furtherColumns = {PR_CREATION_TIME, PR_LAST_MODIFICATION_TIME, kPrAssociatedCount};
    schema.unicode = unicode;
    schema.constants =
        store.Common(MAPI_FOLDER,
                     MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE | MAPI_ACCESS_CREATE_HIERARCHY |
                         MAPI_ACCESS_CREATE_CONTENTS | MAPI_ACCESS_CREATE_ASSOCIATED,
                     store.writable);
    schema.constants.Set(PR_FOLDER_TYPE, std::int32_t{FOLDER_GENERIC});
    schema.constants.Set(PR_ROW_TYPE, std::int32_t{TBL_LEAF_ROW});
    if (!deep)
        schema.constants.Set(PR_DEPTH, std::int32_t{1});
    schema.derived = {EntryIdColumn(store, PR_ENTRYID, storage::kObjectId, EntryKind::Folder),
                      EntryIdColumn(store, PR_RECORD_KEY, storage::kObjectId, EntryKind::Folder),
                      EntryIdColumn(store, PR_PARENT_ENTRYID, storage::kParentId, EntryKind::Folder), InstanceKey()};
    return schema;
}

} // namespace localmapi
