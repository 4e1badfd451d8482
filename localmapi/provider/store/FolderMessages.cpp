// What a folder does with its messages.
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/store/Folder.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/ReadFlags.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/storage/Error.h"

#include <algorithm>

namespace localmapi
{

using storage::ObjectId;
using storage::PropertyBag;

namespace
{

// More entries than this in one list are taken for a bad argument.
constexpr ULONG kEntryLimit = 0x100000;

HRESULT Completed(bool complete)
{
    return complete ? S_OK : MAPI_W_PARTIAL_COMPLETION;
}

// Bytes of a property that an object has.
Bytes BinaryOfObject(IMAPIProp &object, ULONG tag)
{
    SizedSPropTagArray(1, tags) = {1, {tag}};
    ULONG count = 0;
    Block<SPropValue> values;
    Check(object.GetProps(reinterpret_cast<SPropTagArray *>(&tags), 0, &count, values.put()), "IMAPIProp::GetProps");
    if (count != 1 || values[0].ulPropTag != tag)
        throw Failure(MAPI_E_NO_SUPPORT, "The destination is no folder of this provider.");
    return Bytes(values[0].Value.bin.lpb, values[0].Value.bin.lpb + values[0].Value.bin.cb);
}

// The former status. Bits that others set meanwhile stay: what was read is written back only where nobody wrote since.
ULONG ChangeStatus(storage::Objects &objects, ObjectId message, ULONG status, ULONG mask)
{
    for (;;) {
        const storage::ChangeNumber seen = objects.Info(message).change;
        const PropertyBag bag = objects.Read(message, {PR_MSG_STATUS});
        const auto *stored = bag.get<std::int32_t>(PR_MSG_STATUS);
        const ULONG old = stored ? static_cast<ULONG>(*stored) : 0;
        storage::MessageChanges changes;
        changes.properties.set.Set(PR_MSG_STATUS, static_cast<std::int32_t>((old & ~mask) | (status & mask)));
        try {
            objects.ChangeMessage(message, changes, seen);
            return old;
        } catch (const storage::Error &error) {
            if (error.GetFault() != storage::Fault::Changed)
                throw;
        }
    }
}

LONG LongOfObject(IMAPIProp &object, ULONG tag)
{
    SizedSPropTagArray(1, tags) = {1, {tag}};
    ULONG count = 0;
    Block<SPropValue> values;
    Check(object.GetProps(reinterpret_cast<SPropTagArray *>(&tags), 0, &count, values.put()), "IMAPIProp::GetProps");
    return count == 1 && values[0].ulPropTag == tag ? values[0].Value.l : 0;
}

} // namespace

Folder::Selection Folder::MessagesOf(const ENTRYLIST *list)
{
    Require(list && list->cValues <= kEntryLimit && (list->lpbin || list->cValues == 0), "the list of messages");
    std::vector<ObjectId> ids;
    ids.reserve(list->cValues);
    for (ULONG i = 0; i < list->cValues; ++i) {
        const SBinary &entry = list->lpbin[i];
        Require(entry.lpb || entry.cb == 0, "an entry of the list of messages");
        ids.push_back(
            ParseEntryId(m_store->uid, entry.cb, reinterpret_cast<const ENTRYID *>(entry.lpb), EntryKind::Message)
                .object);
    }
    Selection selection;
    selection.messages.reserve(ids.size());
    for (const auto &info : m_store->objects.Find(ids))
        if (info && info->kind == storage::ObjectKind::Message && info->parent == m_id)
            selection.messages.push_back(info->id);
        else
            selection.complete = false;
    return selection;
}

ObjectId Folder::MessageHere(ULONG size, const ENTRYID *entry)
{
    const storage::ObjectInfo info = m_store->Find(ParseEntryId(m_store->uid, size, entry, EntryKind::Message));
    if (info.parent != m_id)
        throw Failure(MAPI_E_NOT_FOUND, "The message is not in this folder.");
    return info.id;
}

// The folder that another object of this provider stands for: one of this site that its user may write to.
ObjectId Folder::DestinationOf(LPCIID iid, void *folder)
{
    Require(folder != nullptr, "the destination folder");
    if (!Implements<IMAPIFolder>(iid))
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The destination is to be a folder.");
    // Its interface extends IUnknown and IMAPIProp, whichever of them was named.
    ComPtr<IMAPIProp> object;
    Check(static_cast<IUnknown *>(folder)->QueryInterface(IID_IMAPIProp, reinterpret_cast<void **>(object.put())),
          "IMAPIFolder::QueryInterface");
    const Bytes entry = BinaryOfObject(*object.get(), PR_ENTRYID);
    const EntryId id = ParseEntryId(m_store->uid, static_cast<ULONG>(entry.size()),
                                    reinterpret_cast<const ENTRYID *>(entry.data()), EntryKind::Folder);
    const auto mailbox = m_store->directory.MailboxOf(id.object);
    if (!mailbox)
        throw Failure(MAPI_E_NOT_FOUND, "The destination folder was deleted.");
    if (!m_store->directory.MayOpen(m_store->user, *mailbox) ||
        !(LongOfObject(*object.get(), PR_ACCESS_LEVEL) & static_cast<LONG>(MAPI_MODIFY)))
        throw Failure(MAPI_E_NO_ACCESS, "The destination folder can not be written to.");
    return id.object;
}

STDMETHODIMP Folder::CreateMessage(LPCIID lpInterface, ULONG ulFlags, LPMESSAGE *lppMessage)
{
    return Do("IMAPIFolder::CreateMessage", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppMessage != nullptr, "where the message goes");
        *lppMessage = nullptr;
        RequireFlags(ulFlags, MAPI_ASSOCIATED | MAPI_DEFERRED_ERRORS);
        RequireWrite();
        storage::ObjectInfo info;
        info.parent = m_id;
        auto message = MakeObject<Message>(m_store, info, (ulFlags & MAPI_ASSOCIATED) != 0, true);
        GiveObject(message.get(), lpInterface, lppMessage);
        return S_OK;
    });
}

STDMETHODIMP Folder::CopyMessages(LPENTRYLIST lpMsgList, LPCIID lpInterface, LPVOID lpDestFolder, ULONG, LPMAPIPROGRESS,
                                  ULONG ulFlags)
{
    // The destination may be this very folder: it is asked who it is before this one is locked.
    return Run("IMAPIFolder::CopyMessages", [&]() -> HRESULT {
        RequireFlags(ulFlags, MESSAGE_MOVE | MESSAGE_DIALOG | MAPI_DECLINE_OK | MAPI_DEFERRED_ERRORS);
        const ObjectId destination = DestinationOf(lpInterface, lpDestFolder);
        const locks::Hold hold(m_lock);
        const bool move = (ulFlags & MESSAGE_MOVE) != 0;
        if (move)
            RequireWrite();
        Selection selection = MessagesOf(lpMsgList);
        const auto done = move ? m_store->objects.MoveMessages(selection.messages, destination)
                               : m_store->objects.CopyMessages(selection.messages, destination);
        return Completed(selection.complete && std::find(done.begin(), done.end(), 0) == done.end());
    });
}

STDMETHODIMP Folder::DeleteMessages(LPENTRYLIST lpMsgList, ULONG, LPMAPIPROGRESS, ULONG ulFlags)
{
    return Do("IMAPIFolder::DeleteMessages", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, MESSAGE_DIALOG | 0x10 /* DELETE_HARD_DELETE */);
        RequireWrite();
        const Selection selection = MessagesOf(lpMsgList);
        const auto done = m_store->objects.RemoveMessages(selection.messages);
        return Completed(selection.complete && std::find(done.begin(), done.end(), false) == done.end());
    });
}

STDMETHODIMP Folder::SetReadFlags(LPENTRYLIST lpMsgList, ULONG, LPMAPIPROGRESS, ULONG ulFlags)
{
    return Do("IMAPIFolder::SetReadFlags", [&]() REQUIRES(m_lock) -> HRESULT {
        const FlagChange change = ReadFlagChange(ulFlags);
        RequireWrite();
        // No list: all messages of the folder.
        if (!lpMsgList) {
            if ((change.set | change.clear) & MSGFLAG_READ)
                return Completed(m_store->objects.SetAllRead(m_id, (change.set & MSGFLAG_READ) != 0));
            return S_OK;
        }
        const Selection selection = MessagesOf(lpMsgList);
        const auto done = m_store->objects.ChangeFlags(selection.messages, change.set, change.clear);
        return Completed(selection.complete && std::find(done.begin(), done.end(), false) == done.end());
    });
}

STDMETHODIMP Folder::GetMessageStatus(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulFlags, ULONG *lpulMessageStatus)
{
    return Do("IMAPIFolder::GetMessageStatus", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lpulMessageStatus != nullptr, "where the status goes");
        RequireFlags(ulFlags, 0);
        const PropertyBag bag = m_store->objects.Read(MessageHere(cbEntryID, lpEntryID), {PR_MSG_STATUS});
        const auto *status = bag.get<std::int32_t>(PR_MSG_STATUS);
        *lpulMessageStatus = status ? static_cast<ULONG>(*status) : 0;
        return S_OK;
    });
}

STDMETHODIMP Folder::SetMessageStatus(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulNewStatus, ULONG ulNewStatusMask,
                                      ULONG *lpulOldStatus)
{
    return Do("IMAPIFolder::SetMessageStatus", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireWrite();
        const ObjectId message = MessageHere(cbEntryID, lpEntryID);
        const ULONG old = ChangeStatus(m_store->objects, message, ulNewStatus, ulNewStatusMask);
        if (lpulOldStatus)
            *lpulOldStatus = old;
        return S_OK;
    });
}

} // namespace localmapi
