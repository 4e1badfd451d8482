// Rows in memory, filtered and ordered as an array of indexes. Places are those of the storage, so that the table above
// need not know the difference.
#include "localmapi/provider/table/MemorySource.h"
#include "platform/lifetime/Lasting.h"

#include <algorithm>
#include <numeric>

namespace localmapi
{

using storage::Place;

namespace
{

const storage::Value &g_none = lifetime::Lasting<storage::Value>();

const storage::Value &ValueOf(const storage::PropertyBag &bag, storage::Tag tag)
{
    const storage::Value *value = bag.Find(tag);
    return value ? *value : g_none;
}

} // namespace

MemorySource::MemorySource(std::vector<storage::PropertyBag> rows, TableSchema schema)
    : m_rows(std::move(rows)), m_schema(std::move(schema)), m_offsets(m_rows.size())
{
    Arrange({}, {});
}

void MemorySource::Arrange(storage::Filter filter, std::vector<storage::SortKey> sort)
{
    std::vector<std::size_t> order;
    for (std::size_t row = 0; row < m_rows.size(); ++row)
        if (storage::Matches(filter, m_rows[row]))
            order.push_back(row);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        for (const storage::SortKey &key : sort) {
            const int compared =
                storage::CompareValues(ValueOf(m_rows[left], key.tag), ValueOf(m_rows[right], key.tag));
            if (compared != 0)
                return key.descending ? compared > 0 : compared < 0;
        }
        return false;
    });
    m_order = std::move(order);
    for (std::size_t offset = 0; offset < m_order.size(); ++offset)
        m_offsets[m_order[offset]] = offset;
}

std::size_t MemorySource::Offset(const Place &place) const
{
    switch (place.where) {
    case Place::Where::Beginning:
        return 0;
    case Place::Where::End:
        return m_order.size();
    case Place::Where::Before:
        return m_offsets[static_cast<std::size_t>(place.id - 1)];
    case Place::Where::After:
        return m_offsets[static_cast<std::size_t>(place.id - 1)] + 1;
    }
    return 0;
}

Place MemorySource::PlaceAt(std::size_t offset) const
{
    if (offset >= m_order.size())
        return Place::end();
    return {Place::Where::Before, {}, static_cast<storage::ObjectId>(m_order[offset] + 1)};
}

storage::Moved MemorySource::Move(const Place &from, std::int64_t rows) const
{
    const auto start = static_cast<std::int64_t>(Offset(from));
    const auto size = static_cast<std::int64_t>(m_order.size());
    const std::int64_t target = std::clamp<std::int64_t>(start + rows, 0, size);
    return {PlaceAt(static_cast<std::size_t>(target)), target - start};
}

storage::Row MemorySource::RowAt(std::size_t offset, const std::vector<storage::Tag> &columns) const
{
    storage::Row row;
    row.id = static_cast<storage::ObjectId>(m_order[offset] + 1);
    row.values.reserve(columns.size());
    for (const storage::Tag column : columns)
        row.values.push_back(ValueOf(Bag(offset), column));
    return row;
}

std::vector<storage::Row> MemorySource::Read(const Place &from, storage::Direction direction, std::size_t rows,
                                             const std::vector<storage::Tag> &columns) const
{
    const std::size_t origin = Offset(from);
    const bool forward = direction == storage::Direction::Forward;
    const std::size_t count = std::min(rows, forward ? m_order.size() - origin : origin);
    const std::size_t first = forward ? origin : origin - count;
    std::vector<storage::Row> read;
    read.reserve(count);
    for (std::size_t offset = first; offset < first + count; ++offset)
        read.push_back(RowAt(offset, columns));
    return read;
}

std::optional<storage::Row> MemorySource::Find(const Place &from, storage::Direction direction,
                                               const storage::Filter &filter) const
{
    const std::size_t origin = Offset(from);
    if (direction == storage::Direction::Forward) {
        for (std::size_t offset = origin; offset < m_order.size(); ++offset)
            if (storage::Matches(filter, Bag(offset)))
                return RowAt(offset, {});
    } else {
        for (std::size_t offset = origin; offset-- > 0;)
            if (storage::Matches(filter, Bag(offset)))
                return RowAt(offset, {});
    }
    return {};
}

storage::PropertyBag MemorySource::ReadWhole(storage::ObjectId row) const
{
    return m_rows[static_cast<std::size_t>(row - 1)];
}

} // namespace localmapi
