// A header listing, as a conversation: what it asks of the store and the table, in which order and with which flags,
// what it makes of each row, and what it writes into the trace.
#include "messages/MessagesTest.h"
#include "messages/listing/Header.h"
#include <algorithm>
#include <atomic>
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
};

TEST_F(ListingTest, ANewListingOpensTheInboxAndShapesItsTable)
{
    Deliver("m");
    ListingA listing;
    listing.rows = 3;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
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
    // The folder is given back after its identifier, once the table is shaped; the rows when all is done with them.
    const std::vector<std::string> all = m_mapi.recorder.Everything();
    const auto at = [&](const std::string &call) {
        return std::find_if(all.begin(), all.end(), [&](const auto &made) { return made.find(call) == 0; }) -
               all.begin();
    };
    EXPECT_LT(at("Table(alice/Inbox).SortTable("), at("MAPIFreeBuffer(receive folder ID)"));
    EXPECT_LT(at("MAPIFreeBuffer(receive folder ID)"), at("Folder(alice/Inbox).Release()"));
    EXPECT_LT(at("Folder(alice/Inbox).Release()"), at("Table(alice/Inbox).GetRowCount("));
    EXPECT_LT(at("Table(alice/Inbox).QueryRows("), at("FreeProws("));
    EXPECT_LT(at("FreeProws("), at("MAPIAllocateBuffer("));
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

TEST_F(ListingTest, AProviderThatDoesNotKnowTheNoCacheFlagIsAskedAgainWithout)
{
    Deliver("m");
    m_mapi.script.Tell("Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)",
                       Fails(MAPI_E_UNKNOWN_FLAGS));
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                Contains("Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x10)"));
    EXPECT_THAT(ErrorLines(), IsEmpty());
    Release(listing);
}

TEST_F(ListingTest, ANullMailboxIsAnInvalidArgumentAndTheCountIsSetToZero)
{
    ListingA listing;
    listing.hr = OrlGetEmailHeadersA(m_connection, 0, &listing.hTable, nullptr, 1, &listing.headers, &listing.count,
                                     &listing.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(listing.hr, E_INVALIDARG);
    EXPECT_EQ(listing.count, 0u);
}

TEST_F(ListingTest, AnUnknownConnectionIsAnInvalidArgumentAndTheCountIsSetToZero)
{
    ListingW listing;
    listing.hr = OrlGetEmailHeadersW(0, m_mailbox, &listing.hTable, nullptr, 1, &listing.headers, &listing.count,
                                     &listing.total, 0, 1, 1, 0, 0, 0, 0, nullptr, 0, 0);
    EXPECT_EQ(listing.hr, E_INVALIDARG);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
}

TEST_F(ListingTest, TheMemberRefusesANullStore)
{
    SessionGuard session = CMAPIImpl::Locate(m_connection);
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
    m_mapi.script.Tell("Table.GetRowCount", Fails(MAPI_E_BUSY));
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
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    for (const char *call : {"Table.SetColumns", "Table.Restrict", "Table.SortTable", "Table.GetRowCount",
                             "Table.QueryRows", "Store.GetReceiveFolder", "Folder.GetContentsTable"})
        m_mapi.script.Tell(call, Warns(MAPI_W_APPROX_COUNT));
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
    for (const char *call : {"Store.GetReceiveFolder", "Store.OpenEntry", "Folder.GetContentsTable"}) {
        SCOPED_TRACE(call);
        Deliver("m");
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, GivesNull());
        ListingA listing;
        Forget();
        Run(listing);
        EXPECT_EQ(listing.hr, E_FAIL);
        EXPECT_EQ(ErrorLines().size(), 1u);
        EXPECT_EQ(m_mapi.recorder.Count("Store.OpenEntry"), call == std::string("Store.GetReceiveFolder") ? 0 : 1);
    }
    m_mapi.script.Clear();
    m_mapi.script.Tell("Table.QueryRows", GivesNull());
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 0u);
}

TEST_F(ListingTest, AnExceptionAtAnyStageIsReportedAndNothingIsLeft)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 1)}, "");
    for (const char *call : {"Store.GetReceiveFolder", "Table.Restrict", "Table.GetRowCount", "Table.QueryRows",
                             "Message.OpenAttach", "Table(alice/Inbox).CreateBookmark"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, Does([] { throw std::bad_alloc(); }));
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
