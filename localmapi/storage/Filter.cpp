// Filters evaluated in memory, with the meaning that the ones in SQL have.
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/Error.h"
#include "localmapi/storage/FilterMatch.h"
#include "localmapi/storage/Text.h"
#include "platform/lifetime/Lasting.h"
#include <algorithm>
#include <cctype>
#include <cmath>

namespace localmapi::storage
{

Filter Filter::All(std::vector<Filter> children)
{
    Filter filter;
    filter.node = Node::And;
    filter.children = std::move(children);
    return filter;
}

Filter Filter::Any(std::vector<Filter> children)
{
    Filter filter;
    filter.node = Node::Or;
    filter.children = std::move(children);
    return filter;
}

namespace
{

Filter WithChild(Filter::Node node, Filter child)
{
    Filter filter;
    filter.node = node;
    filter.children.push_back(std::move(child));
    return filter;
}

Filter OnTag(Filter::Node node, Tag tag)
{
    Filter filter;
    filter.node = node;
    filter.tag = tag;
    return filter;
}

} // namespace

Filter Filter::Negate(Filter child)
{
    return WithChild(Node::Not, std::move(child));
}

Filter Filter::AnyRecipient(Filter child)
{
    return WithChild(Node::AnyRecipient, std::move(child));
}

Filter Filter::AnyAttachment(Filter child)
{
    return WithChild(Node::AnyAttachment, std::move(child));
}

Filter Filter::Exists(Tag tag)
{
    return OnTag(Node::Exists, tag);
}

Filter Filter::Compare(Tag tag, Relation relation, Value value)
{
    if (!Fits(tag & ~Tag{kMultiple}, value))
        throw Error(Fault::Invalid, "A filter compares a property with a value of another type.");
    Filter filter = OnTag(Node::Compare, tag);
    filter.relation = relation;
    filter.value = std::move(value);
    return filter;
}

Filter Filter::CompareProperties(Tag tag, Relation relation, Tag otherTag)
{
    if (((tag ^ otherTag) & 0xFFFF) != 0)
        throw Error(Fault::Invalid, "A filter compares two properties of different types.");
    Filter filter = OnTag(Node::CompareProperties, tag);
    filter.relation = relation;
    filter.otherTag = otherTag;
    return filter;
}

Filter Filter::Content(Tag tag, Match match, Value value, bool ignoreCase, bool ignoreNonSpace)
{
    bool text = TagType(tag) == Type::Text && std::holds_alternative<std::string>(value);
    bool binary = TagType(tag) == Type::Binary && std::holds_alternative<Bytes>(value);
    if (!text && !binary)
        throw Error(Fault::Invalid, "A filter looks for content in a property that is neither text nor binary.");
    Filter filter = OnTag(Node::Content, tag);
    filter.match = match;
    filter.value = std::move(value);
    filter.ignoreCase = text && ignoreCase;
    filter.ignoreNonSpace = text && ignoreNonSpace;
    return filter;
}

Filter Filter::Bits(Tag tag, std::uint32_t mask, bool zero)
{
    if (TagType(tag) != Type::Int32 || IsMultiple(tag))
        throw Error(Fault::Invalid, "A filter looks for bits in a property that is no 32-bit number.");
    Filter filter = OnTag(Node::Bits, tag);
    filter.mask = mask;
    filter.zero = zero;
    return filter;
}

Filter Filter::ByteSize(Tag tag, Relation relation, std::uint64_t size, bool wide)
{
    Filter filter = OnTag(Node::Size, tag);
    filter.relation = relation;
    filter.size = size;
    filter.wide = wide;
    return filter;
}

namespace
{

template <class T> int Order(const T &left, const T &right)
{
    return left < right ? -1 : right < left ? 1 : 0;
}
int OrderOf(double left, double right) // a value that is no number comes last, and equals itself
{
    if (std::isnan(left) || std::isnan(right))
        return std::isnan(left) - std::isnan(right);
    return Order(left, right);
}
int OrderOf(float left, float right)
{
    return OrderOf(double{left}, double{right});
}
int OrderOf(const std::string &left, const std::string &right)
{
    return CompareText(left, right);
}
int OrderOf(const Bytes &left, const Bytes &right)
{
    return Order(left, right);
}
template <class T> int OrderOf(const T &left, const T &right)
{
    return Order(left, right);
}
template <class T> int OrderOf(const std::vector<T> &left, const std::vector<T> &right)
{
    for (std::size_t i = 0; i < left.size() && i < right.size(); ++i)
        if (int one = OrderOf(left[i], right[i]))
            return one;
    return Order(left.size(), right.size());
}

} // namespace

int CompareValues(const Value &left, const Value &right)
{
    if (left.index() != right.index()) // only absence may differ within one tag
        return IsAbsent(left) ? -1 : IsAbsent(right) ? 1 : Order(left.index(), right.index());
    return std::visit(
        [&](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate> || std::is_same_v<Held, SpoolPtr>)
                return 0;
            else if constexpr (std::is_same_v<Held, StoredStream>)
                return Order(held.id, std::get<Held>(right).id);
            else
                return OrderOf(held, std::get<Held>(right));
        },
        left);
}

bool Related(int order, Relation relation)
{
    switch (relation) {
    case Relation::Less:
        return order < 0;
    case Relation::LessOrEqual:
        return order <= 0;
    case Relation::Greater:
        return order > 0;
    case Relation::GreaterOrEqual:
        return order >= 0;
    case Relation::Equal:
        return order == 0;
    case Relation::NotEqual:
        return order != 0;
    }
    return false;
}

bool Contains(std::string_view value, std::string_view pattern, Filter::Match match)
{
    switch (match) {
    case Filter::Match::Whole:
        return value == pattern;
    case Filter::Match::Substring:
        return value.find(pattern) != value.npos;
    case Filter::Match::Prefix:
        return value.starts_with(pattern);
    case Filter::Match::WordPrefix:
        for (std::size_t at = value.find(pattern); at != value.npos; at = value.find(pattern, at + 1))
            if (BeginsWord(value, at))
                return true;
        return false;
    }
    return false;
}

bool BeginsWord(std::string_view text, std::size_t at)
{
    const auto before = static_cast<unsigned char>(at ? text[at - 1] : ' ');
    return before < 0x80 && !std::isalnum(before);
}

std::string Folded(const Filter &filter, std::string_view text)
{
    return filter.ignoreCase || filter.ignoreNonSpace ? FoldText(text, filter.ignoreCase, filter.ignoreNonSpace)
                                                      : std::string(text);
}

namespace
{

// Calls `test` with each single value of `held` as a Value; true if it is for one of them.
template <class Test> bool AnyValue(const Value &held, Test test)
{
    return std::visit(
        [&](const auto &value) {
            using Held = std::decay_t<decltype(value)>;
            if constexpr (requires { typename Held::value_type; } && !std::is_same_v<Held, std::string> &&
                          !std::is_same_v<Held, Bytes> && !std::is_same_v<Held, Guid>)
                return std::any_of(value.begin(), value.end(), [&](const auto &one) { return test(Value(one)); });
            else
                return test(held);
        },
        held);
}

std::string_view RawBytes(const Value &value)
{
    if (auto text = std::get_if<std::string>(&value))
        return *text;
    if (auto bytes = std::get_if<Bytes>(&value))
        return {reinterpret_cast<const char *>(bytes->data()), bytes->size()};
    return {};
}

std::uint64_t SizeFor(const Filter &filter, const Value &value)
{
    if (!filter.wide || TagType(filter.tag) != Type::Text)
        return ByteSize(value);
    std::uint64_t sum = 0;
    AnyValue(value, [&](const Value &one) {
        sum += Utf16Size(RawBytes(one));
        return false;
    });
    return sum;
}

bool LeafMatches(const Filter &filter, const PropertyBag &row)
{
    static const Value &kAbsent = lifetime::Lasting<Value>();
    const Value *found = row.Find(filter.tag);
    const Value &value = found ? *found : kAbsent;
    switch (filter.node) {
    case Filter::Node::Exists:
        return found != nullptr;
    case Filter::Node::Compare:
        if (!found)
            return Related(-1, filter.relation);
        return AnyValue(value,
                        [&](const Value &one) { return Related(CompareValues(one, filter.value), filter.relation); });
    case Filter::Node::CompareProperties: {
        const Value *other = row.Find(filter.otherTag);
        return Related(CompareValues(value, other ? *other : kAbsent), filter.relation);
    }
    case Filter::Node::Content: {
        std::string pattern = Folded(filter, RawBytes(filter.value));
        return found && AnyValue(value, [&](const Value &one) {
                   return Contains(Folded(filter, RawBytes(one)), pattern, filter.match);
               });
    }
    case Filter::Node::Bits: {
        auto bits = std::get_if<std::int32_t>(&value);
        return bits && ((static_cast<std::uint32_t>(*bits) & filter.mask) == 0) == filter.zero;
    }
    case Filter::Node::Size:
        return Related(found ? Order(SizeFor(filter, value), filter.size) : -1, filter.relation);
    default:
        return false;
    }
}

} // namespace

bool Matches(const Filter &filter, const PropertyBag &row)
{
    auto child = [&](const Filter &one) { return Matches(one, row); };
    switch (filter.node) {
    case Filter::Node::And:
        return std::all_of(filter.children.begin(), filter.children.end(), child);
    case Filter::Node::Or:
        return std::any_of(filter.children.begin(), filter.children.end(), child);
    case Filter::Node::Not:
        return !child(filter.children.at(0));
    default:
        return LeafMatches(filter, row);
    }
}

} // namespace localmapi::storage
