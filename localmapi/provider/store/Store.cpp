// IMsgStore: opening entries, receive folders, logoff. Its own properties lie with the mailbox's.
#include "localmapi/provider/store/Store.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/store/Folder.h"
#include "localmapi/provider/store/StoreLogon.h"
#include "localmapi/provider/store/StoreTags.h"

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr LONG kStoreAccess = MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE |
                              MAPI_ACCESS_CREATE_HIERARCHY | MAPI_ACCESS_CREATE_CONTENTS |
                              MAPI_ACCESS_CREATE_ASSOCIATED;
constexpr LONG kValidFolders = FOLDER_IPM_SUBTREE_VALID | FOLDER_IPM_INBOX_VALID | FOLDER_IPM_OUTBOX_VALID |
                               FOLDER_IPM_WASTEBASKET_VALID | FOLDER_IPM_SENTMAIL_VALID;
constexpr ULONG kLogoffFlags = LOGOFF_NO_WAIT | LOGOFF_ORDERLY | LOGOFF_PURGE | LOGOFF_ABORT | LOGOFF_QUIET;

storage::Bytes BytesOf(const MAPIUID &uid)
{
    return {uid.ab, uid.ab + sizeof(uid.ab)};
}

} // namespace

HRESULT CreateStore(const StoreLogon &logon, LPCIID lpInterface, IMsgStore **store)
{
    return Guarded([&]() -> HRESULT {
        Require(store != nullptr, "where the store goes");
        *store = nullptr;
        auto object = MakeObject<Store>(std::make_shared<StoreContext>(logon));
        GiveObject(object.get(), lpInterface, store);
        return S_OK;
    });
}

Store::Store(StorePtr store) : StoredObject(store, store->writable)
{
}

// --- properties ---

void Store::AddComputed(PropertyBag &bag)
{
    for (const storage::Property &property : m_store->Common(MAPI_STORE, kStoreAccess, m_writable))
        bag.Set(property.tag, property.value);
    const storage::Mailbox &mailbox = m_store->mailbox;
    bag.Set(PR_ENTRYID, m_store->entryId);
    bag.Set(PR_RECORD_KEY, m_store->recordKey);
    bag.Set(PR_DISPLAY_NAME_W, "Mailbox - " + m_store->owner.name);
    bag.Set(PR_PROVIDER_DISPLAY_W, std::string("localmapi"));
    bag.Set(PR_MDB_PROVIDER, BytesOf(kStoreProvider));
    bag.Set(PR_DEFAULT_STORE, m_store->isDefault);
    bag.Set(PR_VALID_FOLDER_MASK, std::int32_t{kValidFolders});
    bag.Set(PR_IPM_SUBTREE_ENTRYID, m_store->FolderId(mailbox.ipmSubtree));
    bag.Set(PR_IPM_OUTBOX_ENTRYID, m_store->FolderId(mailbox.outbox));
    bag.Set(PR_IPM_SENTMAIL_ENTRYID, m_store->FolderId(mailbox.sentItems));
    bag.Set(PR_IPM_WASTEBASKET_ENTRYID, m_store->FolderId(mailbox.deletedItems));
    bag.Set(kPrMailboxOwnerName, m_store->owner.name);
    bag.Set(kPrMailboxOwnerEntryId, MakeEntryId(m_store->uid, EntryKind::MailUser, m_store->owner.id));
    if (const auto user = m_store->directory.GetUser(m_store->user)) {
        bag.Set(kPrUserName, user->name);
        bag.Set(kPrUserEntryId, MakeEntryId(m_store->uid, EntryKind::MailUser, user->id));
    }
    for (const storage::Tag own :
         {storage::kObjectId, storage::kParentId, storage::kChangeNumber, storage::Tag{kReceiveFolders}})
        bag.Erase(own);
}

PropertyBag Store::Stored(const std::vector<storage::Tag> *tags)
{
    const storage::ObjectId id = m_store->mailbox.id;
    return tags ? m_store->objects.Read(id, *tags) : m_store->objects.Read(id);
}

bool Store::IsComputed(storage::Tag tag)
{
    PropertyBag computed;
    AddComputed(computed);
    return computed.FindId(storage::TagId(tag)) || storage::TagId(tag) == PROP_ID(kReceiveFolders) ||
           storage::TagId(tag) == PROP_ID(PR_CREATION_TIME) || storage::TagId(tag) == PROP_ID(PR_MESSAGE_SIZE) ||
           storage::TagId(tag) == storage::TagId(storage::kReceiveQuota) || IsComputedEverywhere(tag);
}

void Store::Change(const PropertyBag &set, const std::vector<storage::Tag> &remove)
{
    RequireWrite();
    m_store->objects.Change(m_store->mailbox.id, {set, remove});
}

// --- entries ---

STDMETHODIMP Store::OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID, LPCIID lpInterface, ULONG ulFlags,
                              ULONG *lpulObjType, LPUNKNOWN *lppUnk)
{
    return Run("IMsgStore::OpenEntry", [&] {
        return OpenStoreEntry(m_store, cbEntryID, lpEntryID, lpInterface, ulFlags, lpulObjType, lppUnk);
    });
}

STDMETHODIMP Store::CompareEntryIDs(ULONG cbEntryID1, LPENTRYID lpEntryID1, ULONG cbEntryID2, LPENTRYID lpEntryID2,
                                    ULONG ulFlags, ULONG *lpulResult)
{
    return Run("IMsgStore::CompareEntryIDs", [&]() -> HRESULT {
        Require(lpulResult != nullptr, "where the result goes");
        *lpulResult = FALSE;
        RequireFlags(ulFlags, 0);
        const EntryId first = m_store->Parse(cbEntryID1, lpEntryID1);
        const EntryId second = m_store->Parse(cbEntryID2, lpEntryID2);
        *lpulResult = SameObject(first, second) ? TRUE : FALSE;
        return S_OK;
    });
}

STDMETHODIMP Store::StoreLogoff(ULONG *lpulFlags)
{
    return Guarded(m_errors, "IMsgStore::StoreLogoff", [&]() -> HRESULT {
        // Clients pass no flags when they do not care. The store stays what it is until it is released, but nobody is
        // told of its changes any more.
        if (lpulFlags) {
            RequireFlags(*lpulFlags, kLogoffFlags);
            *lpulFlags = LOGOFF_COMPLETE;
        }
        m_store->advises->End();
        Enter(); // last: a session that was dropped is answered so, and logged off none the less
        return S_OK;
    });
}

// --- notifications and the transport ---

STDMETHODIMP Store::Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *)
{
    return Unsupported("IMsgStore::Advise");
}

STDMETHODIMP Store::Unadvise(ULONG)
{
    return Unsupported("IMsgStore::Unadvise");
}

STDMETHODIMP Store::AbortSubmit(ULONG, LPENTRYID, ULONG)
{
    return Unsupported("IMsgStore::AbortSubmit");
}

STDMETHODIMP Store::GetOutgoingQueue(ULONG, LPMAPITABLE *)
{
    return Unsupported("IMsgStore::GetOutgoingQueue");
}

STDMETHODIMP Store::SetLockState(LPMESSAGE, ULONG)
{
    return Unsupported("IMsgStore::SetLockState");
}

STDMETHODIMP Store::FinishedMsg(ULONG, ULONG, LPENTRYID)
{
    return Unsupported("IMsgStore::FinishedMsg");
}

STDMETHODIMP Store::NotifyNewMail(LPNOTIFICATION)
{
    return Unsupported("IMsgStore::NotifyNewMail");
}

} // namespace localmapi
