// CopyTo and CopyProps of messages and attachments.
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/store/Attachment.h"
#include "localmapi/provider/store/CopyObject.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/table/QueryRows.h"

namespace localmapi
{

using storage::PropertyBag;

namespace
{

// A recipient list in a block for each recipient.
class Addresses
{
  public:
    explicit Addresses(const std::vector<PropertyBag> &recipients) : m_memory(CbNewADRLIST(recipients.size() + 1))
    {
        RowPacker packer;
        for (const PropertyBag &recipient : recipients) {
            std::vector<Cell> cells;
            for (const storage::Property &property : recipient)
                if (storage::TagType(property.tag) != storage::Type::Object && property.tag != PR_ROWID)
                    cells.push_back({ClientTag(property.tag, true), &property.value});
            m_rows.push_back(packer.Pack(cells));
            ADRENTRY &entry = List()->aEntries[List()->cEntries++];
            entry.cValues = static_cast<ULONG>(cells.size());
            entry.rgPropVals = m_rows.back().get();
        }
    }
    ADRLIST *List() { return reinterpret_cast<ADRLIST *>(m_memory.data()); }

  private:
    std::vector<BYTE> m_memory;
    std::vector<Block<SPropValue>> m_rows;
};

ULONG RowsIn(IMAPITable &table)
{
    ULONG count = 0;
    Check(table.GetRowCount(0, &count), "IMAPITable::GetRowCount");
    return count;
}

std::vector<ULONG> AttachmentsIn(IMessage &message)
{
    ComPtr<IMAPITable> table;
    Check(message.GetAttachmentTable(0, table.put()), "IMessage::GetAttachmentTable");
    SizedSPropTagArray(1, tags) = {1, {PR_ATTACH_NUM}};
    std::vector<ULONG> numbers;
    SRowSet *rows = nullptr;
    Check(QueryAllRows(table.get(), reinterpret_cast<SPropTagArray *>(&tags), nullptr, nullptr, 0, &rows),
          "HrQueryAllRows");
    for (ULONG i = 0; i < rows->cRows; ++i)
        numbers.push_back(static_cast<ULONG>(rows->aRow[i].lpProps[0].Value.l));
    FreeRows(rows);
    return numbers;
}

void CopyAttachment(IMessage &from, ULONG number, IMessage &to, ULONG flags)
{
    ComPtr<IAttach> source, target;
    ULONG ignored = 0;
    Check(from.OpenAttach(number, nullptr, 0, source.put()), "IMessage::OpenAttach");
    Check(to.CreateAttach(nullptr, 0, &ignored, target.put()), "IMessage::CreateAttach");
    // What a new attachment has from the beginning is no reason to leave out what the source says.
    Check(source->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IAttachment, target.get(), flags & ~MAPI_NOREPLACE,
                         nullptr),
          "IAttach::CopyTo");
    Check(target->SaveChanges(0), "IAttach::SaveChanges");
}

} // namespace

PropertyBag Message::Copyable()
{
    PropertyBag bag = StoredObject::Copyable();
    // What a message is marked with goes along, where the target is a message that is not saved yet.
    const std::vector<storage::Tag> tags = {PR_MESSAGE_FLAGS};
    const PropertyBag marks = Stored(&tags);
    if (const auto *flags = marks.get<std::int32_t>(PR_MESSAGE_FLAGS))
        bag.Set(PR_MESSAGE_FLAGS, *flags);
    return bag;
}

void Message::Copy(CopyJob &job)
{
    PropertyBag bag;
    std::vector<PropertyBag> recipients;
    {
        const locks::Hold hold(m_lock);
        bag = Copyable();
        recipients = Recipients();
    }
    job.CopyProperties(bag, m_store->objects);
    job.Missing(bag, {PROP_ID(PR_MESSAGE_RECIPIENTS), PROP_ID(PR_MESSAGE_ATTACHMENTS)});
    const auto target = job.TargetAs<IMessage>(IID_IMessage);
    if (!target)
        return;
    if (job.Wants(PR_MESSAGE_RECIPIENTS)) {
        ComPtr<IMAPITable> there;
        Check(target->GetRecipientTable(0, there.put()), "IMessage::GetRecipientTable");
        if (job.Replaces() || RowsIn(*there.get()) == 0)
            Check(target->ModifyRecipients(0, Addresses(recipients).List()), "IMessage::ModifyRecipients");
    }
    if (job.Wants(PR_MESSAGE_ATTACHMENTS)) {
        const auto there = AttachmentsIn(*target.get());
        if (!job.Replaces() && !there.empty())
            return;
        for (const ULONG number : there)
            Check(target->DeleteAttach(number, 0, nullptr, 0), "IMessage::DeleteAttach");
        for (const ULONG number : AttachmentsIn(*this))
            CopyAttachment(*this, number, *target.get(), job.Flags());
    }
}

void Attachment::Copy(CopyJob &job)
{
    PropertyBag bag;
    bool holdsMessage = false;
    {
        const locks::Hold hold(m_lock);
        bag = Copyable();
        holdsMessage = m_draft.embedded || StoredEmbedded() != 0;
    }
    // The message is copied as such.
    if (holdsMessage)
        bag.Erase(PR_ATTACH_DATA_OBJ);
    job.CopyProperties(bag, m_store->objects);
    job.Missing(bag, {static_cast<std::uint16_t>(holdsMessage ? PROP_ID(PR_ATTACH_DATA_OBJ) : PROP_ID_NULL)});
    if (!holdsMessage || !job.Wants(PR_ATTACH_DATA_OBJ))
        return;
    ComPtr<IMessage> from, to;
    Check(OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, reinterpret_cast<LPUNKNOWN *>(from.put())),
          "IAttach::OpenProperty");
    Check(job.Target()->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, MAPI_CREATE | MAPI_MODIFY,
                                     reinterpret_cast<LPUNKNOWN *>(to.put())),
          "IAttach::OpenProperty");
    Check(
        from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, to.get(), job.Flags() & ~MAPI_NOREPLACE, nullptr),
        "IMessage::CopyTo");
    Check(to->SaveChanges(0), "IMessage::SaveChanges");
}

} // namespace localmapi
