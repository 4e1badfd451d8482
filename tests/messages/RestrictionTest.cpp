// Restrictions as values: what each form is to MAPI, how it describes itself, and that what is pointed to lives as
// long as any copy.
#include "common/mapi/Restriction.h"
#include "support/Print.h"
#include <ExchangeMapi.h>
#include <gtest/gtest.h>
#include <optional>

namespace
{

constexpr Property kSubject{PR_SUBJECT_A, "PR_SUBJECT"};
constexpr Property kFlags{PR_MESSAGE_FLAGS, "PR_MESSAGE_FLAGS"};
constexpr Property kDefaultStore{PR_DEFAULT_STORE, "PR_DEFAULT_STORE"};
constexpr Property kSubmitted{PR_CLIENT_SUBMIT_TIME, "PR_CLIENT_SUBMIT_TIME"};
constexpr Constant kTwo{2, "TWO"};

std::string Tree(const Restriction &restriction)
{
    return mapi_double::Restriction(restriction.Get());
}

TEST(RestrictionTest, EachFormIsItsNodeAndItsText)
{
    const struct {
        Restriction restriction;
        const char *tree;
        const char *text;
    } cases[] = {
        {Is(kSubject, "a"), "PROPERTY(PR_SUBJECT_A == \"a\")", "(PR_SUBJECT == a)"},
        {IsNot(kSubject, std::string("b")), "PROPERTY(PR_SUBJECT_A != \"b\")", "(PR_SUBJECT != b)"},
        {Is(kFlags, kTwo), "PROPERTY(PR_MESSAGE_FLAGS == 2)", "(PR_MESSAGE_FLAGS == TWO)"},
        {Restriction::Compare(kFlags, RELOP_LT, kTwo), "PROPERTY(PR_MESSAGE_FLAGS < 2)", "(PR_MESSAGE_FLAGS < TWO)"},
        {Restriction::Compare(kFlags, RELOP_LE, kTwo), "PROPERTY(PR_MESSAGE_FLAGS <= 2)", "(PR_MESSAGE_FLAGS <= TWO)"},
        {Restriction::Compare(kFlags, RELOP_GT, kTwo), "PROPERTY(PR_MESSAGE_FLAGS > 2)", "(PR_MESSAGE_FLAGS > TWO)"},
        {Restriction::Compare(kFlags, RELOP_GE, kTwo), "PROPERTY(PR_MESSAGE_FLAGS >= 2)", "(PR_MESSAGE_FLAGS >= TWO)"},
        {Is(kDefaultStore, true), "PROPERTY(PR_DEFAULT_STORE == TRUE)", "(PR_DEFAULT_STORE == TRUE)"},
        {Is(kDefaultStore, false), "PROPERTY(PR_DEFAULT_STORE == FALSE)", "(PR_DEFAULT_STORE == FALSE)"},
        {Restriction::Compare(kSubmitted, RELOP_GE, FILETIME{0xF0A57A00, 0x01DD7D38}),
         "PROPERTY(PR_CLIENT_SUBMIT_TIME >= 0x1DD7D38F0A57A00)", "(PR_CLIENT_SUBMIT_TIME >= 2026-11-25 23:59:00 UTC)"},
        {Contains(kSubject, "c"), "CONTENT(PR_SUBJECT_A SUBSTRING|IGNORECASE \"c\")", "(PR_SUBJECT contains c)"},
        {StartsWith(kSubject, "d"), "CONTENT(PR_SUBJECT_A PREFIX|IGNORECASE \"d\")", "(PR_SUBJECT starts with d)"},
        {BitsSet(kFlags, kTwo), "BITMASK(PR_MESSAGE_FLAGS & 0x2 != 0)", "((PR_MESSAGE_FLAGS & TWO) != 0)"},
        {BitsClear(kFlags, kTwo), "BITMASK(PR_MESSAGE_FLAGS & 0x2 == 0)", "((PR_MESSAGE_FLAGS & TWO) == 0)"},
        {Restriction::Exists(kSubject), "EXIST(PR_SUBJECT_A)", "(PR_SUBJECT exists)"},
        {Not(Is(kSubject, "a")), "NOT(PROPERTY(PR_SUBJECT_A == \"a\"))", "NOT (PR_SUBJECT == a)"},
        {All({Is(kSubject, "a"), Restriction::Exists(kFlags)}),
         "AND(PROPERTY(PR_SUBJECT_A == \"a\"), EXIST(PR_MESSAGE_FLAGS))",
         "(PR_SUBJECT == a) AND (PR_MESSAGE_FLAGS exists)"},
        {Any({Is(kSubject, "a"), Restriction::Exists(kFlags)}),
         "OR(PROPERTY(PR_SUBJECT_A == \"a\"), EXIST(PR_MESSAGE_FLAGS))",
         "((PR_SUBJECT == a) OR (PR_MESSAGE_FLAGS exists))"},
        {Not(All({Restriction::Exists(kSubject), Restriction::Exists(kFlags)})),
         "NOT(AND(EXIST(PR_SUBJECT_A), EXIST(PR_MESSAGE_FLAGS)))",
         "NOT ((PR_SUBJECT exists) AND (PR_MESSAGE_FLAGS exists))"},
        {Any({All({Restriction::Exists(kSubject), Restriction::Exists(kFlags)}), Restriction::Exists(kFlags)}),
         "OR(AND(EXIST(PR_SUBJECT_A), EXIST(PR_MESSAGE_FLAGS)), EXIST(PR_MESSAGE_FLAGS))",
         "(((PR_SUBJECT exists) AND (PR_MESSAGE_FLAGS exists)) OR (PR_MESSAGE_FLAGS exists))"},
    };
    for (const auto &of : cases) {
        EXPECT_EQ(Tree(of.restriction), of.tree);
        EXPECT_EQ(of.restriction.Description(), of.text);
    }
}

TEST(RestrictionTest, ACopyKeepsAllThatItPointsTo)
{
    std::optional<Restriction> original;
    {
        const std::string text(1000, 'x');
        original = All({Any({Contains(kSubject, text), Not(Is(kSubject, "inner text, long enough to be elsewhere"))}),
                        BitsSet(kFlags, kTwo)});
    }
    const std::string tree = Tree(*original);
    const Restriction copy = *original;
    original.reset();
    const std::string other(1000, 'y'); // takes memory that was given back
    EXPECT_EQ(Tree(copy), tree);
    EXPECT_NE(tree.find(std::string(1000, 'x')), std::string::npos);
}

} // namespace
