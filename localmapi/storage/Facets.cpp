// A facet is a container's messages of one combination of flags, class and importance. Counts of them are kept with
// every write, so that counting rows reads no messages.
#include "localmapi/storage/Facets.h"
#include "localmapi/storage/Tags.h"
#include <algorithm>

namespace localmapi::storage
{

PropertyBag FacetKey::bag() const
{
    PropertyBag bag;
    bag.set(kMessageFlags, flags);
    bag.set(kHasAttachments, (flags & kFlagHasAttachments) != 0);
    if (messageClass)
        bag.set(kMessageClass, *messageClass);
    if (importance)
        bag.set(kImportance, *importance);
    return bag;
}

bool isFacetTag(Tag tag)
{
    return tag == kMessageFlags || tag == kMessageClass || tag == kImportance || tag == kHasAttachments;
}

namespace
{

FacetKey keyFrom(const Statement &row, int first)
{
    FacetKey key;
    key.flags = row.integer32(first);
    if (!row.isNull(first + 1))
        key.messageClass = row.text(first + 1);
    if (!row.isNull(first + 2))
        key.importance = row.integer32(first + 2);
    return key;
}

bool decidedByFacet(const Filter &leaf)
{
    switch (leaf.node) {
    case Filter::Node::Exists:
    case Filter::Node::Compare:
    case Filter::Node::Content:
    case Filter::Node::Bits:
    case Filter::Node::Size:
        return isFacetTag(leaf.tag);
    case Filter::Node::CompareProperties:
        return isFacetTag(leaf.tag) && isFacetTag(leaf.otherTag);
    default:
        return false;
    }
}

Residue known(bool value)
{
    return {value, !value, {}};
}

// And and Or, the one being the other with true and false exchanged.
Residue residueOfList(const Filter &filter, const PropertyBag &facet)
{
    bool isAnd = filter.node == Filter::Node::And;
    Filter rest;
    rest.node = filter.node;
    for (const Filter &child : filter.children) {
        Residue residue = residueFor(child, facet);
        if (isAnd ? residue.never : residue.always)
            return known(!isAnd);
        if (!residue.always && !residue.never)
            rest.children.push_back(std::move(residue.filter));
    }
    if (rest.children.empty())
        return known(isAnd);
    if (rest.children.size() == 1)
        return {false, false, std::move(rest.children.front())};
    return {false, false, std::move(rest)};
}

} // namespace

Residue residueFor(const Filter &filter, const PropertyBag &facet)
{
    switch (filter.node) {
    case Filter::Node::And:
    case Filter::Node::Or:
        return residueOfList(filter, facet);
    case Filter::Node::Not: {
        Residue residue = residueFor(filter.children.at(0), facet);
        if (residue.always || residue.never)
            return known(residue.never);
        return {false, false, Filter::negate(std::move(residue.filter))};
    }
    default:
        return decidedByFacet(filter) ? known(matches(filter, facet)) : Residue{false, false, filter};
    }
}

bool isDecidedByFacets(const Filter &filter)
{
    if (filter.node != Filter::Node::And && filter.node != Filter::Node::Or && filter.node != Filter::Node::Not)
        return decidedByFacet(filter);
    return std::all_of(filter.children.begin(), filter.children.end(), isDecidedByFacets);
}

std::vector<Facet> facetsOf(Connection &connection, ObjectId container)
{
    Statement rows = connection.prepare(
        "SELECT id, count, change, flags, class, importance FROM facet WHERE container = ? ORDER BY id");
    rows.bind(container);
    std::vector<Facet> facets;
    while (rows.step())
        facets.push_back({rows.integer(0), keyFrom(rows, 3), rows.integer(1), rows.integer(2)});
    return facets;
}

std::pair<ObjectId, FacetKey> facetKey(Connection &connection, std::int64_t facet)
{
    Statement row = connection.prepare("SELECT container, flags, class, importance FROM facet WHERE id = ?");
    row.bind(facet);
    if (!row.step())
        throw Error(Fault::Corrupt, "A message in the file belongs to no facet.");
    return {row.integer(0), keyFrom(row, 1)};
}

std::int64_t FacetWriter::enter(Connection &connection, ObjectId container, const FacetKey &key, std::int64_t messages)
{
    auto [known, isNew] = m_known.try_emplace({container, key}, 0);
    if (isNew) {
        Statement find = connection.prepare(
            "SELECT id FROM facet WHERE container = ? AND flags = ? AND class IS ? AND importance IS ?");
        find.bind(container, key.flags, key.messageClass, key.importance);
        if (find.step()) {
            known->second = find.integer(0);
        } else {
            Statement make =
                connection.prepare("INSERT INTO facet (container, flags, class, importance, count, change) "
                                   "VALUES (?, ?, ?, ?, 0, 0) RETURNING id");
            make.bind(container, key.flags, key.messageClass, key.importance);
            make.step();
            known->second = make.integer(0);
        }
    }
    m_deltas[known->second] += messages;
    return known->second;
}

std::set<ObjectId> FacetWriter::settle(Connection &connection, ChangeNumber change)
{
    std::set<ObjectId> containers;
    Statement update =
        connection.prepare("UPDATE facet SET count = count + ?2, change = ?3 WHERE id = ?1 RETURNING container");
    Statement remove = connection.prepare("DELETE FROM facet WHERE id = ?1 AND count = 0");
    for (auto [facet, delta] : m_deltas) {
        if (update.bind(facet, delta, change).step())
            containers.insert(update.integer(0));
        update.run();
        remove.bind(facet).run();
    }
    m_known.clear();
    m_deltas.clear();
    return containers;
}

} // namespace localmapi::storage
