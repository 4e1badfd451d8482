// A message's recipients and attachments.
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/store/Attachment.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/provider/table/MemorySource.h"

#include <algorithm>
#include <set>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

// More recipients than this in one call are taken for a bad argument.
constexpr ULONG kRecipientLimit = 0x10000;
constexpr ULONG kAttachFlags = MAPI_MODIFY | MAPI_BEST_ACCESS | MAPI_DEFERRED_ERRORS;

// The row number that a client's entry names; nothing when it names none.
std::optional<std::int32_t> RowIdOf(const PropertyBag &bag)
{
    const auto *id = bag.get<std::int32_t>(PR_ROWID);
    return id ? std::optional(*id) : std::nullopt;
}

auto RowWithId(std::vector<PropertyBag> &rows, std::int32_t id)
{
    return std::find_if(rows.begin(), rows.end(), [&](const PropertyBag &row) { return RowIdOf(row) == id; });
}

std::int32_t NextRowId(const std::vector<PropertyBag> &rows)
{
    std::int32_t next = 0;
    for (const PropertyBag &row : rows)
        next = std::max(next, RowIdOf(row).value_or(-1) + 1);
    return next;
}

PropertyBag NewRecipient(const ADRENTRY &entry, std::int32_t id)
{
    PropertyBag bag = BagFromProps(entry.cValues, entry.rgPropVals);
    if (!bag.Find(PR_RECIPIENT_TYPE))
        bag.Set(PR_RECIPIENT_TYPE, std::int32_t{MAPI_TO});
    bag.Set(PR_ROWID, id);
    return bag;
}

// The names of the recipients of one type, as PR_DISPLAY_TO and its siblings list them.
std::string DisplayNames(const std::vector<PropertyBag> &recipients, std::int32_t type)
{
    std::string names;
    for (const PropertyBag &recipient : recipients) {
        const auto *of = recipient.get<std::int32_t>(PR_RECIPIENT_TYPE);
        if (!of || (*of & 0xF) != type)
            continue;
        const std::string *name = recipient.get<std::string>(PR_DISPLAY_NAME_W);
        if (!name || name->empty())
            name = recipient.get<std::string>(PR_EMAIL_ADDRESS_W);
        if (name)
            names += (names.empty() ? "" : "; ") + *name;
    }
    return names;
}

} // namespace

// --- recipients ---

std::vector<PropertyBag> Message::Recipients()
{
    if (m_draft.recipients)
        return *m_draft.recipients;
    if (!m_id)
        return {};
    auto stored = m_store->objects.Recipients(m_id);
    if (stored.empty())
        m_store->objects.Info(m_id); // nobody, and not a message that is gone
    return stored;
}

void Message::FollowRecipients()
{
    const auto recipients = Recipients();
    m_draft.properties.SetLater(PR_DISPLAY_TO_W, DisplayNames(recipients, MAPI_TO));
    m_draft.properties.SetLater(PR_DISPLAY_CC_W, DisplayNames(recipients, MAPI_CC));
    m_draft.properties.SetLater(PR_DISPLAY_BCC_W, DisplayNames(recipients, MAPI_BCC));
}

STDMETHODIMP Message::ModifyRecipients(ULONG ulFlags, LPADRLIST lpMods)
{
    return Do("IMessage::ModifyRecipients", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, MODRECIP_ADD | MODRECIP_MODIFY | MODRECIP_REMOVE);
        Require((ulFlags & (ulFlags - 1)) == 0, "more than one way to modify");
        Require(lpMods && lpMods->cEntries <= kRecipientLimit, "the recipients");
        RequireWrite();
        auto rows = ulFlags ? Recipients() : std::vector<PropertyBag>{};
        std::int32_t next = NextRowId(rows);
        for (ULONG i = 0; i < lpMods->cEntries; ++i) {
            const ADRENTRY &entry = lpMods->aEntries[i];
            Require(entry.rgPropVals || entry.cValues == 0, "a recipient's properties");
            const bool adds = ulFlags == 0 || ulFlags == MODRECIP_ADD;
            // An entry that was taken out of the list.
            if (entry.cValues == 0 && adds)
                continue;
            if (adds) {
                rows.push_back(NewRecipient(entry, next++));
                continue;
            }
            const PropertyBag change = BagFromProps(entry.cValues, entry.rgPropVals);
            const auto id = RowIdOf(change);
            if (!id)
                throw Failure(MAPI_E_INVALID_PARAMETER, "A recipient to be modified or removed needs its PR_ROWID.");
            const auto row = RowWithId(rows, *id);
            if (row == rows.end())
                throw Failure(MAPI_E_NOT_FOUND, "The message has no such recipient.");
            if (ulFlags == MODRECIP_REMOVE)
                rows.erase(row);
            else
                *row = NewRecipient(entry, *id);
        }
        m_draft.recipients = std::move(rows);
        FollowRecipients();
        return S_OK;
    });
}

void Message::GiveRecipientTable(ULONG flags, IMAPITable **table)
{
    TableSchema schema;
    schema.behaviour = m_store->behaviour;
    schema.columns = {PR_ROWID,      PR_DISPLAY_NAME_W, PR_ADDRTYPE_W,  PR_EMAIL_ADDRESS_W,
                      PR_ENTRYID,    PR_RECIPIENT_TYPE, PR_OBJECT_TYPE, PR_DISPLAY_TYPE,
                      PR_SEARCH_KEY, PR_RESPONSIBILITY, PR_INSTANCE_KEY};
    schema.unicode = (flags & MAPI_UNICODE) != 0;
    std::vector<PropertyBag> rows = Recipients();
    for (PropertyBag &row : rows)
        if (!row.FindId(PROP_ID(PR_OBJECT_TYPE)))
            row.Set(PR_OBJECT_TYPE, std::int32_t{MAPI_MAILUSER});
    Check(CreateMemoryTable(std::move(rows), std::move(schema), table), "making the recipient table");
}

STDMETHODIMP Message::GetRecipientTable(ULONG ulFlags, LPMAPITABLE *lppTable)
{
    return Do("IMessage::GetRecipientTable", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS);
        GiveRecipientTable(ulFlags, lppTable);
        return S_OK;
    });
}

// --- attachments ---

namespace
{

bool IsRemoved(const storage::AttachmentChanges *draft)
{
    return draft && draft->remove;
}

bool IsWhole(const storage::AttachmentChanges *draft)
{
    return draft && draft->IsWhole();
}

} // namespace

std::vector<storage::ObjectInfo> Message::StoredAttachments()
{
    return m_id ? m_store->objects.Attachments(m_id) : std::vector<storage::ObjectInfo>{};
}

storage::ObjectId Message::StoredAttachment(std::int32_t number)
{
    const locks::Hold hold(m_lock);
    if (IsWhole(m_draft.FindAttachment(number)))
        return 0;
    for (const storage::ObjectInfo &stored : StoredAttachments())
        if (stored.number == number)
            return stored.id;
    return 0;
}

// Numbers are given by who attaches: what has the number of a new attachment in the file is somebody else's.
void Message::TakeAttachment(storage::AttachmentChanges draft, bool isNew)
{
    const locks::Hold hold(m_lock);
    RequireWrite();
    const storage::AttachmentChanges *before = m_draft.FindAttachment(draft.number);
    if (isNew)
        draft.isUnwritten = std::make_shared<std::atomic<bool>>(true);
    else
        draft.isUnwritten = before ? before->isUnwritten : nullptr;
    m_draft.ReplaceAttachment(std::move(draft));
}

std::vector<PropertyBag> Message::AttachmentRows()
{
    std::map<std::int32_t, PropertyBag> rows;
    for (const storage::ObjectInfo &stored : StoredAttachments())
        if (!IsRemoved(m_draft.FindAttachment(stored.number)))
            rows[stored.number] = m_store->objects.Read(stored.id);
    for (const storage::AttachmentChanges &draft : m_draft.attachments) {
        if (draft.remove)
            continue;
        PropertyBag &bag = rows[draft.number];
        if (draft.IsWhole())
            bag = {};
        draft.properties.ApplyTo(bag);
        const std::uint64_t size = storage::ByteSize(bag) + (draft.embedded ? draft.embedded->AddedSize() : 0);
        bag.Set(PR_ATTACH_SIZE, static_cast<std::int32_t>(std::min<std::uint64_t>(size, 0x7FFFFFFF)));
    }
    std::vector<PropertyBag> bags;
    for (auto &[number, bag] : rows) {
        // The data itself is nothing for a table.
        bag.Erase(PR_ATTACH_DATA_BIN);
        AddAttachmentProperties(*m_store, number, m_writable, bag);
        bags.push_back(std::move(bag));
    }
    return bags;
}

void Message::GiveAttachmentTable(ULONG flags, IMAPITable **table)
{
    TableSchema schema;
    schema.behaviour = m_store->behaviour;
    schema.columns = {PR_ATTACH_NUM,
                      PR_ATTACH_METHOD,
                      PR_ATTACH_SIZE,
                      PR_RENDERING_POSITION,
                      PR_ATTACH_FILENAME_W,
                      PR_ATTACH_LONG_FILENAME_W,
                      PR_DISPLAY_NAME_W,
                      PR_ATTACH_EXTENSION_W,
                      PR_ATTACH_MIME_TAG_W,
                      PR_ATTACH_PATHNAME_W,
                      PR_ATTACH_LONG_PATHNAME_W,
                      PR_CREATION_TIME,
                      PR_LAST_MODIFICATION_TIME,
                      PR_RECORD_KEY,
                      PR_INSTANCE_KEY,
                      PR_OBJECT_TYPE};
    schema.unicode = (flags & MAPI_UNICODE) != 0;
    schema.bookmarks = false;
    Check(CreateMemoryTable(AttachmentRows(), std::move(schema), table), "making the attachment table");
}

STDMETHODIMP Message::GetAttachmentTable(ULONG ulFlags, LPMAPITABLE *lppTable)
{
    return Do("IMessage::GetAttachmentTable", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS);
        GiveAttachmentTable(ulFlags, lppTable);
        return S_OK;
    });
}

STDMETHODIMP Message::OpenAttach(ULONG ulAttachmentNum, LPCIID lpInterface, ULONG ulFlags, LPATTACH *lppAttach)
{
    return Do("IMessage::OpenAttach", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppAttach != nullptr, "where the attachment goes");
        *lppAttach = nullptr;
        RequireFlags(ulFlags, kAttachFlags);
        const auto number = static_cast<std::int32_t>(ulAttachmentNum);
        const storage::AttachmentChanges *draft = m_draft.FindAttachment(number);
        bool found = draft && !draft->remove;
        if (!draft)
            for (const storage::ObjectInfo &stored : StoredAttachments())
                found |= stored.number == number;
        if (!found)
            throw Failure(MAPI_E_NOT_FOUND, "The message has no such attachment.");
        if ((ulFlags & MAPI_MODIFY) && !(ulFlags & MAPI_BEST_ACCESS))
            RequireWrite();
        const bool write = m_writable && (ulFlags & (MAPI_MODIFY | MAPI_BEST_ACCESS));
        auto attachment =
            MakeObject<Attachment>(m_store, Share<Message>(this),
                                   draft ? *draft : storage::AttachmentChanges{number, false, {}, {}}, false, write);
        GiveObject(attachment.get(), lpInterface, lppAttach);
        return S_OK;
    });
}

STDMETHODIMP Message::CreateAttach(LPCIID lpInterface, ULONG ulFlags, ULONG *lpulAttachmentNum, LPATTACH *lppAttach)
{
    return Do("IMessage::CreateAttach", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppAttach && lpulAttachmentNum, "where the attachment goes");
        *lppAttach = nullptr;
        RequireFlags(ulFlags, MAPI_DEFERRED_ERRORS);
        RequireWrite();
        std::int32_t number = m_nextAttachment;
        for (const storage::ObjectInfo &stored : StoredAttachments())
            number = std::max(number, stored.number + 1);
        for (const storage::AttachmentChanges &known : m_draft.attachments)
            if (!known.remove)
                number = std::max(number, known.number + 1);
        storage::AttachmentChanges draft{number, false, NewAttachmentProperties(), {}};
        auto attachment = MakeObject<Attachment>(m_store, Share<Message>(this), std::move(draft), true, true);
        GiveObject(attachment.get(), lpInterface, lppAttach);
        m_nextAttachment = number + 1;
        *lpulAttachmentNum = static_cast<ULONG>(number);
        return S_OK;
    });
}

STDMETHODIMP Message::DeleteAttach(ULONG ulAttachmentNum, ULONG, LPMAPIPROGRESS, ULONG ulFlags)
{
    return Do("IMessage::DeleteAttach", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, ATTACH_DIALOG);
        RequireWrite();
        const auto number = static_cast<std::int32_t>(ulAttachmentNum);
        const storage::AttachmentChanges *draft = m_draft.FindAttachment(number);
        const bool removed = IsRemoved(draft);
        bool stored = draft && draft->WasWritten();
        if (!stored && !IsWhole(draft)) // which may be somebody else's
            for (const storage::ObjectInfo &known : StoredAttachments())
                stored |= known.number == number;
        const bool found = (draft && !removed) || (stored && !removed);
        if (stored)
            m_draft.ReplaceAttachment({number, true, {}, {}});
        else if (draft && !removed)
            m_draft.ForgetAttachment(number);
        if (!found)
            throw Failure(MAPI_E_NOT_FOUND, "The message has no such attachment.");
        return S_OK;
    });
}

} // namespace localmapi
