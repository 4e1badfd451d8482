// IMAPIFolder itself: its properties, tables, subfolders. FolderMessages.cpp has what is done to messages,
// FolderCopy.cpp the copies.
#include "localmapi/provider/store/Folder.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/store/FolderTables.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/provider/table/ViewTable.h"
#include "localmapi/storage/Error.h"
#include "localmapi/storage/View.h"

#include <algorithm>

namespace localmapi
{

using storage::ObjectId;
using storage::PropertyBag;

namespace
{

constexpr LONG kFolderAccess = MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE |
                               MAPI_ACCESS_CREATE_HIERARCHY | MAPI_ACCESS_CREATE_CONTENTS |
                               MAPI_ACCESS_CREATE_ASSOCIATED;

} // namespace

Folder::Folder(StorePtr store, const storage::ObjectInfo &info, bool writable)
    : StoredObject(std::move(store), writable), m_id(info.id), m_parent(info.parent)
{
}

ComPtr<IMAPIFolder> MakeFolder(const StorePtr &store, const storage::ObjectInfo &info, bool writable)
{
    return ComPtr<IMAPIFolder>(MakeObject<Folder>(store, info, writable).release());
}

// --- properties ---

PropertyBag Folder::Stored(const std::vector<storage::Tag> *tags)
{
    try {
        return tags ? m_store->objects.Read(m_id, *tags) : m_store->objects.Read(m_id);
    } catch (const storage::Error &error) {
        if (error.GetFault() == storage::Fault::NotFound)
            throw Failure(MAPI_E_OBJECT_DELETED, "The folder was deleted.");
        throw;
    }
}

void Folder::AddComputed(PropertyBag &bag)
{
    for (const storage::Property &property : m_store->Common(MAPI_FOLDER, kFolderAccess, m_writable))
        bag.Set(property.tag, property.value);
    const storage::Mailbox &mailbox = m_store->mailbox;
    const bool root = m_id == mailbox.root;
    bag.Set(PR_ENTRYID, m_store->FolderId(m_id));
    bag.Set(PR_RECORD_KEY, m_store->FolderId(m_id));
    bag.Set(PR_INSTANCE_KEY, InstanceKeyOf(m_id));
    // The root is its own parent, as elsewhere in MAPI.
    bag.Set(PR_PARENT_ENTRYID, m_store->FolderId(root ? m_id : m_parent));
    bag.Set(PR_FOLDER_TYPE, static_cast<std::int32_t>(root ? FOLDER_ROOT : FOLDER_GENERIC));
    // Where a client looks for the calendar.
    if (root || m_id == mailbox.inbox)
        bag.Set(kPrAppointmentEntryId, m_store->FolderId(mailbox.calendar));
    for (const storage::Tag own : {storage::kObjectId, storage::kParentId, storage::kChangeNumber})
        bag.Erase(own);
}

bool Folder::IsComputed(storage::Tag tag)
{
    switch (PROP_ID(tag)) {
    case PROP_ID(PR_ENTRYID):
    case PROP_ID(PR_PARENT_ENTRYID):
    case PROP_ID(PR_FOLDER_TYPE):
    case PROP_ID(PR_CONTENT_COUNT):
    case PROP_ID(PR_CONTENT_UNREAD):
    case PROP_ID(kPrAssociatedCount):
    case PROP_ID(PR_SUBFOLDERS):
    case PROP_ID(PR_CREATION_TIME):
    case storage::TagId(storage::kFolderChildCount):
        return true;
    case PROP_ID(kPrAppointmentEntryId):
        return m_id == m_store->mailbox.root || m_id == m_store->mailbox.inbox;
    default:
        return IsComputedEverywhere(tag);
    }
}

void Folder::Change(const PropertyBag &set, const std::vector<storage::Tag> &remove)
{
    RequireWrite();
    m_store->objects.Change(m_id, {set, remove});
}

HRESULT Folder::Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object)
{
    const bool contents = tag == PR_CONTAINER_CONTENTS || tag == PR_FOLDER_ASSOCIATED_CONTENTS;
    if (!contents && tag != PR_CONTAINER_HIERARCHY)
        return StoredObject::Open(tag, iid, options, flags, object);
    if (iid != IID_IMAPITable)
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    IMAPITable *table = nullptr;
    if (contents)
        GiveContents((options & MAPI_UNICODE) | (tag == PR_FOLDER_ASSOCIATED_CONTENTS ? MAPI_ASSOCIATED : 0), &table);
    else
        GiveHierarchy(options & (MAPI_UNICODE | CONVENIENT_DEPTH), &table);
    *object = table;
    return S_OK;
}

// --- tables and entries ---

void Folder::GiveContents(ULONG flags, IMAPITable **table)
{
    storage::Container container{
        flags & MAPI_ASSOCIATED ? storage::Container::Kind::Associated : storage::Container::Kind::Contents, m_id};
    Check(CreateViewTable(m_store->site, container, ContentsSchema(*m_store, m_id, (flags & MAPI_UNICODE) != 0), table,
                          m_store->advises),
          "making the contents table");
}

void Folder::GiveHierarchy(ULONG flags, IMAPITable **table)
{
    const bool deep = (flags & CONVENIENT_DEPTH) != 0;
    storage::Container container{deep ? storage::Container::Kind::FoldersDeep : storage::Container::Kind::Folders,
                                 m_id};
    Check(CreateViewTable(m_store->site, container, HierarchySchema(*m_store, (flags & MAPI_UNICODE) != 0, deep), table,
                          m_store->advises),
          "making the hierarchy table");
}

STDMETHODIMP Folder::GetContentsTable(ULONG ulFlags, LPMAPITABLE *lppTable)
{
    return Do("IMAPIContainer::GetContentsTable", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | MAPI_ASSOCIATED | MAPI_DEFERRED_ERRORS);
        GiveContents(ulFlags, lppTable);
        return S_OK;
    });
}

STDMETHODIMP Folder::GetHierarchyTable(ULONG ulFlags, LPMAPITABLE *lppTable)
{
    return Do("IMAPIContainer::GetHierarchyTable", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | CONVENIENT_DEPTH | MAPI_DEFERRED_ERRORS);
        GiveHierarchy(ulFlags, lppTable);
        return S_OK;
    });
}

STDMETHODIMP Folder::OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID, LPCIID lpInterface, ULONG ulFlags,
                               ULONG *lpulObjType, LPUNKNOWN *lppUnk)
{
    return Do("IMAPIContainer::OpenEntry",
              [&] { return OpenStoreEntry(m_store, cbEntryID, lpEntryID, lpInterface, ulFlags, lpulObjType, lppUnk); });
}

STDMETHODIMP Folder::SetSearchCriteria(LPSRestriction, LPENTRYLIST, ULONG)
{
    return Unsupported("IMAPIContainer::SetSearchCriteria");
}

STDMETHODIMP Folder::GetSearchCriteria(ULONG, LPSRestriction *, LPENTRYLIST *, ULONG *)
{
    return Unsupported("IMAPIContainer::GetSearchCriteria");
}

STDMETHODIMP Folder::SaveContentsSort(LPSSortOrderSet, ULONG)
{
    return Unsupported("IMAPIFolder::SaveContentsSort");
}

// --- folders in it ---

std::vector<ObjectId> Folder::Subfolders(ObjectId folder) const
{
    const storage::View view(m_store->site, {storage::Container::Kind::Folders, folder});
    std::vector<ObjectId> ids;
    storage::Place place = storage::Place::Beginning();
    for (;;) {
        const auto rows = view.Read(place, storage::Direction::Forward, kRowsAtOnce, {});
        if (rows.empty())
            return ids;
        for (const storage::Row &row : rows)
            ids.push_back(row.id);
        place = rows.back().After();
    }
}

bool Folder::IsSpecial(ObjectId folder) const
{
    const storage::Mailbox &mailbox = m_store->mailbox;
    const ObjectId special[] = {mailbox.root,      mailbox.ipmSubtree,   mailbox.inbox,   mailbox.outbox,
                                mailbox.sentItems, mailbox.deletedItems, mailbox.calendar};
    return std::find(std::begin(special), std::end(special), folder) != std::end(special);
}

STDMETHODIMP Folder::CreateFolder(ULONG ulFolderType, LPTSTR lpszFolderName, LPTSTR lpszFolderComment,
                                  LPCIID lpInterface, ULONG ulFlags, LPMAPIFOLDER *lppFolder)
{
    return Do("IMAPIFolder::CreateFolder", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppFolder != nullptr, "where the folder goes");
        *lppFolder = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | OPEN_IF_EXISTS | MAPI_DEFERRED_ERRORS);
        if (ulFolderType == FOLDER_SEARCH)
            NoSupport("search folders");
        Require(ulFolderType == FOLDER_GENERIC, "the type of folder");
        const std::string name = Utf8FromClient(lpszFolderName, ulFlags);
        Require(!name.empty(), "a folder without a name");
        if (!Implements<IMAPIFolder>(lpInterface))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        RequireWrite();
        const auto existing = m_store->objects.FolderNamed(m_id, name);
        if (existing && !(ulFlags & OPEN_IF_EXISTS))
            throw Failure(MAPI_E_COLLISION, "There is a folder of this name already.");
        ObjectId id = existing.value_or(0);
        if (!id) {
            PropertyBag properties{{PR_DISPLAY_NAME_W, name},
                                   {PR_FOLDER_TYPE, std::int32_t{FOLDER_GENERIC}},
                                   {PR_CONTAINER_CLASS_W, std::string("IPF.Note")}};
            if (lpszFolderComment)
                properties.Set(PR_COMMENT_W, Utf8FromClient(lpszFolderComment, ulFlags));
            id = m_store->objects.CreateFolder(m_id, properties);
        }
        *lppFolder = MakeFolder(m_store, m_store->objects.Info(id), true).release();
        return S_OK;
    });
}

STDMETHODIMP Folder::CopyFolder(ULONG, LPENTRYID, LPCIID, LPVOID, LPTSTR, ULONG, LPMAPIPROGRESS, ULONG)
{
    return Unsupported("IMAPIFolder::CopyFolder");
}

STDMETHODIMP Folder::DeleteFolder(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG, LPMAPIPROGRESS, ULONG ulFlags)
{
    return Do("IMAPIFolder::DeleteFolder", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, DEL_MESSAGES | DEL_FOLDERS | FOLDER_DIALOG);
        RequireWrite();
        const EntryId id = ParseEntryId(m_store->uid, cbEntryID, lpEntryID, EntryKind::Folder);
        const storage::ObjectInfo info = m_store->Find(id);
        if (IsSpecial(info.id))
            throw Failure(MAPI_E_NO_ACCESS, "A special folder can not be deleted.");
        if (info.parent != m_id)
            throw Failure(MAPI_E_NOT_FOUND, "The folder is not in this one.");
        const PropertyBag counts = m_store->objects.Read(info.id, {storage::kContentCount, storage::kSubfolders});
        const auto *messages = counts.get<std::int32_t>(storage::kContentCount);
        const auto *folders = counts.get<bool>(storage::kSubfolders);
        if (messages && *messages && !(ulFlags & DEL_MESSAGES))
            throw Failure(MAPI_E_HAS_MESSAGES, "The folder holds messages.");
        if (folders && *folders && !(ulFlags & DEL_FOLDERS))
            throw Failure(MAPI_E_HAS_FOLDERS, "The folder holds folders.");
        m_store->objects.RemoveFolder(info.id);
        return S_OK;
    });
}

STDMETHODIMP Folder::EmptyFolder(ULONG, LPMAPIPROGRESS, ULONG ulFlags)
{
    return Do("IMAPIFolder::EmptyFolder", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, FOLDER_DIALOG | DEL_ASSOCIATED);
        RequireWrite();
        bool complete = true;
        for (const ObjectId folder : Subfolders(m_id)) {
            if (IsSpecial(folder))
                complete = false;
            else
                m_store->objects.RemoveFolder(folder);
        }
        complete = m_store->objects.RemoveAllMessages(m_id) && complete;
        if (ulFlags & DEL_ASSOCIATED) {
            const storage::View view(m_store->site, {storage::Container::Kind::Associated, m_id});
            for (auto rows = view.Read({}, storage::Direction::Forward, kRowsAtOnce, {}); !rows.empty();
                 rows = view.Read({}, storage::Direction::Forward, kRowsAtOnce, {})) {
                std::vector<ObjectId> ids;
                for (const storage::Row &row : rows)
                    ids.push_back(row.id);
                m_store->objects.RemoveMessages(ids);
            }
        }
        return complete ? S_OK : MAPI_W_PARTIAL_COMPLETION;
    });
}

} // namespace localmapi
