// Where a table's rows are. The table above it knows cursors, bookmarks and columns; a source knows rows in an order,
// under a filter, and places between them that stay good while rows come and go.
#pragma once
#include "localmapi/provider/table/TableSchema.h"
#include "localmapi/storage/Watch.h"
#include <mapix.h>
#include <memory>

namespace localmapi
{

class RowSource
{
  public:
    virtual ~RowSource() = default;

    virtual const TableSchema &Schema() const = 0;
    // TBLTYPE_...
    virtual ULONG Type() const = 0;
    // Replaces filter and order; an empty order is the source's own. Places from before are void.
    virtual void Arrange(storage::Filter filter, std::vector<storage::SortKey> sort) = 0;

    virtual std::uint64_t Count() const = 0;
    virtual std::uint64_t CountBefore(const storage::Place &place) const = 0;
    virtual storage::Moved Move(const storage::Place &from, std::int64_t rows) const = 0;
    // Up to `rows` rows after the place, or before it; always in the order of the table.
    virtual std::vector<storage::Row> Read(const storage::Place &from, storage::Direction direction, std::size_t rows,
                                           const std::vector<storage::Tag> &columns) const = 0;
    virtual std::optional<storage::Row> Find(const storage::Place &from, storage::Direction direction,
                                             const storage::Filter &filter) const = 0;
    virtual bool Holds(const storage::Place &place) const = 0;
    // What follows the rows that the source shows; nothing for rows that never change.
    virtual std::unique_ptr<storage::Watch> MakeWatch() const = 0;
    // Everything stored with a row, for columns whose type the client leaves open.
    virtual storage::PropertyBag ReadWhole(storage::ObjectId row) const = 0;
};

} // namespace localmapi
