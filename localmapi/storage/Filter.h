// What a row must satisfy, as a tree of values, with its meaning: a property that a row lacks is less than every value
// in a relation, and fails every content and bit-mask condition; Not follows from its child; And of nothing is true,
// Or of nothing false; a list satisfies a condition if one of its values does. Relations order text by its folded
// form first and by code points where that is equal, as sorting does, so only equal text is equal.
#pragma once
#include "localmapi/storage/Value.h"

namespace localmapi::storage
{

enum class Relation { Less, LessOrEqual, Greater, GreaterOrEqual, Equal, NotEqual };

struct Filter {
    enum class Node {
        And,               // children
        Or,                // children
        Not,               // one child
        Exists,            // tag
        Compare,           // tag relation value: the value is single, the property may be a list
        CompareProperties, // tag relation otherTag
        Content,           // tag has value, by match
        Bits,              // (tag & mask) != 0, or == 0 when `zero`
        Size,              // the value's bytes relation `size`; text in UTF-16 bytes when `wide`, else in UTF-8 bytes
        AnyRecipient,      // one child, of which some recipient of the message is true
        AnyAttachment      // one child, of which some attachment of the message is true
    };
    enum class Match {
        Whole,
        Substring,
        Prefix,
        WordPrefix // some word of the text begins with the value
    };

    Node node = Node::And;
    std::vector<Filter> children;
    Tag tag = 0;
    Tag otherTag = 0;
    Relation relation = Relation::Equal;
    Value value;
    Match match = Match::Whole;
    bool ignoreCase = false;     // by Unicode simple case folding; text only
    bool ignoreNonSpace = false; // accents and other non-spacing marks do not count; text only
    std::uint32_t mask = 0;
    bool zero = false;
    std::uint64_t size = 0;
    bool wide = false;

    static Filter All(std::vector<Filter> children);
    static Filter Any(std::vector<Filter> children);
    static Filter Negate(Filter child);
    static Filter Exists(Tag tag);
    static Filter Compare(Tag tag, Relation relation, Value value);
    static Filter CompareProperties(Tag tag, Relation relation, Tag otherTag);
    static Filter Content(Tag tag, Match match, Value value, bool ignoreCase = false, bool ignoreNonSpace = false);
    static Filter Bits(Tag tag, std::uint32_t mask, bool zero);
    static Filter ByteSize(Tag tag, Relation relation, std::uint64_t size, bool wide = false);
    static Filter AnyRecipient(Filter child);
    static Filter AnyAttachment(Filter child);
};

// The order of two values of one tag: negative, zero or positive; absent comes first, text in text order.
int CompareValues(const Value &left, const Value &right);

// Whether a bag satisfies a filter, for rows that are not in a file (AnyRecipient and AnyAttachment are false).
bool Matches(const Filter &filter, const PropertyBag &row);

struct SortKey {
    Tag tag;
    bool descending = false;
};

} // namespace localmapi::storage
