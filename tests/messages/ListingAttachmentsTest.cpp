// The attachments of listed messages: which are listed, in which order, and what one that fails costs.
#include "messages/MessagesTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

namespace
{

class ListingAttachmentsTest : public MessagesTest
{
};

TEST_F(ListingAttachmentsTest, AFaxListingAlwaysListsAttachments)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 9)}, "");
    ListingA listing;
    listing.fax = 5;
    EXPECT_EQ(Only(listing).cAttachments, 1u);
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::GetEmailHeaders("),
                                                 testing::HasSubstr(" FAX messages with attachments,"))));
}

TEST_F(ListingAttachmentsTest, AttachmentsAreListedInTheOrderOfTheirTable)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(
        message,
        {Long(PR_ATTACH_SIZE, 100), Text(PR_ATTACH_FILENAME_A, "voice.wav"), Text(PR_ATTACH_MIME_TAG_A, "audio/wav")},
        "");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 0), Text(PR_ATTACH_FILENAME_A, "empty.txt")}, "");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 7)}, "");
    ListingA listing;
    listing.withAttachments = 1;
    const EmailHeaderA &header = Only(listing);
    ASSERT_EQ(header.cAttachments, 2u) << "one without size is left out";
    EXPECT_EQ(header.pAttachments[0].ulSize, 100u);
    EXPECT_EQ(header.pAttachments[0].ulAttachNum, 0u);
    EXPECT_STREQ(header.pAttachments[0].pszMimeTag, "audio/wav");
    EXPECT_STREQ(header.pAttachments[0].pszFilename, "voice.wav");
    EXPECT_EQ(header.pAttachments[1].ulSize, 7u);
    EXPECT_EQ(header.pAttachments[1].ulAttachNum, 2u);
    EXPECT_STREQ(header.pAttachments[1].pszMimeTag, "");
    EXPECT_STREQ(header.pAttachments[1].pszFilename, "");
    EXPECT_THAT(m_mapi.recorder.Calls(),
                testing::IsSupersetOf({"Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                                       "Message(m).GetAttachmentTable(0)", "Message(m).OpenAttach(0, NULL, 0)",
                                       "Attach(m#0).GetProps([PR_ATTACH_SIZE, PR_ATTACH_FILENAME_A, "
                                       "PR_ATTACH_MIME_TAG_A], 0)"}));
    EXPECT_THAT(Lines(), testing::IsSupersetOf({"HrPopulateAttachList - adding attachment entry 0, PR_ATTACH_NUM=0",
                                                "HrPopulateAttachList - adding attachment entry 1, PR_ATTACH_NUM=1",
                                                "HrPopulateAttachList - adding attachment entry 2, PR_ATTACH_NUM=2"}));
}

TEST_F(ListingAttachmentsTest, WithoutTheWishNoMessageIsOpened)
{
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 100)}, "");
    ListingA listing;
    EXPECT_EQ(Only(listing).cAttachments, 0u);
    EXPECT_THAT(m_mapi.recorder.Calls(), Not(Contains(testing::HasSubstr("eid(message:m)"))));
}

TEST_F(ListingAttachmentsTest, AnAttachmentThatFailsBeforeOthersIsLeftOut)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 2)}, "");
    Deliver("next");
    m_mapi.script.Tell("Message(m).OpenAttach(0, NULL, 0)", Fails(MAPI_E_NO_SUPPORT));
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    ASSERT_EQ(listing.count, 2u);
    ASSERT_EQ(listing.headers[0].cAttachments, 1u);
    EXPECT_EQ(listing.headers[0].pAttachments[0].ulAttachNum, 1u);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::HrProcessAttachment[n]: Error 0x80040102 [MAPI_E_NO_SUPPORT] "
                                          "from OpenAttach trying to open the attachment."));
    Release(listing);
}

TEST_F(ListingAttachmentsTest, TheLastAttachmentsFailureEndsTheListing)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 2)}, "");
    Deliver("next");
    m_mapi.script.Tell("Attach(m#1).GetProps", Fails(MAPI_E_NETWORK_ERROR));
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(listing.headers, nullptr);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_EQ(listing.hTable, 0u);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 0 of 2"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 1 of 2"), 0);
    EXPECT_THAT(ErrorLines(),
                ElementsAre("CMAPIImpl::HrProcessAttachment[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from GetProps "
                            "trying to get the properties for the attachment."));
    EXPECT_EQ(OpenObjects(), 0) << "the table is out of the caller's reach";
}

TEST_F(ListingAttachmentsTest, ATableOfAttachmentsThatCannotBeReadEndsTheListing)
{
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 1)}, "");
    const struct {
        const char *call;
        Answer answer;
        const char *report;
    } cases[] = {
        {"Message.GetAttachmentTable", Fails(MAPI_E_NETWORK_ERROR),
         "0x80040115 [MAPI_E_NETWORK_ERROR] from GetAttachmentTable trying to get the attachment table for the "
         "message."},
        {"HrQueryAllRows", Fails(MAPI_E_NETWORK_ERROR),
         "0x80040115 [MAPI_E_NETWORK_ERROR] from HrQueryAllRows trying to get the list of attachments for the "
         "message."},
        {"Message.GetAttachmentTable", GivesNull(),
         "0x80004005 [MAPI_E_CALL_FAILED] from GetAttachmentTable trying to get the attachment table for the message."},
        {"HrQueryAllRows", GivesNull(),
         "0x80004005 [MAPI_E_CALL_FAILED] from HrQueryAllRows trying to get the list of attachments for the message."},
    };
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, failing.answer);
        Forget();
        ListingA listing;
        listing.withAttachments = 1;
        Run(listing);
        EXPECT_EQ(listing.hr, failing.answer.hr.value_or(E_FAIL));
        EXPECT_THAT(ErrorLines(),
                    ElementsAre("CMAPIImpl::HrPopulateAttachList[n]: Error " + std::string(failing.report)));
        EXPECT_EQ(OpenObjects(), 0);
    }
}

TEST_F(ListingAttachmentsTest, EachAttachmentIsTracedWithItsMessageAndNumber)
{
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 1)}, "");
    ListingA listing;
    listing.withAttachments = 1;
    EXPECT_EQ(Only(listing).cAttachments, 1u);
    EXPECT_THAT(Lines(), Contains(StartsWith("> CMAPIImpl::HrPopulateAttachList(pmsg: ")));
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::HrProcessAttachment(pmsg: "),
                                                 testing::EndsWith(", ulAttachNum: 0)"))));
}

TEST_F(ListingAttachmentsTest, AMessageThatCannotBeOpenedEndsTheListing)
{
    Deliver("m");
    m_mapi.script.Tell("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)", Fails(MAPI_E_NOT_FOUND));
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeaders[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenEntry trying to access and open the message."));
}

} // namespace
