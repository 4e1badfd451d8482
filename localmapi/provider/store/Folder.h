// IMAPIFolder. What is done to a folder and to the messages in it is done at once; SaveChanges has nothing to do.
#pragma once
#include "localmapi/provider/store/StoredObject.h"
#include "localmapi/storage/View.h"

namespace localmapi
{

// How many rows of a folder are read at once where all of them are.
inline constexpr std::size_t kRowsAtOnce = 500;

class Folder final : public StoredObject<IMAPIFolder>
{
  public:
    Folder(StorePtr store, const storage::ObjectInfo &info, bool writable);

    STDMETHODIMP GetContentsTable(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP GetHierarchyTable(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID, LPCIID lpInterface, ULONG ulFlags, ULONG *lpulObjType,
                           LPUNKNOWN *lppUnk) override;
    STDMETHODIMP SetSearchCriteria(LPSRestriction lpRestriction, LPENTRYLIST lpContainerList,
                                   ULONG ulSearchFlags) override;
    STDMETHODIMP GetSearchCriteria(ULONG ulFlags, LPSRestriction *lppRestriction, LPENTRYLIST *lppContainerList,
                                   ULONG *lpulSearchState) override;
    STDMETHODIMP CreateMessage(LPCIID lpInterface, ULONG ulFlags, LPMESSAGE *lppMessage) override;
    STDMETHODIMP CopyMessages(LPENTRYLIST lpMsgList, LPCIID lpInterface, LPVOID lpDestFolder, ULONG ulUIParam,
                              LPMAPIPROGRESS lpProgress, ULONG ulFlags) override;
    STDMETHODIMP DeleteMessages(LPENTRYLIST lpMsgList, ULONG ulUIParam, LPMAPIPROGRESS lpProgress,
                                ULONG ulFlags) override;
    STDMETHODIMP CreateFolder(ULONG ulFolderType, LPTSTR lpszFolderName, LPTSTR lpszFolderComment, LPCIID lpInterface,
                              ULONG ulFlags, LPMAPIFOLDER *lppFolder) override;
    STDMETHODIMP CopyFolder(ULONG cbEntryID, LPENTRYID lpEntryID, LPCIID lpInterface, LPVOID lpDestFolder,
                            LPTSTR lpszNewFolderName, ULONG ulUIParam, LPMAPIPROGRESS lpProgress,
                            ULONG ulFlags) override;
    STDMETHODIMP DeleteFolder(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulUIParam, LPMAPIPROGRESS lpProgress,
                              ULONG ulFlags) override;
    STDMETHODIMP SetReadFlags(LPENTRYLIST lpMsgList, ULONG ulUIParam, LPMAPIPROGRESS lpProgress,
                              ULONG ulFlags) override;
    STDMETHODIMP GetMessageStatus(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulFlags,
                                  ULONG *lpulMessageStatus) override;
    STDMETHODIMP SetMessageStatus(ULONG cbEntryID, LPENTRYID lpEntryID, ULONG ulNewStatus, ULONG ulNewStatusMask,
                                  ULONG *lpulOldStatus) override;
    STDMETHODIMP SaveContentsSort(LPSSortOrderSet lpSortCriteria, ULONG ulFlags) override;
    STDMETHODIMP EmptyFolder(ULONG ulUIParam, LPMAPIPROGRESS lpProgress, ULONG ulFlags) override;

  protected:
    storage::PropertyBag Stored(const std::vector<storage::Tag> *tags) REQUIRES(m_lock) override;
    void AddComputed(storage::PropertyBag &bag) REQUIRES(m_lock) override;
    void Change(const storage::PropertyBag &set, const std::vector<storage::Tag> &remove) REQUIRES(m_lock) override;
    bool IsComputed(storage::Tag tag) REQUIRES(m_lock) override;
    storage::PropertyBag Copyable() REQUIRES(m_lock) override;
    void Copy(CopyJob &job) override;
    HRESULT Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object) REQUIRES(m_lock) override;

  private:
    // The messages that a list names: which of them are in this folder, and whether all are.
    struct Selection {
        std::vector<storage::ObjectId> messages;
        bool complete = true;
    };
    Selection MessagesOf(const ENTRYLIST *list);
    storage::ObjectId MessageHere(ULONG size, const ENTRYID *entry);
    storage::ObjectId DestinationOf(LPCIID iid, void *folder);
    void CopyContents(const storage::Container &container, storage::ObjectId to);
    void GiveContents(ULONG flags, IMAPITable **table);
    void GiveHierarchy(ULONG flags, IMAPITable **table);
    std::vector<storage::ObjectId> Subfolders(storage::ObjectId folder) const;
    bool IsSpecial(storage::ObjectId folder) const;

    const storage::ObjectId m_id;
    const storage::ObjectId m_parent;
};

// A folder with one reference. Throws.
ComPtr<IMAPIFolder> MakeFolder(const StorePtr &store, const storage::ObjectInfo &info, bool writable);

} // namespace localmapi
