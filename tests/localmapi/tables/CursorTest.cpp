// Proves where the cursor of a table stands and what a read returns: QueryRows, SeekRow, SeekRowApprox,
// QueryPosition, GetRowCount and bookmarks, over rows in memory and over a folder alike.
#include "TableFixture.h"

#include <limits>
#include <set>

namespace localmapi::test
{

namespace
{

constexpr LONG kLongMin = std::numeric_limits<LONG>::min();
constexpr LONG kLongMax = std::numeric_limits<LONG>::max();

class CursorTest : public AnyTable
{
};
INSTANTIATE_TEST_SUITE_P(Homes, CursorTest, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(CursorTest, T01_ZeroRowsIsAnInvalidParameter)
{
    auto table = Letters();
    Rows rows;
    EXPECT_EQ(table->QueryRows(0, 0, rows.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(rows.get(), nullptr);
    EXPECT_EQ(table->QueryRows(0, TBL_NOADVANCE, rows.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->QueryRows(1, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(Position(table), 0u);
}

TEST_P(CursorTest, T02_PositiveCountReadsForwardAndTheCursorFollows)
{
    auto table = Letters();
    EXPECT_EQ(Read(table, 2), "a b");
    EXPECT_EQ(Position(table), 2u);
    EXPECT_EQ(Read(table, 2), "c d");
    EXPECT_EQ(Position(table), 4u);
}

TEST_P(CursorTest, T02_NoAdvanceLeavesTheCursor)
{
    auto table = Letters();
    EXPECT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 1, nullptr), S_OK);
    EXPECT_EQ(Read(table, 2, TBL_NOADVANCE), "b c");
    EXPECT_EQ(Position(table), 1u);
    EXPECT_EQ(Read(table, 2), "b c");
}

TEST_P(CursorTest, T02_UnknownFlagsAreRefused)
{
    auto table = Letters();
    Rows rows;
    EXPECT_EQ(table->QueryRows(1, 0x40, rows.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(rows.get(), nullptr);
}

TEST_P(CursorTest, T03_NegativeCountMovesBackThenReturnsForward)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 4, nullptr), S_OK);
    EXPECT_EQ(Read(table, -2), "c d");
}

TEST_P(CursorTest, T03_ABackwardPageLeavesTheCursorWhereItBegan)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 4, nullptr), S_OK);
    EXPECT_EQ(Read(table, -3), "b c d");
    EXPECT_EQ(Position(table), 4u);
    EXPECT_EQ(Read(table, -100), "a b c d");
    EXPECT_EQ(Position(table), 4u);
}

TEST_P(CursorTest, T03_NoAdvanceLeavesABackwardReadOnTheFirstRowReturned)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    EXPECT_EQ(Read(table, -2, TBL_NOADVANCE), "d e");
    EXPECT_EQ(Position(table), 3u);
    EXPECT_EQ(Read(table, 1), "d");
}

TEST_P(CursorTest, T03_TheMostNegativeCountReadsFromTheBeginning)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 3, nullptr), S_OK);
    EXPECT_EQ(Read(table, kLongMin), "a b c");
    EXPECT_EQ(Position(table), 3u);
}

TEST_P(CursorTest, T04_NoRowsAtTheEndIsSuccessWithAnEmptySet)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(10, 0, rows.put()), S_OK);
    ASSERT_NE(rows.get(), nullptr);
    EXPECT_EQ(rows.size(), 0u);
}

TEST_P(CursorTest, T04_NoRowsBeforeTheBeginningIsSuccessWithAnEmptySet)
{
    auto table = Letters();
    Rows rows;
    ASSERT_EQ(table->QueryRows(-10, 0, rows.put()), S_OK);
    ASSERT_NE(rows.get(), nullptr);
    EXPECT_EQ(rows.size(), 0u);
}

TEST_P(CursorTest, T04_AnEmptyTableGivesNoRowsEitherWay)
{
    auto table = TableOf({});
    EXPECT_EQ(Read(table, 10), "");
    EXPECT_EQ(Read(table, -10), "");
    EXPECT_EQ(Position(table), 0u);
}

TEST_P(CursorTest, T05_TheCountIsARequestThatAShortTableAnswersWithLess)
{
    auto table = Letters("abc");
    EXPECT_EQ(Read(table, 2), "a b");
    EXPECT_EQ(Read(table, 2), "c");
    EXPECT_EQ(Read(table, 2), "");
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    EXPECT_EQ(Read(table, kLongMax), "a b c");
}

TEST_P(CursorTest, T06_EveryRowHasTheColumnsInOrderAndAnErrorWhereAPropertyIsAbsent)
{
    auto table = TableOf({Row("a", {Long(kNumber, 7)}), Row("b")});
    ASSERT_EQ(table->SetColumns(Tags{kNumber, kLabel, kAbsentText}, 0), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(2, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.size(), 2u);
    for (ULONG row = 0; row < 2; ++row) {
        ASSERT_EQ(rows[row].cValues, 3u);
        EXPECT_EQ(rows[row].lpProps[1].ulPropTag, kLabel);
        EXPECT_EQ(rows[row].lpProps[2].ulPropTag, CHANGE_PROP_TYPE(kAbsentText, PT_ERROR));
        EXPECT_EQ(rows[row].lpProps[2].Value.err, MAPI_E_NOT_FOUND);
    }
    EXPECT_EQ(rows[0].lpProps[0].ulPropTag, kNumber);
    EXPECT_EQ(rows[0].lpProps[0].Value.l, 7);
    EXPECT_EQ(rows[1].lpProps[0].ulPropTag, CHANGE_PROP_TYPE(kNumber, PT_ERROR));
    EXPECT_EQ(rows[1].lpProps[0].Value.err, MAPI_E_NOT_FOUND);
}

TEST_P(CursorTest, T07_EachRowIsABlockOfItsOwn)
{
    auto table = Letters("abc");
    SRowSet *rows = nullptr;
    ASSERT_EQ(table->QueryRows(3, 0, &rows), S_OK);
    std::set<SPropValue *> blocks;
    for (ULONG row = 0; row < rows->cRows; ++row) {
        blocks.insert(rows->aRow[row].lpProps);
        EXPECT_EQ(MAPIFreeBuffer(rows->aRow[row].lpProps), 0u);
    }
    EXPECT_EQ(blocks.size(), 3u);
    EXPECT_EQ(MAPIFreeBuffer(rows), 0u);
}

struct Seek {
    BOOKMARK origin;
    LONG start;
    LONG count;
    LONG moved;
    ULONG position;
};

TEST_P(CursorTest, T10_SeekRowStopsAtEitherEndAndSaysHowFarItMoved)
{
    auto table = Letters();
    const Seek seeks[] = {
        {BOOKMARK_BEGINNING, 0, 0, 0, 0},
        {BOOKMARK_BEGINNING, 2, 3, 3, 3},
        {BOOKMARK_BEGINNING, 2, 5, 5, 5},
        {BOOKMARK_BEGINNING, 2, 6, 5, 5},
        {BOOKMARK_BEGINNING, 2, -1, 0, 0},
        {BOOKMARK_BEGINNING, 1, kLongMax, 5, 5},
        {BOOKMARK_BEGINNING, 1, kLongMin, 0, 0},
        {BOOKMARK_CURRENT, 2, 0, 0, 2},
        {BOOKMARK_CURRENT, 2, 2, 2, 4},
        {BOOKMARK_CURRENT, 2, -2, -2, 0},
        {BOOKMARK_CURRENT, 2, -3, -2, 0},
        {BOOKMARK_CURRENT, 2, 100, 3, 5},
        {BOOKMARK_CURRENT, 2, kLongMin, -2, 0},
        {BOOKMARK_CURRENT, 2, kLongMax, 3, 5},
        {BOOKMARK_END, 1, 0, 0, 5},
        {BOOKMARK_END, 1, -1, -1, 4},
        {BOOKMARK_END, 1, -5, -5, 0},
        {BOOKMARK_END, 1, -6, -5, 0},
        {BOOKMARK_END, 1, 1, 0, 5},
        {BOOKMARK_END, 1, kLongMin, -5, 0},
    };
    for (const Seek &seek : seeks) {
        SCOPED_TRACE(testing::Message() << "origin " << seek.origin << ", from " << seek.start << " by " << seek.count);
        ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, seek.start, nullptr), S_OK);
        LONG moved = 99;
        EXPECT_EQ(table->SeekRow(seek.origin, seek.count, &moved), S_OK);
        EXPECT_EQ(moved, seek.moved);
        EXPECT_EQ(Position(table), seek.position);
    }
}

TEST_P(CursorTest, T10_SeekRowOnAnEmptyTableMovesNothing)
{
    auto table = TableOf({});
    for (BOOKMARK origin : {BOOKMARK_BEGINNING, BOOKMARK_CURRENT, BOOKMARK_END})
        for (LONG count : {kLongMin, LONG{-1}, LONG{0}, LONG{1}, kLongMax}) {
            LONG moved = 99;
            EXPECT_EQ(table->SeekRow(origin, count, &moved), S_OK);
            EXPECT_EQ(moved, 0);
        }
}

TEST_P(CursorTest, T11_AnUnknownBookmarkIsInvalid)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 2, nullptr), S_OK);
    LONG moved = 0;
    EXPECT_EQ(table->SeekRow(3, 1, &moved), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->SeekRow(0xFFFFFFFF, 1, &moved), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(Position(table), 2u);
}

TEST_P(CursorTest, T11_AFreedBookmarkIsInvalid)
{
    auto table = Letters();
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_GT(bookmark, BOOKMARK_END);
    ASSERT_EQ(table->FreeBookmark(bookmark), S_OK);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->FreeBookmark(bookmark), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(CursorTest, T11_ABookmarkBringsTheCursorBack)
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

TEST_P(CursorTest, T12_TheThreePredefinedBookmarksAreFirstNextAndAfterLast)
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

TEST_P(CursorTest, T12_ABookmarkAtTheEndStaysAfterTheLastRow)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(Position(table), 5u);
}

TEST_P(CursorTest, T13_FreeingAPredefinedBookmarkChangesNothing)
{
    auto table = Letters();
    for (BOOKMARK predefined : {BOOKMARK_BEGINNING, BOOKMARK_CURRENT, BOOKMARK_END}) {
        EXPECT_EQ(table->FreeBookmark(predefined), S_OK);
        EXPECT_EQ(table->SeekRow(predefined, 0, nullptr), S_OK);
    }
    EXPECT_EQ(table->FreeBookmark(4711), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(CursorTest, T13_ReleasingTheTableFreesItsBookmarks)
{
    auto table = Letters();
    for (int i = 0; i < 10; ++i) {
        BOOKMARK bookmark = 0;
        ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    }
    // The fixture counts what is left.
}

TEST_P(CursorTest, T14_BookmarksRunOutAtALimitAndAreToBeHadAgainAfterOneIsFreed)
{
    auto table = Letters();
    EXPECT_EQ(table->CreateBookmark(nullptr), MAPI_E_INVALID_PARAMETER);
    std::set<BOOKMARK> bookmarks;
    BOOKMARK bookmark = 0;
    HRESULT hr = S_OK;
    for (int i = 0; i < 100000 && hr == S_OK; ++i) {
        hr = table->CreateBookmark(&bookmark);
        if (hr == S_OK) {
            EXPECT_TRUE(bookmarks.insert(bookmark).second);
        }
    }
    EXPECT_EQ(hr, MAPI_E_UNABLE_TO_COMPLETE);
    EXPECT_GE(bookmarks.size(), 100u);
    ASSERT_EQ(table->FreeBookmark(*bookmarks.begin()), S_OK);
    EXPECT_EQ(table->CreateBookmark(&bookmark), S_OK);
}

TEST_P(CursorTest, T24_QueryPositionIsTheNextRowToBeRead)
{
    auto table = Letters();
    ULONG row = 9;
    ULONG numerator = 9;
    ULONG denominator = 9;
    ASSERT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
    EXPECT_EQ(row, 0u);
    EXPECT_EQ(numerator, 0u);
    EXPECT_EQ(denominator, 5u);
    EXPECT_EQ(Read(table, 3), "a b c");
    ASSERT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
    EXPECT_EQ(row, 3u);
    EXPECT_EQ(numerator, 3u);
    EXPECT_EQ(denominator, 5u);
    EXPECT_EQ(table->QueryPosition(nullptr, &numerator, &denominator), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->QueryPosition(&row, nullptr, &denominator), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->QueryPosition(&row, &numerator, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_P(CursorTest, T24_TheFractionOfAnEmptyTableCanBeUsed)
{
    auto table = TableOf({});
    ULONG row = 9;
    ULONG numerator = 9;
    ULONG denominator = 0;
    ASSERT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
    EXPECT_EQ(row, 0u);
    EXPECT_EQ(numerator, 0u);
    EXPECT_GT(denominator, 0u);
    EXPECT_EQ(table->SeekRowApprox(numerator, denominator), S_OK);
}

TEST_P(CursorTest, T25_SeekRowApproxGoesToTheFraction)
{
    auto table = Letters("abcdefghij");
    const struct {
        ULONG numerator;
        ULONG denominator;
        ULONG position;
    } fractions[] = {{0, 1, 0},
                     {0, 0xFFFFFFFF, 0},
                     {1, 2, 5},
                     {3, 10, 3},
                     {1, 1, 10},
                     {7, 3, 10},
                     {0xFFFFFFFF, 1, 10},
                     {9, 10, 9},
                     {0x7FFFFFFF, 0xFFFFFFFF, 4},
                     {0xFFFFFFFE, 0xFFFFFFFF, 9}};
    for (const auto &fraction : fractions) {
        EXPECT_EQ(table->SeekRowApprox(fraction.numerator, fraction.denominator), S_OK);
        EXPECT_EQ(Position(table), fraction.position) << fraction.numerator << "/" << fraction.denominator;
    }
    EXPECT_EQ(table->SeekRowApprox(1, 0), MAPI_E_INVALID_PARAMETER);
}

TEST_P(CursorTest, T26_TheRowCountIsExactAndFollowsTheRestriction)
{
    auto table = Letters();
    ULONG count = 0;
    EXPECT_EQ(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 5u);
    Tree tree;
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_GE, Long(kNumber, 3)), 0), S_OK);
    EXPECT_EQ(table->GetRowCount(TBL_NOWAIT, &count), S_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(table->GetRowCount(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->GetRowCount(0x10, &count), MAPI_E_UNKNOWN_FLAGS);
}

// What happens to cursor and bookmarks when the folder changes under the table.
class ChangingTable : public testing::Test
{
  protected:
    ChangingTable()
    {
        for (const char *label : {"a", "b", "c", "d", "e"})
            m_ids.push_back(m_mailbox.Add(Row(label)));
        m_table = m_mailbox.Contents();
        EXPECT_EQ(m_table->SetColumns(Tags{kLabel}, 0), S_OK);
        EXPECT_EQ(m_table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    }
    BOOKMARK MarkAt(LONG row)
    {
        BOOKMARK bookmark = 0;
        EXPECT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, row, nullptr), S_OK);
        EXPECT_EQ(m_table->CreateBookmark(&bookmark), S_OK);
        EXPECT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
        return bookmark;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    std::vector<EntryIdBytes> m_ids;
    Ref<IMAPITable> m_table;
};

TEST_F(ChangingTable, T11_ABookmarkWhoseRowIsGoneLeadsToTheNextRowWithAWarning)
{
    const BOOKMARK bookmark = MarkAt(2);
    m_mailbox.Delete(m_ids[2]);
    LONG moved = 99;
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, &moved), MAPI_W_POSITION_CHANGED);
    EXPECT_EQ(moved, 0);
    EXPECT_EQ(Read(m_table, 1), "d");
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

TEST_F(ChangingTable, T02_PagesNeitherRepeatNorSkipRowsWhenRowsGoBehindTheCursor)
{
    EXPECT_EQ(Read(m_table, 2), "a b");
    m_mailbox.Delete(m_ids[0]);
    m_mailbox.Delete(m_ids[1]);
    EXPECT_EQ(Read(m_table, 2), "c d");
}

TEST_F(ChangingTable, T02_TheRowAtTheCursorMayGo)
{
    EXPECT_EQ(Read(m_table, 2), "a b");
    m_mailbox.Delete(m_ids[2]);
    EXPECT_EQ(Read(m_table, 2), "d e");
}

TEST_F(ChangingTable, T02_ARowAddedAtTheEndIsReadByAReaderThatWaitsThere)
{
    EXPECT_EQ(Read(m_table, 5), "a b c d e");
    EXPECT_EQ(Read(m_table, 5), "");
    m_mailbox.Add(Row("f"));
    EXPECT_EQ(Read(m_table, 5), "f");
}

TEST_F(ChangingTable, T26_TheRowCountFollowsTheFolder)
{
    ULONG count = 0;
    m_mailbox.Delete(m_ids[1]);
    EXPECT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 4u);
}

// Attachment tables keep no bookmarks.
TEST(AttachmentTableTest, T14_AttachmentTablesHaveNoBookmarks)
{
    LiveCountsAreZeroAtTheEnd counts;
    Mailbox mailbox;
    auto message = mailbox.NewMessage();
    Ref<IMAPITable> table;
    ASSERT_EQ(message->GetAttachmentTable(0, table.put()), S_OK);
    BOOKMARK bookmark = 0;
    EXPECT_EQ(table->CreateBookmark(&bookmark), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(table->FreeBookmark(BOOKMARK_BEGINNING), MAPI_E_NO_SUPPORT);
}

} // namespace

} // namespace localmapi::test
