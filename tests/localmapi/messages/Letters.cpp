// Writing recipients and attachments through MAPI's interfaces, and reading folders and messages back as text.
#include "Letters.h"
#include "localmapi/provider/table/QueryRows.h"
#include "localmapi/storage/Check.h"

namespace localmapi::test
{

namespace
{

Rows RowsOf(IMAPITable *table, std::initializer_list<ULONG> tags)
{
    Rows rows;
    EXPECT_CODE(QueryAllRows(table, Tags(tags), nullptr, nullptr, 0, rows.put()), S_OK);
    return rows;
}

std::string Text(const SPropValue &value)
{
    return PROP_TYPE(value.ulPropTag) == PT_STRING8 ? value.Value.lpszA : "(none)";
}

} // namespace

Recipient &Recipient::With(ULONG tag, const std::string &text)
{
    const auto &kept = m_texts.emplace_back(std::make_shared<std::string>(text));
    m_values.push_back(Narrow(tag, kept->c_str()));
    return *this;
}

Recipient &Recipient::With(const Recipient &more)
{
    m_values.insert(m_values.end(), more.m_values.begin(), more.m_values.end());
    m_texts.insert(m_texts.end(), more.m_texts.begin(), more.m_texts.end());
    return *this;
}

Recipient ByAddress(const char *type, const std::string &address, LONG as)
{
    return Recipient{Long(PR_RECIPIENT_TYPE, as)}.With(PR_ADDRTYPE_A, type).With(PR_EMAIL_ADDRESS_A, address);
}

Recipient ByName(const std::string &name, LONG as)
{
    return Recipient{Long(PR_RECIPIENT_TYPE, as)}.With(PR_DISPLAY_NAME_A, name);
}

HRESULT Address(IMessage *message, std::vector<Recipient> recipients)
{
    std::vector<BYTE> memory(CbNewADRLIST(recipients.size() + 1));
    auto *list = reinterpret_cast<ADRLIST *>(memory.data());
    list->cEntries = static_cast<ULONG>(recipients.size());
    for (std::size_t i = 0; i < recipients.size(); ++i) {
        list->aEntries[i].cValues = static_cast<ULONG>(recipients[i].Values().size());
        list->aEntries[i].rgPropVals = recipients[i].Values().data();
    }
    return message->ModifyRecipients(0, list);
}

ULONG Attach(IMessage *message, const char *name, const std::string &data)
{
    ULONG number = 0;
    ComPtr<IAttach> attachment;
    EXPECT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    EXPECT_CODE(
        SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE), Narrow(PR_ATTACH_LONG_FILENAME_A, name)}),
        S_OK);
    {
        ComPtr<IStream> stream;
        EXPECT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
        EXPECT_CODE(WriteStream(stream.get(), data), S_OK);
    }
    EXPECT_CODE(attachment->SaveChanges(0), S_OK);
    return number;
}

std::string SubjectsIn(IMAPIFolder *folder)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(folder->GetContentsTable(0, table.put()), S_OK);
    const Rows rows = RowsOf(table.get(), {PR_SUBJECT_A});
    std::string subjects;
    for (ULONG row = 0; row < rows.size(); ++row)
        subjects += (row ? ", " : "") + Text(rows[row].lpProps[0]);
    return subjects;
}

ULONG CountIn(IMAPIFolder *folder)
{
    return static_cast<ULONG>(MessagesIn(folder).size());
}

std::vector<EntryIdBytes> MessagesIn(IMAPIFolder *folder)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(folder->GetContentsTable(0, table.put()), S_OK);
    const Rows rows = RowsOf(table.get(), {PR_ENTRYID});
    std::vector<EntryIdBytes> ids;
    for (ULONG row = 0; row < rows.size(); ++row) {
        const SBinary &id = rows[row].lpProps[0].Value.bin;
        ids.emplace_back(id.lpb, id.lpb + id.cb);
    }
    return ids;
}

ComPtr<IMessage> MessageIn(IMAPIFolder *folder, std::size_t index, ULONG flags)
{
    EntryIdBytes id = MessagesIn(folder).at(index);
    ComPtr<IMessage> message;
    ULONG type = 0;
    EXPECT_CODE(folder->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<LPENTRYID>(id.data()), &IID_IMessage,
                                  flags, &type, reinterpret_cast<LPUNKNOWN *>(message.put())),
                S_OK);
    return message;
}

std::string RecipientsOf(IMessage *message)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(message->GetRecipientTable(0, table.put()), S_OK);
    const Rows rows = RowsOf(table.get(), {PR_DISPLAY_NAME_A, PR_RECIPIENT_TYPE});
    std::string list;
    for (ULONG row = 0; row < rows.size(); ++row)
        list += (row ? ", " : "") + Text(rows[row].lpProps[0]) + "/" + std::to_string(rows[row].lpProps[1].Value.l);
    return list;
}

std::string AttachmentsOf(IMessage *message)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(message->GetAttachmentTable(0, table.put()), S_OK);
    const Rows rows = RowsOf(table.get(), {PR_ATTACH_NUM, PR_ATTACH_LONG_FILENAME_A});
    std::string list;
    for (ULONG row = 0; row < rows.size(); ++row) {
        const auto number = static_cast<ULONG>(rows[row].lpProps[0].Value.l);
        list += (row ? ", " : "") + Text(rows[row].lpProps[1]) + "=" +
                ReadProperty(AttachmentOf(message, number).get(), PR_ATTACH_DATA_BIN);
    }
    return list;
}

ComPtr<IAttach> AttachmentOf(IMessage *message, ULONG number, ULONG flags)
{
    ComPtr<IAttach> attachment;
    EXPECT_CODE(message->OpenAttach(number, nullptr, flags, attachment.put()), S_OK);
    return attachment;
}

ComPtr<IMessage> EmbeddedIn(IAttach *attachment, ULONG flags)
{
    ComPtr<IMessage> message;
    EXPECT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, flags,
                                         reinterpret_cast<LPUNKNOWN *>(message.put())),
                S_OK);
    return message;
}

void WithLetters::TearDown()
{
    for (const storage::Finding &finding : storage::Check(m_mailbox.GetSite(), false))
        ADD_FAILURE() << finding.text;
}

ComPtr<IMessage> WithLetters::LetterTo(std::vector<Recipient> recipients, const Props &props)
{
    ComPtr<IMessage> message;
    EXPECT_CODE(m_outbox->CreateMessage(nullptr, 0, message.put()), S_OK);
    if (!props.empty()) {
        EXPECT_CODE(SetProps(message.get(), props), S_OK);
    }
    EXPECT_CODE(Address(message.get(), std::move(recipients)), S_OK);
    return message;
}

ComPtr<IMessage> WithLetters::Letter(const Props &props)
{
    return LetterTo({Bob()}, props);
}

} // namespace localmapi::test
