// Proves attachments: by value, by reference, embedded messages and OLE data; the attachment table; and that nothing of
// them is seen before attachment and message are saved.
#include "ExchangeMapi.h"
#include "Mailbox.h"
#include "localmapi/provider/table/QueryRows.h"
#include "localmapi/storage/Database.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

class AttachmentTest : public testing::Test
{
  protected:
    ComPtr<IAttach> Create(const ComPtr<IMessage> &message, ULONG *number = nullptr)
    {
        ULONG made = 0;
        ComPtr<IAttach> attachment;
        EXPECT_CODE(message->CreateAttach(nullptr, 0, &made, attachment.put()), S_OK);
        if (number)
            *number = made;
        return attachment;
    }
    ComPtr<IAttach> Open(const ComPtr<IMessage> &message, ULONG number, ULONG flags = MAPI_BEST_ACCESS)
    {
        ComPtr<IAttach> attachment;
        EXPECT_CODE(message->OpenAttach(number, nullptr, flags, attachment.put()), S_OK);
        return attachment;
    }
    // A file as a voicemail server attaches it.
    ULONG AddFile(const ComPtr<IMessage> &message, const char *name, const std::string &data)
    {
        ULONG number = 0;
        auto attachment = Create(message, &number);
        EXPECT_CODE(
            SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE), Narrow(PR_ATTACH_FILENAME_A, name),
                                        Binary(PR_ATTACH_DATA_BIN, data.data(), static_cast<ULONG>(data.size()))}),
            S_OK);
        EXPECT_CODE(attachment->SaveChanges(0), S_OK);
        return number;
    }
    // "number=name" of each row.
    std::string List(const ComPtr<IMessage> &message)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(message->GetAttachmentTable(0, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(
            QueryAllRows(table.get(), Tags{PR_ATTACH_NUM, PR_ATTACH_FILENAME_A}, nullptr, nullptr, 0, rows.put()),
            S_OK);
        std::string list;
        for (ULONG row = 0; row < rows.size(); ++row) {
            const SPropValue &name = rows[row].lpProps[1];
            list += (row ? " " : "") + std::to_string(rows[row].lpProps[0].Value.l) + "=" +
                    (name.ulPropTag == PR_ATTACH_FILENAME_A ? name.Value.lpszA : "?");
        }
        return list;
    }
    HRESULT OpenEmbedded(const ComPtr<IAttach> &attachment, ULONG flags, ComPtr<IMessage> &message)
    {
        return attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, flags,
                                        reinterpret_cast<LPUNKNOWN *>(message.put()));
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

TEST_F(AttachmentTest, AnAttachmentByValueIsKeptWithItsData)
{
    auto message = m_mailbox.NewMessage();
    const ULONG number = AddFile(message, "voice.wav", std::string("RIFF\0data", 9));
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = m_mailbox.Open(id);
    EXPECT_EQ(LongOf(opened.get(), PR_HASATTACH), 1);
    EXPECT_TRUE(LongOf(opened.get(), PR_MESSAGE_FLAGS) & static_cast<LONG>(MSGFLAG_HASATTACH));
    auto attachment = Open(opened, number);
    EXPECT_EQ(LongOf(attachment.get(), PR_ATTACH_METHOD), static_cast<LONG>(ATTACH_BY_VALUE));
    EXPECT_EQ(LongOf(attachment.get(), PR_ATTACH_NUM), static_cast<LONG>(number));
    EXPECT_GE(LongOf(attachment.get(), PR_ATTACH_SIZE), 9);
    EXPECT_EQ(LongOf(attachment.get(), PR_RENDERING_POSITION), -1);
    EXPECT_EQ(LongOf(attachment.get(), PR_OBJECT_TYPE), static_cast<LONG>(MAPI_ATTACH));
    EXPECT_EQ(TextOf(attachment.get(), PR_ATTACH_FILENAME_W), "voice.wav");
    EXPECT_EQ(ReadProperty(attachment.get(), PR_ATTACH_DATA_BIN), std::string("RIFF\0data", 9));
}

TEST_F(AttachmentTest, NothingIsThereBeforeAttachmentAndMessageAreSaved)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "x")});
    auto message = m_mailbox.Open(id);
    ULONG number = 0;
    auto attachment = Create(message, &number);
    ASSERT_CODE(SetProps(attachment.get(), {Narrow(PR_ATTACH_FILENAME_A, "a.txt")}), S_OK);
    EXPECT_EQ(List(message), "") << "not before the attachment is saved";
    ASSERT_CODE(attachment->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(List(message), "0=a.txt");
    EXPECT_EQ(List(m_mailbox.Open(id)), "") << "not before the message is saved";
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_HASATTACH), 0);
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=a.txt");
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_HASATTACH), 1);
}

TEST_F(AttachmentTest, AnAttachmentThatWasSavedIsChangedThroughItsMessage)
{
    auto message = m_mailbox.NewMessage();
    const ULONG number = AddFile(message, "old.txt", "data");
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = m_mailbox.Open(id);
    auto attachment = Open(opened, number, MAPI_MODIFY);
    ASSERT_CODE(SetProps(attachment.get(), {Narrow(PR_ATTACH_FILENAME_A, "new.txt")}), S_OK);
    EXPECT_EQ(TextOf(attachment.get(), PR_ATTACH_FILENAME_A), "new.txt");
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    EXPECT_EQ(TextOf(Open(opened, number).get(), PR_ATTACH_FILENAME_A), "new.txt");
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=old.txt");
    ASSERT_CODE(opened->SaveChanges(0), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=new.txt");
    EXPECT_EQ(ReadProperty(Open(m_mailbox.Open(id), number).get(), PR_ATTACH_DATA_BIN), "data");
}

TEST_F(AttachmentTest, NumbersAreGivenInOrderAndNotAgain)
{
    auto message = m_mailbox.NewMessage();
    EXPECT_EQ(AddFile(message, "a", "1"), 0u);
    EXPECT_EQ(AddFile(message, "b", "2"), 1u);
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_EQ(AddFile(message, "c", "3"), 2u);
    EXPECT_CODE(message->DeleteAttach(2, 0, nullptr, 0), S_OK);
    EXPECT_EQ(AddFile(message, "d", "4"), 3u);
    ASSERT_CODE(message->SaveChanges(0), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=a 1=b 3=d");
}

TEST_F(AttachmentTest, ANewAttachmentThatStaysOpenIsTheSavedOneOnceItsMessageIsSaved)
{
    auto message = m_mailbox.NewMessage();
    auto attachment = Create(message);
    ASSERT_CODE(SetProps(attachment.get(), {Narrow(PR_ATTACH_FILENAME_A, "a")}), S_OK);
    ASSERT_CODE(attachment->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_FALSE(GetProps(*attachment, {PR_CREATION_TIME}).Find(PR_CREATION_TIME));
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_TRUE(GetProps(*attachment, {PR_CREATION_TIME}).Find(PR_CREATION_TIME));
    ASSERT_CODE(SetProps(attachment.get(), {Narrow(PR_DISPLAY_NAME_A, "more")}), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    ASSERT_CODE(message->SaveChanges(0), S_OK);
    auto saved = Open(m_mailbox.Open(id), 0);
    EXPECT_EQ(TextOf(saved.get(), PR_ATTACH_FILENAME_A), "a");
    EXPECT_EQ(TextOf(saved.get(), PR_DISPLAY_NAME_A), "more");
}

TEST_F(AttachmentTest, ARecordingOfWhichBytesChangedInTheFileIsNotHandedOut)
{
    auto message = m_mailbox.NewMessage();
    AddFile(message, "a.wav", std::string(50000, 'w'));
    const EntryIdBytes id = m_mailbox.Save(message);
    {
        storage::Writer writer(m_mailbox.GetSite().GetDatabase());
        writer->Execute("UPDATE chunk SET data = zeroblob(length(data))");
        writer.Commit();
    }
    ComPtr<IUnknown> stream;
    EXPECT_CODE(Open(m_mailbox.Open(id), 0)->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, stream.put()),
                MAPI_E_CORRUPT_DATA);
}

TEST_F(AttachmentTest, ADeletedAttachmentIsGoneAfterSaveChanges)
{
    auto message = m_mailbox.NewMessage();
    AddFile(message, "a", "1");
    AddFile(message, "b", "2");
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = m_mailbox.Open(id);
    EXPECT_CODE(opened->DeleteAttach(0, 0, nullptr, 0), S_OK);
    EXPECT_CODE(opened->DeleteAttach(0, 0, nullptr, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(List(opened), "1=b");
    ComPtr<IAttach> attachment;
    EXPECT_CODE(opened->OpenAttach(0, nullptr, 0, attachment.put()), MAPI_E_NOT_FOUND);
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=a 1=b");
    ASSERT_CODE(opened->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "1=b");
    EXPECT_CODE(opened->DeleteAttach(1, 0, nullptr, 0), S_OK);
    ASSERT_CODE(opened->SaveChanges(0), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_HASATTACH), 0);
}

TEST_F(AttachmentTest, AttachmentsByReferenceKeepTheirPathNames)
{
    auto message = m_mailbox.NewMessage();
    for (const ULONG method : {ATTACH_BY_REFERENCE, ATTACH_BY_REF_RESOLVE, ATTACH_BY_REF_ONLY}) {
        auto attachment = Create(message);
        ASSERT_CODE(
            SetProps(attachment.get(),
                     {Long(PR_ATTACH_METHOD, static_cast<LONG>(method)), Narrow(PR_ATTACH_PATHNAME_A, "C:\\VOICE.WAV"),
                      Narrow(PR_ATTACH_LONG_PATHNAME_A, "\\\\server\\share\\voice mail.wav")}),
            S_OK);
        ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    }
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = m_mailbox.Open(id);
    for (ULONG number = 0; number < 3; ++number) {
        auto attachment = Open(opened, number);
        EXPECT_EQ(LongOf(attachment.get(), PR_ATTACH_METHOD), static_cast<LONG>(ATTACH_BY_REFERENCE + number));
        EXPECT_EQ(TextOf(attachment.get(), PR_ATTACH_PATHNAME_A), "C:\\VOICE.WAV");
        EXPECT_EQ(TextOf(attachment.get(), PR_ATTACH_LONG_PATHNAME_W), "\\\\server\\share\\voice mail.wav");
        EXPECT_EQ(ReadProperty(attachment.get(), PR_ATTACH_DATA_BIN), "(MAPI_E_NOT_FOUND)");
    }
}

TEST_F(AttachmentTest, OleDataIsAStreamUnderEitherTag)
{
    auto message = m_mailbox.NewMessage();
    auto attachment = Create(message);
    ASSERT_CODE(SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_OLE)}), S_OK);
    {
        ComPtr<IStream> stream;
        ASSERT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStreamDocfile, 0, MAPI_CREATE | MAPI_MODIFY,
                                             reinterpret_cast<LPUNKNOWN *>(stream.put())),
                    S_OK);
        ASSERT_CODE(WriteStream(stream.get(), "\xD0\xCF\x11\xE0 a document"), S_OK);
    }
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = Open(m_mailbox.Open(id), 0);
    EXPECT_EQ(ReadProperty(opened.get(), PR_ATTACH_DATA_OBJ), "\xD0\xCF\x11\xE0 a document");
    EXPECT_EQ(ReadProperty(opened.get(), PR_ATTACH_DATA_BIN), "\xD0\xCF\x11\xE0 a document");
    ComPtr<IUnknown> object;
    EXPECT_CODE(opened->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStreamDocfile, 0, 0, object.put()), S_OK);
    EXPECT_CODE(opened->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStorage, 0, 0, object.put()),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    const Given given = GetProps(opened, {PR_ATTACH_DATA_OBJ});
    EXPECT_CODE(given.Error(PROP_ID(PR_ATTACH_DATA_OBJ)), MAPI_E_NOT_ENOUGH_MEMORY);
}

TEST_F(AttachmentTest, AMessageCanBeAttachedToAMessage)
{
    auto message = m_mailbox.NewMessage();
    auto attachment = Create(message);
    ASSERT_CODE(SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
    ComPtr<IMessage> inner;
    EXPECT_CODE(OpenEmbedded(attachment, 0, inner), MAPI_E_NOT_FOUND);
    ASSERT_CODE(OpenEmbedded(attachment, MAPI_CREATE | MAPI_MODIFY, inner), S_OK);
    ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "RE: inner"), Narrow(PR_BODY_A, "inner body")}), S_OK);
    AddFile(inner, "inner.txt", "inner data");
    ASSERT_CODE(inner->SaveChanges(0), S_OK);
    inner.reset();
    ASSERT_CODE(OpenEmbedded(attachment, 0, inner), S_OK) << "saved into the attachment, to be seen there";
    EXPECT_EQ(TextOf(inner.get(), PR_SUBJECT_A), "RE: inner");
    EXPECT_EQ(List(inner), "0=inner.txt");
    inner.reset();
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    attachment.reset();
    const EntryIdBytes id = m_mailbox.Save(message);
    message.reset();

    auto opened = m_mailbox.Open(id);
    attachment = Open(opened, 0);
    ASSERT_CODE(OpenEmbedded(attachment, 0, inner), S_OK);
    EXPECT_EQ(TextOf(inner.get(), PR_NORMALIZED_SUBJECT_A), "inner");
    EXPECT_EQ(TextOf(inner.get(), PR_BODY_A), "inner body");
    EXPECT_TRUE(BytesOf(inner.get(), PR_ENTRYID).empty());
    EXPECT_EQ(List(inner), "0=inner.txt");
    EXPECT_EQ(ReadProperty(Open(inner, 0).get(), PR_ATTACH_DATA_BIN), "inner data");
    // It is no message of the folder.
    EXPECT_EQ(LongOf(m_mailbox.Inbox(), PR_CONTENT_COUNT), 1);
}

TEST_F(AttachmentTest, AnAttachedMessageIsChangedAndReplaced)
{
    auto message = m_mailbox.NewMessage();
    auto attachment = Create(message);
    ComPtr<IMessage> inner;
    ASSERT_CODE(OpenEmbedded(attachment, MAPI_CREATE | MAPI_MODIFY, inner), S_OK);
    ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "first"), Narrow(PR_BODY_A, "body")}), S_OK);
    AddFile(inner, "inner.txt", "inner data");
    ASSERT_CODE(inner->SaveChanges(0), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    const EntryIdBytes id = m_mailbox.Save(message);

    auto opened = m_mailbox.Open(id);
    attachment = Open(opened, 0, MAPI_MODIFY);
    ASSERT_CODE(OpenEmbedded(attachment, MAPI_MODIFY, inner), S_OK);
    ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "second")}), S_OK);
    ASSERT_CODE(inner->SaveChanges(0), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    ASSERT_CODE(opened->SaveChanges(0), S_OK);
    inner.reset();
    attachment.reset();
    opened = m_mailbox.Open(id);
    attachment = Open(opened, 0, MAPI_MODIFY);
    ASSERT_CODE(OpenEmbedded(attachment, 0, inner), S_OK);
    EXPECT_EQ(TextOf(inner.get(), PR_SUBJECT_A), "second");
    EXPECT_EQ(TextOf(inner.get(), PR_BODY_A), "body");

    ASSERT_CODE(OpenEmbedded(attachment, MAPI_CREATE | MAPI_MODIFY, inner), S_OK);
    ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "third")}), S_OK);
    ASSERT_CODE(inner->SaveChanges(0), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    ASSERT_CODE(opened->SaveChanges(0), S_OK);
    ASSERT_CODE(OpenEmbedded(Open(m_mailbox.Open(id), 0), 0, inner), S_OK);
    EXPECT_EQ(TextOf(inner.get(), PR_SUBJECT_A), "third");
    EXPECT_EQ(TextOf(inner.get(), PR_BODY_A), "(none)");
    EXPECT_EQ(List(inner), "");
}

TEST_F(AttachmentTest, TheAttachmentTableDescribesWithoutGivingTheData)
{
    auto message = m_mailbox.NewMessage();
    AddFile(message, "a.wav", "1234");
    m_mailbox.Save(message);
    AddFile(message, "b.wav", "56");
    ComPtr<IMAPITable> table;
    ASSERT_CODE(message->GetAttachmentTable(0, table.put()), S_OK);
    Rows rows;
    ASSERT_CODE(QueryAllRows(table.get(),
                             Tags{PR_ATTACH_NUM, PR_ATTACH_SIZE, PR_ATTACH_METHOD, PR_RECORD_KEY, PR_ATTACH_DATA_BIN},
                             nullptr, nullptr, 0, rows.put()),
                S_OK);
    ASSERT_EQ(rows.size(), 2u);
    for (ULONG row = 0; row < 2; ++row) {
        EXPECT_EQ(rows[row].lpProps[0].Value.l, static_cast<LONG>(row));
        EXPECT_GE(rows[row].lpProps[1].Value.l, row ? 2 : 4);
        EXPECT_EQ(rows[row].lpProps[2].Value.l, static_cast<LONG>(ATTACH_BY_VALUE));
        EXPECT_EQ(rows[row].lpProps[3].ulPropTag, PR_RECORD_KEY);
        EXPECT_EQ(PROP_TYPE(rows[row].lpProps[4].ulPropTag), PT_ERROR);
    }
    ASSERT_CODE(message->OpenProperty(PR_MESSAGE_ATTACHMENTS, &IID_IMAPITable, 0, 0,
                                      reinterpret_cast<LPUNKNOWN *>(table.put())),
                S_OK);
    EXPECT_CODE(message->GetAttachmentTable(1, table.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(message->GetAttachmentTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(AttachmentTest, AttachmentsAreOpenedForWritingOnlyWhereTheMessageIs)
{
    auto message = m_mailbox.NewMessage();
    AddFile(message, "a.wav", "1234");
    const EntryIdBytes id = m_mailbox.Save(message);
    auto readOnly = m_mailbox.Open(id, 0);
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    EXPECT_CODE(readOnly->OpenAttach(0, nullptr, MAPI_MODIFY, attachment.put()), MAPI_E_NO_ACCESS);
    EXPECT_CODE(readOnly->CreateAttach(nullptr, 0, &number, attachment.put()), MAPI_E_NO_ACCESS);
    EXPECT_CODE(readOnly->DeleteAttach(0, 0, nullptr, 0), MAPI_E_NO_ACCESS);
    ASSERT_CODE(readOnly->OpenAttach(0, nullptr, MAPI_BEST_ACCESS, attachment.put()), S_OK);
    EXPECT_EQ(LongOf(attachment.get(), PR_ACCESS_LEVEL), 0);
    SPropValue name = Narrow(PR_ATTACH_FILENAME_A, "x");
    EXPECT_CODE(attachment->SetProps(1, &name, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_CODE(attachment->SaveChanges(0), MAPI_E_NO_ACCESS);
    ComPtr<IStream> stream;
    EXPECT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_MODIFY, stream), MAPI_E_NO_ACCESS);
}

TEST_F(AttachmentTest, BadArgumentsAreRefused)
{
    auto message = m_mailbox.NewMessage();
    AddFile(message, "a.wav", "1234");
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    EXPECT_CODE(message->OpenAttach(77, nullptr, 0, attachment.put()), MAPI_E_NOT_FOUND);
    EXPECT_CODE(message->OpenAttach(0xFFFFFFFF, nullptr, 0, attachment.put()), MAPI_E_NOT_FOUND);
    EXPECT_CODE(message->OpenAttach(0, nullptr, 0x400, attachment.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(message->OpenAttach(0, &IID_IMessage, 0, attachment.put()), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(message->OpenAttach(0, nullptr, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->CreateAttach(nullptr, 0, nullptr, attachment.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->CreateAttach(nullptr, 0, &number, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->CreateAttach(&IID_IMessage, 0, &number, attachment.put()), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(message->CreateAttach(nullptr, 0x400, &number, attachment.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(message->DeleteAttach(0, 0, nullptr, 0x400), MAPI_E_UNKNOWN_FLAGS);
    ASSERT_CODE(message->OpenAttach(0, &IID_IAttachment, 0, attachment.put()), S_OK);
    EXPECT_CODE(ProblemOf(Open(message, 0).get(), Long(PR_ATTACH_NUM, 5)), MAPI_E_COMPUTED);
    EXPECT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_BIN, nullptr, 0, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

} // namespace

} // namespace localmapi::test
