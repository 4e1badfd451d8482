// IMsgStore over a mailbox, and Exchange's administration of stores.
#pragma once
#include "localmapi/provider/store/ReceiveFolders.h"
#include "localmapi/provider/store/StoredObject.h"

namespace localmapi
{

class Store final : public StoredObject<IMsgStore, IExchangeManageStore>
{
  public:
    explicit Store(StorePtr store);

    STDMETHODIMP Advise(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulEventMask, LPMAPIADVISESINK lpAdviseSink,
                        ULONG *lpulConnection) override;
    STDMETHODIMP Unadvise(ULONG ulConnection) override;
    STDMETHODIMP CompareEntryIDs(ULONG cbEntryID1, LPENTRYID lpEntryID1, ULONG cbEntryID2, LPENTRYID lpEntryID2,
                                 ULONG ulFlags, ULONG *lpulResult) override;
    STDMETHODIMP OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID, LPCIID lpInterface, ULONG ulFlags, ULONG *lpulObjType,
                           LPUNKNOWN *lppUnk) override;
    STDMETHODIMP SetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags, ULONG cbEntryID,
                                  LPENTRYID lpEntryID) override;
    STDMETHODIMP GetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags, ULONG *lpcbEntryID, LPENTRYID *lppEntryID,
                                  LPTSTR *lppszExplicitClass) override;
    STDMETHODIMP GetReceiveFolderTable(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP StoreLogoff(ULONG *lpulFlags) override;
    STDMETHODIMP AbortSubmit(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulFlags) override;
    STDMETHODIMP GetOutgoingQueue(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP SetLockState(LPMESSAGE lpMessage, ULONG ulLockState) override;
    STDMETHODIMP FinishedMsg(ULONG ulFlags, ULONG cbEntryID, LPENTRYID lpEntryID) override;
    STDMETHODIMP NotifyNewMail(LPNOTIFICATION lpNotification) override;

    STDMETHODIMP CreateStoreEntryID(LPSTR lpszMsgStoreDN, LPSTR lpszMailboxDN, ULONG ulFlags, ULONG *lpcbEntryID,
                                    LPENTRYID *lppEntryID) override;
    STDMETHODIMP EntryIDFromSourceKey(ULONG cFolderKeySize, BYTE *lpFolderSourceKey, ULONG cMessageKeySize,
                                      BYTE *lpMessageSourceKey, ULONG *lpcbEntryID, LPENTRYID *lppEntryID) override;
    STDMETHODIMP GetRights(ULONG cbUserEntryID, LPENTRYID lpUserEntryID, ULONG cbEntryID, LPENTRYID lpEntryID,
                           ULONG *lpulRights) override;
    STDMETHODIMP GetMailboxTable(LPSTR lpszServerName, LPMAPITABLE *lppTable, ULONG ulFlags) override;
    STDMETHODIMP GetPublicFolderTable(LPSTR lpszServerName, LPMAPITABLE *lppTable, ULONG ulFlags) override;

  protected:
    storage::PropertyBag Stored(const std::vector<storage::Tag> *tags) REQUIRES(m_lock) override;
    void AddComputed(storage::PropertyBag &bag) REQUIRES(m_lock) override;
    void Change(const storage::PropertyBag &set, const std::vector<storage::Tag> &remove) REQUIRES(m_lock) override;
    bool IsComputed(storage::Tag tag) REQUIRES(m_lock) override;

  private:
    std::vector<ReceiveFolder> ReceiveFolders() const;
};

} // namespace localmapi
