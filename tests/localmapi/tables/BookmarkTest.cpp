// Proves bookmarks: the three that are always there, those that a client makes, what becomes of them when the folder
// changes, and how many there can be.
#include "TableFixture.h"
#include "localmapi/provider/table/Table.h"

#include <set>

namespace localmapi::test
{

namespace
{

class BookmarkTest : public AnyTable
{
};
INSTANTIATE_TEST_SUITE_P(Homes, BookmarkTest, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(BookmarkTest, T11_AnUnknownBookmarkIsInvalid)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 2, nullptr), S_OK);
    LONG moved = 0;
    EXPECT_EQ(table->SeekRow(3, 1, &moved), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->SeekRow(0xFFFFFFFF, 1, &moved), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(Position(table), 2u);
}

TEST_P(BookmarkTest, T11_AFreedBookmarkIsInvalid)
{
    auto table = Letters();
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_GT(bookmark, BOOKMARK_END);
    ASSERT_EQ(table->FreeBookmark(bookmark), S_OK);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->FreeBookmark(bookmark), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(BookmarkTest, T11_ABookmarkBringsTheCursorBack)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 3, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    LONG moved = 99;
    EXPECT_EQ(table->SeekRow(bookmark, 0, &moved), S_OK);
    EXPECT_EQ(moved, 0);
    EXPECT_EQ(Read(table, 1), "d");
    EXPECT_EQ(table->SeekRow(bookmark, -2, &moved), S_OK);
    EXPECT_EQ(moved, -2);
    EXPECT_EQ(Read(table, 1), "b");
}

TEST_P(BookmarkTest, T12_TheThreePredefinedBookmarksAreFirstNextAndAfterLast)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    EXPECT_EQ(Position(table), 5u);
    EXPECT_EQ(Read(table, 1), "");
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    EXPECT_EQ(Position(table), 0u);
    EXPECT_EQ(Read(table, 2), "a b");
    ASSERT_EQ(table->SeekRow(BOOKMARK_CURRENT, 0, nullptr), S_OK);
    EXPECT_EQ(Read(table, 1), "c");
}

TEST_P(BookmarkTest, T12_ABookmarkAtTheEndStaysAfterTheLastRow)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(Position(table), 5u);
}

TEST_P(BookmarkTest, T13_FreeingAPredefinedBookmarkChangesNothing)
{
    auto table = Letters();
    for (BOOKMARK predefined : {BOOKMARK_BEGINNING, BOOKMARK_CURRENT, BOOKMARK_END}) {
        EXPECT_EQ(table->FreeBookmark(predefined), S_OK);
        EXPECT_EQ(table->SeekRow(predefined, 0, nullptr), S_OK);
    }
    EXPECT_EQ(table->FreeBookmark(4711), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(BookmarkTest, T13_ReleasingTheTableFreesItsBookmarks)
{
    auto table = Letters();
    for (int i = 0; i < 10; ++i) {
        BOOKMARK bookmark = 0;
        ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    }
    // The fixture counts what is left.
}

TEST_P(BookmarkTest, T14_BookmarksRunOutAtALimitAndAreToBeHadAgainAfterOneIsFreed)
{
    auto table = Letters();
    EXPECT_EQ(table->CreateBookmark(nullptr), MAPI_E_INVALID_PARAMETER);
    std::set<BOOKMARK> bookmarks;
    BOOKMARK bookmark = 0;
    HRESULT hr = S_OK;
    for (std::size_t i = 0; i <= kBookmarkLimit && hr == S_OK; ++i) {
        hr = table->CreateBookmark(&bookmark);
        if (hr == S_OK) {
            EXPECT_TRUE(bookmarks.insert(bookmark).second);
        }
    }
    EXPECT_EQ(hr, MAPI_E_UNABLE_TO_COMPLETE);
    EXPECT_EQ(bookmarks.size(), kBookmarkLimit);
    ASSERT_EQ(table->FreeBookmark(*bookmarks.begin()), S_OK);
    EXPECT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_EQ(table->CreateBookmark(&bookmark), MAPI_E_UNABLE_TO_COMPLETE);
}

TEST_F(ChangingTable, T11_ABookmarkWhoseRowIsGoneLeadsToTheNextRowWithAWarning)
{
    const BOOKMARK bookmark = MarkAt(2);
    m_mailbox.Delete(m_ids[2]);
    LONG moved = 99;
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, &moved), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(moved, 0);
    EXPECT_EQ(Read(m_table, 1), "d");
}

TEST_F(ChangingTable, T11_FindRowFromABookmarkWhoseRowIsGoneWarnsToo)
{
    const BOOKMARK bookmark = MarkAt(2);
    m_mailbox.Delete(m_ids[2]);
    Tree tree;
    SRestriction *any = tree.Exist(kLabel);
    EXPECT_EQ(m_table->FindRow(any, bookmark, 0), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(Read(m_table, 1), "d");
    EXPECT_EQ(m_table->FindRow(any, bookmark, DIR_BACKWARD), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(Read(m_table, 1), "b");
}

TEST_F(ChangingTable, T11_ABookmarkWhoseRowStaysFollowsItThroughOtherChanges)
{
    const BOOKMARK bookmark = MarkAt(2);
    m_mailbox.Delete(m_ids[0]);
    m_mailbox.Add(Row("aa"));
    m_mailbox.Add(Row("bb"));
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(Read(m_table, 1), "c");
    EXPECT_EQ(m_table->SeekRow(bookmark, -1, nullptr), S_OK);
    EXPECT_EQ(Read(m_table, 1), "bb");
}

TEST_F(ChangingTable, T11_ABookmarkOnTheLastRowLeadsToTheEndWhenItIsGone)
{
    const BOOKMARK bookmark = MarkAt(4);
    m_mailbox.Delete(m_ids[4]);
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, nullptr), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(Read(m_table, 1), "");
    EXPECT_EQ(m_table->SeekRow(bookmark, -1, nullptr), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(Read(m_table, 1), "d");
}

// A bookmark behind the last row stands where that row was, also when the row is later in the order by then and is the
// last one again.
TEST_F(ChangingTable, T11_ABookmarkBehindALastRowThatMovedLeadsToWhatIsBehindItsFormerPlace)
{
    const BOOKMARK bookmark = MarkAt(5);
    const auto message = m_mailbox.Open(m_ids[4]);
    ASSERT_EQ(SetProps(message.get(), {Narrow(kLabel, "z")}), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    m_mailbox.Add(Row("f"));
    EXPECT_EQ(Read(m_table, 10), "a b c d f z");
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(Read(m_table, 10), "f z");
}

// Attachment tables keep no bookmarks.
TEST(AttachmentTableTest, T14_AttachmentTablesHaveNoBookmarks)
{
    LiveCountsAreZeroAtTheEnd counts;
    Mailbox mailbox;
    auto message = mailbox.NewMessage();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(message->GetAttachmentTable(0, table.put()), S_OK);
    BOOKMARK bookmark = 0;
    EXPECT_EQ(table->CreateBookmark(&bookmark), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(table->FreeBookmark(BOOKMARK_BEGINNING), MAPI_E_NO_SUPPORT);
}

} // namespace

} // namespace localmapi::test
