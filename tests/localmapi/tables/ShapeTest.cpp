// Proves order and filter of a table, how each is set and asked for, what a failing call leaves, and finding rows; over
// rows in memory and over a folder alike.
#include "TableFixture.h"
#include "localmapi/provider/table/QueryRows.h"
#include "localmapi/provider/table/Restriction.h"

#include <algorithm>
#include <limits>

namespace localmapi::test
{

namespace
{

class ShapeTest : public AnyTable
{
};
INSTANTIATE_TEST_SUITE_P(Homes, ShapeTest, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(ShapeTest, T15_SortTableReplacesTheOrderAndGoesToTheBeginning)
{
    auto table = Letters("cabed");
    EXPECT_EQ(Read(table, 2), "c a");
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 5), "a b c d e");
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 5), "e d c b a");
    ASSERT_EQ(table->SortTable(Sort{}, 0), S_OK);
    EXPECT_EQ(Read(table, 5), "c a b e d");
}

TEST_P(ShapeTest, T15_SortTableInvalidatesEveryBookmark)
{
    auto table = Letters();
    BOOKMARK first = 0;
    BOOKMARK second = 0;
    ASSERT_EQ(table->CreateBookmark(&first), S_OK);
    ASSERT_EQ(table->CreateBookmark(&second), S_OK);
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(table->SeekRow(first, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->SeekRow(second, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->FreeBookmark(first), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(ShapeTest, T15_ALaterKeyDecidesBetweenRowsThatAreEqualInTheEarlierOnes)
{
    auto table = TableOf({Row("a", {Long(kNumber, 2)}), Row("b", {Long(kNumber, 1)}), Row("c", {Long(kNumber, 2)}),
                          Row("d", {Long(kNumber, 1)})});
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_ASCEND}, {kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "d b c a");
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_DESCEND}, {kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "a c b d");
    EXPECT_EQ(Read(table, -2), "b d");
}

TEST_P(ShapeTest, T15_RowsWithoutTheKeyComeFirst)
{
    auto table = TableOf({Row("a", {Long(kNumber, 5)}), Row("b"), Row("c", {Long(kNumber, -5)}), Row("d")});
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_ASCEND}, {kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "b d c a");
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_DESCEND}, {kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "a c b d");
}

TEST_P(ShapeTest, T15_PagesInBothDirectionsAgreeInASortedTableWithEqualKeys)
{
    std::vector<Props> rows;
    for (const char *label : {"a", "b", "c", "d", "e", "f", "g"})
        rows.push_back(Row(label, {Long(kNumber, label[0] < 'd' ? 1 : 2)}));
    auto table = TableOf(rows);
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_DESCEND}}, 0), S_OK);
    const std::string whole = All(table);
    std::string forward;
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    for (std::string page = Read(table, 2); !page.empty(); page = Read(table, 2))
        forward += (forward.empty() ? "" : " ") + page;
    EXPECT_EQ(forward, whole);
    std::string backward;
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    for (;;) {
        const std::string page = Read(table, -2, TBL_NOADVANCE);
        if (page.empty())
            break;
        backward = page + (backward.empty() ? "" : " ") + backward;
    }
    EXPECT_EQ(backward, whole);
}

TEST_P(ShapeTest, T15_TheSortOrderCanBeAskedFor)
{
    auto table = Letters();
    Block<SSortOrderSet> order;
    ASSERT_EQ(table->QuerySortOrder(order.put()), S_OK);
    EXPECT_EQ(order->cSorts, 0u);
    ASSERT_EQ(table->SortTable(Sort{{kNumber, TABLE_SORT_DESCEND}, {kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    ASSERT_EQ(table->QuerySortOrder(order.put()), S_OK);
    ASSERT_EQ(order->cSorts, 2u);
    EXPECT_EQ(order->cCategories, 0u);
    EXPECT_EQ(order->cExpanded, 0u);
    EXPECT_EQ(order->aSort[0].ulPropTag, kNumber);
    EXPECT_EQ(order->aSort[0].ulOrder, TABLE_SORT_DESCEND);
    EXPECT_EQ(order->aSort[1].ulPropTag, kLabel);
    EXPECT_EQ(table->QuerySortOrder(nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_P(ShapeTest, T16_AFailedSortTableLeavesOrderCursorAndBookmarks)
{
    auto table = Letters("cabed");
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 2, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_EQ(table->SortTable(Sort({{kLabel, TABLE_SORT_ASCEND}}, 1, 1), 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(Position(table), 2u);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(All(table), "e d c b a");
}

TEST_P(ShapeTest, T17_AMultiValuedKeySortsAsAnOrderedTuple)
{
    std::vector<LONG> oneTwo{1, 2};
    std::vector<LONG> oneTwoThree{1, 2, 3};
    std::vector<LONG> oneThree{1, 3};
    std::vector<LONG> minus{-1, 9};
    auto table = TableOf({Row("a", {Longs(kNumbers, oneThree)}), Row("b", {Longs(kNumbers, oneTwoThree)}),
                          Row("c", {Longs(kNumbers, oneTwo)}), Row("d", {Longs(kNumbers, minus)})});
    ASSERT_EQ(table->SortTable(Sort{{kNumbers, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "d c b a");
}

TEST_P(ShapeTest, T18_SortOrdersThatCanNotBeHadAreTooComplex)
{
    auto table = Letters();
    EXPECT_EQ(table->SortTable(nullptr, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}}, 0x100), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}, {kLabel, TABLE_SORT_DESCEND}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{PR_MESSAGE_ATTACHMENTS, TABLE_SORT_ASCEND}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{Tag(0x6A00, PT_UNSPECIFIED), TABLE_SORT_ASCEND}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{Tag(0x6A00, PT_ERROR), TABLE_SORT_ASCEND}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{MVI_PROP(kNumbers), TABLE_SORT_ASCEND}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_COMBINE}}, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->SortTable(Sort{{kLabel, 77}}, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SortTable(Sort({{kLabel, TABLE_SORT_ASCEND}}, 2, 0), 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SortTable(Sort({{kLabel, TABLE_SORT_ASCEND}}, 1, 0), 0), MAPI_E_TOO_COMPLEX);
    SSortOrderSet huge{};
    huge.cSorts = 0x10000000;
    EXPECT_EQ(table->SortTable(&huge, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(All(table), "a b c d e");
}

TEST_P(ShapeTest, T18_SortKeysBeyondTheLimitAreTooComplex)
{
    auto table = Letters();
    for (const ULONG keys : {kSortKeyLimit - 1, kSortKeyLimit, kSortKeyLimit + 1}) {
        std::vector<ULONG> words = {keys, 0, 0, kLabel, TABLE_SORT_DESCEND};
        for (ULONG key = 1; key < keys; ++key)
            words.insert(words.end(), {Tag(0x6B00 + key, PT_LONG), TABLE_SORT_ASCEND});
        EXPECT_EQ(table->SortTable(reinterpret_cast<LPSSortOrderSet>(words.data()), 0),
                  keys > kSortKeyLimit ? MAPI_E_TOO_COMPLEX : S_OK)
            << keys;
        EXPECT_EQ(All(table), "e d c b a");
    }
}

TEST_P(ShapeTest, T19_RestrictReplacesTheFilterAndNullRemovesIt)
{
    auto table = Letters();
    Tree tree;
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_LT, Long(kNumber, 2)), 0), S_OK);
    EXPECT_EQ(Read(table, 9), "a b");
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_GT, Long(kNumber, 2)), 0), S_OK);
    EXPECT_EQ(Read(table, 9), "d e");
    ASSERT_EQ(table->Restrict(nullptr, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "a b c d e");
}

TEST_P(ShapeTest, T19_RestrictDiscardsBookmarksAndGoesToTheBeginning)
{
    auto table = Letters();
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 3, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(table->Restrict(nullptr, 0), S_OK);
    EXPECT_EQ(Position(table), 0u);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
}

TEST_P(ShapeTest, T19_AFailedRestrictLeavesFilterCursorAndBookmarks)
{
    auto table = Letters();
    Tree tree;
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_GT, Long(kNumber, 1)), 0), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 1, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_EQ(table->Restrict(tree.Property(RELOP_EQ, kNumber, Narrow(kText, "x")), 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(table->Restrict(tree.Exist(kNumber), 0x80), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(Position(table), 1u);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_EQ(All(table), "c d e");
}

TEST_P(ShapeTest, T19_TheCallersRestrictionIsNotNeededAfterwards)
{
    auto table = Letters();
    {
        Tree tree;
        std::string text = "c";
        ASSERT_EQ(table->Restrict(tree.Property(RELOP_EQ, Narrow(kLabel, text.c_str())), 0), S_OK);
        text = "overwritten";
    }
    EXPECT_EQ(Read(table, 9), "c");
}

TEST_P(ShapeTest, T20_APropertyOutsideTheColumnSetCanBeRestrictedFoundAndSortedBy)
{
    auto table = TableOf({Row("a", {Narrow(kText, "two")}), Row("b", {Narrow(kText, "one")})});
    Tree tree;
    ASSERT_EQ(table->SetColumns(Tags{kLabel}, 0), S_OK);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Narrow(kText, "one")), BOOKMARK_BEGINNING, 0), S_OK);
    EXPECT_EQ(Read(table, 1), "b");
    ASSERT_EQ(table->SortTable(Sort{{kText, TABLE_SORT_ASCEND}}, 0), S_OK);
    EXPECT_EQ(Read(table, 9), "b a");
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_EQ, Narrow(kText, "two")), 0), S_OK);
    EXPECT_EQ(Read(table, 9), "a");
}

TEST_P(ShapeTest, T21_FindRowForwardStartsAtTheBookmarkRow)
{
    auto table = TableOf({Row("a", {Long(kNumber, 1)}), Row("b", {Long(kNumber, 2)}), Row("c", {Long(kNumber, 1)}),
                          Row("d", {Long(kNumber, 2)}), Row("e", {Long(kNumber, 1)})});
    Tree tree;
    SRestriction *two = tree.Property(RELOP_EQ, Long(kNumber, 2));
    EXPECT_EQ(table->FindRow(two, BOOKMARK_BEGINNING, 0), S_OK);
    EXPECT_EQ(Position(table), 1u);
    EXPECT_EQ(table->FindRow(two, BOOKMARK_CURRENT, 0), S_OK) << "the row at the cursor counts";
    EXPECT_EQ(Read(table, 1), "b");
    EXPECT_EQ(table->FindRow(two, BOOKMARK_CURRENT, 0), S_OK);
    EXPECT_EQ(Read(table, 1), "d");
}

TEST_P(ShapeTest, T21_FindRowBackwardStartsAtTheRowBeforeTheBookmark)
{
    auto table = TableOf({Row("a", {Long(kNumber, 1)}), Row("b", {Long(kNumber, 2)}), Row("c", {Long(kNumber, 1)}),
                          Row("d", {Long(kNumber, 2)}), Row("e", {Long(kNumber, 2)})});
    Tree tree;
    SRestriction *two = tree.Property(RELOP_EQ, Long(kNumber, 2));
    EXPECT_EQ(table->FindRow(two, BOOKMARK_END, DIR_BACKWARD), S_OK);
    EXPECT_EQ(Read(table, 1, TBL_NOADVANCE), "e");
    EXPECT_EQ(table->FindRow(two, BOOKMARK_CURRENT, DIR_BACKWARD), S_OK);
    EXPECT_EQ(Read(table, 1, TBL_NOADVANCE), "d");
    EXPECT_EQ(table->FindRow(two, BOOKMARK_CURRENT, DIR_BACKWARD), S_OK);
    EXPECT_EQ(Read(table, 1, TBL_NOADVANCE), "b");
    EXPECT_EQ(table->FindRow(two, BOOKMARK_CURRENT, DIR_BACKWARD), MAPI_E_NOT_FOUND);
    EXPECT_EQ(table->FindRow(two, BOOKMARK_BEGINNING, DIR_BACKWARD), MAPI_E_NOT_FOUND);
}

TEST_P(ShapeTest, T21_FindRowSearchesOnlyTheRowsThatTheFilterShows)
{
    auto table = Letters();
    Tree tree;
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_GE, Long(kNumber, 2)), 0), S_OK);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Long(kNumber, 1)), BOOKMARK_BEGINNING, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Long(kNumber, 3)), BOOKMARK_BEGINNING, 0), S_OK);
    EXPECT_EQ(Position(table), 1u);
}

TEST_P(ShapeTest, T22_NoMatchIsNotFoundAndTheCursorStays)
{
    auto table = Letters();
    Tree tree;
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 2, nullptr), S_OK);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Long(kNumber, 77)), BOOKMARK_BEGINNING, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(Position(table), 2u);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Long(kNumber, 0)), BOOKMARK_CURRENT, 0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, Long(kNumber, 0)), 4711, 0), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->FindRow(nullptr, BOOKMARK_CURRENT, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->FindRow(tree.Exist(kLabel), BOOKMARK_CURRENT, 0x20), MAPI_E_UNKNOWN_FLAGS);
}

TEST_P(ShapeTest, T23_EveryRowIsFoundByItsInstanceKey)
{
    auto table = Letters();
    ASSERT_EQ(table->SetColumns(Tags{kLabel, PR_INSTANCE_KEY}, 0), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(10, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.size(), 5u);
    for (ULONG row = 0; row < 5; ++row) {
        ASSERT_EQ(rows[row].lpProps[1].ulPropTag, PR_INSTANCE_KEY);
        Tree tree;
        EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, rows[row].lpProps[1]), BOOKMARK_BEGINNING, 0), S_OK);
        EXPECT_EQ(Position(table), row);
        EXPECT_EQ(Read(table, 1), rows[row].lpProps[0].Value.lpszA);
    }
}

TEST_P(ShapeTest, T27_ATableIsAsNewAfterColumnsFilterAndOrderAreTakenBack)
{
    auto table = Letters("cab");
    Tree tree;
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_EQ, Narrow(kLabel, "a")), 0), S_OK);
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    ASSERT_EQ(table->Restrict(nullptr, TBL_BATCH), S_OK);
    ASSERT_EQ(table->SortTable(Sort{}, TBL_BATCH), S_OK);
    EXPECT_EQ(Position(table), 0u);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(Read(table, 9), "c a b");
}

TEST_P(ShapeTest, T28_AbortLeavesOrderAndFilterAsTheyAre)
{
    auto table = Letters("cab");
    Tree tree;
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, TBL_ASYNC), S_OK);
    EXPECT_EQ(table->Abort(), S_OK);
    ASSERT_EQ(table->Restrict(tree.Property(RELOP_NE, Narrow(kLabel, "b")), TBL_ASYNC), S_OK);
    EXPECT_EQ(table->Abort(), S_OK);
    EXPECT_EQ(Read(table, 9), "c a");
}

TEST_P(ShapeTest, T28_NothingIsEverPending)
{
    auto table = Letters();
    ASSERT_EQ(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, TBL_ASYNC), S_OK);
    ULONG status = 99;
    EXPECT_EQ(table->WaitForCompletion(0, 0, &status), S_OK);
    EXPECT_EQ(status, TBLSTAT_COMPLETE);
    EXPECT_EQ(table->WaitForCompletion(0, 1000, nullptr), S_OK);
    EXPECT_EQ(table->WaitForCompletion(1, 0, &status), MAPI_E_UNKNOWN_FLAGS);
    ULONG type = 99;
    EXPECT_EQ(table->GetStatus(&status, &type), S_OK);
    EXPECT_EQ(status, TBLSTAT_COMPLETE);
    EXPECT_EQ(type, GetParam() == Home::Memory ? TBLTYPE_SNAPSHOT : TBLTYPE_DYNAMIC);
    EXPECT_EQ(table->GetStatus(nullptr, &type), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->GetStatus(&status, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_P(ShapeTest, T29_HrQueryAllRowsReadsAllOrSaysThatItIsTooMuch)
{
    auto table = Letters("cabed");
    Tree tree;
    Rows rows;
    ASSERT_EQ(QueryAllRows(table.get(), Tags{kLabel, kAbsent}, tree.Property(RELOP_NE, Narrow(kLabel, "b")),
                           Sort{{kLabel, TABLE_SORT_DESCEND}}, 0, rows.put()),
              S_OK);
    EXPECT_EQ(Labels(rows.get()), "e d c a");
    EXPECT_EQ(rows[0].lpProps[1].ulPropTag, CHANGE_PROP_TYPE(kAbsent, PT_ERROR));
    EXPECT_EQ(QueryAllRows(table.get(), nullptr, nullptr, nullptr, 4, rows.put()), S_OK);
    EXPECT_EQ(rows.size(), 4u);
    EXPECT_EQ(QueryAllRows(table.get(), nullptr, nullptr, nullptr, 3, rows.put()), MAPI_E_TABLE_TOO_BIG);
    EXPECT_EQ(rows.get(), nullptr);
}

TEST_P(ShapeTest, CategoriesSayThatTheyAreNotSupported)
{
    auto table = Letters();
    ULONG number = 0;
    ULONG size = 0;
    BYTE *state = nullptr;
    BYTE key[4] = {};
    BOOKMARK bookmark = 0;
    Rows rows;
    EXPECT_EQ(table->ExpandRow(4, key, 1, 0, rows.put(), &number), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(table->CollapseRow(4, key, 0, &number), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(table->GetCollapseState(0, 4, key, &size, &state), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(table->SetCollapseState(0, 4, key, &bookmark), MAPI_E_NO_SUPPORT);
    Block<MAPIERROR> error;
    ASSERT_EQ(table->GetLastError(MAPI_E_NO_SUPPORT, 0, error.put()), S_OK);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string(reinterpret_cast<const char *>(error->lpszError)).find("IMAPITable::SetCollapseState"),
              std::string::npos);
}

} // namespace

} // namespace localmapi::test
