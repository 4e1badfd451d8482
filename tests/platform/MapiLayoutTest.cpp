// The records that MAPI's two sides hand to each other are laid out as the vendor's pages describe their members, by
// the rules of Windows' compilers for each width: what is passed to a real MAPI must be what it was built for.
#include <cstddef>
#include <gtest/gtest.h>
#include <mapidefs.h>
#include <mapix.h>

namespace
{

constexpr bool kWide = sizeof(void *) == 8;

void Expect(const char *what, std::size_t is, std::size_t on32Bits, std::size_t on64Bits)
{
    EXPECT_EQ(kWide ? on64Bits : on32Bits, is) << what;
}

#define SIZE(type, on32Bits, on64Bits) Expect("the size of " #type, sizeof(type), on32Bits, on64Bits)
#define PLACE(type, member, on32Bits, on64Bits)                                                                        \
    Expect("the place of " #type "::" #member, offsetof(type, member), on32Bits, on64Bits)

TEST(MapiLayout, Values)
{
    SIZE(ULONG, 4, 4);
    SIZE(HRESULT, 4, 4);
    SIZE(BOOKMARK, 4, 4);
    SIZE(FILETIME, 8, 8);
    SIZE(CURRENCY, 8, 8);
    SIZE(SBinary, 8, 16);
    PLACE(SBinary, lpb, 4, 8);
    SIZE(SPropValue, 16, 24);
    PLACE(SPropValue, ulPropTag, 0, 0);
    PLACE(SPropValue, Value, 8, 8);
    Expect("the alignment of SPropValue", alignof(SPropValue), 8, 8);
    SIZE(SPropTagArray, 8, 8);
    PLACE(SPropTagArray, aulPropTag, 4, 4);
    SIZE(SPropProblem, 12, 12);
    SIZE(SPropProblemArray, 16, 16);
    PLACE(SPropProblemArray, aProblem, 4, 4);
    SIZE(MAPINAMEID, 12, 24);
    PLACE(MAPINAMEID, ulKind, 4, 8);
    PLACE(MAPINAMEID, Kind, 8, 16);
    SIZE(MAPIUID, 16, 16);
    PLACE(ENTRYID, ab, 4, 4);
    SIZE(MAPIERROR, 20, 32);
    PLACE(MAPIERROR, lpszError, 4, 8);
    PLACE(MAPIERROR, lpszComponent, 8, 16);
    PLACE(MAPIERROR, ulContext, 16, 28);
}

TEST(MapiLayout, Rows)
{
    SIZE(SRow, 12, 16);
    PLACE(SRow, cValues, 4, 4);
    PLACE(SRow, lpProps, 8, 8);
    PLACE(SRowSet, aRow, 4, 8);
    SIZE(ADRENTRY, 12, 16);
    PLACE(ADRENTRY, cValues, 4, 4);
    PLACE(ADRENTRY, rgPropVals, 8, 8);
    PLACE(ADRLIST, aEntries, 4, 8);
    SIZE(ENTRYLIST, 8, 16);
    PLACE(ENTRYLIST, lpbin, 4, 8);
    SIZE(SSortOrder, 8, 8);
    SIZE(SSortOrderSet, 20, 20);
    PLACE(SSortOrderSet, aSort, 12, 12);
}

TEST(MapiLayout, Restrictions)
{
    SIZE(SAndRestriction, 8, 16);
    PLACE(SAndRestriction, lpRes, 4, 8);
    SIZE(SNotRestriction, 8, 16);
    PLACE(SNotRestriction, lpRes, 4, 8);
    SIZE(SContentRestriction, 12, 16);
    PLACE(SContentRestriction, lpProp, 8, 8);
    SIZE(SPropertyRestriction, 12, 16);
    PLACE(SPropertyRestriction, lpProp, 8, 8);
    SIZE(SBitMaskRestriction, 12, 12);
    SIZE(SComparePropsRestriction, 12, 12);
    SIZE(SSizeRestriction, 12, 12);
    SIZE(SExistRestriction, 12, 12);
    PLACE(SExistRestriction, ulPropTag, 4, 4);
    SIZE(SSubRestriction, 8, 16);
    SIZE(SCommentRestriction, 12, 24);
    SIZE(SRestriction, 16, 32);
    PLACE(SRestriction, res, 4, 8);
}

TEST(MapiLayout, Notifications)
{
    SIZE(ERROR_NOTIFICATION, 20, 32);
    SIZE(NEWMAIL_NOTIFICATION, 28, 56);
    PLACE(NEWMAIL_NOTIFICATION, ulMessageFlags, 24, 48);
    SIZE(OBJECT_NOTIFICATION, 40, 72);
    PLACE(OBJECT_NOTIFICATION, ulObjType, 8, 16);
    PLACE(OBJECT_NOTIFICATION, cbParentID, 12, 20);
    PLACE(OBJECT_NOTIFICATION, lpPropTagArray, 36, 64);
    SIZE(TABLE_NOTIFICATION, 56, 80);
    PLACE(TABLE_NOTIFICATION, hResult, 4, 4);
    PLACE(TABLE_NOTIFICATION, propIndex, 8, 8);
    PLACE(TABLE_NOTIFICATION, propPrior, 24, 32);
    PLACE(TABLE_NOTIFICATION, row, 40, 56);
    SIZE(NOTIFICATION, 64, 88);
    PLACE(NOTIFICATION, info, 8, 8);
}

TEST(MapiLayout, Start)
{
    SIZE(MAPIINIT_0, 8, 8);
    PLACE(MAPIINIT_0, ulFlags, 4, 4);
}

} // namespace
