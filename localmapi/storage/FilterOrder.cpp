#include "localmapi/storage/FilterOrder.h"
#include "localmapi/storage/FilterMatch.h"
#include "localmapi/storage/Properties.h"
#include <algorithm>
#include <tuple>

namespace localmapi::storage
{

namespace
{

// How many properties are looked for to decide a filter; what lies in an object's own row is at hand.
int LookupsOf(const Filter &filter, ObjectKind kind)
{
    const auto lookup = [&](Tag tag) { return IsColumn(kind, tag) ? 0 : 1; };
    int sum = 0;
    for (const Filter &child : filter.children)
        sum += LookupsOf(child, kind);
    switch (filter.node) {
    case Filter::Node::And:
    case Filter::Node::Or:
    case Filter::Node::Not:
        return sum;
    case Filter::Node::AnyRecipient:
    case Filter::Node::AnyAttachment:
        return 10 + sum; // they are looked for first, and asked one by one
    case Filter::Node::CompareProperties:
        return lookup(filter.tag) + lookup(filter.otherTag);
    default:
        return lookup(filter.tag);
    }
}

// Whether an object that lacks the property satisfies the filter: then many do.
bool IsLax(const Filter &filter)
{
    return filter.node == Filter::Node::Compare && Related(-1, filter.relation);
}

struct Part {
    int lookups;
    bool indecisive;
    const Filter *filter;
};

} // namespace

std::vector<const Filter *> InOrderOfCost(const Filter &list, ObjectKind kind)
{
    const bool isAnd = list.node == Filter::Node::And;
    std::vector<Part> parts;
    for (const Filter &child : list.children)
        parts.push_back({LookupsOf(child, kind), IsLax(child) == isAnd, &child});
    std::stable_sort(parts.begin(), parts.end(), [](const Part &left, const Part &right) {
        return std::tie(left.lookups, left.indecisive) < std::tie(right.lookups, right.indecisive);
    });
    std::vector<const Filter *> order;
    for (const Part &part : parts)
        order.push_back(part.filter);
    return order;
}

} // namespace localmapi::storage
