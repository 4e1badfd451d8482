// A walk reads rows in an order from a place on: by an index where facets and filter allow it, else by sorting what the
// filter leaves.
#include "localmapi/storage/ViewWalk.h"
#include "localmapi/storage/NameIndex.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Schema.h"
#include <algorithm>
#include <deque>

namespace localmapi::storage
{

namespace
{

struct IndexedTime {
    Tag tag;
    const char *column;
};
constexpr IndexedTime kIndexedTimes[] = {{kClientSubmitTime, "o.submitted"}, {kMessageDeliveryTime, "o.delivered"}};

const char *IndexFor(const std::vector<SortKey> &sort)
{
    for (const IndexedTime &time : kIndexedTimes)
        if (sort.size() == 1 && sort.front().tag == time.tag)
            return time.column;
    return nullptr;
}

const char *Comparison(bool ascending, bool inclusive)
{
    return ascending ? inclusive ? " >= " : " > " : inclusive ? " <= " : " < ";
}

// Whether the row beside the place lies in the direction that is walked.
bool IncludesOwnRow(const Place &place, Direction direction)
{
    return (place.where == Place::Where::Before) == (direction == Direction::Forward);
}

bool IsEdge(const Place &place)
{
    return place.where == Place::Where::Beginning || place.where == Place::Where::End;
}

// Nothing lies beyond the edge that is walked towards.
bool NothingBeyond(const Place &place, Direction direction)
{
    return place.where == (direction == Direction::Forward ? Place::Where::End : Place::Where::Beginning);
}

std::int64_t TimeKey(const Place &place)
{
    auto time = place.keys.empty() ? nullptr : std::get_if<std::int64_t>(&place.keys.front());
    return time ? *time : kNoTime;
}

// " AND (time, id) ...": the rows after a place in a direction, in the order of an indexed time.
SqlText BeyondTime(const std::string &column, const Place &place, Direction direction, bool up)
{
    SqlText sql;
    sql += " AND (" + column + ", o.id)" + Comparison(up, IncludesOwnRow(place, direction)) + "(";
    sql.Parameter(TimeKey(place));
    sql += ", ";
    sql.Parameter(place.id);
    sql += ")";
    return sql;
}

} // namespace

Walk::Walk(Database &database, Connection &connection, const Container &container, const Filter &filter,
           const std::vector<SortKey> &sort)
    : m_counts(database.Counts()), m_connection(connection), m_container(container), m_sort(sort)
{
    if (IsMessages()) {
        m_timeColumn = IndexFor(sort);
        MakeBranches(filter);
    }
    if (container.kind == Container::Kind::Directory)
        m_people = PeopleFor(filter);
    // Where facets decide, the rows of the branches are just those of the view.
    if (IsMessages() && IsDecidedByFacets(filter))
        m_condition += "1";
    else
        m_condition = ConditionOf(filter, container.kind);
}

bool Walk::IsMessages() const
{
    return m_container.kind == Container::Kind::Contents || m_container.kind == Container::Kind::Associated;
}

void Walk::MakeBranches(const Filter &filter)
{
    for (const Facet &facet : FacetsOf(m_connection, m_container.of)) {
        bool associated = (facet.key.flags & kFlagAssociated) != 0;
        if (associated != (m_container.kind == Container::Kind::Associated))
            continue;
        Residue residue = ResidueFor(filter, facet.key.Bag());
        if (residue.never)
            continue;
        m_branches.push_back({facet.id, facet.count, facet.change, {}});
        if (!residue.always)
            m_branches.back().condition = ConditionOf(residue.filter, m_container.kind);
    }
}

SqlText Walk::EveryRow() const
{
    SqlText sql;
    if (IsMessages()) {
        sql += "FROM object o WHERE o.facet IN (";
        for (const Branch &branch : m_branches) {
            sql += &branch == &m_branches.front() ? "" : ", ";
            sql.Parameter(branch.facet);
        }
        sql += ")";
    } else if (m_people) {
        sql += "FROM object o WHERE o.id IN (";
        sql.append(*m_people);
        sql += ")";
    } else {
        sql = FromContainer(m_container);
    }
    sql += " AND ";
    sql.append(m_condition);
    return sql;
}

// The rows after a place in a direction, as a condition; only for places beside rows. Keys that are absent come first.
SqlText Walk::Beyond(const Place &place, Direction direction) const
{
    SqlText sql;
    for (std::size_t i = 0; i < m_sort.size(); ++i) {
        std::string value = ValueOf(m_sort[i].tag, m_container.kind);
        bool up = Ascending(m_sort[i], direction);
        const Value key = i < place.keys.size() ? place.keys[i] : Value();
        if (IsAbsent(key)) {
            sql += up ? "(" + value + " IS NOT NULL OR (" + value + " IS NULL AND " : "(" + value + " IS NULL AND (";
            continue;
        }
        sql += "(";
        sql.append(RelationWith(m_sort[i].tag, value, up ? Relation::Greater : Relation::Less, key, !up));
        sql += " OR (";
        sql.append(RelationWith(m_sort[i].tag, value, Relation::Equal, key, false));
        sql += " AND ";
    }
    sql += std::string("o.id") + Comparison(Ascending(m_sort.front(), direction), IncludesOwnRow(place, direction));
    sql.Parameter(place.id);
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += "))";
    return sql;
}

SqlText Walk::RowsOf(const Branch &branch) const
{
    SqlText sql;
    sql += "FROM object o WHERE o.facet = ";
    sql.Parameter(branch.facet);
    if (!branch.condition.text.empty()) {
        sql += " AND ";
        sql.append(branch.condition);
    }
    return sql;
}

std::uint64_t Walk::CountRows(const SqlText &from)
{
    SqlText sql;
    sql += "SELECT count(*) ";
    sql.append(from);
    Query query(m_connection, sql);
    return query.Step() ? static_cast<std::uint64_t>(query.GetRow().Integer(0)) : 0;
}

std::uint64_t Walk::Count()
{
    if (!IsMessages())
        return CountRows(EveryRow());
    std::uint64_t sum = 0;
    for (const Branch &branch : m_branches)
        sum += CountBranch(branch);
    return sum;
}

std::uint64_t Walk::CountBranch(const Branch &branch)
{
    if (branch.condition.text.empty())
        return static_cast<std::uint64_t>(branch.count);
    SqlText rows = RowsOf(branch);
    std::string key = KeyOf(rows);
    if (std::optional<std::uint64_t> known = m_counts.Find(key, branch.change))
        return *known;
    std::uint64_t count = CountRows(rows);
    m_counts.Store(key, branch.change, count);
    return count;
}

std::uint64_t Walk::CountBefore(const Place &place)
{
    if (IsEdge(place))
        return place.where == Place::Where::Beginning ? 0 : Count();
    if (!IsIndexed()) {
        SqlText sql = EveryRow();
        sql += " AND ";
        sql.append(Beyond(place, Direction::Backward));
        return CountRows(sql);
    }
    std::uint64_t sum = 0;
    for (const Branch &branch : m_branches) {
        SqlText sql = RowsOf(branch);
        sql.append(
            BeyondTime(m_timeColumn, place, Direction::Backward, Ascending(m_sort.front(), Direction::Backward)));
        sum += CountRows(sql);
    }
    return sum;
}

void Walk::Visit(const Place &from, Direction direction, std::uint64_t rows, const std::function<void(Row &&)> &visit)
{
    if (rows == 0 || NothingBeyond(from, direction))
        return;
    if (IsIndexed())
        WalkMerged(from, direction, rows, visit);
    else
        WalkSorted(from, direction, rows, visit);
}

// The rows of one facet in the order of the view, as far as they are asked for.
class Walk::FacetCursor
{
  public:
    FacetCursor(const Walk &walk, const Branch &branch, const Place &from, Direction direction)
        : m_query(walk.m_connection, RowsOf(walk, branch, from, direction))
    {
    }
    bool Step() { return m_query.Step(); }
    std::pair<std::int64_t, ObjectId> Front() const
    {
        return {m_query.GetRow().Integer(0), m_query.GetRow().Integer(1)};
    }

  private:
    static SqlText RowsOf(const Walk &walk, const Branch &branch, const Place &from, Direction direction)
    {
        bool up = walk.Ascending(walk.m_sort.front(), direction);
        std::string time = walk.m_timeColumn;
        SqlText sql;
        sql += "SELECT " + time + ", o.id ";
        sql.append(walk.RowsOf(branch));
        if (!IsEdge(from))
            sql.append(BeyondTime(time, from, direction, up));
        const char *order = up ? "" : " DESC";
        sql += " ORDER BY " + time + order + ", o.id" + order;
        return sql;
    }

    Query m_query;
};

void Walk::WalkMerged(const Place &from, Direction direction, std::uint64_t rows,
                      const std::function<void(Row &&)> &visit)
{
    bool up = Ascending(m_sort.front(), direction);
    std::deque<FacetCursor> cursors;
    std::vector<FacetCursor *> order;
    for (const Branch &branch : m_branches)
        if (FacetCursor &cursor = cursors.emplace_back(*this, branch, from, direction); cursor.Step())
            order.push_back(&cursor);
    // A heap has its greatest element in front: the cursor whose row comes first is to be the greatest.
    auto later = [&](const FacetCursor *left, const FacetCursor *right) {
        return up ? left->Front() > right->Front() : left->Front() < right->Front();
    };
    std::make_heap(order.begin(), order.end(), later);
    for (; rows && !order.empty(); --rows) {
        std::pop_heap(order.begin(), order.end(), later);
        FacetCursor &next = *order.back();
        auto [time, id] = next.Front();
        visit(Row{id, {time == kNoTime ? Value() : Value(time)}, {}});
        if (rows > 1 && next.Step())
            std::push_heap(order.begin(), order.end(), later);
        else
            order.pop_back();
    }
}

void Walk::WalkSorted(const Place &from, Direction direction, std::uint64_t rows,
                      const std::function<void(Row &&)> &visit)
{
    SqlText sql = SelectionSql();
    if (!IsEdge(from)) {
        sql += " AND ";
        sql.append(Beyond(from, direction));
    }
    sql += " ORDER BY ";
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += OrderOf(m_sort[i].tag, "k" + std::to_string(i)) + (Ascending(m_sort[i], direction) ? ", " : " DESC, ");
    sql += Ascending(m_sort.front(), direction) ? "o.id" : "o.id DESC";
    sql += " LIMIT ";
    sql.Parameter(static_cast<std::int64_t>(std::min<std::uint64_t>(rows, INT64_MAX)));
    Query query(m_connection, sql);
    while (query.Step())
        visit(RowFrom(query.GetRow()));
}

// "SELECT id, depth, keys ... FROM ... WHERE <in the view>"
SqlText Walk::SelectionSql() const
{
    bool folders = RowKind(m_container.kind) == ObjectKind::Folder;
    SqlText sql;
    sql += "SELECT o.id, " + (folders ? ValueOf(kFolderDepth, m_container.kind) : std::string("0"));
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += ", " + ValueOf(m_sort[i].tag, m_container.kind) + " AS k" + std::to_string(i);
    sql += " ";
    sql.append(EveryRow());
    return sql;
}

Row Walk::RowFrom(const Statement &statement) const
{
    Row row{statement.Integer(0), {}, {}};
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        row.keys.push_back(Decode(statement, static_cast<int>(i) + 2, m_sort[i].tag));
    if (RowKind(m_container.kind) == ObjectKind::Folder)
        row.values.push_back(statement.Integer32(1));
    return row;
}

std::optional<Row> Walk::FindRow(ObjectId id)
{
    SqlText sql = SelectionSql();
    sql += " AND o.id = ";
    sql.Parameter(id);
    Query query(m_connection, sql);
    return query.Step() ? std::optional(RowFrom(query.GetRow())) : std::nullopt;
}

bool Walk::Precedes(const Row &left, const Row &right) const
{
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        if (int order = CompareValues(left.keys[i], right.keys[i]))
            return m_sort[i].descending ? order > 0 : order < 0;
    return m_sort.front().descending ? left.id > right.id : left.id < right.id;
}

void CompleteRow(Row &row, RowReader &values, const std::vector<Tag> &columns)
{
    std::vector<Value> own = std::move(row.values); // the depth of a folder, which only the walk knows
    row.values = values.Read(row.id);
    for (std::size_t i = 0; !own.empty() && i < columns.size(); ++i)
        if (columns[i] == kFolderDepth)
            row.values[i] = own.front();
}

bool Walk::Holds(const Place &place)
{
    std::optional<Row> now = FindRow(place.id);
    if (!now)
        return false;
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        if (CompareValues(now->keys[i], i < place.keys.size() ? place.keys[i] : Value()) != 0)
            return false;
    return true;
}

} // namespace localmapi::storage
