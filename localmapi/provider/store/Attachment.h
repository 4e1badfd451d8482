// Attachments of a message. Changes are a draft until SaveChanges, which hands it to the message; the message's own
// SaveChanges writes it.
#pragma once
#include "localmapi/provider/store/Message.h"

namespace localmapi
{

// How deep messages may lie in messages. What is deeper would be beyond what the site's file can delete in one go, and
// would take as much stack to copy.
inline constexpr int kNestingLimit = 64;

class Attachment final : public StoredObject<IAttach>
{
  public:
    // One that is new is not the message's before it is saved.
    Attachment(StorePtr store, ComPtr<Message> message, storage::AttachmentChanges draft, bool isNew, bool writable);

    // In how many messages the attachment's own one lies.
    int Depth() const { return m_message->Depth(); }

    // For the message in this attachment, which calls without holding a lock of this attachment's.
    void TakeEmbedded(const storage::MessageChanges &draft);

  protected:
    storage::PropertyBag Stored(const std::vector<storage::Tag> *tags) REQUIRES(m_lock) override;
    void AddComputed(storage::PropertyBag &bag) REQUIRES(m_lock) override;
    void Change(const storage::PropertyBag &set, const std::vector<storage::Tag> &remove) REQUIRES(m_lock) override;
    bool IsComputed(storage::Tag tag) REQUIRES(m_lock) override;
    void Copy(CopyJob &job) override;
    HRESULT Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object) REQUIRES(m_lock) override;
    HRESULT Save(ULONG flags) REQUIRES(m_lock) override;

  private:
    storage::ObjectId StoredId() REQUIRES(m_lock);
    storage::ObjectId StoredEmbedded() REQUIRES(m_lock);
    void OpenEmbedded(ULONG flags, const IID &iid, IUnknown **object) REQUIRES(m_lock);

    const ComPtr<Message> m_message;
    const std::int32_t m_number;
    storage::AttachmentChanges m_draft GUARDED_BY(m_lock);
    bool m_isNew GUARDED_BY(m_lock);
};

// What a row of an attachment table, and the attachment itself, have beyond what is stored.
void AddAttachmentProperties(const StoreContext &store, std::int32_t number, bool writable, storage::PropertyBag &bag);
// The properties of a new attachment.
storage::Changes NewAttachmentProperties();

} // namespace localmapi
