// Proves content restrictions: how text and bytes are looked for, over rows in memory and over a folder alike.
#include "TableFixture.h"
#include "localmapi/provider/base/Text.h"

namespace localmapi::test
{

namespace
{

class ContentRestriction : public AnyTable
{
};
INSTANTIATE_TEST_SUITE_P(Homes, ContentRestriction, testing::Values(Home::Memory, Home::Storage), HomeName);

TEST_P(ContentRestriction, R11_ContentLevelsAreFullSubstringAndPrefix)
{
    auto table = TableOf({Row("whole", {Narrow(kText, "voice")}), Row("begins", {Narrow(kText, "voice mail")}),
                          Row("holds", {Narrow(kText, "a voice")}), Row("case", {Narrow(kText, "VOICE")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, Narrow(kText, "voice"))), "whole");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING, Narrow(kText, "voice"))), "whole begins holds");
    EXPECT_EQ(Matching(table, tree.Content(FL_PREFIX, Narrow(kText, "voice"))), "whole begins");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING | FL_IGNORECASE, Narrow(kText, "Voice"))), "whole case");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING | FL_IGNORECASE, Narrow(kText, "Voice"))),
              "whole begins holds case");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING, Narrow(kText, ""))), "whole begins holds case");
    EXPECT_EQ(Matching(table, tree.Content(3, Narrow(kText, "voice"))), "MAPI_E_INVALID_PARAMETER");
}

TEST_P(ContentRestriction, R11_CharactersThatAPatternWouldMeanSomethingByAreOrdinary)
{
    auto table = TableOf({Row("percent", {Narrow(kText, "100% sure")}), Row("other", {Narrow(kText, "100 x sure")}),
                          Row("under", {Narrow(kText, "a_b")}), Row("star", {Narrow(kText, "a*b?[c]")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING | FL_IGNORECASE, Narrow(kText, "0% s"))), "percent");
    EXPECT_EQ(Matching(table, tree.Content(FL_PREFIX | FL_IGNORECASE, Narrow(kText, "a_"))), "under");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING, Narrow(kText, "*b?["))), "star");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING, Narrow(kText, "'"))), "");
}

TEST_P(ContentRestriction, R12_FullStringMeansEqual)
{
    auto table = TableOf({Row("equal", {Narrow(kText, "mail")}), Row("longer", {Narrow(kText, "mailbox")}),
                          Row("shorter", {Narrow(kText, "mai")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, Narrow(kText, "mail"))), "equal");
}

TEST_P(ContentRestriction, R13_BytesIgnoreTheFlagsForText)
{
    auto table = TableOf({Row("lower", {Binary(kBytes, "abc", 3)}), Row("upper", {Binary(kBytes, "ABC", 3)}),
                          Row("more", {Binary(kBytes, "xabcx", 5)})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING | FL_IGNORECASE, Binary(kBytes, "abc", 3))), "lower");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING | FL_LOOSE, Binary(kBytes, "abc", 3))), "lower more");
    EXPECT_EQ(Matching(table, tree.Content(FL_PREFIX, Binary(kBytes, "AB", 2))), "upper");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, Long(kNumber, 1))), "MAPI_E_TOO_COMPLEX");
}

TEST_P(ContentRestriction, R14_LooseIgnoresCaseAndAccentsAndUnknownHighFlagsAreNoError)
{
    auto table = TableOf({Row("accent", {Wide(kTextW, OLESTR("R\u00C9SUM\u00C9"))}),
                          Row("plain", {Narrow(kText, "resume")}), Row("other", {Narrow(kText, "result")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING | FL_LOOSE, Wide(kTextW, OLESTR("r\u00E9sume")))),
              "accent plain");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING | FL_IGNORECASE, Wide(kTextW, OLESTR("r\u00E9sum\u00E9")))),
              "accent");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING | FL_IGNORENONSPACE | FL_IGNORECASE, Narrow(kText, "Resume"))),
              "accent plain");
    EXPECT_EQ(Matching(table, tree.Content(FL_PREFIX | 0x00100000, Narrow(kText, "resum"))), "plain");
}

TEST_P(ContentRestriction, R14_CaseIsFoldedInTextThatWasSetNarrowToo)
{
    const std::string narrow = AnsiFromUtf8("R\xC3\x89SUM\xC3\x89");
    auto table = TableOf({Row("narrow", {Narrow(kText, narrow.c_str())}), Row("plain", {Narrow(kText, "RESUME")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING | FL_IGNORECASE, Wide(kTextW, OLESTR("sum\u00E9")))), "narrow");
    EXPECT_EQ(Matching(table, tree.Content(FL_SUBSTRING, Wide(kTextW, OLESTR("sum\u00E9")))), "");
}

TEST_P(ContentRestriction, R15_OnlyTheTypesOfAContentRestrictionMustMatch)
{
    auto table = TableOf({Row("a", {Narrow(kText, "x")})});
    Tree tree;
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, kText, Narrow(kOtherText, "x"))), "a");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, kText, Wide(kTextW, OLESTR("x")))), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(table, tree.Content(FL_FULLSTRING, kText, Binary(kBytes, "x", 1))), "MAPI_E_TOO_COMPLEX");
}

} // namespace

} // namespace localmapi::test
