// Sends that fail: who refuses them, which line of the trace says so, and that nothing is submitted or left open.
#include "messages/SendTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

TEST_F(SendTest, AFileThatCannotBeOpenedIsReportedAndNothingIsSubmitted)
{
    Email email;
    email.file = MissingFile();
    EXPECT_EQ(Send(email), MAPI_E_NOT_FOUND);
    EXPECT_EQ(SendUM(email, {}), MAPI_E_NOT_FOUND);
    const std::string reported =
        "[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenStreamOnFile trying open a stream on the file " + email.file;
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::SendEmail" + reported, "CMAPIImpl::SendUMEmail" + reported));
    EXPECT_FALSE(Submitted());
    ExpectNothingOpen();
}

TEST_F(SendTest, WithoutAnyStoreItIsRefused)
{
    ASSERT_EQ(OrlMapiDisconnect(m_connection), S_OK);
    Forget();
    EXPECT_EQ(SendFrom(0, {}), E_POINTER);
    EXPECT_EQ(SendUMFrom(0, {}, {}), E_POINTER);
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
    EXPECT_THAT(LinesOf("Error pIMsgStore", '2'), ElementsAre("CMAPIImpl::SendEmail[n]: Error pIMsgStore is NULL.",
                                                              "CMAPIImpl::SendUMEmail[n]: Error pIMsgStore is NULL."));
}

TEST_F(SendTest, WithoutALogonTheRecipientsCannotBeResolved)
{
    ASSERT_EQ(OrlMapiDisconnect(m_connection), S_OK);
    Forget();
    EXPECT_TRUE(FAILED(Send({})));
    EXPECT_FALSE(Submitted());
}

TEST_F(SendTest, AnUnknownConnectionIsRefused)
{
    const DWORD unknown = 40000;
    EXPECT_EQ(OrlSendEmailA(unknown, m_mailbox, "bob", "", "", 0, 0, "", ""), E_INVALIDARG);
    EXPECT_EQ(OrlSendEmailW(0, m_mailbox, OLESTR("bob"), OLESTR(""), OLESTR(""), 0, 0, OLESTR(""), OLESTR("")),
              E_INVALIDARG);
    EXPECT_EQ(OrlSendUMEmailA(0, 0, "bob", "", "", 0, 0, "", "", 1, "", "", "", 0, 0), E_INVALIDARG);
    EXPECT_EQ(OrlSendUMEmailW(unknown, 0, OLESTR("bob"), OLESTR(""), OLESTR(""), 0, 0, OLESTR(""), OLESTR(""), 1,
                              OLESTR(""), OLESTR(""), OLESTR(""), 0, 0),
              E_INVALIDARG);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(SendTest, RecipientsThatAreNoneAreTheAddressListsFailure)
{
    const struct {
        const char *recipients;
        HRESULT hr;
    } cases[] = {{"", E_INVALIDARG}, {";", E_ABORT}, {"nobody", MAPI_E_NOT_FOUND}, {"bob;nobody", MAPI_E_NOT_FOUND}};
    for (const auto &example : cases) {
        SCOPED_TRACE(example.recipients);
        Email email;
        email.recipients = example.recipients;
        Forget();
        EXPECT_EQ(Send(email), example.hr);
        EXPECT_EQ(SendUM(email, {}), example.hr);
        EXPECT_FALSE(Submitted());
        EXPECT_EQ(m_mapi.recorder.Count("Message.ModifyRecipients"), 0);
        EXPECT_EQ(m_mapi.recorder.Count("Message.SetProps"), 0);
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, OnlyAVoiceMessageThatWasSubmittedSaysSo)
{
    m_mapi.script.Tell("Message.SubmitMessage", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(SendUM({}, {}), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(LinesOf("Message submitted", '5'), IsEmpty());
    m_mapi.script.Clear();
    Email email;
    email.file = File("sound.wav", "sound");
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_THAT(LinesOf("Message submitted", '5'), IsEmpty());
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_THAT(LinesOf("Message submitted", '5'),
                ElementsAre("CMAPIImpl::SendUMEmail[n]: Message submitted successfully.[4]"))
        << "with the file";
}

TEST_F(SendTest, AnOutboxIdOfAnotherTypeIsNone)
{
    auto &store = *m_mapi.world.mailboxes.at("alice");
    store.raw = true;
    store.props = {Text(CHANGE_PROP_TYPE(PR_IPM_OUTBOX_ENTRYID, PT_STRING8), "folder")};
    EXPECT_EQ(Send({}), MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::SendEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrGetOneProp determining the ID for outbox."));
    m_mapi.script.Tell("HrGetOneProp", GivesNull());
    EXPECT_EQ(Send({}), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_mapi.recorder.Count("Store.OpenEntry"), 0);
    ExpectNothingOpen();
}

TEST_F(SendTest, CallsThatSucceedAndGiveNothingHaveFailed)
{
    Email email;
    email.file = File("sound.wav", "sound");
    for (const char *call : {"Store.OpenEntry", "Folder.CreateMessage", "OpenStreamOnFile", "Message.CreateAttach",
                             "Attach.OpenProperty"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        Forget();
        EXPECT_EQ(Send(email), E_FAIL);
        EXPECT_EQ(ErrorLines().size(), 1u);
        EXPECT_FALSE(Submitted());
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, WarningsStopNothing)
{
    m_mapi.script.Tell("Message.SetProps", Warns(MAPI_W_ERRORS_RETURNED));
    m_mapi.script.Tell("Message.ModifyRecipients", Warns(MAPI_W_PARTIAL_COMPLETION));
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_TRUE(Created().submitted);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(SendTest, EveryFailingStepHasItsOwnSentence)
{
    const struct {
        const char *call;
        const char *function;
        const char *report;
    } cases[] = {
        {"HrGetOneProp", "SendEmail", "HrGetOneProp determining the ID for outbox."},
        {"Store.OpenEntry", "SendEmail", "HrOpenEntry trying to access and open the outbox folder."},
        {"Folder.CreateMessage", "SendEmail", "CreateMessage creating the message."},
        {"Session.OpenAddressBook", "CreateAddressList",
         "OpenAddressBook trying to open the MAPI integrated address book."},
        {"AddrBook.ResolveName", "CreateAddressList", "ResolveName trying to resolve the recipients bob."},
        {"Message.ModifyRecipients", "SendEmail",
         "ModifyRecipients trying to modify the recipients associated with the message."},
        {"Message.SetProps", "SendEmail", "SetProps trying to set properties for the message."},
        {"Stream(file).Seek", "AttachFile", "Seek trying to seek to the beginning of the file to attach"},
        {"Message.CreateAttach", "AttachFile", "CreateAttach trying to create the attachment"},
        {"Attach.OpenProperty", "AttachFile",
         "OpenProperty trying to open the attachment property for storing the binary data"},
        {"Stream(file).Stat", "AttachFile", "Stat trying to determine information about the file to be attached"},
        {"Stream(file).CopyTo", "AttachFile", "CopyTo trying to copy file to attachment"},
        {"Attach.SetProps", "AttachFile", "SetProps trying to set properties for the attachment."},
        {"Attach.SaveChanges", "AttachFile", "SaveChanges trying to save changes to the attachment."},
        {"Message.SubmitMessage", "SendEmail",
         "SubmitMessage trying to save all the changes to the message and marking the message as ready to be sent."},
    };
    Email email;
    email.file = File("sound.wav", "sound");
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Send(email), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(std::string("CMAPIImpl::") + failing.function +
                                              "[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " + failing.report));
        for (const auto &message : m_mapi.world.created)
            EXPECT_FALSE(message->submitted);
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, AnObjectsOwnErrorTextIsInTheReport)
{
    m_mapi.script.Tell("Message.SubmitMessage", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.SetLastError("Message", {"The server is gone.", "Store", 7});
    EXPECT_EQ(Send({}), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("from SubmitMessage (The server is gone. : Store[7]) trying to ")));
}

TEST_F(SendTest, AnExceptionIsReportedUnderTheExportsName)
{
    for (const char *call : {"Folder.CreateMessage", "Message.SubmitMessage"}) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Does([] { throw 1; }));
        Forget();
        EXPECT_EQ(Send({}), E_UNEXPECTED);
        EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlSendEmailA (OrlMapi32[")));
        EXPECT_EQ(SendUM({}, {}), E_UNEXPECTED);
        EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlSendUMEmailA (OrlMapi32[")));
        ExpectNothingOpen();
    }
}

} // namespace
