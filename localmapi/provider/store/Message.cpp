// IMessage itself: its properties and its saving. MessageParts.cpp has recipients and attachments, MessageSubmit.cpp
// and MessageCopy.cpp what their names say.
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/Attachment.h"
#include "localmapi/provider/store/FolderTables.h"
#include "localmapi/provider/store/ReadFlags.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/provider/store/Subject.h"
#include "localmapi/storage/Error.h"

#include <algorithm>
#include <limits>
#include <random>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr LONG kMessageAccess = MAPI_ACCESS_MODIFY | MAPI_ACCESS_READ | MAPI_ACCESS_DELETE;
// Not to be changed by a client: what has a part in a message that decides where it is shown, or follows from parts.
constexpr std::int32_t kKeptFlags = storage::kFlagHasAttachments | storage::kFlagAssociated;

const std::string *TextOf(const PropertyBag &bag, storage::Tag tag)
{
    return bag.get<std::string>(tag);
}

[[noreturn]] void Deleted()
{
    throw Failure(MAPI_E_OBJECT_DELETED, "The message was deleted.");
}

} // namespace

storage::Bytes NewSearchKey()
{
    static thread_local std::mt19937_64 random{std::random_device{}()};
    storage::Bytes key(16);
    for (std::uint8_t &byte : key)
        byte = static_cast<std::uint8_t>(random());
    return key;
}

Message::Message(StorePtr store, const storage::ObjectInfo &info, bool associated, bool writable)
    : StoredObject(std::move(store), writable), m_id(info.id), m_folder(info.parent), m_change(info.change)
{
    if (!m_id)
        BeginNew(associated);
}

Message::Message(StorePtr store, ComPtr<Attachment> holder, storage::ObjectId stored, storage::MessageChanges draft,
                 bool fresh, bool writable)
    : StoredObject(std::move(store), writable), m_holder(std::move(holder)), m_depth(m_holder->Depth() + 1),
      m_id(stored), m_draft(std::move(draft))
{
    if (fresh)
        BeginNew(false);
}

Message::~Message() = default;

ComPtr<Message> MakeMessage(const StorePtr &store, const storage::ObjectInfo &info, bool writable)
{
    return MakeObject<Message>(store, info, false, writable);
}

void Message::BeginNew(bool associated)
{
    storage::Changes &properties = m_draft.properties;
    properties.SetLater(PR_MESSAGE_CLASS_W, std::string("IPM.Note"));
    properties.SetLater(PR_MESSAGE_FLAGS,
                        std::int32_t{MSGFLAG_READ | MSGFLAG_UNSENT} | (associated ? storage::kFlagAssociated : 0));
    properties.SetLater(PR_IMPORTANCE, std::int32_t{IMPORTANCE_NORMAL});
    properties.SetLater(PR_SENSITIVITY, std::int32_t{SENSITIVITY_NONE});
    properties.SetLater(PR_SEARCH_KEY, NewSearchKey());
    FollowRecipients();
}

// --- reading ---

PropertyBag Message::Stored(const std::vector<storage::Tag> *tags)
{
    if (m_submitted)
        throw Failure(MAPI_E_OBJECT_DELETED, "The message was submitted and is not this object any more.");
    PropertyBag bag;
    if (m_id) {
        try {
            bag = tags ? m_store->objects.Read(m_id, *tags) : m_store->objects.Read(m_id);
        } catch (const storage::Error &error) {
            if (error.GetFault() == storage::Fault::NotFound)
                Deleted();
            throw;
        }
    }
    m_draft.properties.ApplyTo(bag);
    return bag;
}

void Message::AddComputed(PropertyBag &bag)
{
    for (const storage::Property &property : m_store->Common(MAPI_MESSAGE, kMessageAccess, m_writable))
        bag.Set(property.tag, property.value);
    if (!IsEmbedded()) {
        bag.Set(PR_PARENT_ENTRYID, m_store->FolderId(m_folder));
        if (m_id) {
            bag.Set(PR_ENTRYID, m_store->MessageId(m_id));
            bag.Set(PR_RECORD_KEY, m_store->MessageId(m_id));
            bag.Set(PR_INSTANCE_KEY, InstanceKeyOf(m_id));
        }
    }
    if (!m_id) {
        const bool attachments = std::any_of(m_draft.attachments.begin(), m_draft.attachments.end(),
                                             [](const storage::AttachmentChanges &one) { return !one.remove; });
        const std::uint64_t size =
            std::min<std::uint64_t>(m_draft.AddedSize(), std::numeric_limits<std::int32_t>::max());
        bag.Set(PR_HASATTACH, attachments);
        bag.Set(PR_MESSAGE_SIZE, static_cast<std::int32_t>(size));
        if (const auto *flags = bag.get<std::int32_t>(PR_MESSAGE_FLAGS))
            bag.Set(PR_MESSAGE_FLAGS,
                    attachments ? *flags | storage::kFlagHasAttachments : *flags & ~storage::kFlagHasAttachments);
    }
    // Of messages that were not written through this object, what follows from the subject.
    const std::string *subject = TextOf(bag, PR_SUBJECT_W);
    if (subject && !bag.FindId(PROP_ID(PR_NORMALIZED_SUBJECT))) {
        const std::string *prefix = TextOf(bag, PR_SUBJECT_PREFIX_W);
        SubjectParts parts = SplitSubject(*subject, prefix ? std::optional(*prefix) : std::nullopt);
        bag.Set(PR_NORMALIZED_SUBJECT_W, std::move(parts.normalized));
        bag.Set(PR_SUBJECT_PREFIX_W, std::move(parts.prefix));
    }
    for (const storage::Tag own : {storage::kObjectId, storage::kParentId, storage::kChangeNumber})
        bag.Erase(own);
}

PropertyBag Message::ReadSome(const std::vector<storage::Tag> &tags)
{
    std::vector<storage::Tag> read = tags;
    const auto asksFor = [&](storage::Tag tag) { return std::find(tags.begin(), tags.end(), tag) != tags.end(); };
    if (asksFor(PR_NORMALIZED_SUBJECT_W) || asksFor(PR_SUBJECT_PREFIX_W))
        read.insert(read.end(), {PR_SUBJECT_W, PR_SUBJECT_PREFIX_W, PR_NORMALIZED_SUBJECT_W});
    return StoredObject::ReadSome(read);
}

// --- changing ---

bool Message::IsComputed(storage::Tag tag)
{
    switch (PROP_ID(tag)) {
    case PROP_ID(PR_ENTRYID):
    case PROP_ID(PR_PARENT_ENTRYID):
    case PROP_ID(PR_MESSAGE_SIZE):
    case PROP_ID(PR_HASATTACH):
    case PROP_ID(PR_NORMALIZED_SUBJECT):
    case PROP_ID(PR_DISPLAY_TO):
    case PROP_ID(PR_DISPLAY_CC):
    case PROP_ID(PR_DISPLAY_BCC):
    case PROP_ID(PR_CREATION_TIME):
        return true;
    case PROP_ID(PR_MESSAGE_FLAGS):
        // A client says what a new message is; from its first save on the flags have methods of their own.
        return m_id != 0;
    default:
        return IsComputedEverywhere(tag);
    }
}

void Message::Change(const PropertyBag &set, const std::vector<storage::Tag> &remove)
{
    RequireWrite();
    bool subject = false;
    const auto concernsSubject = [](storage::Tag tag) {
        return PROP_ID(tag) == PROP_ID(PR_SUBJECT) || PROP_ID(tag) == PROP_ID(PR_SUBJECT_PREFIX);
    };
    for (const storage::Property &property : set) {
        subject |= concernsSubject(property.tag);
        const auto *flags = std::get_if<std::int32_t>(&property.value);
        if (property.tag == PR_MESSAGE_FLAGS && flags) {
            const auto *old = m_draft.properties.set.get<std::int32_t>(PR_MESSAGE_FLAGS);
            m_draft.properties.SetLater(PR_MESSAGE_FLAGS, (*flags & ~kKeptFlags) | (old ? *old & kKeptFlags : 0));
        } else {
            m_draft.properties.SetLater(property.tag, property.value);
            m_prefixGiven |= property.tag == PR_SUBJECT_PREFIX_W;
        }
    }
    for (const storage::Tag tag : remove) {
        subject |= concernsSubject(tag);
        m_draft.properties.RemoveLater(storage::TagId(tag));
    }
    if (subject)
        FollowSubject();
}

// What follows from the subject is stored beside it, so that tables can show and sort it.
void Message::FollowSubject()
{
    const std::vector<storage::Tag> tags = {PR_SUBJECT_W, PR_SUBJECT_PREFIX_W};
    const PropertyBag bag = Stored(&tags);
    const std::string *subject = TextOf(bag, PR_SUBJECT_W);
    if (!subject) {
        m_draft.properties.RemoveLater(PROP_ID(PR_NORMALIZED_SUBJECT));
        return;
    }
    // A prefix counts when the client gave it beside this subject.
    const std::string *prefix = m_prefixGiven ? TextOf(m_draft.properties.set, PR_SUBJECT_PREFIX_W) : nullptr;
    m_prefixGiven = prefix && subject->starts_with(*prefix);
    SubjectParts parts = SplitSubject(*subject, prefix ? std::optional(*prefix) : std::nullopt);
    m_draft.properties.SetLater(PR_NORMALIZED_SUBJECT_W, std::move(parts.normalized));
    m_draft.properties.SetLater(PR_SUBJECT_PREFIX_W, std::move(parts.prefix));
}

HRESULT Message::Save(ULONG flags)
{
    RequireWrite();
    if (IsEmbedded()) {
        m_holder->TakeEmbedded(m_draft);
    } else {
        m_store->RequireWritable();
        WriteDraft((flags & FORCE_SAVE) != 0);
    }
    if (!(flags & KEEP_OPEN_READWRITE))
        m_writable = false;
    return S_OK;
}

void Message::WriteDraft(bool force)
{
    try {
        if (!m_id) {
            m_id = m_store->objects.CreateMessage(m_folder, m_draft, &m_change);
        } else if (!m_draft.empty()) {
            m_change = m_store->objects.ChangeMessage(m_id, m_draft, force ? std::nullopt : std::optional(m_change));
        }
    } catch (const storage::Error &error) {
        if (error.GetFault() == storage::Fault::NotFound)
            Deleted();
        throw;
    }
    m_draft.Written();
    m_draft = {};
    m_prefixGiven = false;
}

STDMETHODIMP Message::SetReadFlag(ULONG ulFlags)
{
    return Do("IMessage::SetReadFlag", [&]() REQUIRES(m_lock) -> HRESULT {
        const auto [set, clear] = ReadFlagChange(ulFlags);
        if (!m_id || IsEmbedded()) {
            RequireWrite();
            const std::vector<storage::Tag> tags = {PR_MESSAGE_FLAGS};
            const PropertyBag bag = Stored(&tags);
            const auto *old = bag.get<std::int32_t>(PR_MESSAGE_FLAGS);
            m_draft.properties.SetLater(PR_MESSAGE_FLAGS, ((old ? *old : 0) | set) & ~clear);
            return S_OK;
        }
        m_store->RequireWritable();
        // This change is no reason to refuse what this object saves later.
        if (!m_store->objects.ChangeFlags({m_id}, set, clear, &m_change).front())
            Deleted();
        return S_OK;
    });
}

HRESULT Message::Open(ULONG tag, const IID &iid, ULONG options, ULONG flags, IUnknown **object)
{
    if (tag != PR_MESSAGE_ATTACHMENTS && tag != PR_MESSAGE_RECIPIENTS)
        return StoredObject::Open(tag, iid, options, flags, object);
    if (iid != IID_IMAPITable)
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    IMAPITable *table = nullptr;
    if (tag == PR_MESSAGE_ATTACHMENTS)
        GiveAttachmentTable(options & MAPI_UNICODE, &table);
    else
        GiveRecipientTable(options & MAPI_UNICODE, &table);
    *object = table;
    return S_OK;
}

} // namespace localmapi
