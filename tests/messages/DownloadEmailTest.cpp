// Downloading a message's text: what is asked of the message, and how a text too large to come at once is read.
#include "messages/MessagesTest.h"
#include "messages/reading/DownloadedText.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class DownloadEmailTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");

    // Body and subject, with a bar between.
    std::string Download(HRESULT expected = S_OK)
    {
        EmailTextA *text = nullptr;
        EXPECT_EQ(OrlDownloadEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &text), expected);
        const std::string result = text ? std::string(text->pszBody) + "|" + text->pszSubject : "nothing";
        OrlMapiFreeBuffer(text);
        return result;
    }
};

TEST_F(DownloadEmailTest, BodyAndSubjectAreReadInThisOrder)
{
    Deliver("m", {Text(PR_SUBJECT_A, "Subject"), Text(PR_BODY_A, "Body")});
    EXPECT_EQ(Download(), "Body|Subject");
    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                                                     "Message(m).GetProps([PR_BODY_A, PR_SUBJECT_A], 0)"));
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::DownloadEmail(pIMsgStore: "),
                                                 testing::EndsWith("\", ...)"))));
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadEmail[n]: At Entry, counter=[0]"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadEmail[n]: At Exit, counter=[0]"), 1);
}

TEST_F(DownloadEmailTest, AMessageWithoutSubjectGivesAnEmptySubject)
{
    Deliver("m", {Text(PR_BODY_A, "Body")});
    EXPECT_EQ(Download(), "Body|");
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DownloadEmailTest, AMessageWithoutAnyTextGivesTwoEmptyTexts)
{
    Deliver("m");
    EXPECT_EQ(Download(), "|");
}

TEST_F(DownloadEmailTest, ABodyTooLargeToComeAtOnceIsReadThroughItsStream)
{
    MessageData &message = Deliver("m", {Missing(PR_BODY_A, MAPI_E_NOT_ENOUGH_MEMORY), Text(PR_SUBJECT_A, "Subject")});
    message.raw = true;
    message.props = {Missing(PR_BODY_A, MAPI_E_NOT_ENOUGH_MEMORY), Text(PR_SUBJECT_A, "Subject")};
    std::string body;
    for (int i = 0; body.size() < 60000; ++i)
        body += "line " + std::to_string(i) + "\r\n";
    message.streams[PR_BODY_A] = std::make_shared<StreamData>(body + std::string(1, '\0'));
    EXPECT_EQ(Download(), body + "|Subject");
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Message(m).OpenProperty(PR_BODY_A, IStream, 0, 0)"));
}

TEST_F(DownloadEmailTest, ASubjectTooLargeToComeAtOnceIsReadThroughItsStream)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    message.props = {Text(PR_BODY_A, "Body"), Missing(PR_SUBJECT_A, MAPI_E_NOT_ENOUGH_MEMORY)};
    message.streams[PR_SUBJECT_A] = std::make_shared<StreamData>(std::string("Large") + '\0');
    EXPECT_EQ(Download(), "Body|Large");
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Message(m).OpenProperty(PR_SUBJECT_A, IStream, 0, 0)"));
}

TEST_F(DownloadEmailTest, ALargeBodyThatCannotBeReadIsReportedAndEmpty)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    message.props = {Missing(PR_BODY_A, MAPI_E_NOT_ENOUGH_MEMORY), Text(PR_SUBJECT_A, "Subject")};
    EXPECT_EQ(Download(), "|Subject");
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::DownloadEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenProperty trying to read a large property of the message."));
}

TEST_F(DownloadEmailTest, MalformedValuesAreTakenAsEmpty)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    message.props = {Null(PR_BODY_A), Null(PR_SUBJECT_A)};
    EXPECT_EQ(Download(), "|");
    message.props = {Long(CHANGE_PROP_TYPE(PR_BODY_A, PT_LONG), 5)};
    EXPECT_EQ(Download(), "|");
    message.props = {};
    EXPECT_EQ(Download(), "|");
}

TEST_F(DownloadEmailTest, ATextOfFormatConversionsIsGivenAsItIs)
{
    Deliver("m", {Text(PR_BODY_A, "%s%s%s%n%1000000d"), Text(PR_SUBJECT_A, "100%")});
    EXPECT_EQ(Download(), "%s%s%s%n%1000000d|100%");
}

TEST_F(DownloadEmailTest, FailuresAreNamed)
{
    EXPECT_EQ(Download(MAPI_E_NOT_FOUND), "nothing");
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::DownloadEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenEntry trying to access and open the message."));
    Deliver("m");
    m_mapi.script.Tell("Message.GetProps", Fails(MAPI_E_BUSY));
    Forget();
    EXPECT_EQ(Download(MAPI_E_BUSY), "nothing");
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::DownloadEmail[n]: Error 0x8004010b [MAPI_E_BUSY] from GetProps "
                                          "trying to determine specific properties the message."));
}

TEST_F(DownloadEmailTest, ANullMailboxAndAnUnknownConnectionAreRefused)
{
    EmailTextA *a = nullptr;
    EmailTextW *w = nullptr;
    EXPECT_EQ(OrlDownloadEmailA(m_connection, 0, SizeOf(m_id), AsBytes(m_id), &a), E_INVALIDARG);
    EXPECT_EQ(OrlDownloadEmailW(0, m_mailbox, SizeOf(m_id), AsBytes(m_id), &w), E_INVALIDARG);
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    DownloadedText text;
    EXPECT_EQ(session->DownloadEmail(nullptr, SizeOf(m_id), AsBytes(m_id), text), E_POINTER);
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadEmail[n]: Error pIMsgStore is NULL."), 1);
}

} // namespace
