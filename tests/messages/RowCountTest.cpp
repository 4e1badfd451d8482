// Counts of rows that a page seldom has: none, fewer than none, and fewer than were wanted.
#include "messages/MessagesTest.h"
#include <limits>

using namespace messages_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

class RowCountTest : public MessagesTest
{
};

TEST_F(RowCountTest, ZeroRowsGoThroughToTheTable)
{
    DeliverMany(1);
    ListingA listing;
    listing.rows = 0;
    Run(listing);
    EXPECT_TRUE(Asked("QueryRows(0, 0)"));
    EXPECT_EQ(listing.hr, E_INVALIDARG);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(HasSubstr("from QueryRows trying to query one or more rows from the table.")));
}

TEST_F(RowCountTest, ZeroRowsOfATableThatAllowsThemEndTheListing)
{
    DeliverMany(1);
    m_mapi.script.Tell("Table.QueryRows", GivesNull());
    ListingA listing;
    listing.rows = 0;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.hTable, 0u);
    // No rows are all the rows that were wanted: the bookmark is made, and freed again.
    EXPECT_TRUE(Asked("CreateBookmark"));
    EXPECT_TRUE(Asked("FreeBookmark(bookmark 101)"));
}

TEST_F(RowCountTest, TheMostNegativeRowCountIsItsOwnNegative)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = std::numeric_limits<LONG>::min();
    listing.forward = 0;
    listing.bookmark = ORL_BOOKMARK_END;
    Run(listing);
    EXPECT_TRUE(Asked("QueryRows(-2147483648, 0)"));
    EXPECT_EQ(listing.count, 2u);
    Release(listing);
}

TEST_F(RowCountTest, ANegativeRowCountReadsTheOtherWay)
{
    DeliverMany(3);
    ListingA listing;
    listing.rows = -2;
    listing.bookmark = ORL_BOOKMARK_END;
    Run(listing);
    EXPECT_TRUE(Asked("QueryRows(-2, 0)"));
    EXPECT_THAT(NamesOf(listing), ElementsAre("2", "3"));
    EXPECT_EQ(listing.hOrigin, 0u) << "two rows are not the minus two that were wanted";
    Release(listing);
}

TEST_F(RowCountTest, ATableThatGivesFewerRowsThanWantedMakesAShortPage)
{
    auto table = std::make_shared<TableData>("alice/Inbox");
    for (const char *name : {"1", "2", "3"})
        table->rows.push_back({Binary(PR_ENTRYID, IdOf(name))});
    table->mostPerQuery = 2;
    m_mapi.world.mailboxes.at("alice")->inbox->contents = table;
    ListingA listing;
    listing.rows = 3;
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("1", "2"));
    EXPECT_EQ(listing.hOrigin, 0u);
    Run(listing);
    EXPECT_THAT(NamesOf(listing), ElementsAre("3"));
    Release(listing);
}

} // namespace
