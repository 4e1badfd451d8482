// A client's restriction as a filter, checked while it is read, and a sort order as keys. Columns that a schema derives
// are translated into what they are made of.
#include "localmapi/provider/table/Restriction.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "platform/lifetime/Lasting.h"

#include <algorithm>

namespace localmapi
{

namespace
{

using storage::Filter;
using storage::Relation;

constexpr ULONG kMemberOfDl = 0x64;
constexpr ULONG kAnrId = PROP_ID(PR_ANR);

[[noreturn]] void TooComplex(const std::string &why)
{
    throw Failure(MAPI_E_TOO_COMPLEX, "The request is too complex: " + why + ".");
}

Filter Truth(bool value)
{
    return value ? Filter::All({}) : Filter::Any({});
}

const DerivedColumn *Derived(const TableSchema &schema, ULONG tag)
{
    const auto found = std::find_if(schema.derived.begin(), schema.derived.end(), [&](const DerivedColumn &column) {
        return storage::TagId(column.tag) == PROP_ID(tag);
    });
    return found == schema.derived.end() ? nullptr : &*found;
}

// The constant with this id, whatever its type.
const storage::Property *Constant(const TableSchema &schema, ULONG tag)
{
    return schema.constants.FindId(static_cast<std::uint16_t>(PROP_ID(tag)));
}

Relation RelationOf(ULONG relop)
{
    switch (relop) {
    case RELOP_LT:
        return Relation::Less;
    case RELOP_LE:
        return Relation::LessOrEqual;
    case RELOP_GT:
        return Relation::Greater;
    case RELOP_GE:
        return Relation::GreaterOrEqual;
    case RELOP_EQ:
        return Relation::Equal;
    case RELOP_NE:
        return Relation::NotEqual;
    case RELOP_RE:
        TooComplex("regular expressions are not supported");
    case kMemberOfDl:
        TooComplex("membership of distribution lists is not supported");
    default:
        throw Failure(MAPI_E_INVALID_PARAMETER, "The relation " + HexText(relop) + " is not known.");
    }
}

// The relation with its sides exchanged.
Relation Mirrored(Relation relation)
{
    switch (relation) {
    case Relation::Less:
        return Relation::Greater;
    case Relation::LessOrEqual:
        return Relation::GreaterOrEqual;
    case Relation::Greater:
        return Relation::Less;
    case Relation::GreaterOrEqual:
        return Relation::LessOrEqual;
    default:
        return relation;
    }
}

// The tag of a property that a condition compares; MAPI_E_TOO_COMPLEX for types that have no values.
storage::Tag ComparableTag(ULONG tag)
{
    if (tag & MV_INSTANCE || !IsValueType(PROP_TYPE(tag)))
        TooComplex("the type of property " + HexText(tag) + " can not be compared");
    return StorageTag(tag);
}

// A condition's constant: of the property's type, or of its single type where the property is multi-valued.
storage::Value ConstantOf(ULONG tag, const SPropValue *constant)
{
    Require(constant != nullptr, "a restriction without a value");
    const ULONG expected = PROP_TYPE(tag) & ~ULONG{MV_FLAG};
    if (PROP_TYPE(constant->ulPropTag) != expected)
        TooComplex("the types of " + HexText(tag) + " and of the value compared with it differ");
    return ValueFromProp(*constant);
}

class Translator
{
  public:
    explicit Translator(const TableSchema &schema) : m_schema(schema) {}

    Filter Translate(const SRestriction &node, int depth)
    {
        if (depth > kRestrictionDepthLimit)
            TooComplex("the restriction is too deep");
        if (++m_nodes > kRestrictionNodeLimit)
            TooComplex("the restriction has too many nodes");
        switch (node.rt) {
        case RES_AND:
            return Filter::All(Children(node.res.resAnd.cRes, node.res.resAnd.lpRes, depth));
        case RES_OR:
            return Filter::Any(Children(node.res.resOr.cRes, node.res.resOr.lpRes, depth));
        case RES_NOT:
            return Filter::Negate(Child(node.res.resNot.lpRes, depth));
        case RES_CONTENT:
            return Content(node.res.resContent);
        case RES_PROPERTY:
            return Property(node.res.resProperty);
        case RES_COMPAREPROPS:
            return CompareProps(node.res.resCompareProps);
        case RES_BITMASK:
            return BitMask(node.res.resBitMask);
        case RES_SIZE:
            return Size(node.res.resSize);
        case RES_EXIST:
            return Exist(node.res.resExist);
        case RES_SUBRESTRICTION:
            return Sub(node.res.resSub, depth);
        case RES_COMMENT:
            return node.res.resComment.lpRes ? Translate(*node.res.resComment.lpRes, depth + 1) : Truth(true);
        default:
            throw Failure(MAPI_E_INVALID_PARAMETER, "The restriction kind " + HexText(node.rt) + " is not known.");
        }
    }

  private:
    Filter Child(const SRestriction *child, int depth)
    {
        Require(child != nullptr, "a restriction without the one it needs");
        return Translate(*child, depth + 1);
    }

    std::vector<Filter> Children(ULONG count, const SRestriction *children, int depth)
    {
        if (count > kRestrictionNodeLimit)
            TooComplex("the restriction has too many nodes");
        Require(children != nullptr || count == 0, "a restriction without those it announces");
        std::vector<Filter> filters;
        filters.reserve(count);
        for (ULONG i = 0; i < count; ++i)
            filters.push_back(Translate(children[i], depth + 1));
        return filters;
    }

    // A condition on one property: decided here when the property is the same in every row.
    Filter OnStored(Filter leaf) const
    {
        if (Constant(m_schema, leaf.tag))
            return Truth(storage::Matches(leaf, m_schema.constants));
        if (Derived(m_schema, leaf.tag))
            TooComplex("property " + HexText(leaf.tag) + " can only be compared for equality");
        return leaf;
    }

    Filter Equality(const DerivedColumn &column, storage::Tag tag, const storage::Value &value) const
    {
        return tag == column.tag ? column.equals(value) : Truth(false);
    }

    Filter Anr(const storage::Value &value) const
    {
        const auto *text = std::get_if<std::string>(&value);
        if (!m_schema.anr || !text)
            TooComplex("ambiguous names can not be resolved here");
        return m_schema.anr(*text);
    }

    Filter Content(const SContentRestriction &content) const
    {
        const ULONG single = PROP_TYPE(content.ulPropTag) & ~ULONG{MV_FLAG};
        if (single != PT_STRING8 && single != PT_UNICODE && single != PT_BINARY)
            TooComplex("only text and bytes have a content");
        const storage::Tag tag = ComparableTag(content.ulPropTag);
        storage::Value value = ConstantOf(content.ulPropTag, content.lpProp);
        Filter::Match match = Filter::Match::Whole;
        switch (content.ulFuzzyLevel & 0xFFFF) {
        case FL_FULLSTRING:
            break;
        case FL_SUBSTRING:
            match = Filter::Match::Substring;
            break;
        case FL_PREFIX:
            match = Filter::Match::Prefix;
            break;
        default:
            throw Failure(MAPI_E_INVALID_PARAMETER,
                          "The fuzzy level " + HexText(content.ulFuzzyLevel) + " is not known.");
        }
        if (PROP_ID(tag) == kAnrId)
            return Anr(value);
        const DerivedColumn *derived = Derived(m_schema, tag);
        if (derived && match == Filter::Match::Whole)
            return Equality(*derived, tag, value);
        const bool text = single != PT_BINARY;
        const bool ignoreCase = text && (content.ulFuzzyLevel & (FL_IGNORECASE | FL_LOOSE)) != 0;
        const bool ignoreNonSpace = text && (content.ulFuzzyLevel & (FL_IGNORENONSPACE | FL_LOOSE)) != 0;
        return OnStored(Filter::Content(tag, match, std::move(value), ignoreCase, ignoreNonSpace));
    }

    Filter Property(const SPropertyRestriction &property) const
    {
        const Relation relation = RelationOf(property.relop);
        const storage::Tag tag = ComparableTag(property.ulPropTag);
        storage::Value value = ConstantOf(property.ulPropTag, property.lpProp);
        if (PROP_ID(tag) == kAnrId)
            return relation == Relation::Equal ? Anr(value)
                                               : throw Failure(MAPI_E_TOO_COMPLEX, "PR_ANR can only be equal.");
        const DerivedColumn *derived = Derived(m_schema, tag);
        if (derived && relation == Relation::Equal)
            return Equality(*derived, tag, value);
        if (derived && relation == Relation::NotEqual)
            return Filter::Negate(Equality(*derived, tag, value));
        return OnStored(Filter::Compare(tag, relation, std::move(value)));
    }

    Filter CompareProps(const SComparePropsRestriction &compare) const
    {
        const Relation relation = RelationOf(compare.relop);
        if (PROP_TYPE(compare.ulPropTag1) != PROP_TYPE(compare.ulPropTag2))
            TooComplex("the types of the properties compared differ");
        const storage::Tag left = ComparableTag(compare.ulPropTag1);
        const storage::Tag right = ComparableTag(compare.ulPropTag2);
        const storage::Property *leftConstant = Constant(m_schema, left);
        const storage::Property *rightConstant = Constant(m_schema, right);
        if (leftConstant && rightConstant)
            return Truth(storage::Matches(Filter::CompareProperties(left, relation, right), m_schema.constants));
        if (rightConstant && rightConstant->tag == right)
            return OnStored(Filter::Compare(left, relation, rightConstant->value));
        if (leftConstant && leftConstant->tag == left)
            return OnStored(Filter::Compare(right, Mirrored(relation), leftConstant->value));
        if (Derived(m_schema, left) || Derived(m_schema, right))
            TooComplex("these properties can not be compared with each other");
        return Filter::CompareProperties(left, relation, right);
    }

    Filter BitMask(const SBitMaskRestriction &mask) const
    {
        if (PROP_TYPE(mask.ulPropTag) != PT_LONG)
            TooComplex("only 32-bit integers have bits");
        if (mask.relBMR != BMR_EQZ && mask.relBMR != BMR_NEZ)
            throw Failure(MAPI_E_INVALID_PARAMETER, "The relation " + HexText(mask.relBMR) + " is not known.");
        return OnStored(Filter::Bits(mask.ulPropTag, mask.ulMask, mask.relBMR == BMR_EQZ));
    }

    Filter Size(const SSizeRestriction &size) const
    {
        const Relation relation = RelationOf(size.relop);
        const storage::Tag tag = ComparableTag(size.ulPropTag);
        const bool wide = (PROP_TYPE(size.ulPropTag) & ~ULONG{MV_FLAG}) == PT_UNICODE;
        return OnStored(Filter::ByteSize(tag, relation, size.cb, wide));
    }

    Filter Exist(const SExistRestriction &exist) const
    {
        const storage::Tag tag = ComparableTag(exist.ulPropTag);
        if (const DerivedColumn *derived = Derived(m_schema, tag))
            return Truth(derived->tag == tag);
        return OnStored(Filter::Exists(tag));
    }

    Filter Sub(const SSubRestriction &sub, int depth)
    {
        const bool recipients = sub.ulSubObject == PR_MESSAGE_RECIPIENTS;
        if (!m_schema.subObjects || (!recipients && sub.ulSubObject != PR_MESSAGE_ATTACHMENTS))
            TooComplex("rows of this table have no such parts");
        Require(sub.lpRes != nullptr, "a restriction without the one it needs");
        static const TableSchema &plain = lifetime::Lasting<TableSchema>();
        Translator parts(plain);
        parts.m_nodes = m_nodes;
        Filter child = parts.Translate(*sub.lpRes, depth + 1);
        m_nodes = parts.m_nodes;
        return recipients ? Filter::AnyRecipient(std::move(child)) : Filter::AnyAttachment(std::move(child));
    }

    const TableSchema &m_schema;
    ULONG m_nodes = 0;
};

} // namespace

Filter TranslateRestriction(const SRestriction &restriction, const TableSchema &schema)
{
    return Translator(schema).Translate(restriction, 1);
}

std::vector<storage::SortKey> TranslateSort(const SSortOrderSet &order, const TableSchema &schema)
{
    if (order.cSorts > kSortKeyLimit)
        TooComplex("there are too many sort keys");
    Require(order.cCategories <= order.cSorts && order.cExpanded <= order.cCategories, "a sort order set");
    if (order.cCategories)
        TooComplex("categories are not supported");
    std::vector<storage::SortKey> keys;
    std::vector<ULONG> ids;
    for (ULONG i = 0; i < order.cSorts; ++i) {
        const SSortOrder &sort = order.aSort[i];
        if (sort.ulOrder == TABLE_SORT_COMBINE)
            TooComplex("categories are not supported");
        Require(sort.ulOrder == TABLE_SORT_ASCEND || sort.ulOrder == TABLE_SORT_DESCEND, "a direction to sort in");
        storage::Tag tag = ComparableTag(sort.ulPropTag);
        if (std::count(ids.begin(), ids.end(), PROP_ID(tag)))
            TooComplex("a property is there twice as a sort key");
        ids.push_back(PROP_ID(tag));
        // What is the same in every row, or in none, orders nothing.
        if (Constant(schema, tag))
            continue;
        if (const DerivedColumn *derived = Derived(schema, tag)) {
            if (derived->tag != tag)
                continue;
            tag = derived->from.front();
        }
        keys.push_back({tag, sort.ulOrder == TABLE_SORT_DESCEND});
    }
    return keys;
}

} // namespace localmapi
