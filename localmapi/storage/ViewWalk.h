// How a view is answered. Messages of a folder are found through its facets: those that the filter excludes are not
// looked at, those that it accepts whole are counted from their facets, and in the order of an indexed time their
// rows are merged from one index walk a facet. Everything else is one statement with a WHERE and an ORDER BY.
#pragma once
#include "localmapi/storage/Database.h"
#include "localmapi/storage/FilterSql.h"
#include <functional>

namespace localmapi::storage
{

class Walk
{
  public:
    Walk(Database &database, Connection &connection, const Container &container, const Filter &filter,
         const std::vector<SortKey> &sort);

    std::uint64_t Count();
    std::uint64_t CountBefore(const Place &place);
    // Gives up to `rows` rows, with id and keys (and a folder's depth as the only value), as they come in that
    // direction.
    void Visit(const Place &from, Direction direction, std::uint64_t rows, const std::function<void(Row &&)> &visit);
    bool Holds(const Place &place);
    // One row, as Visit() gives it; nothing when the view does not show it.
    std::optional<Row> FindRow(ObjectId id);
    // Whether a row comes before another one in the order of the view.
    bool Precedes(const Row &left, const Row &right) const;

  private:
    // One facet that has rows of the view; `condition` is what its rows must still satisfy (empty: nothing).
    struct Branch {
        std::int64_t facet;
        std::int64_t count;
        ChangeNumber change;
        SqlText condition;
    };
    class FacetCursor;

    bool IsMessages() const;
    bool IsIndexed() const { return m_timeColumn != nullptr; }
    void MakeBranches(const Filter &filter);
    SqlText RowsOf(const Branch &branch) const;
    SqlText EveryRow() const;
    SqlText Beyond(const Place &place, Direction direction) const;
    std::uint64_t CountRows(const SqlText &from);
    std::uint64_t CountBranch(const Branch &branch);
    void WalkMerged(const Place &from, Direction direction, std::uint64_t rows,
                    const std::function<void(Row &&)> &visit);
    void WalkSorted(const Place &from, Direction direction, std::uint64_t rows,
                    const std::function<void(Row &&)> &visit);
    SqlText SelectionSql() const;
    Row RowFrom(const Statement &statement) const;
    bool Ascending(const SortKey &key, Direction direction) const
    {
        return key.descending != (direction == Direction::Forward);
    }

    CountCache &m_counts;
    Connection &m_connection;
    const Container &m_container;
    const std::vector<SortKey> &m_sort;
    SqlText m_condition;
    std::optional<SqlText> m_people; // of a directory, those who may satisfy the condition
    std::vector<Branch> m_branches;
    const char *m_timeColumn = nullptr; // of the index that has the order of the view
};

class RowReader;

// Gives a row that came from a walk the values of the columns.
void CompleteRow(Row &row, RowReader &values, const std::vector<Tag> &columns);

} // namespace localmapi::storage
