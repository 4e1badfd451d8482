// Work on one message whose entry ID is known: its header, its flags, its read flag, and what every such export
// refuses.
#include "messages/MessagesTest.h"
#include "messages/listing/FaxSettings.h"
#include "messages/listing/Header.h"
#include <cstring>
#include <new>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class SingleMessageTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");

    HRESULT Header(EmailHeaderA *&header) const
    {
        return OrlGetEmailHeaderA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &header);
    }
    struct Flags {
        BYTE bPrivate = 7;
        BYTE bHighPriority = 8;
        BYTE bRead = 9;
        HRESULT hr = S_OK;
    };
    Flags GetFlags() const
    {
        Flags flags;
        flags.hr = OrlGetEmailFlags(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &flags.bPrivate,
                                    &flags.bHighPriority, &flags.bRead);
        return flags;
    }
    HRESULT SetRead(BYTE bRead) const
    {
        return OrlSetEmailReadFlag(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), bRead);
    }
    HRESULT Delete() const { return OrlDeleteEmail(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id)); }
};

TEST_F(SingleMessageTest, AHeaderIsReadWithTheColumnsOfTheListing)
{
    Deliver("m", {Long(PR_IMPORTANCE, 2), Long(PR_SENSITIVITY, 2), Text(PR_SENDER_NAME_A, "Sender"),
                  Text(PR_CREATOR_NAME_A, "Creator"), Time(PR_CLIENT_SUBMIT_TIME, 0x01D9A1B2C3D4E5F6),
                  Long(PR_MESSAGE_FLAGS, 1), Long(PR_MESSAGE_SIZE, 2048), Text(PR_COMMENT_A, "Comment"),
                  Long(PR_UM_DURATION, 7), Text(PR_UM_TELEPHONE_NUMBER_A, "+15550100"),
                  Text(PR_UM_SENDER_NAME_A, "Caller"), Long(PR_UM_OFFSET, 3), Long(PR_UM_MESSAGE_RECEIVED, 44)});
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_THAT(
        m_mapi.recorder.Calls(),
        ElementsAre("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                    "Message(m).GetProps([PR_ENTRYID, PR_MESSAGE_CLASS_A, PR_IMPORTANCE, PR_SENSITIVITY, "
                    "PR_SENDER_NAME_A, PR_CREATOR_NAME_A, PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_FLAGS, "
                    "PR_MESSAGE_SIZE, PR_COMMENT_A, PR_SENDER_EMAIL_ADDRESS_A, PR_UM_DURATION, "
                    "PR_UM_TELEPHONE_NUMBER_A, PR_UM_SENDER_NAME_A, PR_UM_OFFSET, PR_UM_MESSAGE_RECEIVED], 0)"));
    EXPECT_EQ(Bytes(header->pEntryID, header->cbEntryID), m_id);
    EXPECT_STREQ(header->pszSenderName, "Sender");
    EXPECT_STREQ(header->pszCreatorName, "Creator");
    EXPECT_STREQ(header->pszComment, "Comment");
    EXPECT_EQ(header->stSubmitTime.wYear, 2023);
    EXPECT_EQ(header->bRead, 1);
    EXPECT_EQ(header->bPrivate, 1);
    EXPECT_EQ(header->bHighPriority, 1);
    EXPECT_EQ(header->ulSize, 2048u);
    EXPECT_EQ(header->cAttachments, 0u);
    EXPECT_EQ(header->lSecs, 7);
    EXPECT_STREQ(header->pszNumber, "+15550100");
    EXPECT_STREQ(header->pszName, "Caller");
    EXPECT_EQ(header->offset, 3);
    EXPECT_EQ(header->ulMsgReceived, 44u);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, TheOffsetAloneIsNoNumberReceived)
{
    Deliver("m", {Long(PR_UM_OFFSET, 12)});
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_EQ(header->offset, 12);
    EXPECT_EQ(header->ulMsgReceived, 0u);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, AFaxMessageReturnsItsSenderAddressAsTheCreatorNameAndNothingIsLearned)
{
    Deliver("m", {Text(PR_CREATOR_NAME_A, "FaxMaker"), Text(PR_SENDER_EMAIL_ADDRESS_A, "4711@Fax.norvik.example")});
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_STREQ(header->pszCreatorName, "4711@Fax.norvik.example");
    EXPECT_FALSE(FaxServerSeen);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, AWideHeaderIsWidenedAsUtf8)
{
    Deliver("m", {Text(PR_SENDER_NAME_A, "\xCE\xA9")});
    EmailHeaderW *header = nullptr;
    ASSERT_EQ(OrlGetEmailHeaderW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &header), S_OK);
    EXPECT_EQ(wtext(header->pszSenderName), OLESTR("\u03A9"));
    EXPECT_EQ(wtext(header->pszComment), OLESTR(""));
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, AttachmentsOfASingleHeaderAreNoneAndTheirPointerIsUnset)
{
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 100)}, "");
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_EQ(header->cAttachments, 0u);
    // Fresh blocks of the double are filled with 0xCD.
    AttachmentInfoA *unset;
    std::memset(&unset, 0xCD, sizeof unset);
    EXPECT_EQ(header->pAttachments, unset);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, MalformedValuesOfAHeaderAreTakenAsEmpty)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    Value entryId = Binary(PR_ENTRYID, "gone");
    entryId.null = true;
    message.props = {entryId, Null(PR_SENDER_NAME_A), Null(PR_CREATOR_NAME_A), Null(PR_SENDER_EMAIL_ADDRESS_A),
                     Time(PR_CLIENT_SUBMIT_TIME, 0x8000000000000000)};
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_EQ(header->cbEntryID, 0u);
    EXPECT_STREQ(header->pszSenderName, "");
    EXPECT_EQ(header->stSubmitTime.wYear, 0);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, NoPropertiesAtAllAreAnEmptyHeader)
{
    Deliver("m");
    m_mapi.script.Tell("Message.GetProps", GivesNull());
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_STREQ(header->pszSenderName, "");
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, TheTraceOfAHeaderKeepsItsMisspeltExit)
{
    Deliver("m");
    EmailHeaderA *header = nullptr;
    ASSERT_EQ(Header(header), S_OK);
    EXPECT_THAT(Lines(),
                Contains(testing::AllOf(StartsWith("> CMAPIImpl::GetEmailHeader(pIMsgStore: "),
                                        HasSubstr(", EntryID: \"6D6573736167653A6D"), testing::EndsWith("\", ...)"))));
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeader[n]: At entry, counter=[0]"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeader[n]: At ecit, counter=[0]"), 1);
    OrlMapiFreeBuffer(header);
}

TEST_F(SingleMessageTest, FailuresOfAHeaderAreNamed)
{
    auto *const untouched = reinterpret_cast<EmailHeaderA *>(&m_connection);
    EmailHeaderA *header = untouched;
    EXPECT_EQ(Header(header), MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeader[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenEntry trying to access and open the message."));
    Deliver("m");
    m_mapi.script.Tell("Message.GetProps", Fails(MAPI_E_NO_ACCESS));
    Forget();
    EXPECT_EQ(Header(header), MAPI_E_NO_ACCESS);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeader[n]: Error 0x80070005 [MAPI_E_NO_ACCESS] from "
                                          "GetProps trying to retrieve properties for the message."));
    EXPECT_EQ(header, untouched);
}

TEST_F(SingleMessageTest, AnErrorTextOfTheObjectIsPartOfTheReport)
{
    m_mapi.script.SetLastError("Store(alice)", {"The server is not available.", "Store", 1164});
    EmailHeaderA *header = nullptr;
    EXPECT_EQ(Header(header), MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeader[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenEntry (The server is not available. : Store[1164]) trying to access "
                                          "and open the message."));
}

TEST_F(SingleMessageTest, FlagsOfANormalUnreadMessageAreAllZero)
{
    Deliver("m", {Long(PR_IMPORTANCE, 0), Long(PR_SENSITIVITY, 0), Long(PR_MESSAGE_FLAGS, 0x10)});
    const Flags flags = GetFlags();
    EXPECT_EQ(flags.hr, S_OK);
    EXPECT_EQ(flags.bPrivate, 0);
    EXPECT_EQ(flags.bHighPriority, 0);
    EXPECT_EQ(flags.bRead, 0);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                            "Message(m).GetProps([PR_IMPORTANCE, PR_SENSITIVITY, PR_MESSAGE_FLAGS], 0)"));
    EXPECT_THAT(Lines(),
                Contains(testing::AllOf(StartsWith("> CMAPIImpl::GetEmailFlags(pIMsgStore: "),
                                        HasSubstr(", EntryID: \"6D6573736167653A6D"), testing::EndsWith("\", ...)"))));
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailFlags[n]: At Entry, counter=[0]"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailFlags[n]: At Exit, counter=[0]"), 1);
}

TEST_F(SingleMessageTest, EachFlagComesFromItsProperty)
{
    Deliver("m", {Long(PR_SENSITIVITY, 2)});
    EXPECT_EQ(GetFlags().bPrivate, 1);
    EXPECT_EQ(GetFlags().bHighPriority, 0);
    EXPECT_EQ(GetFlags().bRead, 0);
    Set(m_mapi.world.mailboxes.at("alice")->inbox->messages[0]->props, Long(PR_IMPORTANCE, 2));
    EXPECT_EQ(GetFlags().bHighPriority, 1);
    Set(m_mapi.world.mailboxes.at("alice")->inbox->messages[0]->props, Long(PR_MESSAGE_FLAGS, 0x201));
    EXPECT_EQ(GetFlags().bRead, 1);
}

TEST_F(SingleMessageTest, FlagsThatAreMissingAreZeroAndTheWarningComesThrough)
{
    Deliver("m");
    const Flags flags = GetFlags();
    EXPECT_EQ(flags.hr, MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(flags.bPrivate + flags.bHighPriority + flags.bRead, 0);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(SingleMessageTest, OnFailureTheCallersFlagsAreUntouched)
{
    Deliver("m");
    m_mapi.script.Tell("Message.GetProps", Fails(MAPI_E_NETWORK_ERROR));
    const Flags flags = GetFlags();
    EXPECT_EQ(flags.hr, MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(flags.bPrivate, 7);
    EXPECT_EQ(flags.bHighPriority, 8);
    EXPECT_EQ(flags.bRead, 9);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailFlags[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                                          "GetProps trying to determine specific properties the message."));
}

TEST_F(SingleMessageTest, TheMemberWritesOnlyOnes)
{
    Deliver("m", {Long(PR_IMPORTANCE, 1), Long(PR_SENSITIVITY, 1), Long(PR_MESSAGE_FLAGS, 0)});
    BYTE bPrivate = 5;
    BYTE bHighPriority = 6;
    BYTE bRead = 7;
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    EXPECT_EQ(session->GetEmailFlags(reinterpret_cast<IMsgStore *>(m_mailbox), SizeOf(m_id), AsBytes(m_id), &bPrivate,
                                     &bHighPriority, &bRead),
              S_OK);
    EXPECT_EQ(bPrivate, 5);
    EXPECT_EQ(bHighPriority, 6);
    EXPECT_EQ(bRead, 7);
}

TEST_F(SingleMessageTest, MarkingAsReadUsesNoFlag)
{
    MessageData &message = Deliver("m", {Long(PR_MESSAGE_FLAGS, 0)});
    EXPECT_EQ(SetRead(1), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)", "Message(m).SetReadFlag(0)"));
    EXPECT_EQ(Find(message.props, PR_MESSAGE_FLAGS)->number, 1);
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::SetEmailReadFlag(pIMsgStore: "),
                                                 testing::EndsWith("\", READ)"))));
    EXPECT_EQ(CountLines("CMAPIImpl::SetEmailReadFlag[n]: At Exit, counter=[0]"), 1);
    for (const std::string &line : Lines())
        EXPECT_EQ(line.find("SetEmailReadFlag[n]: At entry"), std::string::npos) << line;
}

TEST_F(SingleMessageTest, MarkingAsUnreadClearsTheReadFlag)
{
    Deliver("m", {Long(PR_MESSAGE_FLAGS, 1)});
    EXPECT_EQ(SetRead(0), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Message(m).SetReadFlag(0x4)"));
    EXPECT_THAT(Lines(), Contains(testing::EndsWith("\", UNREAD)")));
}

TEST_F(SingleMessageTest, AReadFlagThatCannotBeSetIsReported)
{
    Deliver("m");
    m_mapi.script.Tell("Message.SetReadFlag", Fails(MAPI_E_NO_ACCESS));
    EXPECT_EQ(SetRead(1), MAPI_E_NO_ACCESS);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::SetEmailReadFlag[n]: Error 0x80070005 [MAPI_E_NO_ACCESS] from "
                                          "SetReadFlag trying to change PR_MESSAGE_FLAGS property of the message."));
}

TEST_F(SingleMessageTest, EveryExportRefusesANullMailboxAndAnUnknownConnection)
{
    Deliver("m");
    Forget();
    const struct {
        DWORD connection;
        OrlMailbox mailbox;
    } refused[] = {{m_connection, 0}, {0, m_mailbox}, {0xFFFFFFFF, m_mailbox}};
    for (const auto &of : refused) {
        EmailHeaderA *a = nullptr;
        EmailHeaderW *w = nullptr;
        BYTE b = 3;
        EXPECT_EQ(OrlGetEmailHeaderA(of.connection, of.mailbox, SizeOf(m_id), AsBytes(m_id), &a), E_INVALIDARG);
        EXPECT_EQ(OrlGetEmailHeaderW(of.connection, of.mailbox, SizeOf(m_id), AsBytes(m_id), &w), E_INVALIDARG);
        EXPECT_EQ(OrlGetEmailFlags(of.connection, of.mailbox, SizeOf(m_id), AsBytes(m_id), &b, &b, &b), E_INVALIDARG);
        EXPECT_EQ(OrlSetEmailReadFlag(of.connection, of.mailbox, SizeOf(m_id), AsBytes(m_id), 1), E_INVALIDARG);
        EXPECT_EQ(OrlDeleteEmail(of.connection, of.mailbox, SizeOf(m_id), AsBytes(m_id)), E_INVALIDARG);
        EXPECT_EQ(b, 3);
    }
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
}

TEST_F(SingleMessageTest, TheMembersRefuseANullStore)
{
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    ::Header header;
    BYTE b = 0;
    EXPECT_EQ(session->GetEmailHeader(nullptr, SizeOf(m_id), AsBytes(m_id), header), E_POINTER);
    EXPECT_EQ(session->GetEmailFlags(nullptr, SizeOf(m_id), AsBytes(m_id), &b, &b, &b), E_POINTER);
    EXPECT_EQ(session->SetEmailReadFlag(nullptr, SizeOf(m_id), AsBytes(m_id), 1), E_POINTER);
    EXPECT_EQ(session->DeleteEmail(nullptr, SizeOf(m_id), AsBytes(m_id)), E_POINTER);
    for (const char *name : {"GetEmailHeader", "GetEmailFlags", "SetEmailReadFlag", "DeleteEmail"})
        EXPECT_EQ(CountLines("CMAPIImpl::" + std::string(name) + "[n]: Error pIMsgStore is NULL."), 1) << name;
}

TEST_F(SingleMessageTest, AnExceptionIsReportedAndNothingIsLeft)
{
    Deliver("m");
    const auto thrown = Does([] { throw std::bad_alloc(); });
    m_mapi.script.Tell("Message.GetProps", thrown);
    m_mapi.script.Tell("Message.SetReadFlag", thrown);
    m_mapi.script.Tell("Folder.CopyMessages", thrown);
    EmailHeaderA *header = nullptr;
    EXPECT_EQ(Header(header), E_UNEXPECTED);
    EXPECT_EQ(GetFlags().hr, E_UNEXPECTED);
    EXPECT_EQ(SetRead(1), E_UNEXPECTED);
    EXPECT_EQ(Delete(), E_UNEXPECTED);
    for (const char *name : {"GetEmailHeader", "GetEmailFlags", "SetEmailReadFlag", "DeleteEmail"})
        EXPECT_THAT(Lines(),
                    Contains(StartsWith("Exception has occurred in CMAPIImpl::" + std::string(name) + " (OrlMapi32[")));
    EXPECT_EQ(OpenObjects(), 0);
}

} // namespace
