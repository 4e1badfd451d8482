// Message stores with their administration interface, and folders.
#include "support/Memory.h"
#include "support/World.h"
#include <algorithm>

namespace mapi_double
{

namespace
{

class FakeManageStore : public ComObject<IExchangeManageStore>
{
  public:
    explicit FakeManageStore(const std::string &store) : ComObject("ManageStore", store) {}

    STDMETHODIMP CreateStoreEntryID(LPSTR storeDN, LPSTR mailboxDN, ULONG flags, ULONG *count, LPENTRYID *id) override
    {
        Call call(*this, "CreateStoreEntryID", {Quoted(storeDN), Quoted(mailboxDN), Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        *count = 0;
        *id = nullptr;
        if (call.GivesNull())
            return call.Return(S_OK);
        for (const auto &[alias, store] : TheWorld().mailboxes)
            if (mailboxDN && store->distinguishedName == mailboxDN) {
                *count = static_cast<ULONG>(store->entryId.size());
                *id = NewEntryId("store entry ID", store->entryId);
                return call.Return(S_OK);
            }
        return call.Return(MAPI_E_NOT_FOUND);
    }
    NOT_CALLED(EntryIDFromSourceKey, (ULONG, BYTE *, ULONG, BYTE *, ULONG *, LPENTRYID *))
    NOT_CALLED(GetRights, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG *))
    NOT_CALLED(GetMailboxTable, (LPSTR, LPMAPITABLE *, ULONG))
    NOT_CALLED(GetPublicFolderTable, (LPSTR, LPMAPITABLE *, ULONG))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IExchangeManageStore; }
};

class FakeStore : public PropObject<IMsgStore>
{
  public:
    explicit FakeStore(std::shared_ptr<StoreData> data) : PropObject("Store", data), m_data(std::move(data)) {}

    STDMETHODIMP OpenEntry(ULONG count, LPENTRYID id, LPCIID iid, ULONG flags, ULONG *type, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenEntry", {EntryId(count, id), Interface(iid), Hex(flags)});
        return OpenEntryOf(call, count, id, nullptr, type, object);
    }
    STDMETHODIMP GetReceiveFolder(LPTSTR messageClass, ULONG flags, ULONG *count, LPENTRYID *id,
                                  LPTSTR *explicitClass) override
    {
        Call call(*this, "GetReceiveFolder", {Quoted(messageClass), Hex(flags), explicitClass ? "out" : "NULL"});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        *count = 0;
        *id = nullptr;
        if (call.GivesNull())
            return call.Return(S_OK);
        if (!m_data->inbox)
            return call.Return(MAPI_E_NOT_FOUND);
        *count = static_cast<ULONG>(m_data->inbox->entryId.size());
        *id = NewEntryId("receive folder ID", m_data->inbox->entryId);
        if (explicitClass) {
            auto *empty = static_cast<char *>(NewRoot("explicit class", 1));
            *empty = '\0';
            *explicitClass = empty;
        }
        return call.Return(S_OK);
    }
    STDMETHODIMP StoreLogoff(ULONG *flags) override
    {
        Call call(*this, "StoreLogoff", {flags ? Hex(*flags) : "NULL"});
        return call.Return(S_OK);
    }
    NOT_CALLED(Advise, (ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *))
    NOT_CALLED(Unadvise, (ULONG))
    NOT_CALLED(CompareEntryIDs, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG *))
    NOT_CALLED(SetReceiveFolder, (LPTSTR, ULONG, ULONG, LPENTRYID))
    NOT_CALLED(GetReceiveFolderTable, (ULONG, LPMAPITABLE *))
    NOT_CALLED(AbortSubmit, (ULONG, LPENTRYID, ULONG))
    NOT_CALLED(GetOutgoingQueue, (ULONG, LPMAPITABLE *))
    NOT_CALLED(SetLockState, (LPMESSAGE, ULONG))
    NOT_CALLED(FinishedMsg, (ULONG, ULONG, LPENTRYID))
    NOT_CALLED(NotifyNewMail, (LPNOTIFICATION))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMsgStore || riid == IID_IMAPIProp; }
    void *Answers(REFIID riid) override
    {
        if (riid == IID_IExchangeManageStore)
            return static_cast<IExchangeManageStore *>(new FakeManageStore(Instance()));
        return PropObject::Answers(riid);
    }

  private:
    std::shared_ptr<StoreData> m_data;
};

class FakeFolder : public PropObject<IMAPIFolder>
{
  public:
    explicit FakeFolder(std::shared_ptr<FolderData> data) : PropObject("Folder", data), m_data(std::move(data)) {}

    STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetContentsTable", {Hex(flags)});
        return call.Give(table, [&] {
            auto rows = m_data->contents;
            if (!m_data->contentsInTurn.empty())
                rows = m_data->contentsInTurn[m_data->turn++ % m_data->contentsInTurn.size()];
            if (!rows) {
                rows = std::make_shared<TableData>(m_data->name);
                for (const auto &message : m_data->messages)
                    rows->rows.push_back(message->props);
            }
            return NewTable(rows);
        });
    }
    STDMETHODIMP OpenEntry(ULONG count, LPENTRYID id, LPCIID iid, ULONG flags, ULONG *type, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenEntry", {EntryId(count, id), Interface(iid), Hex(flags)});
        return OpenEntryOf(call, count, id, m_data, type, object);
    }
    STDMETHODIMP CopyMessages(LPENTRYLIST list, LPCIID iid, LPVOID target, ULONG ui, LPMAPIPROGRESS progress,
                              ULONG flags) override
    {
        Call call(*this, "CopyMessages",
                  {EntryList(list), Interface(iid), ObjectName(target), Hex(ui), ObjectName(progress), Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        auto *folder = dynamic_cast<FakeFolder *>(ObjectAt(target));
        if (!folder)
            return call.Return(MAPI_E_INTERFACE_NOT_SUPPORTED);
        auto &messages = m_data->messages;
        for (ULONG i = 0; (flags & MAPI_MOVE) && i < list->cValues; ++i) {
            const std::string id = Bytes(list->lpbin[i].lpb, list->lpbin[i].cb);
            const auto found =
                std::find_if(messages.begin(), messages.end(), [&](const auto &m) { return m->entryId == id; });
            if (found == messages.end())
                return call.Return(MAPI_W_PARTIAL_COMPLETION);
            const auto moved = *found;
            messages.erase(found);
            folder->m_data->messages.push_back(moved);
        }
        return call.Return(S_OK);
    }
    STDMETHODIMP CreateMessage(LPCIID iid, ULONG flags, LPMESSAGE *message) override
    {
        Call call(*this, "CreateMessage", {Interface(iid), Hex(flags)});
        return call.Give(message, [] {
            auto data = std::make_shared<MessageData>("new");
            TheWorld().created.push_back(data);
            return NewMessage(data);
        });
    }
    NOT_CALLED(GetHierarchyTable, (ULONG, LPMAPITABLE *))
    NOT_CALLED(SetSearchCriteria, (LPSRestriction, LPENTRYLIST, ULONG))
    NOT_CALLED(GetSearchCriteria, (ULONG, LPSRestriction *, LPENTRYLIST *, ULONG *))
    NOT_CALLED(DeleteMessages, (LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(CreateFolder, (ULONG, LPTSTR, LPTSTR, LPCIID, ULONG, LPMAPIFOLDER *))
    NOT_CALLED(CopyFolder, (ULONG, LPENTRYID, LPCIID, LPVOID, LPTSTR, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(DeleteFolder, (ULONG, LPENTRYID, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(SetReadFlags, (LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(GetMessageStatus, (ULONG, LPENTRYID, ULONG, ULONG *))
    NOT_CALLED(SetMessageStatus, (ULONG, LPENTRYID, ULONG, ULONG, ULONG *))
    NOT_CALLED(SaveContentsSort, (LPSSortOrderSet, ULONG))
    NOT_CALLED(EmptyFolder, (ULONG, LPMAPIPROGRESS, ULONG))

  protected:
    bool IsOwnInterface(REFIID riid) const override
    {
        return riid == IID_IMAPIFolder || riid == IID_IMAPIContainer || riid == IID_IMAPIProp;
    }

  private:
    std::shared_ptr<FolderData> m_data;
};

} // namespace

IMsgStore *NewStore(std::shared_ptr<StoreData> data)
{
    return new FakeStore(std::move(data));
}

IUnknown *FolderData::Open()
{
    return new FakeFolder(std::static_pointer_cast<FolderData>(TheWorld().entries.at(entryId)));
}

} // namespace mapi_double
