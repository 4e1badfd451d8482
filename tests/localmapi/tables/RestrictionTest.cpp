// Proves what restrictions mean and which are refused, over rows in memory and over a folder alike.
#include "localmapi/provider/table/Restriction.h"
#include "TableFixture.h"

#include <limits>

namespace localmapi::test
{

namespace
{

class RestrictionTest : public AnyTable
{
  protected:
    // Rows with a number, with a text, and with neither.
    ComPtr<IMAPITable> Mixed()
    {
        return TableOf({Row("one", {Long(kNumber, 1)}), Row("five", {Long(kNumber, 5)}),
                        Row("text", {Narrow(kText, "Some Text")}), Row("bare")});
    }
};
INSTANTIATE_TEST_SUITE_P(Homes, RestrictionTest, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(RestrictionTest, R01_AndIsTrueWhenAllAreAndOrWhenOneIs)
{
    auto table = Letters();
    Tree tree;
    auto *low = tree.Property(RELOP_LE, Long(kNumber, 3));
    auto *high = tree.Property(RELOP_GE, Long(kNumber, 2));
    auto *never = tree.Property(RELOP_EQ, Long(kNumber, 77));
    EXPECT_EQ(Matching(table, tree.And({low, high})), "c d");
    EXPECT_EQ(Matching(table, tree.And({low, high, never})), "");
    EXPECT_EQ(Matching(table, tree.Or({never, tree.Property(RELOP_EQ, Long(kNumber, 0)), never})), "a");
    EXPECT_EQ(Matching(table, tree.Or({tree.And({low, high}), tree.Property(RELOP_EQ, Long(kNumber, 0))})), "a c d");
}

TEST_P(RestrictionTest, R01_AnEmptyAndIsTrueAndAnEmptyOrFalse)
{
    auto table = Letters("ab");
    Tree tree;
    EXPECT_EQ(Matching(table, tree.And({})), "a b");
    EXPECT_EQ(Matching(table, tree.Or({})), "");
    EXPECT_EQ(Matching(table, tree.Not(tree.Or({}))), "a b");
}

TEST_P(RestrictionTest, R02_NotIsTrueWhenItsChildIsNot)
{
    auto table = Letters();
    Tree tree;
    auto *two = tree.Property(RELOP_EQ, Long(kNumber, 2));
    EXPECT_EQ(Matching(table, tree.Not(two)), "a b d e");
    EXPECT_EQ(Matching(table, tree.Not(tree.Not(two))), "c");
}

TEST_P(RestrictionTest, R03_NotFollowsFromItsChildForAnAbsentProperty)
{
    auto table = Mixed();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Not(tree.Property(RELOP_EQ, Long(kNumber, 1)))), "five text bare");
    EXPECT_EQ(Matching(table, tree.Not(tree.Property(RELOP_LT, Long(kNumber, 3)))), "five");
    EXPECT_EQ(Matching(table, tree.Not(tree.Content(FL_SUBSTRING, Narrow(kText, "Text")))), "one five bare");
    EXPECT_EQ(Matching(table, tree.Not(tree.Bits(BMR_NEZ, kNumber, 1))), "text bare");
}

TEST_P(RestrictionTest, R04_ExistIsTrueForRowsWithTheProperty)
{
    auto table = Mixed();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Exist(kNumber)), "one five");
    EXPECT_EQ(Matching(table, tree.Exist(kText)), "text");
    EXPECT_EQ(Matching(table, tree.Exist(kTextW)), "text");
    EXPECT_EQ(Matching(table, tree.Exist(kAbsent)), "");
    EXPECT_EQ(Matching(table, tree.Not(tree.Exist(kNumber))), "text bare");
    EXPECT_EQ(Matching(table, tree.Exist(PR_MESSAGE_ATTACHMENTS)), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R05_WithExistBesideItAComparisonIsWellDefined)
{
    auto table = Mixed();
    Tree tree;
    auto *less = tree.Property(RELOP_LT, Long(kNumber, 3));
    EXPECT_EQ(Matching(table, less), "one text bare");
    EXPECT_EQ(Matching(table, tree.And({tree.Exist(kNumber), less})), "one");
    auto *other = tree.Property(RELOP_NE, Narrow(kText, "x"));
    EXPECT_EQ(Matching(table, tree.And({tree.Exist(kText), other})), "text");
}

TEST_P(RestrictionTest, R06_AnAbsentPropertyIsLessThanEveryValue)
{
    auto table = Mixed();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Property(RELOP_LT, Long(kNumber, kLongMin))), "text bare");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_LE, Long(kNumber, kLongMin))), "text bare");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_NE, Long(kNumber, 1))), "five text bare");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Long(kNumber, kLongMin))), "");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_GT, Long(kNumber, kLongMin))), "one five");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_GE, Long(kNumber, kLongMin))), "one five");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_LT, Narrow(kText, ""))), "one five bare");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Narrow(kText, ""))), "");
}

TEST_P(RestrictionTest, R07_ThePropertyStandsLeftOfTheRelation)
{
    auto table = Letters();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Property(RELOP_LT, Long(kNumber, 2))), "a b");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_GT, Long(kNumber, 2))), "d e");
}

TEST_P(RestrictionTest, R08_EveryRelationMeansWhatItsCodeSays)
{
    auto table = Letters("abc");
    Tree tree;
    const char *const expected[] = {"a", "a b", "c", "b c", "b", "a c"};
    for (ULONG relop = RELOP_LT; relop <= RELOP_NE; ++relop)
        EXPECT_EQ(Matching(table, tree.Property(relop, Long(kNumber, 1))), expected[relop]) << relop;
    EXPECT_EQ(Matching(table, tree.Property(7, Long(kNumber, 1))), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Property(0x64, Long(kNumber, 1))), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R08_EveryTypeCanBeCompared)
{
    const GUID low = {1, 0, 0, {0}};
    const GUID high = {2, 0, 0, {0}};
    auto table = TableOf(
        {Row("low", {Short(kShort, -3), Float(kFloat, -1.5f), Double(kDouble, 0.25), Bool(kBool, false), Big(kBig, -1),
                     Time(kTime, 10), Guid(kGuid, low), Binary(kBytes, "\1", 1), Narrow(kText, "abc")}),
         Row("high",
             {Short(kShort, 4), Float(kFloat, 2.5f), Double(kDouble, 0.5), Bool(kBool, true), Big(kBig, 5000000000LL),
              Time(kTime, 0x100000000ULL), Guid(kGuid, high), Binary(kBytes, "\1\0", 2), Narrow(kText, "abd")})});
    Tree tree;
    const SPropValue lows[] = {Short(kShort, -3),  Float(kFloat, -1.5f),    Double(kDouble, 0.25),
                               Bool(kBool, false), Big(kBig, -1),           Time(kTime, 10),
                               Guid(kGuid, low),   Binary(kBytes, "\1", 1), Narrow(kText, "abc")};
    for (const SPropValue &value : lows) {
        SCOPED_TRACE(HexText(value.ulPropTag));
        EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, value)), "low");
        EXPECT_EQ(Matching(table, tree.Property(RELOP_NE, value)), "high");
        EXPECT_EQ(Matching(table, tree.Property(RELOP_GT, value)), "high");
        EXPECT_EQ(Matching(table, tree.Property(RELOP_LE, value)), "low");
        EXPECT_EQ(Matching(table, tree.Property(RELOP_LT, value)), "");
    }
}

TEST_P(RestrictionTest, R08_NarrowAndWideConstantsCompareWithOneStoredText)
{
    auto table = TableOf({Row("umlaut", {Wide(kTextW, OLESTR("\u00FC"))}), Row("plain", {Narrow(kText, "u")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Wide(kTextW, OLESTR("\u00FC")))), "umlaut");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Wide(kTextW, OLESTR("u")))), "plain");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Narrow(kText, "u"))), "plain");
}

TEST_P(RestrictionTest, R09_TypesThatDifferAreTooComplex)
{
    auto table = Letters();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kNumber, Narrow(kText, "1"))), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kTextW, Narrow(kText, "1"))), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Tag(0x6A00, PT_UNSPECIFIED), Long(kNumber, 1))),
              "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(table->FindRow(tree.Property(RELOP_EQ, kNumber, Narrow(kText, "1")), BOOKMARK_BEGINNING, 0),
              MAPI_E_TOO_COMPLEX);
    // Of the value's tag only the type counts.
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kNumber, Long(kOtherNumber, 1))), "b");
}

TEST_P(RestrictionTest, R09_AMultiValuedPropertyIsComparedWithASingleConstantOnly)
{
    std::vector<LONG> numbers{1, 2};
    auto table = TableOf({Row("list", {Longs(kNumbers, numbers)}), Row("bare")});
    Tree tree;
    const ULONG single = Tag(PROP_ID(kNumbers), PT_LONG);
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kNumbers, Long(single, 2))), "list");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kNumbers, Longs(kNumbers, numbers))), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, MVI_PROP(kNumbers), Long(single, 2))), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R10_AMultiValuedPropertySatisfiesWhatOneOfItsValuesSatisfies)
{
    std::vector<LONG> small{1, 2};
    std::vector<LONG> large{2, 9};
    std::string blue = "dark Blue";
    std::string red = "red";
    std::vector<char *> colours{red.data(), blue.data()};
    auto table = TableOf({Row("small", {Longs(kNumbers, small)}), Row("large", {Longs(kNumbers, large)}),
                          Row("texts", {Narrows(kTexts, colours)})});
    Tree tree;
    const ULONG number = Tag(PROP_ID(kNumbers), PT_LONG);
    const ULONG text = Tag(PROP_ID(kTexts), PT_STRING8);
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kNumbers, Long(number, 2))), "small large");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_GT, kNumbers, Long(number, 5))), "large");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_NE, kNumbers, Long(number, 2))), "small large texts");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, kTexts, Narrow(text, "red"))), "texts");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING | FL_IGNORECASE, kTexts, Narrow(text, "blue"))), "texts");
    EXPECT_EQ(Matching(table, tree.Content(FL_PREFIX, kTexts, Narrow(text, "Blue"))), "");
}

TEST_P(RestrictionTest, R16_BitMasksLookAtTheBitsOfLongs)
{
    auto table = TableOf({Row("none", {Long(kNumber, 0)}), Row("one", {Long(kNumber, 1)}),
                          Row("six", {Long(kNumber, 6)}), Row("high", {Long(kNumber, kLongMin)})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Bits(BMR_NEZ, kNumber, 1)), "one");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_EQZ, kNumber, 1)), "none six high");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_NEZ, kNumber, 3)), "one six");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_NEZ, kNumber, 0x80000000)), "high");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_EQZ, kNumber, 0)), "none one six high");
    EXPECT_EQ(Matching(table, tree.Bits(2, kNumber, 1)), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_EQZ, kShort, 1)), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_EQZ, kNumbers, 1)), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R17_AnAbsentPropertySatisfiesNeitherBitMask)
{
    auto table = Mixed();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Bits(BMR_NEZ, kNumber, 4)), "five");
    EXPECT_EQ(Matching(table, tree.Bits(BMR_EQZ, kNumber, 4)), "one");
}

TEST_P(RestrictionTest, R18_SizesAreBytesWithoutTheTerminator)
{
    std::vector<LONG> three{1, 2, 3};
    auto table = TableOf({Row("four", {Narrow(kText, "four"), Binary(kBytes, "\0\0", 2)}),
                          Row("seven", {Narrow(kText, "seven77"), Longs(kNumbers, three)}),
                          Row("umlaut", {Wide(kTextW, OLESTR("\u00FC"))})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kText, 4)), "four");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_GT, kText, 4)), "seven");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kTextW, 8)), "four");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kTextW, 2)), "umlaut");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kBytes, 2)), "four");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kNumbers, 12)), "seven");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_RE, kText, 4)), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R18_TheSizeOfAnAbsentPropertyIsLessThanEverySize)
{
    auto table = Mixed();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Size(RELOP_LT, kText, 0)), "one five bare");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_GE, kText, 0)), "text");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_NE, kText, 9)), "one five bare");
    EXPECT_EQ(Matching(table, tree.Size(RELOP_EQ, kText, 0)), "");
}

TEST_P(RestrictionTest, R19_TwoPropertiesOfARowAreCompared)
{
    auto table =
        TableOf({Row("less", {Long(kNumber, 1), Long(kOtherNumber, 2)}),
                 Row("equal", {Long(kNumber, 2), Long(kOtherNumber, 2)}), Row("left", {Long(kNumber, 2)}),
                 Row("right", {Long(kOtherNumber, 2)}), Row("texts", {Narrow(kText, "b"), Narrow(kOtherText, "a")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.And({tree.Exist(kNumber), tree.Exist(kOtherNumber),
                                        tree.Compare(RELOP_LT, kNumber, kOtherNumber)})),
              "less");
    EXPECT_EQ(Matching(table, tree.And({tree.Exist(kNumber), tree.Exist(kOtherNumber),
                                        tree.Compare(RELOP_GE, kNumber, kOtherNumber)})),
              "equal");
    EXPECT_EQ(Matching(table, tree.And({tree.Exist(kText), tree.Compare(RELOP_GT, kText, kOtherText)})), "texts");
    // What is absent is less than what is there, and equal to what is absent too.
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_LT, kNumber, kOtherNumber)), "less right");
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_GT, kNumber, kOtherNumber)), "left");
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_EQ, kNumber, kOtherNumber)), "equal texts");
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_NE, kNumber, kOtherNumber)), "less left right");
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_EQ, kNumber, kText)), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Compare(RELOP_RE, kNumber, kOtherNumber)), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R20_ARestrictionOnPartsThatTheRowsDoNotHaveIsTooComplex)
{
    auto table = Letters();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Sub(PR_MESSAGE_FLAGS, tree.Exist(kNumber))), "MAPI_E_TOO_COMPLEX");
    if (GetParam() == Home::Memory) {
        EXPECT_EQ(Matching(table, tree.Sub(PR_MESSAGE_RECIPIENTS, tree.Exist(kNumber))), "MAPI_E_TOO_COMPLEX");
    } else {
        EXPECT_EQ(Matching(table, tree.Sub(PR_MESSAGE_RECIPIENTS, nullptr)), "MAPI_E_INVALID_PARAMETER");
    }
}

TEST_P(RestrictionTest, R21_ACommentMeansWhatStandsInIt)
{
    auto table = Letters("abc");
    Tree tree;
    auto *comment = tree.Comment(tree.Property(RELOP_EQ, Long(kNumber, 1)));
    SPropValue note = Narrow(PR_SUBJECT_A, "a note");
    comment->res.resComment.cValues = 1;
    comment->res.resComment.lpProp = &note;
    EXPECT_EQ(Matching(table, comment), "b");
    EXPECT_EQ(Matching(table, tree.Comment(nullptr)), "a b c");
    EXPECT_EQ(Matching(table, tree.Not(tree.Comment(nullptr))), "");
}

TEST_P(RestrictionTest, R22_RegularExpressionsAreTooComplex)
{
    auto table = Letters();
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Property(RELOP_RE, Narrow(kText, "a.*"))), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R20_TreesDeeperOrLargerThanTheLimitAreTooComplex)
{
    auto table = Letters("ab");
    for (const int depth : {kRestrictionDepthLimit, kRestrictionDepthLimit + 1}) {
        Tree tree;
        auto *node = tree.Property(RELOP_EQ, Long(kNumber, 1));
        for (int level = 1; level < depth; ++level)
            node = tree.Comment(node);
        EXPECT_EQ(Matching(table, node), depth > kRestrictionDepthLimit ? "MAPI_E_TOO_COMPLEX" : "b") << depth;
    }
    Tree tree;
    for (const ULONG nodes : {kRestrictionNodeLimit - 1, kRestrictionNodeLimit, kRestrictionNodeLimit + 1}) {
        // The list is a node too.
        std::vector<SRestriction> children(nodes - 1, *tree.Property(RELOP_EQ, Long(kNumber, 1)));
        auto *any = tree.Node(RES_OR);
        any->res.resOr = {static_cast<ULONG>(children.size()), children.data()};
        EXPECT_EQ(Matching(table, any), nodes > kRestrictionNodeLimit ? "MAPI_E_TOO_COMPLEX" : "b") << nodes;
    }
    auto *huge = tree.And({tree.Exist(kNumber)});
    huge->res.resAnd.cRes = 0x20000000;
    EXPECT_EQ(Matching(table, huge), "MAPI_E_TOO_COMPLEX");
}

TEST_P(RestrictionTest, R01_ATreeOfManyNodesWorks)
{
    auto table = Letters();
    Tree tree;
    std::vector<SRestriction> nodes;
    for (LONG number = 1; number < 1000; ++number)
        nodes.push_back(*tree.Property(RELOP_EQ, Long(kNumber, number)));
    auto *any = tree.Node(RES_OR);
    any->res.resOr = {static_cast<ULONG>(nodes.size()), nodes.data()};
    EXPECT_EQ(Matching(table, any), "b c d e");
}

TEST_P(RestrictionTest, R01_NullPointersAndUnknownKindsAreInvalid)
{
    auto table = Letters();
    Tree tree;
    auto *list = tree.And({});
    list->res.resAnd.cRes = 2;
    EXPECT_EQ(Matching(table, list), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Not(nullptr)), "MAPI_E_INVALID_PARAMETER");
    auto *property = tree.Property(RELOP_EQ, Long(kNumber, 1));
    property->res.resProperty.lpProp = nullptr;
    EXPECT_EQ(Matching(table, property), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Narrow(kText, nullptr))), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Property(RELOP_EQ, Binary(kBytes, nullptr, 5))), "MAPI_E_INVALID_PARAMETER");
    auto *content = tree.Content(FL_PREFIX, Narrow(kText, "x"));
    content->res.resContent.lpProp = nullptr;
    EXPECT_EQ(Matching(table, content), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(Matching(table, tree.Node(0x77)), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(All(table), "a b c d e");
}

} // namespace

} // namespace localmapi::test
