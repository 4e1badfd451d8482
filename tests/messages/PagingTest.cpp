// Paging through a listing: where each page begins, which handles go in and out, and what becomes of the table and
// the bookmark that stay open between the calls.
#include "messages/MessagesTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

class PagingTest : public MessagesTest
{
};

TEST_F(PagingTest, APageOfExactlyTheRowsWantedReturnsABookmark)
{
    DeliverMany(5);
    ListingA listing;
    listing.rows = 2;
    listing.hOrigin = 12345;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(NamesOf(listing), ElementsAre("1", "2"));
    EXPECT_EQ(listing.total, 5u);
    EXPECT_NE(listing.hTable, 0u);
    EXPECT_NE(listing.hOrigin, 0u);
    EXPECT_TRUE(Asked("CreateBookmark"));
    Release(listing);
}

TEST_F(PagingTest, AShorterPageReturnsBookmarkHandleZero)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 3;
    listing.hOrigin = 12345;
    Run(listing);
    EXPECT_EQ(listing.count, 2u);
    EXPECT_NE(listing.hTable, 0u);
    EXPECT_EQ(listing.hOrigin, 0u);
    EXPECT_FALSE(Asked("CreateBookmark"));
    Release(listing);
}

// Forwards and backwards, for every length of the folder around the length of a page.
class EveryLengthOfTheFolder : public PagingTest, public testing::WithParamInterface<std::tuple<int, bool>>
{
};

TEST_P(EveryLengthOfTheFolder, EveryMessageIsSeenOnceAndThePagesEnd)
{
    const auto [messages, forward] = GetParam();
    DeliverMany(messages);
    ListingA listing;
    listing.rows = 3;
    listing.forward = forward;
    listing.bookmark = forward ? ORL_BOOKMARK_BEGINNING : ORL_BOOKMARK_END;
    std::vector<std::string> seen;
    int pages = 0;
    for (;;) {
        Run(listing);
        ASSERT_EQ(listing.hr, S_OK);
        ASSERT_LE(++pages, messages / 3 + 2);
        if (listing.count == 0)
            break;
        EXPECT_EQ(OpenObjects(), 1);
        std::vector<std::string> names = NamesOf(listing);
        seen.insert(forward ? seen.end() : seen.begin(), names.begin(), names.end());
        listing.bookmark = ORL_BOOKMARK_CURRENT;
        if (listing.count < 3) {
            Release(listing);
            break;
        }
    }
    std::vector<std::string> all;
    for (int i = 1; i <= messages; ++i)
        all.push_back(std::to_string(i));
    EXPECT_EQ(seen, all);
    EXPECT_EQ(OpenObjects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Paging, EveryLengthOfTheFolder,
                         testing::Combine(testing::Values(0, 1, 2, 3, 4, 5, 6, 7), testing::Bool()),
                         [](const auto &of) {
                             return std::to_string(std::get<0>(of.param)) +
                                    (std::get<1>(of.param) ? "Forwards" : "Backwards");
                         });

TEST_F(PagingTest, ForwardsTheNextPageBeginsAtTheBookmark)
{
    DeliverMany(5);
    ListingA listing;
    listing.rows = 2;
    Run(listing);
    const DWORD firstTable = listing.hTable;
    Forget();
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("3", "4"));
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Table(alice/Inbox).SeekRow(bookmark 101, 0, NULL)", "Table(alice/Inbox).GetRowCount(0)",
                            "Table(alice/Inbox).QueryRows(2, 0)", "Table(alice/Inbox).FreeBookmark(bookmark 101)",
                            "Table(alice/Inbox).CreateBookmark()"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Seeked to specified bookmark (101)"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: At entry, counter=[1]"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: At Exit, counter=[1]"));
    // The pair that went in is taken out of the registries.
    if (firstTable != listing.hTable) {
        DWORD oldTable = firstTable;
        ASSERT_EQ(OrlMapiReleaseHandle(m_connection, &oldTable, nullptr), S_OK);
        EXPECT_EQ(OpenObjects(), 1);
    }
    Release(listing);
}

TEST_F(PagingTest, BackwardsTheNextPageBeginsAPageBeforeTheBookmark)
{
    DeliverMany(5);
    ListingA listing;
    listing.rows = 2;
    listing.forward = 0;
    listing.bookmark = ORL_BOOKMARK_END;
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("4", "5"));
    EXPECT_TRUE(Asked("SeekRow(END, 0, NULL)"));
    EXPECT_TRUE(Asked("QueryRows(-2, 0)"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Seeked to end of table"));
    Forget();
    listing.bookmark = 77;
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("2", "3"));
    EXPECT_TRUE(Asked("SeekRow(bookmark 101, -2, NULL)"));
    EXPECT_THAT(Lines(),
                Contains("CMAPIImpl::GetEmailHeaders[n]: Seeked to position -2 from specified bookmark (101)"));
    Release(listing);
}

TEST_F(PagingTest, AnAbsoluteBookmarkMovesAKeptTable)
{
    DeliverMany(4);
    ListingA listing;
    listing.rows = 2;
    listing.bookmark = ORL_BOOKMARK_BEGINNING;
    Run(listing);
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Seeked to beginning of table"));
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("1", "2"));
    listing.bookmark = ORL_BOOKMARK_END;
    Run(listing);
    EXPECT_EQ(listing.count, 0u) << "forwards there is nothing after the end";
}

TEST_F(PagingTest, ANewTableWithoutBookmarkIsNotMoved)
{
    DeliverMany(1);
    ListingA listing;
    Run(listing);
    EXPECT_EQ(m_mapi.recorder.Count("Table.SeekRow"), 0);
    EXPECT_EQ(listing.count, 1u);
    Release(listing);
}

TEST_F(PagingTest, AKeptTableWithoutBookmarkStaysWhereItIs)
{
    DeliverMany(3);
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.count, 3u);
    Forget();
    Run(listing);
    EXPECT_EQ(m_mapi.recorder.Count("Table.SeekRow"), 0);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 0u);
}

TEST_F(PagingTest, OnlyOneMeansForwardAndTwoIsCalledForwardAndReadsBackwards)
{
    DeliverMany(3);
    ListingA listing;
    listing.rows = 2;
    listing.forward = 2;
    listing.bookmark = ORL_BOOKMARK_END;
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("2", "3"));
    EXPECT_TRUE(Asked("QueryRows(-2, 0)"));
    EXPECT_THAT(Lines(), Contains(HasSubstr("direction FORWARD)")));
    Forget();
    listing.bookmark = ORL_BOOKMARK_CURRENT;
    Run(listing);
    EXPECT_TRUE(Asked("SeekRow(bookmark 101, -2, NULL)"));
    Release(listing);
}

TEST_F(PagingTest, ACallWithoutRowsReleasesTheTableAndLeavesTheCallersHandles)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 2;
    Run(listing);
    const DWORD hTable = listing.hTable;
    const DWORD hOrigin = listing.hOrigin;
    Forget();
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_NE(listing.headers, nullptr) << "a result block of no elements";
    EXPECT_EQ(listing.hTable, hTable);
    EXPECT_EQ(listing.hOrigin, hOrigin);
    EXPECT_EQ(OpenObjects(), 0);
    EXPECT_TRUE(Asked("FreeBookmark(bookmark 101)"));
    EXPECT_THAT(m_mapi.recorder.Everything(), Contains("Table(alice/Inbox).Release()"));
    // Their registry entries are gone: the next call with them begins a new listing.
    Forget();
    Run(listing);
    EXPECT_EQ(m_mapi.recorder.Count("Store.GetReceiveFolder"), 1);
    EXPECT_EQ(listing.count, 2u);
    Release(listing);
}

TEST_F(PagingTest, AnEmptyFolderGivesNoRowsAndKeepsNothing)
{
    ListingA listing;
    listing.hTable = 0;
    listing.hOrigin = 99;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_EQ(listing.total, 0u);
    EXPECT_EQ(listing.hTable, 0u);
    EXPECT_EQ(listing.hOrigin, 99u);
    EXPECT_EQ(OpenObjects(), 0);
}

TEST_F(PagingTest, APassedBackTableIgnoresNewFilterFlags)
{
    DeliverMany(3);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    Forget();
    listing.read = listing.priority = listing.um = listing.fax = 1;
    Run(listing);
    EXPECT_EQ(listing.count, 1u);
    EXPECT_EQ(m_mapi.recorder.Count("Table(alice/Inbox).Restrict"), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Table(alice/Inbox).SetColumns"), 0);
    EXPECT_THAT(Lines(), Not(Contains(HasSubstr("Applying filter"))));
    Release(listing);
}

TEST_F(PagingTest, AnUnknownTableHandleBeginsANewListing)
{
    DeliverMany(1);
    ListingA listing;
    listing.hTable = 0xFFFF0000;
    listing.hOrigin = 0xFFFF0001;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 1u);
    EXPECT_NE(listing.hTable, 0xFFFF0000u);
    EXPECT_EQ(m_mapi.recorder.Count("Store.GetReceiveFolder"), 1);
    Release(listing);
}

TEST_F(PagingTest, AHandleOfOneSessionIsUnknownToAnother)
{
    DeliverMany(3);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    const DWORD other = AnotherConnection();
    DWORD hTable = listing.hTable;
    DWORD hOrigin = listing.hOrigin;
    EXPECT_EQ(OrlMapiReleaseHandle(other, &hTable, &hOrigin), S_OK);
    EXPECT_EQ(OpenObjects(), 1);
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("2"));
    Release(listing);
}

TEST_F(PagingTest, WithoutAPlaceForTheBookmarkHandleNoneIsReadOrWritten)
{
    DeliverMany(3);
    ListingA listing;
    listing.rows = 1;
    listing.withOrigin = false;
    listing.hOrigin = 4711;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.hOrigin, 4711u);
    // The table goes on from where it stands.
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("2"));
    EXPECT_EQ(m_mapi.recorder.Count("Table.SeekRow"), 0);
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, nullptr), S_OK);
}

TEST_F(PagingTest, ATableHandleWithoutItsBookmarkGoesOnFromWhereTheTableStands)
{
    DeliverMany(4);
    ListingA listing;
    listing.rows = 2;
    Run(listing);
    listing.hOrigin = 0;
    Forget();
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("3", "4"));
    EXPECT_EQ(m_mapi.recorder.Count("Table.SeekRow"), 0);
    Release(listing);
}

TEST_F(PagingTest, TwoListingsOfOneSessionKeepTheirOwnPlaces)
{
    DeliverMany(6);
    ListingA one;
    ListingA two;
    one.rows = 2;
    two.rows = 3;
    Run(one);
    Run(two);
    EXPECT_NE(one.hTable, two.hTable);
    EXPECT_EQ(OpenObjects(), 2);
    Run(one);
    Run(two);
    EXPECT_THAT(NamesOf(one), ElementsAre("3", "4"));
    EXPECT_THAT(NamesOf(two), ElementsAre("4", "5", "6"));
    Release(one);
    Release(two);
}

TEST_F(PagingTest, ABookmarkOfAnotherTableFailsTheListingAndReleasesItsTable)
{
    DeliverMany(6);
    ListingA one;
    ListingA two;
    one.rows = two.rows = 2;
    Run(one);
    Run(two);
    Run(two); // its bookmark is the second of its table
    std::swap(one.hOrigin, two.hOrigin);
    Forget();
    const DWORD hTable = one.hTable;
    Run(one);
    EXPECT_EQ(one.hr, MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(one.hTable, hTable);
    EXPECT_EQ(one.headers, nullptr);
    EXPECT_EQ(OpenObjects(), 1);
    EXPECT_THAT(
        ErrorLines(),
        Contains("CMAPIImpl::GetEmailHeaders[n]: Error 0x80040405 [MAPI_E_INVALID_BOOKMARK] from SeekRow trying "
                 "to move the cursor to a specific position in the table."));
    Release(two);
}

} // namespace
