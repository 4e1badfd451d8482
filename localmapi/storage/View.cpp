// A view answers in terms of walks (ViewWalk.h), each with a reader of its own.
#include "localmapi/storage/View.h"
#include "localmapi/storage/Functions.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/ViewWalk.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

std::vector<SortKey> DefaultSort(Container::Kind kind)
{
    switch (kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return {{kClientSubmitTime}};
    case Container::Kind::Attachments:
        return {{kAttachNumber}};
    case Container::Kind::Recipients:
        return {{kRowId}};
    default:
        return {{kDisplayName}};
    }
}

// How deep the expression of a filter is nested: a level for each node, and those that a long list is halved into.
constexpr int kDeepest = 28;
void RequireShallow(const Filter &filter, int above = 0)
{
    int depth = above + 1;
    for (std::size_t length = filter.children.size(); length > 1; length = (length + 1) / 2)
        ++depth;
    if (depth > kDeepest)
        throw Error(Fault::TooComplex, "A filter is nested too deeply.");
    for (const Filter &child : filter.children)
        RequireShallow(child, depth);
}

} // namespace

View::View(Site site, Container container, Filter filter, std::vector<SortKey> sort)
    : m_site(std::move(site)), m_container(container), m_filter(std::move(filter)), m_sort(std::move(sort))
{
    if (m_sort.empty())
        m_sort = DefaultSort(m_container.kind);
    RequireShallow(m_filter);
    // What can't be put in order is refused now, not when the first row is read.
    for (const SortKey &key : m_sort)
        CollationOf(key.tag);
}

std::uint64_t View::Count() const
{
    Reader reader(m_site.GetDatabase());
    return Walk(m_site.GetDatabase(), *reader, m_container, m_filter, m_sort).Count();
}

std::uint64_t View::CountBefore(const Place &place) const
{
    Reader reader(m_site.GetDatabase());
    return Walk(m_site.GetDatabase(), *reader, m_container, m_filter, m_sort).CountBefore(place);
}

std::vector<Row> View::Read(const Place &from, Direction direction, std::size_t rows, const std::vector<Tag> &columns,
                            std::uint64_t longest) const
{
    Reader reader(m_site.GetDatabase());
    std::vector<Row> read = RowsFrom(*reader, from, direction, rows);
    Complete(*reader, read, columns, longest);
    return read;
}

RowPage View::ReadPage(const Place &from, std::size_t rows, const std::vector<Tag> &columns) const
{
    Reader reader(m_site.GetDatabase());
    RowPage page;
    page.change = reader->Integer("SELECT change FROM site");
    page.rows = RowsFrom(*reader, from, Direction::Forward, rows + 1);
    if (page.rows.size() > rows) {
        page.behind = std::move(page.rows.back());
        page.rows.pop_back();
        page.behind->values.clear(); // a folder's depth
    }
    Complete(*reader, page.rows, columns, Objects::kLongest);
    return page;
}

std::vector<Row> View::RowsFrom(Connection &connection, const Place &from, Direction direction, std::size_t rows) const
{
    std::vector<Row> read;
    Walk(m_site.GetDatabase(), connection, m_container, m_filter, m_sort).Visit(from, direction, rows, [&](Row &&row) {
        read.push_back(std::move(row));
    });
    if (direction == Direction::Backward)
        std::reverse(read.begin(), read.end());
    return read;
}

void View::Complete(Connection &connection, std::vector<Row> &rows, const std::vector<Tag> &columns,
                    std::uint64_t longest) const
{
    RowReader values(connection, RowKind(m_container.kind), columns, longest);
    for (Row &row : rows)
        CompleteRow(row, values, columns);
}

Moved View::Move(const Place &from, std::int64_t rows) const
{
    if (rows == 0)
        return {from, 0};
    bool forward = rows > 0;
    std::uint64_t wanted = forward ? static_cast<std::uint64_t>(rows) : 0 - static_cast<std::uint64_t>(rows);
    Reader reader(m_site.GetDatabase());
    std::uint64_t done = 0;
    Row last;
    Walk(m_site.GetDatabase(), *reader, m_container, m_filter, m_sort)
        .Visit(from, forward ? Direction::Forward : Direction::Backward, wanted, [&](Row &&row) {
            last = std::move(row);
            ++done;
        });
    auto signedDone = static_cast<std::int64_t>(done);
    if (done < wanted)
        return forward ? Moved{Place::end(), signedDone} : Moved{Place::Beginning(), -signedDone};
    return forward ? Moved{last.After(), signedDone} : Moved{last.Before(), -signedDone};
}

std::optional<Row> View::Find(const Place &from, Direction direction, const Filter &filter,
                              const std::vector<Tag> &columns) const
{
    View narrowed(m_site, m_container, Filter::All({m_filter, filter}), m_sort);
    std::vector<Row> found = narrowed.Read(from, direction, 1, columns);
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

bool View::Holds(const Place &place) const
{
    if (place.where == Place::Where::Beginning || place.where == Place::Where::End)
        return true;
    Reader reader(m_site.GetDatabase());
    return Walk(m_site.GetDatabase(), *reader, m_container, m_filter, m_sort).Holds(place);
}

} // namespace localmapi::storage
