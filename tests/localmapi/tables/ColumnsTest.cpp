// Proves columns: how they are set and asked for, and what a row has under each of them; over rows in memory and over
// a folder alike.
#include "TableFixture.h"

#include <algorithm>
#include <limits>
#include <set>

namespace localmapi::test
{

namespace
{

class ColumnsTest : public AnyTable
{
  protected:
    static std::vector<ULONG> Columns(const ComPtr<IMAPITable> &table, ULONG flags)
    {
        Block<SPropTagArray> tags;
        EXPECT_EQ(table->QueryColumns(flags, tags.put()), S_OK);
        return {tags->aulPropTag, tags->aulPropTag + tags->cValues};
    }
};
INSTANTIATE_TEST_SUITE_P(Homes, ColumnsTest, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(ColumnsTest, T08_PrNullColumnsKeepTheirPlace)
{
    auto table = Letters("ab");
    ASSERT_EQ(table->SetColumns(Tags{PR_NULL, kLabel, PR_NULL, kNumber}, 0), S_OK);
    EXPECT_EQ(Columns(table, 0), (std::vector<ULONG>{PR_NULL, kLabel, PR_NULL, kNumber}));
    Rows rows;
    ASSERT_EQ(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows[0].cValues, 4u);
    EXPECT_EQ(rows[0].lpProps[0].ulPropTag, PR_NULL);
    EXPECT_EQ(rows[0].lpProps[1].ulPropTag, kLabel);
    EXPECT_EQ(rows[0].lpProps[2].ulPropTag, PR_NULL);
    EXPECT_EQ(rows[0].lpProps[3].ulPropTag, kNumber);
}

TEST_P(ColumnsTest, T09_ColumnsOfImpossibleTypesAreTakenAndReadAsErrors)
{
    auto table = Letters("a");
    const ULONG odd[] = {CHANGE_PROP_TYPE(kNumber, PT_ERROR), Tag(PROP_ID(kNumber), 0x77), PR_MESSAGE_ATTACHMENTS};
    ASSERT_EQ(table->SetColumns(Tags{odd[0], odd[1], odd[2], kLabel}, 0), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows[0].cValues, 4u);
    for (int column = 0; column < 3; ++column) {
        EXPECT_EQ(rows[0].lpProps[column].ulPropTag, CHANGE_PROP_TYPE(odd[column], PT_ERROR));
        EXPECT_EQ(rows[0].lpProps[column].Value.err, MAPI_E_NOT_FOUND);
    }
    EXPECT_EQ(rows[0].lpProps[3].ulPropTag, kLabel);
}

TEST_P(ColumnsTest, T09_AColumnOfAnotherTypeThanTheValueIsAnErrorAndAnUnspecifiedOneTakesTheStoredType)
{
    auto table = Letters("a");
    ASSERT_EQ(table->SetColumns(
                  Tags{CHANGE_PROP_TYPE(kNumber, PT_BINARY), CHANGE_PROP_TYPE(kNumber, PT_UNSPECIFIED), kTextW}, 0),
              S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(1, 0, rows.put()), S_OK);
    EXPECT_EQ(rows[0].lpProps[0].ulPropTag, CHANGE_PROP_TYPE(kNumber, PT_ERROR));
    EXPECT_EQ(rows[0].lpProps[1].ulPropTag, kNumber);
    EXPECT_EQ(rows[0].lpProps[2].ulPropTag, CHANGE_PROP_TYPE(kTextW, PT_ERROR));
}

TEST_P(ColumnsTest, T06_SetColumnsRefusesNothingButBadArguments)
{
    auto table = Letters("a");
    const auto before = Columns(table, 0);
    EXPECT_EQ(table->SetColumns(nullptr, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SetColumns(Tags{}, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SetColumns(Tags{kNumber}, 0x80), MAPI_E_UNKNOWN_FLAGS);
    SPropTagArray huge{};
    huge.cValues = 0x7FFFFFFF;
    EXPECT_EQ(table->SetColumns(&huge, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(table->SetColumns(Tags{MVI_PROP(kNumbers)}, 0), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(Columns(table, 0), before);
    EXPECT_EQ(table->SetColumns(Tags{kNumber, kNumber}, TBL_ASYNC), S_OK);
    EXPECT_EQ(table->SetColumns(Tags{kLabel}, TBL_BATCH), S_OK);
    EXPECT_EQ(Columns(table, 0), (std::vector<ULONG>{kLabel}));
}

TEST_P(ColumnsTest, T06_AllColumnsAreNamedWhateverTheColumnSetIs)
{
    auto table = Letters("a");
    ASSERT_EQ(table->SetColumns(Tags{kLabel}, 0), S_OK);
    const auto all = Columns(table, TBL_ALL_COLUMNS);
    EXPECT_TRUE(std::count(all.begin(), all.end(), PR_INSTANCE_KEY) == 1);
    EXPECT_TRUE(std::count(all.begin(), all.end(), kLabel) + std::count(all.begin(), all.end(), PR_SUBJECT_W) == 1);
    EXPECT_EQ(Columns(table, 0), (std::vector<ULONG>{kLabel}));
    EXPECT_EQ(table->QueryColumns(0, nullptr), MAPI_E_INVALID_PARAMETER);
    Block<SPropTagArray> tags;
    EXPECT_EQ(table->QueryColumns(2, tags.put()), MAPI_E_UNKNOWN_FLAGS);
}

TEST_P(ColumnsTest, T06_OneStoredTextIsReadNarrowAndWide)
{
    auto table = TableOf({Row("a", {Wide(kTextW, OLESTR("gr\u00FC\u00DFe"))})});
    ASSERT_EQ(table->SetColumns(Tags{kTextW, kText, CHANGE_PROP_TYPE(kText, PT_UNSPECIFIED)}, 0), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows[0].lpProps[0].ulPropTag, kTextW);
    EXPECT_EQ(WideText(rows[0].lpProps[0].Value.lpszW), OLESTR("gr\u00FC\u00DFe"));
    ASSERT_EQ(rows[0].lpProps[1].ulPropTag, kText);
    EXPECT_EQ(Utf8FromAnsi(rows[0].lpProps[1].Value.lpszA), Utf8FromWide(OLESTR("gr\u00FC\u00DFe")));
    EXPECT_EQ(rows[0].lpProps[2].ulPropTag, kTextW);
}

TEST_P(ColumnsTest, T06_EveryTypeOfValueComesBack)
{
    std::vector<LONG> numbers{3, -1, 2};
    std::string one = "eins";
    std::string two = "zwei";
    std::vector<char *> texts{one.data(), two.data()};
    const GUID guid = {0x01020304, 5, 6, {7, 8, 9, 10, 11, 12, 13, 14}};
    auto table = TableOf({Row("a", {Short(kShort, -7), Float(kFloat, 1.5f), Double(kDouble, -2.25), Bool(kBool, true),
                                    Big(kBig, -5000000000LL), Time(kTime, 0x01D0123456789ABCULL), Guid(kGuid, guid),
                                    Binary(kBytes, "\0\1\2", 3), Longs(kNumbers, numbers), Narrows(kTexts, texts)})});
    const std::vector<ULONG> tags = {kShort, kFloat, kDouble, kBool, kBig, kTime, kGuid, kBytes, kNumbers, kTexts};
    ASSERT_EQ(table->SetColumns(Tags(tags), 0), S_OK);
    Rows rows;
    ASSERT_EQ(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows[0].cValues, tags.size());
    const SPropValue *values = rows[0].lpProps;
    for (std::size_t i = 0; i < tags.size(); ++i)
        ASSERT_EQ(values[i].ulPropTag, tags[i]) << i;
    EXPECT_EQ(values[0].Value.i, -7);
    EXPECT_EQ(values[1].Value.flt, 1.5f);
    EXPECT_EQ(values[2].Value.dbl, -2.25);
    EXPECT_EQ(values[3].Value.b, 1);
    EXPECT_EQ(values[4].Value.li.QuadPart, -5000000000LL);
    EXPECT_EQ(values[5].Value.ft.dwHighDateTime, 0x01D01234u);
    EXPECT_EQ(values[5].Value.ft.dwLowDateTime, 0x56789ABCu);
    EXPECT_TRUE(*values[6].Value.lpguid == guid);
    ASSERT_EQ(values[7].Value.bin.cb, 3u);
    EXPECT_EQ(std::memcmp(values[7].Value.bin.lpb, "\0\1\2", 3), 0);
    ASSERT_EQ(values[8].Value.MVl.cValues, 3u);
    EXPECT_EQ(values[8].Value.MVl.lpl[1], -1);
    ASSERT_EQ(values[9].Value.MVszA.cValues, 2u);
    EXPECT_STREQ(values[9].Value.MVszA.lppszA[1], "zwei");
}

TEST_P(ColumnsTest, T06_EveryRowHasTheColumnsInOrderAndAnErrorWhereAPropertyIsAbsent)
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

TEST_P(ColumnsTest, T07_EachRowIsABlockOfItsOwn)
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

} // namespace

} // namespace localmapi::test
