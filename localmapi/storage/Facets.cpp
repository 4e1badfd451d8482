// A facet is a container's messages of one combination of flags, class and importance. Counts of them are kept with
// every write, so that counting rows reads no messages.
#include "localmapi/storage/Facets.h"
#include "localmapi/storage/Tags.h"
#include <algorithm>

namespace localmapi::storage
{

PropertyBag FacetKey::Bag() const
{
    PropertyBag bag;
    bag.Set(kMessageFlags, flags);
    bag.Set(kHasAttachments, (flags & kFlagHasAttachments) != 0);
    if (messageClass)
        bag.Set(kMessageClass, *messageClass);
    if (importance)
        bag.Set(kImportance, *importance);
    return bag;
}

bool IsFacetTag(Tag tag)
{
    return tag == kMessageFlags || tag == kMessageClass || tag == kImportance || tag == kHasAttachments;
}

namespace
{

FacetKey KeyFrom(const Statement &row, int first)
{
    FacetKey key;
    key.flags = row.Integer32(first);
    if (!row.IsNull(first + 1))
        key.messageClass = row.Text(first + 1);
    if (!row.IsNull(first + 2))
        key.importance = row.Integer32(first + 2);
    return key;
}

bool DecidedByFacet(const Filter &leaf)
{
    switch (leaf.node) {
    case Filter::Node::Exists:
    case Filter::Node::Compare:
    case Filter::Node::Content:
    case Filter::Node::Bits:
    case Filter::Node::Size:
        return IsFacetTag(leaf.tag);
    case Filter::Node::CompareProperties:
        return IsFacetTag(leaf.tag) && IsFacetTag(leaf.otherTag);
    default:
        return false;
    }
}

Residue Known(bool value)
{
    return {value, !value, {}};
}

// And and Or, the one being the other with true and false exchanged.
Residue ResidueOfList(const Filter &filter, const PropertyBag &facet)
{
    bool isAnd = filter.node == Filter::Node::And;
    Filter rest;
    rest.node = filter.node;
    for (const Filter &child : filter.children) {
        Residue residue = ResidueFor(child, facet);
        if (isAnd ? residue.never : residue.always)
            return Known(!isAnd);
        if (!residue.always && !residue.never)
            rest.children.push_back(std::move(residue.filter));
    }
    if (rest.children.empty())
        return Known(isAnd);
    if (rest.children.size() == 1)
        return {false, false, std::move(rest.children.front())};
    return {false, false, std::move(rest)};
}

} // namespace

Residue ResidueFor(const Filter &filter, const PropertyBag &facet)
{
    switch (filter.node) {
    case Filter::Node::And:
    case Filter::Node::Or:
        return ResidueOfList(filter, facet);
    case Filter::Node::Not: {
        Residue residue = ResidueFor(filter.children.at(0), facet);
        if (residue.always || residue.never)
            return Known(residue.never);
        return {false, false, Filter::Negate(std::move(residue.filter))};
    }
    default:
        return DecidedByFacet(filter) ? Known(Matches(filter, facet)) : Residue{false, false, filter};
    }
}

bool IsDecidedByFacets(const Filter &filter)
{
    if (filter.node != Filter::Node::And && filter.node != Filter::Node::Or && filter.node != Filter::Node::Not)
        return DecidedByFacet(filter);
    return std::all_of(filter.children.begin(), filter.children.end(), IsDecidedByFacets);
}

std::vector<Facet> FacetsOf(Connection &connection, ObjectId container)
{
    Statement rows = connection.Prepare(
        "SELECT id, count, bytes, change, flags, class, importance FROM facet WHERE container = ? ORDER BY id");
    rows.Bind(container);
    std::vector<Facet> facets;
    while (rows.Step())
        facets.push_back({rows.Integer(0), KeyFrom(rows, 4), rows.Integer(1), rows.Integer(2), rows.Integer(3)});
    return facets;
}

std::pair<ObjectId, FacetKey> KeyOfFacet(Connection &connection, std::int64_t facet)
{
    Statement row = connection.Prepare("SELECT container, flags, class, importance FROM facet WHERE id = ?");
    row.Bind(facet);
    if (!row.Step())
        throw Error(Fault::Corrupt, "A message in the file belongs to no facet.");
    return {row.Integer(0), KeyFrom(row, 1)};
}

std::int64_t FacetWriter::Enter(Connection &connection, ObjectId container, const FacetKey &key, Tally tally)
{
    auto [known, isNew] = m_known.try_emplace({container, key}, 0);
    if (isNew) {
        Statement find = connection.Prepare(
            "SELECT id FROM facet WHERE container = ? AND flags = ? AND class IS ? AND importance IS ?");
        find.Bind(container, key.flags, key.messageClass, key.importance);
        if (find.Step()) {
            known->second = find.Integer(0);
        } else {
            Statement make =
                connection.Prepare("INSERT INTO facet (container, flags, class, importance, count, change) "
                                   "VALUES (?, ?, ?, ?, 0, 0) RETURNING id");
            make.Bind(container, key.flags, key.messageClass, key.importance);
            make.Step();
            known->second = make.Integer(0);
        }
    }
    auto [delta, first] = m_deltas.try_emplace(known->second, Tally{0, 0});
    delta->second.messages += tally.messages;
    delta->second.bytes += tally.bytes;
    return known->second;
}

void FacetWriter::Leave(std::int64_t facet, Tally tally)
{
    auto [delta, first] = m_deltas.try_emplace(facet, Tally{0, 0});
    delta->second.messages -= tally.messages;
    delta->second.bytes -= tally.bytes;
}

std::set<ObjectId> FacetWriter::Settle(Connection &connection, ChangeNumber change)
{
    std::set<ObjectId> containers;
    Statement update =
        connection.Prepare("UPDATE facet SET count = count + ?2, bytes = bytes + ?3, change = ?4 WHERE id = ?1 "
                           "RETURNING container");
    Statement remove = connection.Prepare("DELETE FROM facet WHERE id = ?1 AND count = 0");
    m_growth.clear();
    for (auto [facet, delta] : m_deltas) {
        if (update.Bind(facet, delta.messages, delta.bytes, change).Step()) {
            containers.insert(update.Integer(0));
            m_growth[update.Integer(0)] += delta.bytes;
        }
        update.Run();
        remove.Bind(facet).Run();
    }
    m_known.clear();
    m_deltas.clear();
    return containers;
}

} // namespace localmapi::storage
