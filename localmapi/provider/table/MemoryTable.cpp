#include "localmapi/provider/table/MemoryTable.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/table/MemorySource.h"
#include "localmapi/provider/table/Table.h"

#include <algorithm>

namespace localmapi
{

class MemoryRowStore
{
  public:
    std::vector<storage::PropertyBag> rows;
};

MemoryRows::MemoryRows() : m_rows(std::make_unique<MemoryRowStore>())
{
}
MemoryRows::MemoryRows(MemoryRows &&) noexcept = default;
MemoryRows &MemoryRows::operator=(MemoryRows &&) noexcept = default;
MemoryRows::~MemoryRows() = default;

HRESULT MemoryRows::Add(ULONG count, const SPropValue *values)
{
    return Guarded([&]() -> HRESULT {
        m_rows->rows.push_back(BagFromProps(count, values));
        return S_OK;
    });
}

std::unique_ptr<MemoryRowStore> MemoryRows::Take()
{
    return std::exchange(m_rows, std::make_unique<MemoryRowStore>());
}

namespace
{

// Properties of the rows that no column of the set names.
std::vector<storage::Tag> FurtherColumns(const std::vector<storage::PropertyBag> &rows)
{
    std::vector<storage::Tag> tags;
    for (const storage::PropertyBag &row : rows)
        for (const storage::Property &property : row)
            tags.push_back(property.tag);
    std::sort(tags.begin(), tags.end());
    tags.erase(std::unique(tags.begin(), tags.end()), tags.end());
    return tags;
}

std::vector<storage::PropertyBag> WithInstanceKeys(std::vector<storage::PropertyBag> rows)
{
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].FindId(PROP_ID(PR_INSTANCE_KEY)))
            continue;
        storage::Bytes key(4);
        for (std::size_t byte = 0; byte < key.size(); ++byte)
            key[byte] = static_cast<std::uint8_t>((i + 1) >> (24 - 8 * byte));
        rows[i].Set(PR_INSTANCE_KEY, std::move(key));
    }
    return rows;
}

} // namespace

HRESULT CreateMemoryTable(MemoryRows rows, MemoryTableSettings settings, IMAPITable **table)
{
    return Guarded([&]() -> HRESULT {
        TableSchema schema;
        for (const ULONG column : settings.columns)
            schema.columns.push_back(StorageTag(column));
        schema.unicode = settings.unicode;
        schema.bookmarks = settings.bookmarks;
        schema.behaviour = std::move(settings.behaviour);
        return CreateMemoryTable(std::move(rows.Take()->rows), std::move(schema), table);
    });
}

HRESULT CreateMemoryTable(std::vector<storage::PropertyBag> rows, TableSchema schema, IMAPITable **table)
{
    return Guarded([&]() -> HRESULT {
        rows = WithInstanceKeys(std::move(rows));
        auto further = FurtherColumns(rows);
        schema.furtherColumns.insert(schema.furtherColumns.end(), further.begin(), further.end());
        return CreateTable(std::make_unique<MemorySource>(std::move(rows), std::move(schema)), table);
    });
}

} // namespace localmapi
