// Checks when a store is opened, and the opening of folders and messages through it.
#include "localmapi/provider/store/StoreContext.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/store/Folder.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/StoreTags.h"

#include <cstring>

namespace localmapi
{

namespace
{

constexpr ULONG kOpenStoreFlags = MDB_NO_DIALOG | MDB_WRITE | MAPI_DEFERRED_ERRORS | MAPI_BEST_ACCESS | MDB_TEMPORARY |
                                  MDB_NO_MAIL | MDB_ONLINE | MAPI_NO_CACHE;

constexpr LONG kSupport = STORE_ENTRYID_UNIQUE | STORE_MODIFY_OK | STORE_CREATE_OK | STORE_ATTACH_OK | STORE_OLE_OK |
                          STORE_MV_PROPS_OK | STORE_RESTRICTION_OK | STORE_SORT_OK | kStoreUnicodeOk;

storage::User OwnerOf(const storage::Directory &directory, const storage::Mailbox &mailbox)
{
    auto owner = directory.GetUser(mailbox.owner);
    if (!owner)
        throw Failure(MAPI_E_NOT_FOUND, "The mailbox has no owner in the directory.");
    return *owner;
}

} // namespace

StoreContext::StoreContext(const StoreLogon &logon)
    : site(logon.site), objects(logon.site), directory(logon.site), uid(logon.site.Info().uid),
      mailbox(directory.GetMailbox(logon.mailbox)), owner(OwnerOf(directory, mailbox)), user(logon.user),
      writable((logon.flags & (MDB_WRITE | MAPI_BEST_ACCESS)) != 0), isDefault(logon.isDefault),
      entryId(MakeStoreEntryId(uid, mailbox.id, 0)), recordKey(uid.begin(), uid.begin() + 8), behaviour(logon.behaviour)
{
    RequireFlags(logon.flags, kOpenStoreFlags);
    if (!directory.MayOpen(user, mailbox.id))
        throw Failure(MAPI_E_NO_ACCESS, "The user has no right to the mailbox of " + owner.name + ".");
    for (int shift = 56; shift >= 0; shift -= 8)
        recordKey.push_back(static_cast<BYTE>(static_cast<std::uint64_t>(mailbox.id) >> shift));
}

storage::ObjectInfo StoreContext::Find(const EntryId &id) const
{
    const auto found = directory.FindIn(mailbox.id, id.object);
    const auto kind = id.kind == EntryKind::Folder ? storage::ObjectKind::Folder : storage::ObjectKind::Message;
    if (!found || found->kind != kind)
        throw Failure(MAPI_E_NOT_FOUND, id.kind == EntryKind::Folder ? "There is no such folder in the mailbox."
                                                                     : "There is no such message in the mailbox.");
    return *found;
}

storage::PropertyBag StoreContext::Common(LONG objectType, LONG access, bool modify) const
{
    return {{PR_STORE_ENTRYID, entryId},
            {PR_STORE_RECORD_KEY, recordKey},
            {PR_MAPPING_SIGNATURE, Bytes(uid.begin(), uid.end())},
            {PR_STORE_SUPPORT_MASK, std::int32_t{kSupport}},
            {PR_OBJECT_TYPE, std::int32_t{objectType}},
            {PR_ACCESS, std::int32_t{modify ? access : access & static_cast<LONG>(MAPI_ACCESS_READ)}},
            {PR_ACCESS_LEVEL, std::int32_t{modify ? static_cast<LONG>(MAPI_MODIFY) : 0}}};
}

void StoreContext::RequireWritable() const
{
    if (!writable)
        throw Failure(MAPI_E_NO_ACCESS, "The store is open for reading only.");
}

bool WantsToWrite(const StoreContext &store, ULONG flags)
{
    if (flags & MAPI_BEST_ACCESS)
        return store.writable;
    if (flags & MAPI_MODIFY)
        store.RequireWritable();
    return (flags & MAPI_MODIFY) != 0;
}

HRESULT OpenStoreEntry(const StorePtr &store, ULONG size, ENTRYID *entry, LPCIID iid, ULONG flags, ULONG *type,
                       IUnknown **object)
{
    Require(object != nullptr, "where the object goes");
    *object = nullptr;
    RequireFlags(flags, kOpenEntryFlags);
    EntryId id;
    if (size == 0) {
        id.kind = EntryKind::Folder;
        id.object = store->mailbox.root;
    } else {
        id = store->Parse(size, entry);
        if (id.kind != EntryKind::Folder && id.kind != EntryKind::Message)
            throw Failure(MAPI_E_INVALID_ENTRYID, "The entry identifier is of no folder or message.");
    }
    const storage::ObjectInfo info = store->Find(id);
    const bool write = WantsToWrite(*store, flags);
    if (id.kind == EntryKind::Folder)
        GiveObject(MakeFolder(store, info, write).get(), iid, object);
    else
        GiveObject(MakeMessage(store, info, write).get(), iid, object);
    if (type)
        *type = id.kind == EntryKind::Folder ? MAPI_FOLDER : MAPI_MESSAGE;
    return S_OK;
}

} // namespace localmapi
