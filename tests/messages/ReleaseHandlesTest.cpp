// The table and the bookmark that a listing leaves open: how they are given back, and what becomes of them where that
// fails.
#include "messages/MessagesTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

class ReleaseHandlesTest : public MessagesTest
{
};

TEST_F(ReleaseHandlesTest, ABookmarkThatCannotBeFreedIsReportedAndThePageIsGood)
{
    DeliverMany(5);
    ListingA listing;
    listing.rows = 2;
    Run(listing);
    m_mapi.script.Tell("Table.FreeBookmark", Fails(MAPI_E_BUSY).Once());
    Forget();
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(NamesOf(listing), ElementsAre("3", "4"));
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("from FreeBookmark trying to free a bookmark of the table.")));
    Release(listing);
}

TEST_F(ReleaseHandlesTest, ABookmarkThatCannotBeMadeFailsThePageAndReleasesTheTable)
{
    DeliverMany(5);
    m_mapi.script.Tell("Table.CreateBookmark", Fails(MAPI_E_UNABLE_TO_COMPLETE));
    ListingA listing;
    listing.rows = 2;
    Run(listing);
    EXPECT_EQ(listing.hr, MAPI_E_UNABLE_TO_COMPLETE);
    EXPECT_EQ(listing.hTable, 0u);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_EQ(OpenObjects(), 0);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("[MAPI_E_UNABLE_TO_COMPLETE] from CreateBookmark trying to mark")));
}

TEST_F(ReleaseHandlesTest, ReleasingBothHandlesFreesTheBookmarkAndReleasesTheTable)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    const DWORD hTable = listing.hTable;
    Forget();
    Release(listing);
    EXPECT_EQ(listing.hTable, hTable) << "the caller's variables are not cleared";
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Table(alice/Inbox).FreeBookmark(bookmark 101)", "Table(alice/Inbox).Release()"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::ReleaseHandles[n]: At entry, counter=[1]"));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::ReleaseHandles[n]: At Exit, counter=[0]"));
    EXPECT_EQ(OpenObjects(), 0);
    Forget();
    Release(listing);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty()) << "a second time there is nothing to release";
}

TEST_F(ReleaseHandlesTest, ReleasingTheTableAloneLeavesNoTable)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, nullptr), S_OK);
    EXPECT_EQ(OpenObjects(), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Table.FreeBookmark"), 0);
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, nullptr, &listing.hOrigin), S_OK);
}

TEST_F(ReleaseHandlesTest, ReleasingNothingIsSuccess)
{
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, nullptr, nullptr), S_OK);
    EXPECT_THAT(Lines(), Contains(HasSubstr("> CMAPIImpl::ReleaseHandles(hTable: ")));
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(ReleaseHandlesTest, AnExceptionWhileFreeingTheBookmarkIsReportedAndTheTableStillReleased)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    m_mapi.script.Tell("Table.FreeBookmark", Does([] { throw 1; }));
    Forget();
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, &listing.hOrigin), S_OK);
    EXPECT_EQ(OpenObjects(), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Table.FreeBookmark"), 1);
    EXPECT_THAT(Lines(),
                Contains(testing::StartsWith("Exception has occurred in CMAPIImpl::ReleaseHandles (OrlMapi32[")));
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::ReleaseHandles[n]: At Exit, counter=[0]"));
}

TEST_F(ReleaseHandlesTest, AReleaseWhoseBookmarkFailsStillReleasesTheTable)
{
    DeliverMany(2);
    ListingA listing;
    listing.rows = 1;
    Run(listing);
    m_mapi.script.Tell("Table.FreeBookmark", Fails(MAPI_E_NETWORK_ERROR));
    Forget();
    Release(listing);
    EXPECT_EQ(OpenObjects(), 0);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("CMAPIImpl::ReleaseHandles[n]: Error 0x80040115")));
}

} // namespace
