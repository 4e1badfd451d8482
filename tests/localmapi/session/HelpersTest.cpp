// The utility functions beside the entry points: all rows of a table, one property, a property in an array.
#include "SiteFixture.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/table/MemoryTable.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr ULONG kNumber = PROP_TAG(PT_LONG, 0x6A00);

class Helpers : public SiteTest
{
  protected:
    Helpers() { m_makeSite = false; }

    // A table with the numbers from 0 up.
    ComPtr<IMAPITable> TableOf(LONG count)
    {
        MemoryRows rows;
        for (LONG i = 0; i < count; ++i) {
            PropArray row(1);
            row.Long(kNumber, i);
            EXPECT_CODE(rows.Add(row.Count(), row.Values()), S_OK);
        }
        MemoryTableSettings settings;
        settings.columns = {kNumber};
        ComPtr<IMAPITable> table;
        EXPECT_CODE(CreateMemoryTable(std::move(rows), std::move(settings), table.put()), S_OK);
        return table;
    }
    static SRestriction Below(SPropValue &value, LONG limit)
    {
        value = SPropValue{};
        value.ulPropTag = kNumber;
        value.Value.l = limit;
        SRestriction restriction{};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty.relop = RELOP_LT;
        restriction.res.resProperty.ulPropTag = kNumber;
        restriction.res.resProperty.lpProp = &value;
        return restriction;
    }
};

TEST_F(Helpers, T29_AllRowsAreQueried)
{
    for (const LONG count : {0, 1, 499, 500, 501, 1300}) {
        const auto table = TableOf(count);
        Rows rows;
        ASSERT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 0, rows.put()), S_OK);
        ASSERT_EQ(rows.Count(), static_cast<ULONG>(count));
        for (LONG i = 0; i < count; ++i)
            ASSERT_EQ(rows[static_cast<ULONG>(i)].lpProps[0].Value.l, i);
    }
}

TEST_F(Helpers, T29_MoreRowsThanWantedAreTooMany)
{
    const auto table = TableOf(10);
    {
        Rows rows;
        EXPECT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 9, rows.put()), MAPI_E_TABLE_TOO_BIG);
        EXPECT_EQ(rows.Count(), 0u);
    }
    Rows rows;
    EXPECT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 10, rows.put()), S_OK);
    EXPECT_EQ(rows.Count(), 10u);
}

TEST_F(Helpers, T29_ColumnsRestrictionAndOrderAreSet)
{
    const auto table = TableOf(10);
    SPropValue limit;
    SRestriction restriction = Below(limit, 3);
    SSortOrderSet order = {1, 0, 0, {{kNumber, TABLE_SORT_DESCEND}}};
    std::vector<ULONG> columns = {2, PROP_TAG(PT_LONG, 0x6AFF), kNumber};
    Rows rows;
    ASSERT_CODE(HrQueryAllRows(table.get(), reinterpret_cast<SPropTagArray *>(columns.data()), &restriction, &order, 0,
                               rows.put()),
                S_OK);
    ASSERT_EQ(rows.Count(), 3u);
    EXPECT_EQ(rows[0].lpProps[0].ulPropTag, PROP_TAG(PT_ERROR, 0x6AFF));
    EXPECT_EQ(rows[0].lpProps[1].Value.l, 2);
    EXPECT_EQ(rows[2].lpProps[1].Value.l, 0);
}

TEST_F(Helpers, T29_WhereverTheCursorIsAllRowsCome)
{
    const auto table = TableOf(10);
    ASSERT_CODE(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    Rows rows;
    ASSERT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 0, rows.put()), S_OK);
    EXPECT_EQ(rows.Count(), 10u);
}

TEST_F(Helpers, T29_BadArgumentsAreRefused)
{
    const auto table = TableOf(1);
    Rows rows;
    EXPECT_CODE(HrQueryAllRows(nullptr, nullptr, nullptr, nullptr, 0, rows.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, -1, rows.put()), MAPI_E_INVALID_PARAMETER);
}

TEST_F(Helpers, T29_WithoutMemoryNothingIsLeft)
{
    const auto table = TableOf(3);
    for (LONG after = 0; after < 50; ++after) {
        FailAllocation(after, true);
        Rows rows;
        const HRESULT hr = HrQueryAllRows(table.get(), nullptr, nullptr, nullptr, 0, rows.put());
        FailAllocation(-1);
        if (hr == S_OK) {
            EXPECT_EQ(rows.Count(), 3u);
            return;
        }
        EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(rows.Count(), 0u);
    }
    FAIL() << "it never succeeds";
}

TEST(FindProp, ATagOrAnIdIsFound)
{
    SPropValue values[3] = {};
    values[0].ulPropTag = PROP_TAG(PT_ERROR, 0x6A00);
    values[1].ulPropTag = PROP_TAG(PT_STRING8, 0x6A01);
    values[2].ulPropTag = PROP_TAG(PT_LONG, 0x6A01);
    EXPECT_EQ(PpropFindProp(values, 3, PROP_TAG(PT_LONG, 0x6A01)), &values[2]);
    EXPECT_EQ(PpropFindProp(values, 3, PROP_TAG(PT_UNSPECIFIED, 0x6A01)), &values[1]);
    EXPECT_EQ(PpropFindProp(values, 3, PROP_TAG(PT_LONG, 0x6A00)), nullptr);
    EXPECT_EQ(PpropFindProp(values, 3, PROP_TAG(PT_ERROR, 0x6A00)), nullptr);
    EXPECT_EQ(PpropFindProp(values, 0, PROP_TAG(PT_LONG, 0x6A01)), nullptr);
    EXPECT_EQ(PpropFindProp(nullptr, 3, PROP_TAG(PT_LONG, 0x6A01)), nullptr);
}

using OneProp = SiteTest;

TEST_F(OneProp, AValueIsAnArrayOfOne)
{
    AddProfile();
    const auto book = OpenBook(LogOn());
    SPropValue *value = nullptr;
    ASSERT_CODE(HrGetOneProp(book.get(), PR_OBJECT_TYPE, &value), S_OK);
    EXPECT_EQ(value->Value.l, LONG{MAPI_ADDRBOOK});
    MAPIFreeBuffer(value);
    EXPECT_CODE(HrGetOneProp(book.get(), PR_SUBJECT_A, &value), MAPI_E_NOT_FOUND);
    EXPECT_EQ(value, nullptr);
    EXPECT_CODE(HrGetOneProp(nullptr, PR_SUBJECT_A, &value), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(HrGetOneProp(book.get(), PR_SUBJECT_A, nullptr), MAPI_E_INVALID_PARAMETER);
}

} // namespace
