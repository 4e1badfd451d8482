// A walk reads rows in an order from a place on: by an index where facets and filter allow it, else by sorting what the
// filter leaves.
#include "localmapi/storage/ViewWalk.h"
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

const char *indexFor(const std::vector<SortKey> &sort)
{
    for (const IndexedTime &time : kIndexedTimes)
        if (sort.size() == 1 && sort.front().tag == time.tag)
            return time.column;
    return nullptr;
}

const char *comparison(bool ascending, bool inclusive)
{
    return ascending ? inclusive ? " >= " : " > " : inclusive ? " <= " : " < ";
}

// Whether the row beside the place lies in the direction that is walked.
bool includesOwnRow(const Place &place, Direction direction)
{
    return (place.where == Place::Where::Before) == (direction == Direction::Forward);
}

bool isEdge(const Place &place)
{
    return place.where == Place::Where::Beginning || place.where == Place::Where::End;
}

// Nothing lies beyond the edge that is walked towards.
bool nothingBeyond(const Place &place, Direction direction)
{
    return place.where == (direction == Direction::Forward ? Place::Where::End : Place::Where::Beginning);
}

std::int64_t timeKey(const Place &place)
{
    auto time = place.keys.empty() ? nullptr : std::get_if<std::int64_t>(&place.keys.front());
    return time ? *time : kNoTime;
}

// " AND (time, id) ...": the rows after a place in a direction, in the order of an indexed time.
SqlText beyondTime(const std::string &column, const Place &place, Direction direction, bool up)
{
    SqlText sql;
    sql += " AND (" + column + ", o.id)" + comparison(up, includesOwnRow(place, direction)) + "(";
    sql.parameter(timeKey(place));
    sql += ", ";
    sql.parameter(place.id);
    sql += ")";
    return sql;
}

} // namespace

Walk::Walk(Database &database, Connection &connection, const Container &container, const Filter &filter,
           const std::vector<SortKey> &sort)
    : m_counts(database.counts()), m_connection(connection), m_container(container), m_sort(sort)
{
    if (isMessages()) {
        m_timeColumn = indexFor(sort);
        makeBranches(filter);
    }
    m_condition = conditionOf(filter, container.kind);
}

bool Walk::isMessages() const
{
    return m_container.kind == Container::Kind::Contents || m_container.kind == Container::Kind::Associated;
}

void Walk::makeBranches(const Filter &filter)
{
    for (const Facet &facet : facetsOf(m_connection, m_container.of)) {
        bool associated = (facet.key.flags & kFlagAssociated) != 0;
        if (associated != (m_container.kind == Container::Kind::Associated))
            continue;
        Residue residue = residueFor(filter, facet.key.bag());
        if (residue.never)
            continue;
        m_branches.push_back({facet.id, facet.count, facet.change, {}});
        if (!residue.always)
            m_branches.back().condition = conditionOf(residue.filter, m_container.kind);
    }
}

SqlText Walk::everyRow() const
{
    SqlText sql;
    if (isMessages()) {
        sql += "FROM object o WHERE o.facet IN (";
        for (const Branch &branch : m_branches) {
            sql += &branch == &m_branches.front() ? "" : ", ";
            sql.parameter(branch.facet);
        }
        sql += ")";
    } else {
        sql = fromContainer(m_container);
    }
    sql += " AND ";
    sql.append(m_condition);
    return sql;
}

// The rows after a place in a direction, as a condition; only for places beside rows. Keys that are absent come first.
SqlText Walk::beyond(const Place &place, Direction direction) const
{
    SqlText sql;
    for (std::size_t i = 0; i < m_sort.size(); ++i) {
        std::string value = valueOf(m_sort[i].tag, m_container.kind);
        bool up = ascending(m_sort[i], direction);
        const Value key = i < place.keys.size() ? place.keys[i] : Value();
        if (isAbsent(key)) {
            sql += up ? "(" + value + " IS NOT NULL OR (" + value + " IS NULL AND " : "(" + value + " IS NULL AND (";
            continue;
        }
        sql += "(";
        sql.append(relationWith(m_sort[i].tag, value, up ? Relation::Greater : Relation::Less, key, !up));
        sql += " OR (";
        sql.append(relationWith(m_sort[i].tag, value, Relation::Equal, key, false));
        sql += " AND ";
    }
    sql += std::string("o.id") + comparison(ascending(m_sort.front(), direction), includesOwnRow(place, direction));
    sql.parameter(place.id);
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += "))";
    return sql;
}

SqlText Walk::rowsOf(const Branch &branch) const
{
    SqlText sql;
    sql += "FROM object o WHERE o.facet = ";
    sql.parameter(branch.facet);
    if (!branch.condition.text.empty()) {
        sql += " AND ";
        sql.append(branch.condition);
    }
    return sql;
}

std::uint64_t Walk::countRows(const SqlText &from)
{
    SqlText sql;
    sql += "SELECT count(*) ";
    sql.append(from);
    Query query(m_connection, sql);
    return query.step() ? static_cast<std::uint64_t>(query.row().integer(0)) : 0;
}

std::uint64_t Walk::count()
{
    if (!isMessages())
        return countRows(everyRow());
    std::uint64_t sum = 0;
    for (const Branch &branch : m_branches)
        sum += countBranch(branch);
    return sum;
}

std::uint64_t Walk::countBranch(const Branch &branch)
{
    if (branch.condition.text.empty())
        return static_cast<std::uint64_t>(branch.count);
    SqlText rows = rowsOf(branch);
    std::string key = keyOf(rows);
    if (std::optional<std::uint64_t> known = m_counts.find(key, branch.change))
        return *known;
    std::uint64_t count = countRows(rows);
    m_counts.store(key, branch.change, count);
    return count;
}

std::uint64_t Walk::countBefore(const Place &place)
{
    if (isEdge(place))
        return place.where == Place::Where::Beginning ? 0 : count();
    if (!isIndexed()) {
        SqlText sql = everyRow();
        sql += " AND ";
        sql.append(beyond(place, Direction::Backward));
        return countRows(sql);
    }
    std::uint64_t sum = 0;
    for (const Branch &branch : m_branches) {
        SqlText sql = rowsOf(branch);
        sql.append(
            beyondTime(m_timeColumn, place, Direction::Backward, ascending(m_sort.front(), Direction::Backward)));
        sum += countRows(sql);
    }
    return sum;
}

void Walk::walk(const Place &from, Direction direction, std::uint64_t rows, const std::function<void(Row &&)> &visit)
{
    if (rows == 0 || nothingBeyond(from, direction))
        return;
    if (isIndexed())
        walkMerged(from, direction, rows, visit);
    else
        walkSorted(from, direction, rows, visit);
}

// The rows of one facet in the order of the view, as far as they are asked for.
class Walk::FacetCursor
{
  public:
    FacetCursor(const Walk &walk, const Branch &branch, const Place &from, Direction direction)
        : m_query(walk.m_connection, rowsOf(walk, branch, from, direction))
    {
    }
    bool step() { return m_query.step(); }
    std::pair<std::int64_t, ObjectId> front() const { return {m_query.row().integer(0), m_query.row().integer(1)}; }

  private:
    static SqlText rowsOf(const Walk &walk, const Branch &branch, const Place &from, Direction direction)
    {
        bool up = walk.ascending(walk.m_sort.front(), direction);
        std::string time = walk.m_timeColumn;
        SqlText sql;
        sql += "SELECT " + time + ", o.id ";
        sql.append(walk.rowsOf(branch));
        if (!isEdge(from))
            sql.append(beyondTime(time, from, direction, up));
        const char *order = up ? "" : " DESC";
        sql += " ORDER BY " + time + order + ", o.id" + order;
        return sql;
    }

    Query m_query;
};

void Walk::walkMerged(const Place &from, Direction direction, std::uint64_t rows,
                      const std::function<void(Row &&)> &visit)
{
    bool up = ascending(m_sort.front(), direction);
    std::deque<FacetCursor> cursors;
    std::vector<FacetCursor *> order;
    for (const Branch &branch : m_branches)
        if (FacetCursor &cursor = cursors.emplace_back(*this, branch, from, direction); cursor.step())
            order.push_back(&cursor);
    // A heap has its greatest element in front: the cursor whose row comes first is to be the greatest.
    auto later = [&](const FacetCursor *left, const FacetCursor *right) {
        return up ? left->front() > right->front() : left->front() < right->front();
    };
    std::make_heap(order.begin(), order.end(), later);
    for (; rows && !order.empty(); --rows) {
        std::pop_heap(order.begin(), order.end(), later);
        FacetCursor &next = *order.back();
        auto [time, id] = next.front();
        visit(Row{id, {time == kNoTime ? Value() : Value(time)}, {}});
        if (rows > 1 && next.step())
            std::push_heap(order.begin(), order.end(), later);
        else
            order.pop_back();
    }
}

void Walk::walkSorted(const Place &from, Direction direction, std::uint64_t rows,
                      const std::function<void(Row &&)> &visit)
{
    SqlText sql = selection();
    if (!isEdge(from)) {
        sql += " AND ";
        sql.append(beyond(from, direction));
    }
    sql += " ORDER BY ";
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += orderOf(m_sort[i].tag, "k" + std::to_string(i)) + (ascending(m_sort[i], direction) ? ", " : " DESC, ");
    sql += ascending(m_sort.front(), direction) ? "o.id" : "o.id DESC";
    sql += " LIMIT ";
    sql.parameter(static_cast<std::int64_t>(std::min<std::uint64_t>(rows, INT64_MAX)));
    Query query(m_connection, sql);
    while (query.step())
        visit(rowFrom(query.row()));
}

// "SELECT id, depth, keys ... FROM ... WHERE <in the view>"
SqlText Walk::selection() const
{
    bool folders = rowKind(m_container.kind) == ObjectKind::Folder;
    SqlText sql;
    sql += "SELECT o.id, " + (folders ? valueOf(kFolderDepth, m_container.kind) : std::string("0"));
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        sql += ", " + valueOf(m_sort[i].tag, m_container.kind) + " AS k" + std::to_string(i);
    sql += " ";
    sql.append(everyRow());
    return sql;
}

Row Walk::rowFrom(const Statement &statement) const
{
    Row row{statement.integer(0), {}, {}};
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        row.keys.push_back(decode(statement, static_cast<int>(i) + 2, m_sort[i].tag));
    if (rowKind(m_container.kind) == ObjectKind::Folder)
        row.values.push_back(statement.integer32(1));
    return row;
}

std::optional<Row> Walk::row(ObjectId id)
{
    SqlText sql = selection();
    sql += " AND o.id = ";
    sql.parameter(id);
    Query query(m_connection, sql);
    return query.step() ? std::optional(rowFrom(query.row())) : std::nullopt;
}

bool Walk::precedes(const Row &left, const Row &right) const
{
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        if (int order = compareValues(left.keys[i], right.keys[i]))
            return m_sort[i].descending ? order > 0 : order < 0;
    return m_sort.front().descending ? left.id > right.id : left.id < right.id;
}

void completeRow(Row &row, RowReader &values, const std::vector<Tag> &columns)
{
    std::vector<Value> own = std::move(row.values); // the depth of a folder, which only the walk knows
    row.values = values.read(row.id);
    for (std::size_t i = 0; !own.empty() && i < columns.size(); ++i)
        if (columns[i] == kFolderDepth)
            row.values[i] = own.front();
}

bool Walk::holds(const Place &place)
{
    std::optional<Row> now = row(place.id);
    if (!now)
        return false;
    for (std::size_t i = 0; i < m_sort.size(); ++i)
        if (compareValues(now->keys[i], i < place.keys.size() ? place.keys[i] : Value()) != 0)
            return false;
    return true;
}

} // namespace localmapi::storage
