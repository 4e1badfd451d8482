// Forwarding a message: how the original is marked, what its copy holds, which step runs after which failure, and that
// the exports never tell of one.
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

class ForwardTest : public CopyTest
{
  protected:
    HRESULT Forward(const char *recipients = "bob")
    {
        return OrlForwardEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), recipients);
    }
    // What the operation itself gives.
    HRESULT Operate(const char *recipients = "bob")
    {
        SessionGuard session = CMAPIImpl::Locate(m_connection);
        return session->ForwardEmail(reinterpret_cast<IMsgStore *>(m_mailbox), SizeOf(m_id), AsBytes(m_id), recipients);
    }
};

TEST_F(ForwardTest, TheOriginalIsMarkedThenCopiedAddressedSavedAndSubmitted)
{
    EXPECT_EQ(Forward(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(), Joined({CallsToTheCopy(), SentItems(), Recipient("bob"), kSubmitted}));
    EXPECT_TRUE(Created().submitted);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker") << "the original's recipients are replaced";
    EXPECT_THAT(ErrorLines(), IsEmpty());
    ExpectNothingOpen();
}

TEST_F(ForwardTest, TheCopyHasEverythingButDeliveryAndAddressing)
{
    EXPECT_EQ(Forward(), S_OK);
    const Row &copy = Created().props;
    EXPECT_EQ(Find(copy, PR_SUBJECT_A)->bytes, "The subject") << "no prefix is added";
    EXPECT_EQ(Find(copy, PR_BODY_A)->bytes, "The body");
    EXPECT_EQ(Find(copy, PR_MESSAGE_CLASS_A)->bytes, "IPM.Note.Microsoft.Voicemail.UM");
    for (const ULONG tag : {PR_SENDER_EMAIL_ADDRESS_A, PR_SENDER_NAME_A, PR_CLIENT_SUBMIT_TIME, PR_SUBJECT_PREFIX_A,
                            PR_LAST_VERB_EXECUTED, PR_LAST_VERB_EXECUTION_TIME})
        EXPECT_EQ(Find(copy, tag), nullptr) << Tag(tag);
    ASSERT_EQ(Created().attachments.size(), 1u);
    EXPECT_EQ(Created().attachments[0]->streams[PR_ATTACH_DATA_BIN]->bytes, "sound");
    EXPECT_EQ(Find(copy, PR_DELETE_AFTER_SUBMIT), nullptr) << "it is kept in the sent items";
}

TEST_F(ForwardTest, TheOriginalHasThreeMarksAndKeepsItsIcon)
{
    const LONGLONG before = Now();
    EXPECT_EQ(Forward(), S_OK);
    const LONGLONG time = Mark(PR_LAST_MODIFICATION_TIME);
    EXPECT_GE(time, before);
    EXPECT_LE(time, Now());
    EXPECT_EQ(CallOf("Message(m).SetProps("),
              "Message(m).SetProps([PR_LAST_MODIFICATION_TIME=" + Hex(static_cast<ULONGLONG>(time)) +
                  ", PR_LAST_VERB_EXECUTED=104, PR_LAST_VERB_EXECUTION_TIME=" + Hex(static_cast<ULONGLONG>(time)) +
                  "], NULL)");
    EXPECT_EQ(m_original->saved, 1);
    EXPECT_EQ(Mark(0x10800003), -1);
    EXPECT_EQ(Mark(0x10810003), 104);
    EXPECT_EQ(Mark(0x30080040), Mark(0x10820040));
}

TEST_F(ForwardTest, WithoutAMailboxTheDefaultStoreForwards)
{
    EXPECT_EQ(OrlForwardEmailA(m_connection, 0, SizeOf(m_id), AsBytes(m_id), "bob"), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              Joined({CallsToTheCopy("default"), SentItems("default"), Recipient("bob"), kSubmitted}));
    ExpectNothingOpen();
}

TEST_F(ForwardTest, WideRecipientsAreTheSame)
{
    EXPECT_EQ(OrlForwardEmailW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), OLESTR("bob;alice")), S_OK);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker;Alice Archer");
    EXPECT_TRUE(Created().submitted);
}

TEST_F(ForwardTest, AnUnknownConnectionIsZeroToo)
{
    EXPECT_EQ(OrlForwardEmailA(0, m_mailbox, SizeOf(m_id), AsBytes(m_id), "bob"), S_OK);
    EXPECT_EQ(OrlForwardEmailW(40000, m_mailbox, SizeOf(m_id), AsBytes(m_id), OLESTR("bob")), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ForwardTest, AnExceptionIsReportedAndZero)
{
    m_mapi.script.Tell("Message.CopyTo", Does([] { throw 1; }));
    EXPECT_EQ(Forward(), S_OK);
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlForwardEmailA (OrlMapi32[")));
    Forget();
    EXPECT_EQ(OrlForwardEmailW(m_connection, 0, SizeOf(m_id), AsBytes(m_id), OLESTR("bob")), S_OK);
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlForwardEmailW (OrlMapi32[")));
    EXPECT_FALSE(Submitted());
    ExpectNothingOpen();
}

TEST_F(ForwardTest, WithoutAnyStoreTheTraceSaysSo)
{
    ASSERT_EQ(OrlMapiDisconnect(m_connection), S_OK);
    Forget();
    EXPECT_EQ(OrlForwardEmailA(m_connection, 0, SizeOf(m_id), AsBytes(m_id), "bob"), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
    EXPECT_THAT(LinesOf("Error pIMsgStore", '2'), ElementsAre("CMAPIImpl::ForwardEmail[n]: Error pIMsgStore is NULL."));
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    EXPECT_EQ(session->ForwardEmail(SizeOf(m_id), AsBytes(m_id), "bob"), E_POINTER);
}

TEST_F(ForwardTest, TheTraceShowsTheArgumentsAndTheCounter)
{
    EXPECT_EQ(Forward(), S_OK);
    EXPECT_THAT(LinesOf("> CMAPIImpl::ForwardEmail(pIMsgStore: ", '8'),
                ElementsAre(AllOf(HasSubstr(", EntryID: \"6D657373616765"), EndsWith("\", m_TargetAlias: \"bob\")"))));
    EXPECT_THAT(LinesOf("CMAPIImpl::ForwardEmail[n]", '5'),
                ElementsAre("CMAPIImpl::ForwardEmail[n]: At entry, counter=[0]",
                            "CMAPIImpl::ForwardEmail[n]: At exit, counter=[0]"));
}

TEST_F(ForwardTest, WhatIsHeldIsCounted)
{
    std::vector<LONG> counts;
    for (const char *call : {"Store(alice).OpenEntry", "HrGetOneProp", "Folder.CreateMessage", "Message(m).SetProps",
                             "Message(new).SetProps", "Session.OpenAddressBook", "Message.SubmitMessage"})
        m_mapi.script.Tell(call, Does([&] { counts.push_back(OpenObjects()); }));
    EXPECT_EQ(Forward(), S_OK);
    EXPECT_THAT(counts, ElementsAre(0, 1, 2, 3, 4, 4, 5, 4, 4)); // the ID of the sent items while it is needed
    std::vector<std::string> released;
    for (const std::string &call : m_mapi.recorder.Everything())
        if (call.find(".Release()") != std::string::npos || call.find("FreePadrlist") == 0)
            released.push_back(call.substr(0, call.find_last_of('(')));
    EXPECT_THAT(released, ElementsAre("AddrBook.Release", "FreePadrlist", "Message(new).Release", "Message(m).Release",
                                      "Folder(alice/Outbox).Release"));
}

TEST_F(ForwardTest, ToNobodyTheCopyIsSavedAndItsSubmissionIsTried)
{
    m_original->recipients.clear();
    EXPECT_EQ(Forward(""), S_OK);
    EXPECT_EQ(
        m_mapi.recorder.Calls(),
        Joined({CallsToTheCopy(), SentItems(), kSubmitted, {"Message(new).GetLastError(MAPI_E_NO_RECIPIENTS, 0)"}}));
    EXPECT_EQ(Created().saved, 1);
    EXPECT_FALSE(Created().submitted);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::ForwardEmail[n]: Error 0x80040607 [MAPI_E_NO_RECIPIENTS] from "
                                          "SubmitMessage trying to save all the changes to the message and marking the "
                                          "message as ready to be sent."));
    EXPECT_EQ(Operate(""), E_INVALIDARG) << "the first failure is the result";
    ExpectNothingOpen();
}

TEST_F(ForwardTest, WhereTheRecipientsAreUnknownThoseOfTheOriginalStay)
{
    EXPECT_EQ(Operate("nobody"), MAPI_E_NOT_FOUND);
    EXPECT_EQ(NamesOfRecipients(), "Alice Archer");
    EXPECT_TRUE(Created().submitted);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::CreateAddressList[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "ResolveName trying to resolve the recipients nobody."));
    ExpectNothingOpen();
}

TEST_F(ForwardTest, BeforeThereIsACopyAFailureEndsTheOperation)
{
    const struct {
        const char *call;
        int nth;
        const char *report;
        size_t calls;
    } cases[] = {
        {"Store.OpenEntry", 1, "HrOpenEntry trying to access and open the original message.", 1},
        {"HrGetOneProp", 1, "HrGetOneProp determining the ID for outbox.", 2},
        {"Store.OpenEntry", 2, "HrOpenEntry trying to access and open the outbox folder.", 3},
        {"Folder.CreateMessage", 1, "CreateMessage creating the message.", 4},
    };
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR).Nth(failing.nth));
        Forget();
        EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(Reported("ForwardEmail", failing.report)));
        std::vector<std::string> calls = m_mapi.recorder.Calls();
        std::erase_if(calls, [](const std::string &call) { return call.find("GetLastError") != std::string::npos; });
        EXPECT_EQ(calls.size(), failing.calls) << testing::PrintToString(calls);
        EXPECT_EQ(Mark(PR_LAST_VERB_EXECUTED), -1) << "the original is as it was";
        ExpectNothingOpen();
    }
}

TEST_F(ForwardTest, MarkingAndSavingTheOriginalMayFail)
{
    m_mapi.script.Tell("Message(m).SetProps", Fails(MAPI_E_NETWORK_ERROR));
    m_mapi.script.Tell("Message(m).SaveChanges", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Operate(), S_OK) << "the copy's result is what counts";
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("ForwardEmail", "SetProps trying to set properties for the message."),
                            Reported("ForwardEmail", "SaveChanges trying to save changes to the message.")));
    EXPECT_TRUE(Created().submitted);
    ExpectNothingOpen();
}

TEST_F(ForwardTest, AfterAFailedCopyTheMessageHasNoNewRecipientsAndItsSubmissionIsTried)
{
    m_mapi.script.Tell("Message.CopyTo", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_mapi.recorder.Count("Session.OpenAddressBook"), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Message(new).SaveChanges(0x2)"), 1);
    EXPECT_EQ(m_mapi.recorder.Count("Message(new).SubmitMessage(0)"), 1);
    EXPECT_FALSE(Created().submitted) << "MAPI refuses a message without recipients";
    EXPECT_EQ(Mark(PR_LAST_VERB_EXECUTED), 104) << "the original stays marked";
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("ForwardEmail", "CopyTo trying to copy specified properties from the original "
                                                     "message to the new message."),
                            HasSubstr("[MAPI_E_NO_RECIPIENTS] from SubmitMessage ")));
    ExpectNothingOpen();
}

TEST_F(ForwardTest, LaterFailuresAreReportedAndTheSubmissionIsTriedAllTheSame)
{
    const struct {
        const char *call;
        const char *operation;
        const char *report;
    } cases[] = {
        {"HrGetOneProp(Store(alice), PR_IPM_SENTMAIL_ENTRYID)", "ForwardEmail",
         "HrGetOneProp determining the ID for sentmail."},
        {"Message(new).SetProps", "ForwardEmail", "SetProps trying to set properties for the message."},
        {"AddrBook.ResolveName", "CreateAddressList", "ResolveName trying to resolve the recipients bob."},
        {"Message.ModifyRecipients", "ForwardEmail",
         "ModifyRecipients trying to modify the recipients associated with the message."},
    };
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(Reported(failing.operation, failing.report)));
        EXPECT_EQ(m_mapi.recorder.Count("Message(new).SubmitMessage(0)"), 1);
        ExpectNothingOpen();
    }
}

TEST_F(ForwardTest, AMessageThatCannotBeSavedIsNotSubmitted)
{
    m_mapi.script.Tell("Message(new).SaveChanges", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Operate(), MAPI_E_NETWORK_ERROR);
    EXPECT_FALSE(Submitted());
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Reported("ForwardEmail", "SaveChanges trying to save changes to the message.")));
}

TEST_F(ForwardTest, AnIdOfTheSentItemsOfAnotherTypeIsAFailure)
{
    auto &store = *m_mapi.world.mailboxes.at("alice");
    const Row good = store.props;
    m_mapi.script.Tell("HrGetOneProp(Store(alice), PR_IPM_SENTMAIL_ENTRYID)", Does([&] {
                           store.raw = true;
                           store.props = {Text(CHANGE_PROP_TYPE(PR_IPM_SENTMAIL_ENTRYID, PT_STRING8), "folder")};
                       }));
    EXPECT_EQ(Operate(), MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("from HrGetOneProp determining the ID for sentmail.")));
    EXPECT_EQ(m_mapi.recorder.Count("Message(new).SetProps"), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Message.ModifyRecipients"), 0);
    EXPECT_TRUE(Submitted());
    ExpectNothingOpen();
}

TEST_F(ForwardTest, WarningsStopNothing)
{
    m_mapi.script.Tell("Message.CopyTo", Warns(MAPI_W_PARTIAL_COMPLETION));
    EXPECT_EQ(Operate(), S_OK);
    EXPECT_TRUE(Created().submitted);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

} // namespace
