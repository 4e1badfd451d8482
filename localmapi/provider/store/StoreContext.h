// What a store and every object opened through it share: the site, whose mailbox it is and what its user may do. It
// lives as long as any of them, so that objects stay usable after StoreLogoff and after the store's last release.
#pragma once
#include "ExchangeMapi.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/notify/Advises.h"
#include "localmapi/provider/store/StoreLogon.h"
#include "localmapi/storage/Objects.h"

#include <memory>

namespace localmapi
{

struct StoreContext {
    StoreContext(const StoreLogon &logon);

    storage::Site site;
    storage::Objects objects;
    storage::Directory directory;
    SiteUid uid{};
    storage::Mailbox mailbox;
    storage::User owner;
    storage::ObjectId user = 0;
    bool writable = false;
    bool isDefault = false;
    Bytes entryId;
    Bytes recordKey;
    const BehaviourPtr behaviour;
    // Of the tables that were opened through the store.
    const std::shared_ptr<AdviseScope> advises = std::make_shared<AdviseScope>();

    Bytes FolderId(storage::ObjectId folder) const { return MakeEntryId(uid, EntryKind::Folder, folder); }
    Bytes MessageId(storage::ObjectId message) const { return MakeEntryId(uid, EntryKind::Message, message); }
    // The object that an entry ID of a folder or message names. Throws Failure for what is no entry ID.
    EntryId Parse(ULONG size, const ENTRYID *entry) const { return ParseEntryId(uid, size, entry); }
    // What the object is; Failure(MAPI_E_NOT_FOUND) when it is not in this mailbox (any more).
    storage::ObjectInfo Find(const EntryId &id) const;

    // The properties that everything in the store has: of which store it is, its type and what may be done with it.
    storage::PropertyBag Common(LONG objectType, LONG access, bool modify) const;
    // Failure(MAPI_E_NO_ACCESS) unless the store is open for writing.
    void RequireWritable() const;
};

using StorePtr = std::shared_ptr<StoreContext>;

// The flags that OpenEntry takes on stores and folders.
inline constexpr ULONG kOpenEntryFlags = MAPI_MODIFY | MAPI_BEST_ACCESS | MAPI_DEFERRED_ERRORS | MAPI_NO_CACHE;

// Whether an object is opened for writing: MAPI_MODIFY demands it, MAPI_BEST_ACCESS takes what there is.
bool WantsToWrite(const StoreContext &store, ULONG flags);

// IMsgStore::OpenEntry and IMAPIContainer::OpenEntry. An entry ID of no bytes is the root folder. Throws Failure.
HRESULT OpenStoreEntry(const StorePtr &store, ULONG size, ENTRYID *entry, LPCIID iid, ULONG flags, ULONG *type,
                       IUnknown **object);

// Puts a new object out through the interface that a client asked for. Failure(MAPI_E_INTERFACE_NOT_SUPPORTED) when it
// has none such.
template <class Interface, class Object> void GiveObject(Object *object, LPCIID iid, Interface **out)
{
    void *asked = nullptr;
    const IID &wanted = iid ? *iid : IID_IUnknown;
    if (FAILED(object->QueryInterface(wanted, &asked)))
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The object does not have the interface that was asked for.");
    *out = static_cast<Interface *>(asked);
}

} // namespace localmapi
