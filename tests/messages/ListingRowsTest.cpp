// What a listing makes of a table's rows: where each field of a header comes from, what a malformed value is taken for,
// and what a summary listing learns of the fax product.
#include "messages/MessagesTest.h"
#include "messages/listing/FaxSettings.h"
#include <cstring>

using namespace messages_test;
using testing::ElementsAre;

namespace
{

class ListingRowsTest : public MessagesTest
{
};

TEST_F(ListingRowsTest, EveryFieldOfAHeaderComesFromItsProperty)
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

TEST_F(ListingRowsTest, APropertyThatIsMissingLeavesItsFieldEmpty)
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

TEST_F(ListingRowsTest, OnlyHighImportanceAndPrivateSensitivityCount)
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

TEST_F(ListingRowsTest, WithoutAPropertyOfItsOwnTheNumberReceivedEqualsTheOffset)
{
    Deliver("m", {Long(PR_UM_OFFSET, 12)});
    ListingA listing;
    const EmailHeaderA &header = Only(listing);
    EXPECT_EQ(header.offset, 12);
    EXPECT_EQ(header.ulMsgReceived, 12u);
}

TEST_F(ListingRowsTest, WhatOneRowHoldsIsNotSeenInTheNext)
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

TEST_F(ListingRowsTest, AMessageWithoutEntryIdIsLoggedAndSkipped)
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

TEST_F(ListingRowsTest, AnEntryIdOfOneByteIsAnEntryId)
{
    Deliver("m").props = {Binary(PR_ENTRYID, "x")};
    ListingA listing;
    const EmailHeaderA &header = Only(listing);
    EXPECT_EQ(Bytes(header.pEntryID, header.cbEntryID), "x");
}

TEST_F(ListingRowsTest, MalformedValuesAreTakenAsEmpty)
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

TEST_F(ListingRowsTest, AFaxAddressReplacesTheCreatorName)
{
    Deliver("m", {Text(PR_CREATOR_NAME_A, "Somebody"), Text(PR_SENDER_EMAIL_ADDRESS_A, "4711@FAX.Norvik.Example")});
    ListingA listing;
    EXPECT_STREQ(Only(listing).pszCreatorName, "4711@FAX.Norvik.Example");
    EXPECT_FALSE(FaxServerSeen) << "nothing is learned outside a summary listing";
}

TEST_F(ListingRowsTest, AnAddressOutsideTheFaxDomainLeavesTheCreatorName)
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

class FaxLearningTest : public ListingRowsTest
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
        return LearnedCreatorName(m_mapi.recorder);
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

TEST_F(FaxLearningTest, AnEmptyCreatorNameIsLearnedToo)
{
    EXPECT_EQ(AfterSummaryOf({Text(PR_CREATOR_NAME_A, "Acme")}, {Text(PR_CREATOR_NAME_A, "")}), "nothing")
        << "there is no name left to compare with";
}

TEST_F(FaxLearningTest, WhatASessionLearnsIsItsOwnAndThatTheProductWasSeenIsEverybodys)
{
    AfterSummaryOf({Text(PR_CREATOR_NAME_A, "FaxMaker 7")});
    Forget();
    ListingA other;
    const DWORD otherConnection = AnotherConnection();
    other.hr = OrlGetEmailHeadersA(otherConnection, m_mailbox, &other.hTable, nullptr, 1, &other.headers, &other.count,
                                   &other.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(other.hr, S_OK);
    EXPECT_EQ(LearnedCreatorName(m_mapi.recorder), "PR_CREATOR_NAME_A PREFIX|IGNORECASE \"\"");
    EXPECT_EQ(OrlMapiReleaseHandle(otherConnection, &other.hTable, nullptr), S_OK);
}

} // namespace
