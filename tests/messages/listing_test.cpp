// A header listing, as a conversation: what it asks of the store and the table, in which order and with which flags,
// what it makes of each row, and what it writes into the trace.
#include "messages/FaxSettings.h"
#include "messages/MessagesTest.h"
#include <atomic>
#include <cstring>
#include <new>
#include <thread>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

const char kColumns[] = "[PR_ENTRYID, PR_MESSAGE_CLASS_A, PR_IMPORTANCE, PR_SENSITIVITY, PR_SENDER_NAME_A, "
                        "PR_CREATOR_NAME_A, PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_FLAGS, PR_MESSAGE_SIZE, PR_COMMENT_A, "
                        "PR_SENDER_EMAIL_ADDRESS_A, PR_UM_DURATION, PR_UM_TELEPHONE_NUMBER_A, PR_UM_SENDER_NAME_A, "
                        "PR_UM_OFFSET, PR_UM_MESSAGE_RECEIVED]";

class ListingTest : public MessagesTest
{
  protected:
    // The one header of a listing of one message.
    const EmailHeaderA &Only(ListingA &listing)
    {
        Run(listing);
        EXPECT_EQ(listing.hr, S_OK);
        EXPECT_EQ(listing.count, 1u);
        Release(listing);
        static const EmailHeaderA none = {};
        return listing.count ? listing.headers[0] : none;
    }
};

TEST_F(ListingTest, ANewListingOpensTheInboxAndShapesItsTable)
{
    Deliver("m");
    ListingA listing;
    listing.rows = 3;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(mapi.recorder.Calls(),
                ElementsAre("Store(alice).GetReceiveFolder(NULL, 0, NULL)",
                            "Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)",
                            "Folder(alice/Inbox).GetContentsTable(0)",
                            std::string("Table(alice/Inbox).SetColumns(") + kColumns + ", 0)",
                            "Table(alice/Inbox).Restrict(AND(PROPERTY(PR_MESSAGE_CLASS_A != "
                            "\"IPM.Norvik.VoiceMessage\"), PROPERTY(PR_MESSAGE_CLASS_A != "
                            "\"IPM.Note.Microsoft.Voicemail.UM\"), BITMASK(PR_MESSAGE_FLAGS & 0x1 == 0), "
                            "PROPERTY(PR_IMPORTANCE != 2)), 0)",
                            "Table(alice/Inbox).SortTable(SORT(PR_CLIENT_SUBMIT_TIME ASC), 0)",
                            "Table(alice/Inbox).GetRowCount(0)", "Table(alice/Inbox).QueryRows(3, 0)"));
    EXPECT_THAT(mapi.recorder.Everything(), Contains("Folder(alice/Inbox).Release()"));
    EXPECT_EQ(OpenObjects(), 1);
    Release(listing);
}

TEST_F(ListingTest, TheSixteenColumnsHaveTheirTags)
{
    Deliver("m");
    const ULONG tags[] = {0x0FFF0102, 0x001A001E, 0x00170003, 0x00360003, 0x0C1A001E, 0x3FF8001E,
                          0x00390040, 0x0E070003, 0x0E080003, 0x3004001E, 0x0C1F001E, 0x68010003,
                          0x6802001E, 0x6803001E, 0x68070003, 0x68080003};
    std::string columns;
    for (ULONG tag : tags)
        columns += (columns.empty() ? "[" : ", ") + Tag(tag);
    EXPECT_EQ(columns + "]", kColumns);
}

TEST_F(ListingTest, TheTraceTellsWhatIsAskedAndWhatIsFound)
{
    Deliver("m");
    ListingA listing;
    listing.rows = 5;
    listing.withAttachments = listing.priority = listing.um = listing.summary = 1;
    listing.fax = listing.read = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    Release(listing);
    const std::vector<TraceLine> trace = Trace();
    const auto find = [&](const std::string &start) -> const TraceLine * {
        for (const TraceLine &line : trace)
            if (line.text.find(start) == 0)
                return &line;
        ADD_FAILURE() << "no line begins with " << start;
        return nullptr;
    };
    const TraceLine *entry = find("> CMAPIImpl::GetEmailHeaders(pIMsgStore: ");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->level, '8');
    EXPECT_THAT(entry->text,
                testing::EndsWith("lRowCount: 5, bkAbsBkmark: 1, getting READ PRIORITY FAX UM messages with "
                                  "attachments, direction FORWARD [SUMMARY]))"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: At entry, counter=[0]"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Processing message 0 of 1"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: At Exit, counter=[1]"));
    EXPECT_THAT(Lines(), Contains("< CMAPIImpl::GetEmailHeaders()"));
}

TEST_F(ListingTest, TheTraceOfAPlainListingNamesNoFlag)
{
    Deliver("m");
    ListingA listing;
    listing.forward = 0;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::GetEmailHeaders("),
                                                 testing::EndsWith("getting UNREAD messages, direction REVERSE))"))));
}

TEST_F(ListingTest, TheFirstRowOfAThreeRowPageIsMessageZeroOfThree)
{
    Deliver("a");
    Deliver("b");
    Deliver("c");
    ListingA listing;
    Run(listing);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 0 of 3"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 1 of 3"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 2 of 3"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Processing message 3 of 3"), 0);
    Release(listing);
}

TEST_F(ListingTest, EveryFieldOfAHeaderComesFromItsProperty)
{
    Deliver("m", {Long(PR_IMPORTANCE, 2), Long(PR_SENSITIVITY, 2), Text(PR_SENDER_NAME_A, "Sender"),
                  Text(PR_CREATOR_NAME_A, "Creator"), Time(PR_CLIENT_SUBMIT_TIME, 0x01D9A1B2C3D4E5F6),
                  Long(PR_MESSAGE_FLAGS, 0x11), Long(PR_MESSAGE_SIZE, 0xFFFFFFFE), Text(PR_COMMENT_A, "Comment"),
                  Text(PR_SENDER_EMAIL_ADDRESS_A, "sender@norvik.example"), Long(PR_UM_DURATION, -7),
                  Text(PR_UM_TELEPHONE_NUMBER_A, "+15550100"), Text(PR_UM_SENDER_NAME_A, "Caller"),
                  Long(PR_UM_OFFSET, 3), Long(PR_UM_MESSAGE_RECEIVED, 44)});
    ListingA listing;
    const EmailHeaderA &header = Only(listing);
    EXPECT_EQ(Bytes(header.pEntryID, header.cbEntryID), IdOf("m"));
    EXPECT_STREQ(header.pszSenderName, "Sender");
    EXPECT_STREQ(header.pszCreatorName, "Creator");
    EXPECT_STREQ(header.pszComment, "Comment");
    EXPECT_EQ(header.bRead, 1);
    EXPECT_EQ(header.bPrivate, 1);
    EXPECT_EQ(header.bHighPriority, 1);
    EXPECT_EQ(header.ulSize, 0xFFFFFFFEu);
    EXPECT_EQ(header.cAttachments, 0u);
    EXPECT_EQ(header.lSecs, -7);
    EXPECT_STREQ(header.pszNumber, "+15550100");
    EXPECT_STREQ(header.pszName, "Caller");
    EXPECT_EQ(header.offset, 3);
    EXPECT_EQ(header.ulMsgReceived, 44u);
    EXPECT_EQ(header.stSubmitTime.wYear, 2023);
    EXPECT_EQ(header.stSubmitTime.wMonth, 6);
    EXPECT_EQ(header.stSubmitTime.wDay, 18);
    EXPECT_EQ(header.stSubmitTime.wDayOfWeek, 0);
    EXPECT_EQ(header.stSubmitTime.wHour, 7);
    EXPECT_EQ(header.stSubmitTime.wMinute, 1);
    EXPECT_EQ(header.stSubmitTime.wSecond, 54);
    EXPECT_EQ(header.stSubmitTime.wMilliseconds, 590);
    EXPECT_EQ(listing.total, 1u);
}

TEST_F(ListingTest, APropertyThatIsMissingLeavesItsFieldEmpty)
{
    MessageData &message = Deliver("m");
    message.props = {Binary(PR_ENTRYID, IdOf("m"))};
    ListingA listing;
    const EmailHeaderA &header = Only(listing);
    EXPECT_STREQ(header.pszSenderName, "");
    EXPECT_STREQ(header.pszCreatorName, "");
    EXPECT_STREQ(header.pszComment, "");
    EXPECT_STREQ(header.pszNumber, "");
    EXPECT_STREQ(header.pszName, "");
    EXPECT_EQ(header.bRead + header.bPrivate + header.bHighPriority, 0);
    EXPECT_EQ(header.ulSize, 0u);
    EXPECT_EQ(header.lSecs, 0);
    EXPECT_EQ(header.offset, 0);
    EXPECT_EQ(header.ulMsgReceived, 0u);
    const SYSTEMTIME none = {};
    EXPECT_EQ(std::memcmp(&header.stSubmitTime, &none, sizeof none), 0);
}

TEST_F(ListingTest, OnlyHighImportanceAndPrivateSensitivityCount)
{
    Deliver("a", {Long(PR_IMPORTANCE, 1), Long(PR_SENSITIVITY, 1)});
    Deliver("b", {Long(PR_IMPORTANCE, 3), Long(PR_SENSITIVITY, 3)});
    ListingA listing;
    Run(listing);
    ASSERT_EQ(listing.count, 2u);
    for (ULONG i = 0; i < 2; ++i) {
        EXPECT_EQ(listing.headers[i].bHighPriority, 0);
        EXPECT_EQ(listing.headers[i].bPrivate, 0);
    }
    Release(listing);
}

TEST_F(ListingTest, WithoutAPropertyOfItsOwnTheNumberReceivedEqualsTheOffset)
{
    Deliver("m", {Long(PR_UM_OFFSET, 12)});
    ListingA listing;
    const EmailHeaderA &header = Only(listing);
    EXPECT_EQ(header.offset, 12);
    EXPECT_EQ(header.ulMsgReceived, 12u);
}

TEST_F(ListingTest, WhatOneRowHoldsIsNotSeenInTheNext)
{
    Deliver("a", {Text(PR_COMMENT_A, "first"), Long(PR_IMPORTANCE, 2), Long(PR_UM_OFFSET, 5)});
    Deliver("b");
    ListingA listing;
    Run(listing);
    ASSERT_EQ(listing.count, 2u);
    EXPECT_STREQ(listing.headers[1].pszComment, "");
    EXPECT_EQ(listing.headers[1].bHighPriority, 0);
    EXPECT_EQ(listing.headers[1].ulMsgReceived, 0u);
    Release(listing);
}

TEST_F(ListingTest, AMessageWithoutEntryIdIsLoggedAndSkipped)
{
    Deliver("a");
    MessageData &nameless = Deliver("b");
    nameless.props = {Text(PR_SENDER_NAME_A, "Nameless")};
    Deliver("c");
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(NamesOf(listing), ElementsAre("a", "c"));
    EXPECT_EQ(CountLines("CMAPIImpl::GetEmailHeaders[n]: Message not added to list because of invalid cEntryID and/or "
                         "pEntryID"),
              1);
    Release(listing);
}

TEST_F(ListingTest, MalformedValuesAreTakenAsEmpty)
{
    MessageData &message = Deliver("a");
    for (ULONG tag : {PR_SENDER_NAME_A, PR_CREATOR_NAME_A, PR_COMMENT_A, PR_SENDER_EMAIL_ADDRESS_A,
                      PR_UM_TELEPHONE_NUMBER_A, PR_UM_SENDER_NAME_A})
        Set(message.props, Null(tag));
    MessageData &noBytes = Deliver("b");
    Value id = Binary(PR_ENTRYID, "not there");
    id.null = true;
    noBytes.props = {id};
    MessageData &noCount = Deliver("c");
    noCount.props = {Binary(PR_ENTRYID, "")};
    MessageData &lateTime = Deliver("d");
    Set(lateTime.props, Time(PR_CLIENT_SUBMIT_TIME, 0xFFFFFFFFFFFFFFFF));
    ListingA listing;
    listing.summary = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    ASSERT_THAT(NamesOf(listing), ElementsAre("a", "d"));
    EXPECT_STREQ(listing.headers[0].pszSenderName, "");
    EXPECT_STREQ(listing.headers[0].pszName, "");
    EXPECT_EQ(listing.headers[1].stSubmitTime.wYear, 0);
    Release(listing);
}

TEST_F(ListingTest, AFaxAddressReplacesTheCreatorName)
{
    Deliver("m", {Text(PR_CREATOR_NAME_A, "Somebody"), Text(PR_SENDER_EMAIL_ADDRESS_A, "4711@FAX.Norvik.Example")});
    ListingA listing;
    EXPECT_STREQ(Only(listing).pszCreatorName, "4711@FAX.Norvik.Example");
    EXPECT_FALSE(FaxServerSeen) << "nothing is learned outside a summary listing";
}

TEST_F(ListingTest, AnAddressOutsideTheFaxDomainLeavesTheCreatorName)
{
    Deliver("m", {Text(PR_CREATOR_NAME_A, "Somebody"), Text(PR_SENDER_EMAIL_ADDRESS_A, "4711@fax.norvik.exampl")});
    ListingA listing;
    EXPECT_STREQ(Only(listing).pszCreatorName, "Somebody");
}

// What a second listing of the session compares creator names with tells what the first has learned.
std::string LearnedCreatorName(const Recorder &recorder)
{
    for (const std::string &call : recorder.Calls()) {
        const size_t at = call.rfind("(PR_CREATOR_NAME_A ");
        if (call.find("Restrict(") != std::string::npos && at != std::string::npos)
            return call.substr(at + 1, call.find(')', at) - at - 1);
    }
    return "nothing";
}

class FaxLearningTest : public ListingTest
{
  protected:
    std::string AfterSummaryOf(Row first, Row second = {})
    {
        Deliver("first", std::move(first));
        if (!second.empty())
            Deliver("second", std::move(second));
        ListingA summary;
        summary.summary = 1;
        Run(summary);
        EXPECT_EQ(summary.hr, S_OK);
        Release(summary);
        Forget();
        ListingA next;
        Run(next);
        Release(next);
        return LearnedCreatorName(mapi.recorder);
    }
};

TEST_F(FaxLearningTest, ASummaryListingLearnsTheCreatorName)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "Acme")}), "PR_CREATOR_NAME_A == \"Acme\"");
    EXPECT_FALSE(FaxServerSeen);
}

TEST_F(FaxLearningTest, ACreatorNameOfTheFaxProductIsSeenWhateverItsCase)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "The FaxMAKER server")}),
              "PR_CREATOR_NAME_A PREFIX|IGNORECASE \"The FaxMAKER server\"");
    EXPECT_TRUE(FaxServerSeen);
}

TEST_F(FaxLearningTest, ASenderAddressOfTheFaxDomainGivesTheProductsName)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "x"), Text(PR_SENDER_EMAIL_ADDRESS_A, "1@fax.norvik.example")}),
              "PR_CREATOR_NAME_A PREFIX|IGNORECASE \"FAXmaker\"");
    EXPECT_TRUE(FaxServerSeen);
}

TEST_F(FaxLearningTest, TheLastRowReadInASummaryWins)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "FaxMaker")}, {Text(PR_CREATOR_NAME_A, "Acme")}),
              "PR_CREATOR_NAME_A PREFIX|IGNORECASE \"Acme\"");
}

TEST_F(FaxLearningTest, ARowWithoutCreatorNameChangesNothingThatWasLearned)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "Acme")}, {Text(PR_COMMENT_A, "none")}),
              "PR_CREATOR_NAME_A == \"Acme\"");
}

TEST_F(FaxLearningTest, WhatASessionLearnsIsItsOwnAndThatTheProductWasSeenIsEverybodys)
{
    AfterSummaryOf({Text(PR_CREATOR_NAME_A, "FaxMaker 7")});
    Forget();
    ListingA other;
    const DWORD otherConnection = AnotherConnection();
    other.hr = OrlGetEmailHeadersA(otherConnection, mailbox, &other.hTable, nullptr, 1, &other.headers, &other.count,
                                   &other.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(other.hr, S_OK);
    EXPECT_EQ(LearnedCreatorName(mapi.recorder), "PR_CREATOR_NAME_A PREFIX|IGNORECASE \"\"");
    EXPECT_EQ(OrlMapiReleaseHandle(otherConnection, &other.hTable, nullptr), S_OK);
}

TEST_F(ListingTest, AFaxListingAlwaysListsAttachments)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 9)}, "");
    ListingA listing;
    listing.fax = 5;
    EXPECT_EQ(Only(listing).cAttachments, 1u);
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::GetEmailHeaders("),
                                                 testing::HasSubstr(" FAX messages with attachments,"))));
}

TEST_F(ListingTest, AttachmentsAreListedInTheOrderOfTheirTable)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(
        message,
        {Long(PR_ATTACH_SIZE, 100), Text(PR_ATTACH_FILENAME_A, "voice.wav"), Text(PR_ATTACH_MIME_TAG_A, "audio/wav")},
        "");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 0), Text(PR_ATTACH_FILENAME_A, "empty.txt")}, "");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 7)}, "");
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
    EXPECT_THAT(mapi.recorder.Calls(),
                testing::IsSupersetOf({"Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                                       "Message(m).GetAttachmentTable(0)", "Message(m).OpenAttach(0, NULL, 0)",
                                       "Attach(m#0).GetProps([PR_ATTACH_SIZE, PR_ATTACH_FILENAME_A, "
                                       "PR_ATTACH_MIME_TAG_A], 0)"}));
    EXPECT_THAT(Lines(), testing::IsSupersetOf({"HrPopulateAttachList - adding attachment entry 0, PR_ATTACH_NUM=0",
                                                "HrPopulateAttachList - adding attachment entry 1, PR_ATTACH_NUM=1",
                                                "HrPopulateAttachList - adding attachment entry 2, PR_ATTACH_NUM=2"}));
}

TEST_F(ListingTest, WithoutTheWishNoMessageIsOpened)
{
    mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 100)}, "");
    ListingA listing;
    EXPECT_EQ(Only(listing).cAttachments, 0u);
    EXPECT_THAT(mapi.recorder.Calls(), Not(Contains(testing::HasSubstr("eid(message:m)"))));
}

TEST_F(ListingTest, AnAttachmentThatFailsBeforeOthersIsLeftOut)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 2)}, "");
    Deliver("next");
    mapi.script.Tell("Message(m).OpenAttach(0, NULL, 0)", Fails(MAPI_E_NO_SUPPORT));
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

TEST_F(ListingTest, TheLastAttachmentsFailureEndsTheListing)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 2)}, "");
    Deliver("next");
    mapi.script.Tell("Attach(m#1).GetProps", Fails(MAPI_E_NETWORK_ERROR));
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

TEST_F(ListingTest, AMessageThatCannotBeOpenedEndsTheListing)
{
    Deliver("m");
    mapi.script.Tell("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)", Fails(MAPI_E_NOT_FOUND));
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, MAPI_E_NOT_FOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeaders[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrOpenEntry trying to access and open the message."));
}

TEST_F(ListingTest, AProviderThatDoesNotKnowTheNoCacheFlagIsAskedAgainWithout)
{
    Deliver("m");
    mapi.script.Tell("Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)",
                     Fails(MAPI_E_UNKNOWN_FLAGS));
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(mapi.recorder.Calls(), Contains("Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x10)"));
    EXPECT_THAT(ErrorLines(), IsEmpty());
    Release(listing);
}

TEST_F(ListingTest, ANullMailboxIsAnInvalidArgumentAndTheCountIsSetToZero)
{
    ListingA listing;
    listing.hr = OrlGetEmailHeadersA(connection, 0, &listing.hTable, nullptr, 1, &listing.headers, &listing.count,
                                     &listing.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(listing.hr, E_INVALIDARG);
    EXPECT_EQ(listing.count, 0u);
}

TEST_F(ListingTest, AnUnknownConnectionIsAnInvalidArgumentAndTheCountIsSetToZero)
{
    ListingW listing;
    listing.hr = OrlGetEmailHeadersW(0, mailbox, &listing.hTable, nullptr, 1, &listing.headers, &listing.count,
                                     &listing.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(listing.hr, E_INVALIDARG);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_THAT(mapi.recorder.Calls(), IsEmpty());
}

TEST_F(ListingTest, TheMemberRefusesANullStore)
{
    SessionGuard session = CMAPIImpl::Locate(connection);
    DWORD hTable = 0;
    DWORD hOrigin = 0;
    ULONG total = 0;
    std::vector<Header> headers;
    EXPECT_EQ(
        session->GetEmailHeaders(nullptr, &hTable, headers, &hOrigin, 1, &total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0),
        E_POINTER);
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Error pIMsgStore is NULL."));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: At Exit, counter=[0]"));
}

TEST_F(ListingTest, ARowCountThatFailsIsIgnored)
{
    Deliver("m");
    mapi.script.Tell("Table.GetRowCount", Fails(MAPI_E_BUSY));
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 1u);
    EXPECT_THAT(ErrorLines(), IsEmpty());
    Release(listing);
}

TEST_F(ListingTest, WarningsAreSuccess)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    for (const char *call : {"Table.SetColumns", "Table.Restrict", "Table.SortTable", "Table.GetRowCount",
                             "Table.QueryRows", "Store.GetReceiveFolder", "Folder.GetContentsTable"})
        mapi.script.Tell(call, Warns(MAPI_W_APPROX_COUNT));
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK) << "the last call is the allocation of the result";
    EXPECT_EQ(listing.count, 1u);
    EXPECT_EQ(listing.headers[0].cAttachments, 1u);
    EXPECT_THAT(ErrorLines(), IsEmpty());
    Release(listing);
}

TEST_F(ListingTest, AProviderThatGivesNothingWithASuccessEndsTheListing)
{
    for (const char *call : {"Store.OpenEntry", "Folder.GetContentsTable"}) {
        SCOPED_TRACE(call);
        Deliver("m");
        mapi.script.Clear();
        mapi.script.Tell(call, GivesNull());
        ListingA listing;
        Run(listing);
        EXPECT_EQ(listing.hr, E_FAIL);
    }
    mapi.script.Clear();
    mapi.script.Tell("Table.QueryRows", GivesNull());
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 0u);
}

TEST_F(ListingTest, AnExceptionAtAnyStageIsReportedAndNothingIsLeft)
{
    MessageData &message = Deliver("m");
    mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    for (const char *call : {"Store.GetReceiveFolder", "Table.Restrict", "Table.GetRowCount", "Table.QueryRows",
                             "Message.OpenAttach", "Table(alice/Inbox).CreateBookmark"}) {
        SCOPED_TRACE(call);
        mapi.script.Clear();
        mapi.script.Tell(call, Does([] { throw std::bad_alloc(); }));
        Forget();
        ListingA listing;
        listing.rows = 1;
        listing.withAttachments = 1;
        Run(listing);
        EXPECT_EQ(listing.hr, E_UNEXPECTED);
        EXPECT_EQ(listing.headers, nullptr);
        EXPECT_EQ(listing.hTable, 0u);
        EXPECT_EQ(OpenObjects(), 0);
        EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in CMAPIImpl::GetEmailHeaders (OrlMapi32[")));
    }
}

TEST_F(ListingTest, SeveralThreadsListAndLearnOnOneSessionAtTheSameTime)
{
    for (int i = 0; i < 6; ++i)
        Deliver(std::to_string(i),
                {Text(PR_CREATOR_NAME_A, "A creator with a long name, number " + std::to_string(i))});
    std::vector<std::thread> threads;
    std::atomic<int> rows{0};
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int turn = 0; turn < 5; ++turn) {
                ListingA listing;
                listing.rows = 4;
                listing.summary = 1;
                Run(listing);
                rows += static_cast<int>(listing.count);
                Run(listing);
                rows += static_cast<int>(listing.count);
                Release(listing);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(rows, 8 * 5 * 6);
    EXPECT_EQ(OpenObjects(), 0);
}

} // namespace
