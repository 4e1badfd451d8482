// Proves where the cursor of a table stands and what a read returns: QueryRows, SeekRow, SeekRowApprox, QueryPosition
// and GetRowCount, over rows in memory and over a folder alike.
#include "TableFixture.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Objects.h"

#include <limits>

namespace localmapi::test
{

namespace
{

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

TEST_F(ChangingTable, T22_TheCursorIsNeverAnInvalidBookmarkWhateverBecomesOfItsRow)
{
    EXPECT_EQ(Read(m_table, 2), "a b");
    for (const EntryIdBytes &id : m_ids)
        m_mailbox.Delete(id);
    Tree tree;
    EXPECT_EQ(m_table->FindRow(tree.Exist(kLabel), BOOKMARK_CURRENT, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_table->FindRow(tree.Exist(kLabel), BOOKMARK_CURRENT, DIR_BACKWARD), MAPI_E_NOT_FOUND);
    m_mailbox.Add(Row("bb"));
    EXPECT_EQ(m_table->FindRow(tree.Exist(kLabel), BOOKMARK_CURRENT, 0), S_OK);
    EXPECT_EQ(Read(m_table, 1), "bb");
}

TEST_F(ChangingTable, T02_ARowAddedAtTheEndIsReadByAReaderThatWaitsThere)
{
    EXPECT_EQ(Read(m_table, 5), "a b c d e");
    EXPECT_EQ(Read(m_table, 5), "");
    m_mailbox.Add(Row("f"));
    EXPECT_EQ(Read(m_table, 5), "f");
}

// The other process is another opening of the file.
TEST_F(ChangingTable, T02_WhatAnotherProcessDoesAtTheEndIsSeenByAReaderThatWaitsThere)
{
    storage::Site other = storage::Site::Open(m_mailbox.GetSite().Path());
    storage::Objects objects(other);
    const storage::ObjectId inbox = storage::Directory(other).GetMailbox(m_mailbox.Alice().mailbox).inbox;
    EXPECT_EQ(Read(m_table, 10), "a b c d e");
    EXPECT_EQ(Read(m_table, 10), "");
    storage::MessageChanges message;
    message.properties.set.Set(storage::MakeTag(PROP_ID(kLabel), storage::Type::Text), std::string("f"));
    const storage::ObjectId added = objects.CreateMessage(inbox, message);
    EXPECT_EQ(Read(m_table, 10), "f");
    EXPECT_EQ(Read(m_table, 10), "");
    objects.RemoveMessages({added});
    EXPECT_EQ(Read(m_table, 10), "");
    objects.CreateMessage(inbox, message);
    EXPECT_EQ(Read(m_table, 10), "f");
}

TEST_F(ChangingTable, T02_RowsThatGoAndComeBehindAFullReadAreSeen)
{
    EXPECT_EQ(Read(m_table, 10), "a b c d e");
    m_mailbox.Delete(m_ids[4]);
    EXPECT_EQ(Read(m_table, 10), "");
    m_mailbox.Add(Row("dd"));
    EXPECT_EQ(Read(m_table, 10), "") << "it is in front of the cursor";
    m_mailbox.Add(Row("f"));
    EXPECT_EQ(Read(m_table, 10), "f");
    EXPECT_EQ(All(m_table), "a b c d dd f");
}

TEST_F(ChangingTable, T26_TheRowCountFollowsTheFolder)
{
    ULONG count = 0;
    m_mailbox.Delete(m_ids[1]);
    EXPECT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 4u);
}

} // namespace

} // namespace localmapi::test
