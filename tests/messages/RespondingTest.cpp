// Answering a message to its sender: how the original is marked, what is attached, to whom the answer goes, which step
// runs after which failure, and that the exports never tell of one.
#include "messages/CopyTest.h"

using namespace messages_test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class RespondTest : public CopyTest
{
  protected:
    HRESULT Respond(const std::string &file = "", const char *filename = "answer.wav", ULONG unused = 0)
    {
        return OrlRespondEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), file.c_str(), filename, unused);
    }
    // What the operation itself gives.
    HRESULT Operate(const std::string &file = "")
    {
        SessionGuard session = CMAPIImpl::Locate(m_connection);
        return session->RespondEmail(reinterpret_cast<IMsgStore *>(m_mailbox), SizeOf(m_id), AsBytes(m_id), file,
                                     "answer.wav", 0);
    }
    std::vector<std::string> Attaching(const std::string &file) const
    {
        return {"OpenStreamOnFile(0, \"" + file + "\", NULL)",
                "Stream(file).Seek(0, SET)",
                "Message(new).CreateAttach(NULL, 0)",
                "Attach(new#1).OpenProperty(PR_ATTACH_DATA_BIN, IStream, 0, 0x3)",
                "Stream(file).Stat(1)",
                "Stream(file).CopyTo(Stream(new#1.PR_ATTACH_DATA_BIN), 6)",
                "Attach(new#1).SetProps([PR_ATTACH_LONG_FILENAME_A=\"answer.wav\", PR_ATTACH_METHOD=1, "
                "PR_RENDERING_POSITION=-1], NULL)",
                "Attach(new#1).SaveChanges(0)"};
    }
};

const std::vector<std::string> kSaved = {"Message(new).SaveChanges(0x2)"};
const std::vector<std::string> kSender = {"Message(m).GetProps([PR_SENDER_EMAIL_ADDRESS_A], 0)"};

TEST_F(RespondTest, TheOriginalIsMarkedThenCopiedAndSentToItsSender)
{
    EXPECT_EQ(Respond(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              Joined({CallsToTheCopy(), kSaved, SentItems(), kSender, Recipient("bob"), kSubmitted}));
    EXPECT_EQ(m_mapi.recorder.Count("OpenStreamOnFile"), 0) << "no file, no attachment";
    EXPECT_TRUE(Created().submitted);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker");
    EXPECT_THAT(ErrorLines(), IsEmpty());
    ExpectNothingOpen();
}

TEST_F(RespondTest, AFileIsAttachedBetweenTheCopyAndItsSaving)
{
    const std::string file = File("answer.tmp", "answer");
    EXPECT_EQ(Respond(file), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              Joined({CallsToTheCopy(), Attaching(file), kSaved, SentItems(), kSender, Recipient("bob"), kSubmitted}));
    ASSERT_EQ(Created().attachments.size(), 2u);
    EXPECT_EQ(Created().attachments[1]->streams[PR_ATTACH_DATA_BIN]->bytes, "answer");
    ExpectNothingOpen();
}

TEST_F(RespondTest, TheOriginalHasFourMarks)
{
    const LONGLONG before = Now();
    EXPECT_EQ(Respond(), S_OK);
    const LONGLONG time = Mark(PR_LAST_MODIFICATION_TIME);
    EXPECT_GE(time, before);
    EXPECT_LE(time, Now());
    const std::string shown = Hex(static_cast<ULONGLONG>(time));
    EXPECT_EQ(CallOf("Message(m).SetProps("), "Message(m).SetProps([PR_LAST_MODIFICATION_TIME=" + shown +
                                                  ", PR_LAST_VERB_EXECUTED=102, PR_LAST_VERB_EXECUTION_TIME=" + shown +
                                                  ", PR_ICON_INDEX=262], NULL)");
    EXPECT_EQ(Mark(0x10800003), 0x106);
    EXPECT_EQ(Mark(0x10810003), 0x66);
    EXPECT_EQ(m_original->saved, 1);
}

TEST_F(RespondTest, WithoutAMailboxNothingIsDone)
{
    EXPECT_EQ(OrlRespondEmailA(m_connection, 0, SizeOf(m_id), AsBytes(m_id), "", "", 0), S_OK);
    EXPECT_EQ(OrlRespondEmailW(m_connection, 0, SizeOf(m_id), AsBytes(m_id), OLESTR(""), OLESTR(""), 0), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(LinesOf("RespondEmail", '8'), IsEmpty());
}

TEST_F(RespondTest, TheSessionItselfCanAnswerFromItsDefaultStore)
{
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    EXPECT_EQ(session->RespondEmail(SizeOf(m_id), AsBytes(m_id), "", "", 0), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls().front(), "Store(default).OpenEntry(eid(message:m), IMessage, 0x210)");
    EXPECT_TRUE(Created().submitted);
    ASSERT_EQ(OrlMapiDisconnect(m_connection), S_OK);
    EXPECT_EQ(session->RespondEmail(SizeOf(m_id), AsBytes(m_id), "", "", 0), E_POINTER);
    EXPECT_THAT(LinesOf("Error pIMsgStore", '2'), ElementsAre("CMAPIImpl::RespondEmail[n]: Error pIMsgStore is NULL."));
}

TEST_F(RespondTest, TheSeventhArgumentChangesNothing)
{
    EXPECT_EQ(Respond("", "a", 0), S_OK);
    std::vector<std::string> first = m_mapi.recorder.Calls();
    Forget();
    EXPECT_EQ(Respond("", "a", 0xFFFFFFFF), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls().size(), first.size());
    EXPECT_TRUE(Created().submitted);
}

TEST_F(RespondTest, WideTextsAreTheSame)
{
    const std::string file = File("answer.tmp", "answer");
    EXPECT_EQ(OrlRespondEmailW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), Widened(file).c_str(),
                               OLESTR("answer.wav"), 0),
              S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              Joined({CallsToTheCopy(), Attaching(file), kSaved, SentItems(), kSender, Recipient("bob"), kSubmitted}));
}

TEST_F(RespondTest, AnUnknownConnectionIsZeroToo)
{
    EXPECT_EQ(OrlRespondEmailA(0, m_mailbox, SizeOf(m_id), AsBytes(m_id), "", "", 0), S_OK);
    EXPECT_EQ(OrlRespondEmailW(40000, m_mailbox, SizeOf(m_id), AsBytes(m_id), OLESTR(""), OLESTR(""), 0), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(RespondTest, AnExceptionIsReportedAndZero)
{
    m_mapi.script.Tell("Message.CopyTo", Does([] { throw 1; }));
    EXPECT_EQ(Respond(), S_OK);
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlRespondEmailA (OrlMapi32[")));
    EXPECT_EQ(OrlRespondEmailW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), OLESTR(""), OLESTR(""), 0), S_OK);
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlRespondEmailW (OrlMapi32[")));
    ExpectNothingOpen();
}

TEST_F(RespondTest, TheTraceShowsTheArgumentsAndTheCounter)
{
    EXPECT_EQ(Respond(), S_OK);
    EXPECT_THAT(LinesOf("> CMAPIImpl::RespondEmail(pIMsgStore: ", '8'),
                ElementsAre(AllOf(HasSubstr(", EntryID: \"6D657373616765"),
                                  EndsWith("\", szFile: \"\", szFilename: \"answer.wav\")"))));
    EXPECT_THAT(LinesOf("CMAPIImpl::RespondEmail[n]", '5'),
                ElementsAre("CMAPIImpl::RespondEmail[n]: At entry, counter=[0]",
                            "CMAPIImpl::RespondEmail[n]: At exit, counter=[0]"));
}

TEST_F(RespondTest, WhatIsHeldIsCounted)
{
    std::vector<LONG> counts;
    for (const char *call : {"Message(m).SetProps", "Stream(file).Seek", "Message(m).GetProps",
                             "Session.OpenAddressBook", "Message.SubmitMessage"})
        m_mapi.script.Tell(call, Does([&] { counts.push_back(OpenObjects()); }));
    EXPECT_EQ(Respond(File("answer.tmp", "answer")), S_OK);
    EXPECT_THAT(counts, ElementsAre(4, 5, 5, 5, 5));
}

TEST_F(RespondTest, ASenderWithoutAnAddressGetsNothingAndTheOriginalIsMarked)
{
    const Row senders[] = {
        {},
        {Missing(PR_SENDER_EMAIL_ADDRESS_A, MAPI_E_NO_ACCESS)},
        {Text(PR_SENDER_EMAIL_ADDRESS_A, "")},
        {Null(PR_SENDER_EMAIL_ADDRESS_A)},
        {Wide(PR_SENDER_EMAIL_ADDRESS_W, Widened("bob"))},
        {Text(PR_SENDER_NAME_A, "bob")},
    };
    for (const Row &sender : senders) {
        m_original->props = sender;
        m_original->raw = true;
        Forget();
        EXPECT_EQ(Operate(), E_INVALIDARG);
        EXPECT_EQ(Mark(PR_LAST_VERB_EXECUTED), 102);
        EXPECT_EQ(Created().saved, 1) << "saved, and left in the outbox";
        EXPECT_FALSE(Submitted());
        EXPECT_THAT(ErrorLines(), IsEmpty());
        EXPECT_EQ(Respond(), S_OK);
        ExpectNothingOpen();
    }
    m_mapi.script.Tell("Message(m).GetProps", GivesNull());
    EXPECT_EQ(Operate(), E_INVALIDARG);
    EXPECT_FALSE(Submitted());
}

TEST_F(RespondTest, OneValueOfSeveralIsTheSendersAddress)
{
    m_original->raw = true;
    m_original->props = {Text(PR_SENDER_NAME_A, "alice"), Text(PR_SENDER_EMAIL_ADDRESS_A, "bob")};
    EXPECT_EQ(Operate(), S_OK);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker");
}

TEST_F(RespondTest, BeforeThereIsACopyAFailureEndsTheOperation)
{
    const struct {
        const char *call;
        int nth;
        const char *report;
    } cases[] = {
        {"Store.OpenEntry", 1, "HrOpenEntry trying to access and open the original message."},
        {"HrGetOneProp", 1, "HrGetOneProp determining the ID for outbox."},
        {"Store.OpenEntry", 2, "HrOpenEntry trying to access and open the outbox folder."},
        {"Folder.CreateMessage", 1, "CreateMessage creating the message."},
    };
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR).Nth(failing.nth));
        Forget();
        EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(Reported("RespondEmail", failing.report)));
        EXPECT_EQ(Mark(PR_LAST_VERB_EXECUTED), -1) << "the original is as it was";
        EXPECT_FALSE(Submitted());
        ExpectNothingOpen();
    }
}

TEST_F(RespondTest, AfterTheCopyAFailureKeepsTheAnswerFromBeingSubmitted)
{
    const struct {
        const char *call;
        const char *operation;
        const char *report;
    } cases[] = {
        {"Message.CopyTo", "RespondEmail",
         "CopyTo trying to copy specified properties from the original message to the new message."},
        {"OpenStreamOnFile", "RespondEmail", "OpenStreamOnFile trying open a stream on the file "},
        {"Message.CreateAttach", "AttachFile", "CreateAttach trying to create the attachment"},
        {"Message(new).SaveChanges", "RespondEmail", "SaveChanges trying to save changes to the message."},
        {"HrGetOneProp(Store(alice), PR_IPM_SENTMAIL_ENTRYID)", "RespondEmail",
         "HrGetOneProp determining the ID for sentmail."},
        {"Message(new).SetProps", "RespondEmail", "SetProps trying to set properties for the message."},
        {"Message(m).GetProps", "RespondEmail",
         "GetProps trying to retrieve the specified properties from the original message."},
        {"AddrBook.ResolveName", "CreateAddressList", "ResolveName trying to resolve the recipients bob."},
        {"Message.ModifyRecipients", "RespondEmail",
         "ModifyRecipients trying to modify the recipients associated with the message."},
    };
    const std::string file = File("answer.tmp", "answer");
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Operate(file), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(StartsWith(Reported(failing.operation, failing.report))));
        EXPECT_EQ(Mark(PR_LAST_VERB_EXECUTED), 102) << "the original stays marked";
        EXPECT_EQ(m_mapi.recorder.Count("Message(new).SaveChanges"), 1) << "whatever came before";
        EXPECT_FALSE(Submitted());
        ExpectNothingOpen();
    }
}

TEST_F(RespondTest, AfterAFailedCopyNothingIsAttached)
{
    m_mapi.script.Tell("Message.CopyTo", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Operate(File("answer.tmp", "answer")), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_mapi.recorder.Count("OpenStreamOnFile"), 0);
}

TEST_F(RespondTest, MarkingAndSavingTheOriginalMayFail)
{
    m_mapi.script.Tell("Message(m).SetProps", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.Tell("Message(m).SaveChanges", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Operate(), S_OK);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("RespondEmail", "SetProps trying to set properties for the message."),
                            Reported("RespondEmail", "SaveChanges trying to save changes to the message.")));
    EXPECT_TRUE(Created().submitted);
}

TEST_F(RespondTest, TheFinalSaveAndSubmissionAreReportedToo)
{
    m_mapi.script.Tell("Message(new).SaveChanges", Fails(MAPI_E_NETWORK_ERROR).Nth(2));
    EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("RespondEmail", "SaveChanges trying to save changes to the message.")));
    EXPECT_FALSE(Submitted());
    m_mapi.script.Clear();
    m_mapi.script.Tell("Message(new).SubmitMessage", Fails(MAPI_E_NETWORK_ERROR));
    Forget();
    EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("RespondEmail", "SubmitMessage trying to save all the changes to the message and "
                                                     "marking the message as ready to be sent.")));
}

} // namespace
