// Rows in order and places among them. Rows that are equal by the sort follow each other by age, in the direction of
// the first key.
#include "TableModel.h"
#include <algorithm>

namespace mapitest
{

namespace
{

const Value *Pointer(const std::optional<Value> &value)
{
    return value ? &*value : nullptr;
}

} // namespace

std::vector<SortKey> TableModel::Keys() const
{
    return sort.empty() ? std::vector<SortKey>{{PR_CLIENT_SUBMIT_TIME, false}} : sort;
}

int TableModel::Order(const Message &message, const Place &place) const
{
    const auto keys = Keys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const int order = Compare(Find(message.content.properties, keys[i].tag), Pointer(place.keys[i]));
        if (order)
            return keys[i].descending ? -order : order;
    }
    const int age = message.sequence < place.sequence ? -1 : message.sequence > place.sequence;
    return keys.front().descending ? -age : age;
}

TableModel::Rows TableModel::Shown(const Model &model) const
{
    Rows rows;
    for (const Message *message : model.In(folder))
        if (Shows(*message))
            rows.push_back(message);
    const auto keys = Keys();
    std::sort(rows.begin(), rows.end(), [&](const Message *left, const Message *right) {
        for (const SortKey &key : keys) {
            const int order =
                Compare(Find(left->content.properties, key.tag), Find(right->content.properties, key.tag));
            if (order)
                return key.descending ? order > 0 : order < 0;
        }
        return keys.front().descending ? left->sequence > right->sequence : left->sequence < right->sequence;
    });
    return rows;
}

Place TableModel::Beside(const Message &message, Place::Where where) const
{
    Place place{where, {}, message.sequence};
    for (const SortKey &key : Keys()) {
        const Value *value = Find(message.content.properties, key.tag);
        place.keys.push_back(value ? std::optional(*value) : std::nullopt);
    }
    return place;
}

std::size_t TableModel::Before(const Rows &rows, const Place &place) const
{
    if (place.where == Place::Where::Beginning)
        return 0;
    if (place.where == Place::Where::End)
        return rows.size();
    return static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), [&](const Message *row) {
        const int order = Order(*row, place);
        return order < 0 || (order == 0 && place.where == Place::Where::After);
    }));
}

bool TableModel::Holds(const Rows &rows, const Place &place) const
{
    return std::any_of(rows.begin(), rows.end(), [&](const Message *row) { return Order(*row, place) == 0; });
}

std::pair<Place, LONG> TableModel::Move(const Rows &rows, const Place &from, LONG distance) const
{
    if (distance == 0)
        return {from, 0};
    const auto at = static_cast<std::int64_t>(Before(rows, from));
    const auto size = static_cast<std::int64_t>(rows.size());
    const std::int64_t wanted = at + distance;
    if (wanted > size)
        return {Place{Place::Where::End, {}, 0}, static_cast<LONG>(size - at)};
    if (wanted < 0)
        return {Place{}, static_cast<LONG>(-at)};
    if (distance > 0)
        return {Beside(*rows[static_cast<std::size_t>(wanted - 1)], Place::Where::After), distance};
    return {Beside(*rows[static_cast<std::size_t>(wanted)], Place::Where::Before), distance};
}

} // namespace mapitest
