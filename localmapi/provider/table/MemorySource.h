// Rows held in memory as a source for tables.
#pragma once
#include "localmapi/provider/table/RowSource.h"

#include <vector>

namespace localmapi
{

class MemorySource final : public RowSource
{
  public:
    // Rows without PR_INSTANCE_KEY get one. The order of the rows is that of a table that is not sorted.
    MemorySource(std::vector<storage::PropertyBag> rows, TableSchema schema);

    const TableSchema &Schema() const override { return m_schema; }
    ULONG Type() const override { return TBLTYPE_SNAPSHOT; }
    void Arrange(storage::Filter filter, std::vector<storage::SortKey> sort) override;
    std::uint64_t Count() const override { return m_order.size(); }
    std::uint64_t CountBefore(const storage::Place &place) const override { return Offset(place); }
    storage::Moved Move(const storage::Place &from, std::int64_t rows) const override;
    std::vector<storage::Row> Read(const storage::Place &from, storage::Direction direction, std::size_t rows,
                                   const std::vector<storage::Tag> &columns) const override;
    std::optional<storage::Row> Find(const storage::Place &from, storage::Direction direction,
                                     const storage::Filter &filter) const override;
    bool Holds(const storage::Place &) const override { return true; }
    std::unique_ptr<storage::Watch> MakeWatch() const override { return nullptr; }
    storage::PropertyBag ReadWhole(storage::ObjectId row) const override;

  private:
    const storage::PropertyBag &Bag(std::size_t offset) const { return m_rows[m_order[offset]]; }
    std::size_t Offset(const storage::Place &place) const;
    storage::Place PlaceAt(std::size_t offset) const;
    storage::Row RowAt(std::size_t offset, const std::vector<storage::Tag> &columns) const;

    const std::vector<storage::PropertyBag> m_rows;
    const TableSchema m_schema;
    // The rows that the filter shows, in order, as indexes; and the way back. A row's number is its index and one.
    std::vector<std::size_t> m_order;
    std::vector<std::size_t> m_offsets;
};

HRESULT CreateMemoryTable(std::vector<storage::PropertyBag> rows, TableSchema schema, IMAPITable **table);

} // namespace localmapi
