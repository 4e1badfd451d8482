// Messages. What is changed in an open message, its recipients and its attachments is a draft that nobody else sees;
// SaveChanges writes it in one transaction. A message that an attachment holds saves into that attachment.
#pragma once
#include "localmapi/provider/store/StoredObject.h"

namespace localmapi
{

class Attachment;

class Message final : public StoredObject<IMessage>
{
  public:
    // A message of a folder: stored, or new when `info` has no id (its parent is the folder), then `associated` or not.
    Message(StorePtr store, const storage::ObjectInfo &info, bool associated, bool writable);
    // The message in an attachment: what is stored (0: nothing) and what was changed in it already; `fresh` makes a
    // new message of it.
    Message(StorePtr store, ComPtr<Attachment> holder, storage::ObjectId stored, storage::MessageChanges draft,
            bool fresh, bool writable);
    ~Message() override;

    STDMETHODIMP GetAttachmentTable(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP OpenAttach(ULONG ulAttachmentNum, LPCIID lpInterface, ULONG ulFlags, LPATTACH *lppAttach) override;
    STDMETHODIMP CreateAttach(LPCIID lpInterface, ULONG ulFlags, ULONG *lpulAttachmentNum,
                              LPATTACH *lppAttach) override;
    STDMETHODIMP DeleteAttach(ULONG ulAttachmentNum, ULONG ulUIParam, LPMAPIPROGRESS lpProgress,
                              ULONG ulFlags) override;
    STDMETHODIMP GetRecipientTable(ULONG ulFlags, LPMAPITABLE *lppTable) override;
    STDMETHODIMP ModifyRecipients(ULONG ulFlags, LPADRLIST lpMods) override;
    STDMETHODIMP SubmitMessage(ULONG ulFlags) override;
    STDMETHODIMP SetReadFlag(ULONG ulFlags) override;

    // In how many messages it lies.
    int Depth() const { return m_depth; }

    // For this message's attachments, which call without holding a lock of this message's.
    storage::ObjectId StoredAttachment(std::int32_t number);
    void TakeAttachment(storage::AttachmentChanges draft, bool isNew);

  protected:
    storage::PropertyBag Stored(const std::vector<storage::Tag> *tags) REQUIRES(m_lock) override;
    void AddComputed(storage::PropertyBag &bag) REQUIRES(m_lock) override;
    storage::PropertyBag ReadSome(const std::vector<storage::Tag> &tags) REQUIRES(m_lock) override;
    void Change(const storage::PropertyBag &set, const std::vector<storage::Tag> &remove) REQUIRES(m_lock) override;
    bool IsComputed(storage::Tag tag) REQUIRES(m_lock) override;
    storage::PropertyBag Copyable() REQUIRES(m_lock) override;
    void Copy(CopyJob &job) override;
    HRESULT Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object) REQUIRES(m_lock) override;
    HRESULT Save(ULONG flags) REQUIRES(m_lock) override;

  private:
    bool IsEmbedded() const { return static_cast<bool>(m_holder); }
    void BeginNew(bool associated) REQUIRES(m_lock);
    void FollowSubject() REQUIRES(m_lock);
    void FollowRecipients() REQUIRES(m_lock);
    std::vector<storage::ObjectInfo> StoredAttachments() REQUIRES(m_lock);
    std::vector<storage::PropertyBag> AttachmentRows() REQUIRES(m_lock);
    std::vector<storage::PropertyBag> Recipients() REQUIRES(m_lock);
    void GiveAttachmentTable(ULONG flags, IMAPITable **table) REQUIRES(m_lock);
    void GiveRecipientTable(ULONG flags, IMAPITable **table) REQUIRES(m_lock);
    void WriteDraft(bool force) REQUIRES(m_lock);
    void RequireToBeSubmitted() const REQUIRES(m_lock);
    void SendAsItIs() REQUIRES(m_lock);
    void Send(storage::ChangeNumber expected) REQUIRES(m_lock);

    const ComPtr<Attachment> m_holder;
    const int m_depth = 0;
    storage::ObjectId m_id GUARDED_BY(m_lock) = 0; // in the file; 0: not yet
    storage::ObjectId m_folder GUARDED_BY(m_lock) = 0;
    storage::ChangeNumber m_change GUARDED_BY(m_lock) = 0;
    storage::MessageChanges m_draft GUARDED_BY(m_lock);
    bool m_prefixGiven GUARDED_BY(m_lock) = false; // of the draft's subject, by the client
    std::int32_t m_nextAttachment GUARDED_BY(m_lock) = 0;
    bool m_submitted GUARDED_BY(m_lock) = false;
};

// What tells a message, and every copy of it, from others.
storage::Bytes NewSearchKey();
ComPtr<Message> MakeMessage(const StorePtr &store, const storage::ObjectInfo &info, bool writable);

} // namespace localmapi
