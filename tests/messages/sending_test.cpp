// Sending new messages, plain and of unified messaging: what MAPI is asked and in which order, what the message then
// holds, what the trace shows, and that nothing is submitted when a step fails.
#include "messages/SendingTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

// The arguments of a send, as a test changes them.
struct Email {
    std::string recipients = "bob";
    std::string subject = "The subject";
    std::string body = "The body";
    BYTE urgent = 0;
    BYTE isPrivate = 0;
    std::string file;
    std::string filename;
};
struct Voice {
    LONG secs = 12;
    std::string number = "+15550100";
    std::string name = "Carol";
    std::string order = "a.wav;b.wav";
    LONG offset = -3;
    ULONG received = 0xFFFFFFF0;
};

class SendTest : public SendingTest
{
  protected:
    HRESULT Send(const Email &e) { return SendFrom(mailbox, e); }
    HRESULT SendFrom(OrlMailbox from, const Email &e)
    {
        return OrlSendEmailA(connection, from, e.recipients.c_str(), e.subject.c_str(), e.body.c_str(), e.urgent,
                             e.isPrivate, e.file.c_str(), e.filename.c_str());
    }
    HRESULT SendUM(const Email &e, const Voice &v) { return SendUMFrom(mailbox, e, v); }
    HRESULT SendUMFrom(OrlMailbox from, const Email &e, const Voice &v)
    {
        return OrlSendUMEmailA(connection, from, e.recipients.c_str(), e.subject.c_str(), e.body.c_str(), e.urgent,
                               e.isPrivate, e.file.c_str(), e.filename.c_str(), v.secs, v.number.c_str(),
                               v.name.c_str(), v.order.c_str(), v.offset, v.received);
    }
    // A resolved recipient, as it reaches ModifyRecipients.
    static std::string Resolved(const std::string &alias, const std::string &name)
    {
        return "PR_RECIPIENT_TYPE=1, PR_ENTRYID=eid(user:" + alias + "), PR_DISPLAY_NAME_A=\"" + name +
               "\", PR_ACCOUNT_A=\"" + alias + "\", PR_ADDRTYPE_A=\"EX\", PR_EMAIL_ADDRESS_A=\"" +
               DistinguishedNameOf(alias) + "\"";
    }
    // What each send begins with, to Bob.
    static std::vector<std::string> Opening(const std::string &store = "alice")
    {
        return {"HrGetOneProp(Store(" + store + "), PR_IPM_OUTBOX_ENTRYID)",
                "Store(" + store + ").OpenEntry(eid(folder:" + store + "/Outbox), IMAPIFolder, 0x201)",
                "Folder(" + store + "/Outbox).CreateMessage(NULL, 0)",
                "Session.OpenAddressBook(0, NULL, 0x1)",
                "AddrBook.ResolveName(0, 0, NULL, [PR_DISPLAY_NAME_A=\"bob\", PR_RECIPIENT_TYPE=1])",
                "Message(new).ModifyRecipients(0, [" + Resolved("bob", "Bob Baker") + "])"};
    }
    std::vector<std::string> CallsWith(std::vector<std::string> opening, const std::vector<std::string> &rest) const
    {
        opening.insert(opening.end(), rest.begin(), rest.end());
        return opening;
    }
    std::string SetProps() const
    {
        for (const std::string &call : mapi.recorder.Calls())
            if (call.rfind("Message(new).SetProps([", 0) == 0)
                return call;
        return "no properties were set";
    }
};

const char kPlainProps[] = "PR_SUBJECT_A=\"The subject\", PR_BODY_A=\"The body\", PR_IMPORTANCE=1, PR_PRIORITY=0, "
                           "PR_SENSITIVITY=0, PR_DELETE_AFTER_SUBMIT=TRUE";
const char kVoiceProps[] = ", PR_MESSAGE_CLASS_A=\"IPM.Note.Microsoft.Voicemail.UM\", PR_UM_DURATION=12, "
                           "PR_UM_TELEPHONE_NUMBER_A=\"+15550100\", PR_UM_SENDER_NAME_A=\"Carol\", PR_UM_OFFSET=-3, "
                           "PR_UM_MESSAGE_RECEIVED=-16, PR_UM_ATTACHMENT_ORDER_A=\"a.wav;b.wav\", "
                           "PR_DISABLE_FULL_FIDELITY=TRUE";

TEST_F(SendTest, APlainMessageIsCreatedInTheOutboxAddressedFilledAndSubmitted)
{
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                    "Message(new).SubmitMessage(0)"}));
    EXPECT_TRUE(Created().submitted);
    EXPECT_EQ(Created().saved, 0) << "submitting saves";
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker");
    ExpectNothingOpen();
}

TEST_F(SendTest, AVoiceMessageHasFourteenPropertiesInTheirOrder)
{
    EXPECT_EQ(SendUM({}, {}), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + kVoiceProps + "], NULL)",
                                    "Message(new).SubmitMessage(0)"}));
    ExpectNothingOpen();
}

TEST_F(SendTest, ThePropertiesHaveTheirPublishedNumbers)
{
    EXPECT_EQ(SendUM({}, {}), S_OK);
    std::vector<ULONG> tags;
    for (const Value &value : Created().props)
        tags.push_back(value.tag);
    EXPECT_THAT(tags, ElementsAre(0x0037001E, 0x1000001E, 0x00170003, 0x00260003, 0x00360003, 0x0E01000B, 0x001A001E,
                                  0x68010003, 0x6802001E, 0x6803001E, 0x68070003, 0x68080003, 0x6805001E, 0x10F2000B));
}

TEST_F(SendTest, UrgentAndPrivateAreThreeProperties)
{
    const struct {
        BYTE urgent, isPrivate;
        const char *properties;
    } cases[] = {
        {0, 0, "PR_IMPORTANCE=1, PR_PRIORITY=0, PR_SENSITIVITY=0, "},
        {1, 0, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=0, "},
        {0, 1, "PR_IMPORTANCE=1, PR_PRIORITY=0, PR_SENSITIVITY=2, "},
        {1, 1, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=2, "},
        {0x80, 0xFF, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=2, "},
    };
    for (const auto &example : cases) {
        Email email;
        email.urgent = example.urgent;
        email.isPrivate = example.isPrivate;
        Forget();
        EXPECT_EQ(Send(email), S_OK);
        EXPECT_THAT(SetProps(), HasSubstr(example.properties));
        Forget();
        EXPECT_EQ(SendUM(email, {}), S_OK);
        EXPECT_THAT(SetProps(), HasSubstr(example.properties));
    }
}

TEST_F(SendTest, AFileIsAttachedBeforeTheMessageIsSubmitted)
{
    Email email;
    email.file = File("sound.wav", "sound");
    email.filename = "message.wav";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                    "OpenStreamOnFile(0, \"" + email.file + "\", NULL)", "Stream(file).Seek(0, SET)",
                                    "Message(new).CreateAttach(NULL, 0)",
                                    "Attach(new#0).OpenProperty(PR_ATTACH_DATA_BIN, IStream, 0, 0x3)",
                                    "Stream(file).Stat(1)", "Stream(file).CopyTo(Stream(new#0.PR_ATTACH_DATA_BIN), 5)",
                                    "Attach(new#0).SetProps([PR_ATTACH_LONG_FILENAME_A=\"message.wav\", "
                                    "PR_ATTACH_METHOD=1, PR_RENDERING_POSITION=-1], NULL)",
                                    "Attach(new#0).SaveChanges(0)", "Message(new).SubmitMessage(0)"}));
    ASSERT_EQ(Created().attachments.size(), 1u);
    EXPECT_EQ(Created().attachments[0]->streams[PR_ATTACH_DATA_BIN]->bytes, "sound");
    EXPECT_THAT(Lines(), Contains(HasSubstr("szFilename: \"" + email.file + "\", szDisplayName: \"message.wav\")")));
    ExpectNothingOpen();
}

TEST_F(SendTest, WithoutAFileNoStreamIsOpened)
{
    Email email;
    email.filename = "message.wav";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_EQ(mapi.recorder.Count("OpenStreamOnFile"), 0);
    EXPECT_EQ(mapi.recorder.Count("Message.CreateAttach"), 0);
}

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

TEST_F(SendTest, WithoutAMailboxTheDefaultStoreSends)
{
    EXPECT_EQ(SendFrom(0, {}), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(),
              CallsWith(Opening("default"), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                             "Message(new).SubmitMessage(0)"}));
    Forget();
    EXPECT_EQ(SendUMFrom(0, {}, {}), S_OK);
    EXPECT_EQ(mapi.recorder.Calls().front(), "HrGetOneProp(Store(default), PR_IPM_OUTBOX_ENTRYID)");
    EXPECT_TRUE(Created().submitted);
    ExpectNothingOpen();
}

TEST_F(SendTest, WithoutAnyStoreItIsRefused)
{
    ASSERT_EQ(OrlMapiDisconnect(connection), S_OK);
    Forget();
    EXPECT_EQ(SendFrom(0, {}), E_POINTER);
    EXPECT_EQ(SendUMFrom(0, {}, {}), E_POINTER);
    EXPECT_THAT(mapi.recorder.Calls(), IsEmpty());
    EXPECT_THAT(LinesOf("Error pIMsgStore", '2'), ElementsAre("CMAPIImpl::SendEmail[n]: Error pIMsgStore is NULL.",
                                                              "CMAPIImpl::SendUMEmail[n]: Error pIMsgStore is NULL."));
}

TEST_F(SendTest, WithoutALogonTheRecipientsCannotBeResolved)
{
    ASSERT_EQ(OrlMapiDisconnect(connection), S_OK);
    Forget();
    EXPECT_TRUE(FAILED(Send({})));
    EXPECT_FALSE(Submitted());
}

TEST_F(SendTest, AnUnknownConnectionIsRefused)
{
    const DWORD unknown = 40000;
    EXPECT_EQ(OrlSendEmailA(unknown, mailbox, "bob", "", "", 0, 0, "", ""), E_INVALIDARG);
    EXPECT_EQ(OrlSendEmailW(0, mailbox, OLESTR("bob"), OLESTR(""), OLESTR(""), 0, 0, OLESTR(""), OLESTR("")),
              E_INVALIDARG);
    EXPECT_EQ(OrlSendUMEmailA(0, 0, "bob", "", "", 0, 0, "", "", 1, "", "", "", 0, 0), E_INVALIDARG);
    EXPECT_EQ(OrlSendUMEmailW(unknown, 0, OLESTR("bob"), OLESTR(""), OLESTR(""), 0, 0, OLESTR(""), OLESTR(""), 1,
                              OLESTR(""), OLESTR(""), OLESTR(""), 0, 0),
              E_INVALIDARG);
    EXPECT_THAT(mapi.recorder.Everything(), IsEmpty());
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
        EXPECT_EQ(mapi.recorder.Count("Message.ModifyRecipients"), 0);
        EXPECT_EQ(mapi.recorder.Count("Message.SetProps"), 0);
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, SeveralRecipientsAreSeparatedBySemicolons)
{
    Email email;
    email.recipients = "bob;alice";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker;Alice Archer");
}

TEST_F(SendTest, WideTextsBecomeTheSameMessage)
{
    const std::string file = File("sound.wav", "sound");
    EXPECT_EQ(OrlSendEmailW(connection, mailbox, OLESTR("bob"), OLESTR("The subject"), OLESTR("The body"), 1, 1,
                            Widened(file).c_str(), OLESTR("message.wav")),
              S_OK);
    const std::vector<std::string> wide = mapi.recorder.Calls();
    Email email;
    email.urgent = email.isPrivate = 1;
    email.file = file;
    email.filename = "message.wav";
    Forget();
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(), wide);

    Forget();
    EXPECT_EQ(OrlSendUMEmailW(connection, mailbox, OLESTR("bob"), OLESTR("The subject"), OLESTR("The body"), 1, 1,
                              Widened(file).c_str(), OLESTR("message.wav"), 12, OLESTR("+15550100"), OLESTR("Carol"),
                              OLESTR("a.wav;b.wav"), -3, 0xFFFFFFF0),
              S_OK);
    const std::vector<std::string> wideVoice = mapi.recorder.Calls();
    Forget();
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_EQ(mapi.recorder.Calls(), wideVoice);
}

TEST_F(SendTest, NullTextsAreEmpty)
{
    EXPECT_EQ(OrlSendEmailA(connection, mailbox, "bob", nullptr, nullptr, 0, 0, nullptr, nullptr), S_OK);
    EXPECT_THAT(SetProps(), StartsWith("Message(new).SetProps([PR_SUBJECT_A=\"\", PR_BODY_A=\"\", "));
    EXPECT_EQ(mapi.recorder.Count("OpenStreamOnFile"), 0);
    EXPECT_EQ(OrlSendUMEmailW(connection, mailbox, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, 0, nullptr,
                              nullptr, nullptr, 0, 0),
              E_INVALIDARG);
}

TEST_F(SendTest, TheEntryLineShowsTheArguments)
{
    Email email;
    email.file = "no/such/file";
    email.filename = "shown";
    Send(email);
    const std::string texts = ", m_TargetAlias: \"bob\", szSubject: \"The subject\", szBody: \"The body\"";
    const std::string files = ", szFile: \"" + email.file + "\", szFilename: \"shown\"";
    EXPECT_THAT(LinesOf("> CMAPIImpl::SendEmail(pIMsgStore: ", '8'), ElementsAre(EndsWith(texts + files + ")")));
    email.urgent = 1;
    Forget();
    Send(email);
    EXPECT_THAT(Lines(), Contains(EndsWith(texts + ", URGENT" + files + ")")));
    email.isPrivate = 1;
    Forget();
    Send(email);
    EXPECT_THAT(Lines(), Contains(EndsWith(texts + ", URGENT, PRIVATE" + files + ")")));

    // A line has 255 characters at most, so this one's texts are short.
    email = {};
    email.recipients = email.subject = email.body = "b";
    email.isPrivate = 1;
    Forget();
    SendUM(email, {});
    EXPECT_THAT(LinesOf("> CMAPIImpl::SendUMEmail(pIMsgStore: ", '8'),
                ElementsAre(EndsWith(", m_TargetAlias: \"b\", szSubject: \"b\", szBody: \"b\", PRIVATE, szFile: \"\", "
                                     "szFilename: \"\", lSecs: 12, szNumber: +15550100, szName: \"Carol\", szOrder: "
                                     "a.wav;b.wav, offset: -3, ulMsgReceived: 4294967280)")));
}

TEST_F(SendTest, TheCounterIsShownAtEntryAndExitWithTheirOwnSpelling)
{
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_THAT(LinesOf("CMAPIImpl::SendEmail[n]", '5'), ElementsAre("CMAPIImpl::SendEmail[n]: At Entry, counter=[0]",
                                                                     "CMAPIImpl::SendEmail[n]: At Exit, counter=[0]"));
    EXPECT_EQ(SendUM({}, {}), S_OK);
    EXPECT_THAT(LinesOf("CMAPIImpl::SendUMEmail[n]", '5'),
                ElementsAre("CMAPIImpl::SendUMEmail[n]: At entry, counter=[0]",
                            "CMAPIImpl::SendUMEmail[n]: Message submitted successfully.[3]",
                            "CMAPIImpl::SendUMEmail[n]: At Exit, counter=[0]"));
}

TEST_F(SendTest, OnlyAVoiceMessageThatWasSubmittedSaysSo)
{
    mapi.script.Tell("Message.SubmitMessage", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(SendUM({}, {}), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(LinesOf("Message submitted", '5'), IsEmpty());
    mapi.script.Clear();
    Email email;
    email.file = File("sound.wav", "sound");
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_THAT(LinesOf("Message submitted", '5'), IsEmpty());
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_THAT(LinesOf("Message submitted", '5'),
                ElementsAre("CMAPIImpl::SendUMEmail[n]: Message submitted successfully.[4]"))
        << "with the file";
}

TEST_F(SendTest, WhatIsHeldIsCounted)
{
    std::vector<LONG> counts;
    for (const char *call : {"HrGetOneProp", "Store(alice).OpenEntry", "Folder.CreateMessage", "Message.SetProps",
                             "Stream(file).Seek", "Message.CreateAttach", "Attach.OpenProperty", "Stream(file).CopyTo",
                             "Attach.SaveChanges", "Message.SubmitMessage"})
        mapi.script.Tell(call, Does([&] { counts.push_back(OpenObjects()); }));
    Email email;
    email.file = File("sound.wav", "sound");
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_THAT(counts, ElementsAre(0, 1, 2, 3, 4, 4, 5, 6, 6, 4));
    std::vector<std::string> released;
    for (const std::string &call : mapi.recorder.Everything())
        if (call.find(".Release()") != std::string::npos || call.find("FreePadrlist") == 0)
            released.push_back(call.substr(0, call.find('(')));
    EXPECT_THAT(released,
                ElementsAre("AddrBook.Release", "Stream", "Attach", "FreePadrlist", "Stream", "Message", "Folder"));
}

TEST_F(SendTest, AnOutboxIdOfAnotherTypeIsNone)
{
    auto &store = *mapi.world.mailboxes.at("alice");
    store.raw = true;
    store.props = {Text(CHANGE_PROP_TYPE(PR_IPM_OUTBOX_ENTRYID, PT_STRING8), "folder")};
    EXPECT_EQ(Send({}), MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::SendEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrGetOneProp determining the ID for outbox."));
    mapi.script.Tell("HrGetOneProp", GivesNull());
    EXPECT_EQ(Send({}), MAPI_E_NOT_FOUND);
    EXPECT_EQ(mapi.recorder.Count("Store.OpenEntry"), 0);
    ExpectNothingOpen();
}

TEST_F(SendTest, CallsThatSucceedAndGiveNothingHaveFailed)
{
    Email email;
    email.file = File("sound.wav", "sound");
    for (const char *call : {"Store.OpenEntry", "Folder.CreateMessage", "OpenStreamOnFile", "Message.CreateAttach",
                             "Attach.OpenProperty"}) {
        SCOPED_TRACE(call);
        mapi.script.Clear();
        mapi.script.Tell(call, GivesNull());
        Forget();
        EXPECT_EQ(Send(email), E_FAIL);
        EXPECT_EQ(ErrorLines().size(), 1u);
        EXPECT_FALSE(Submitted());
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, WarningsStopNothing)
{
    mapi.script.Tell("Message.SetProps", Warns(MAPI_W_ERRORS_RETURNED));
    mapi.script.Tell("Message.ModifyRecipients", Warns(MAPI_W_PARTIAL_COMPLETION));
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
        mapi.script.Clear();
        mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Send(email), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(std::string("CMAPIImpl::") + failing.function +
                                              "[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " + failing.report));
        for (const auto &message : mapi.world.created)
            EXPECT_FALSE(message->submitted);
        ExpectNothingOpen();
    }
}

TEST_F(SendTest, AnObjectsOwnErrorTextIsInTheReport)
{
    mapi.script.Tell("Message.SubmitMessage", Fails(MAPI_E_NETWORK_ERROR));
    mapi.script.SetLastError("Message", {"The server is gone.", "Store", 7});
    EXPECT_EQ(Send({}), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("from SubmitMessage (The server is gone. : Store[7]) trying to ")));
}

TEST_F(SendTest, AnExceptionIsReportedUnderTheExportsName)
{
    for (const char *call : {"Folder.CreateMessage", "Message.SubmitMessage"}) {
        mapi.script.Clear();
        mapi.script.Tell(call, Does([] { throw 1; }));
        Forget();
        EXPECT_EQ(Send({}), E_UNEXPECTED);
        EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlSendEmailA (OrlMapi32[")));
        EXPECT_EQ(SendUM({}, {}), E_UNEXPECTED);
        EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlSendUMEmailA (OrlMapi32[")));
        ExpectNothingOpen();
    }
}

} // namespace
