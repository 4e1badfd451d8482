// IAttach: reads the stored attachment with the changes on top that are not saved yet.
#include "localmapi/provider/store/Attachment.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/storage/Error.h"

#include <algorithm>
#include <limits>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr LONG kAttachmentAccess = MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE;

storage::Bytes NumberKey(std::int32_t number)
{
    storage::Bytes key;
    for (int shift = 24; shift >= 0; shift -= 8)
        key.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(number) >> shift));
    return key;
}

} // namespace

void AddAttachmentProperties(const StoreContext &store, std::int32_t number, bool writable, PropertyBag &bag)
{
    for (const storage::Property &property : store.Common(MAPI_ATTACH, kAttachmentAccess, writable))
        bag.Set(property.tag, property.value);
    bag.Set(PR_ATTACH_NUM, number);
    bag.Set(PR_RECORD_KEY, NumberKey(number));
    bag.Set(PR_INSTANCE_KEY, NumberKey(number));
    for (const storage::Tag own : {storage::kObjectId, storage::kParentId, storage::kChangeNumber})
        bag.Erase(own);
}

storage::Changes NewAttachmentProperties()
{
    storage::Changes properties;
    properties.SetLater(PR_ATTACH_METHOD, std::int32_t{NO_ATTACHMENT});
    properties.SetLater(PR_RENDERING_POSITION, std::int32_t{-1});
    return properties;
}

Attachment::Attachment(StorePtr store, ComPtr<Message> message, storage::AttachmentChanges draft, bool isNew,
                       bool writable)
    : StoredObject(std::move(store), writable), m_message(std::move(message)), m_number(draft.number),
      m_draft(std::move(draft)), m_isNew(isNew)
{
}

storage::ObjectId Attachment::StoredId()
{
    return m_isNew ? 0 : m_message->StoredAttachment(m_number);
}

PropertyBag Attachment::Stored(const std::vector<storage::Tag> *tags)
{
    PropertyBag bag;
    if (const storage::ObjectId id = StoredId()) {
        try {
            bag = tags ? m_store->objects.Read(id, *tags) : m_store->objects.Read(id);
        } catch (const storage::Error &error) {
            if (error.GetFault() == storage::Fault::NotFound)
                throw Failure(MAPI_E_OBJECT_DELETED, "The attachment was deleted.");
            throw;
        }
    }
    m_draft.properties.ApplyTo(bag);
    return bag;
}

void Attachment::AddComputed(PropertyBag &bag)
{
    if (!m_draft.properties.empty() || m_draft.embedded) {
        const std::uint64_t size =
            storage::ByteSize(Stored(nullptr)) + (m_draft.embedded ? m_draft.embedded->AddedSize() : 0);
        bag.Set(PR_ATTACH_SIZE,
                static_cast<std::int32_t>(std::min<std::uint64_t>(size, std::numeric_limits<std::int32_t>::max())));
    }
    AddAttachmentProperties(*m_store, m_number, m_writable, bag);
}

bool Attachment::IsComputed(storage::Tag tag)
{
    switch (PROP_ID(tag)) {
    case PROP_ID(PR_ATTACH_NUM):
    case PROP_ID(PR_ATTACH_SIZE):
        return true;
    default:
        return IsComputedEverywhere(tag);
    }
}

void Attachment::Change(const PropertyBag &set, const std::vector<storage::Tag> &remove)
{
    RequireWrite();
    for (const storage::Property &property : set)
        m_draft.properties.SetLater(property.tag, property.value);
    for (const storage::Tag tag : remove)
        m_draft.properties.RemoveLater(storage::TagId(tag));
}

HRESULT Attachment::Save(ULONG flags)
{
    RequireWrite();
    m_message->TakeAttachment(m_draft, m_isNew);
    m_isNew = false;
    if (!(flags & KEEP_OPEN_READWRITE))
        m_writable = false;
    return S_OK;
}

// --- the message in an attachment ---

storage::ObjectId Attachment::StoredEmbedded()
{
    const storage::ObjectId attachment = StoredId();
    return attachment ? m_store->objects.EmbeddedMessage(attachment) : 0;
}

void Attachment::TakeEmbedded(const storage::MessageChanges &draft)
{
    const locks::Hold hold(m_lock);
    RequireWrite();
    m_draft.embedded = std::make_shared<storage::MessageChanges>(draft);
}

void Attachment::OpenEmbedded(ULONG flags, const IID &iid, IUnknown **object)
{
    const bool write = (flags & (MAPI_MODIFY | MAPI_CREATE)) != 0;
    if (write)
        RequireWrite();
    const storage::ObjectId stored = StoredEmbedded();
    const bool fresh = (flags & MAPI_CREATE) != 0;
    if (fresh && Depth() >= kNestingLimit)
        throw Failure(MAPI_E_TOO_COMPLEX, "Messages can not lie deeper in each other.");
    if (!stored && !m_draft.embedded && !fresh)
        throw Failure(MAPI_E_NOT_FOUND, "The attachment holds no message.");
    storage::MessageChanges draft;
    if (m_draft.embedded && !fresh)
        draft = *m_draft.embedded;
    if (stored && fresh) {
        // A new message in the place of the old one: what that had goes.
        for (const storage::Property &property : m_store->objects.ReadUpTo(stored, 0))
            draft.properties.RemoveLater(storage::TagId(property.tag));
        draft.recipients.emplace();
        for (const storage::ObjectInfo &attachment : m_store->objects.Attachments(stored))
            draft.ReplaceAttachment({attachment.number, true, {}, {}});
    }
    auto message = MakeObject<Message>(m_store, Share<Attachment>(this), stored, std::move(draft), fresh, write);
    GiveObject(message.get(), &iid, object);
}

HRESULT Attachment::Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object)
{
    if (tag != PR_ATTACH_DATA_OBJ || IsStreamInterface(iid))
        return StoredObject::Open(tag, iid, options, flags, object);
    RequireFlags(flags, MAPI_CREATE | MAPI_MODIFY | MAPI_DEFERRED_ERRORS);
    if (iid != IID_IMessage && iid != IID_IMAPIProp && iid != IID_IUnknown)
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The attachment's data can not be opened as what was asked for.");
    OpenEmbedded(flags, iid, object);
    return S_OK;
}

} // namespace localmapi
