// A table is a query, not a copy: a View holds a container, a filter and an order, and answers from the file as it is
// at the moment of each call. Places stay good while rows come and go. A View never changes; any thread may call it.
#pragma once
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

class Connection;

struct Container {
    enum class Kind {
        Contents,    // messages of the folder `of`
        Associated,  // its associated messages
        Folders,     // its subfolders
        FoldersDeep, // its subfolders at every depth
        Attachments, // of the message `of`
        Recipients,  // of the message `of`
        Directory    // users and contacts
    };
    Kind kind = Kind::Contents;
    ObjectId of = 0;
};

// A place between two rows: the beginning, the end, or just before or after a row, which need not be there any more.
struct Place {
    enum class Where { Beginning, Before, After, End };
    Where where = Where::Beginning;
    std::vector<Value> keys; // what the row is sorted by
    ObjectId id = 0;
    static Place Beginning() { return {}; }
    static Place end() { return {Where::End, {}, 0}; }
    bool operator==(const Place &) const = default;
};

struct Row {
    ObjectId id = 0;
    std::vector<Value> keys;
    std::vector<Value> values; // of the columns asked for, in their order; std::monostate where the row has none
    Place Before() const { return {Place::Where::Before, keys, id}; }
    Place After() const { return {Place::Where::After, keys, id}; }
};

// Some rows, and what there was behind them when they were read.
struct RowPage {
    std::vector<Row> rows;
    std::optional<Row> behind; // without values; nothing where the last row is the view's
    ChangeNumber change = 0;   // of the site
};

struct Moved {
    Place place;
    std::int64_t rows = 0; // how far it went, negative towards the beginning
};

enum class Direction { Forward, Backward };

class View
{
  public:
    // TooComplex for a filter that is nested too deeply, Invalid for values that have no order.
    // Rows that are equal by `sort` keep a fixed order. Without a sort: messages by submission, folders and people by
    // name, attachments and recipients by number.
    View(Site site, Container container, Filter filter = {}, std::vector<SortKey> sort = {});

    std::uint64_t Count() const;
    std::uint64_t CountBefore(const Place &place) const;

    // Up to `rows` rows after the place, or before it; always in the order of the table. Values in streams that are
    // longer than `longest` come as StoredStream.
    std::vector<Row> Read(const Place &from, Direction direction, std::size_t rows, const std::vector<Tag> &columns,
                          std::uint64_t longest = Objects::kLongest) const;

    // The same after a place, with what is known then of what follows.
    RowPage ReadPage(const Place &from, std::size_t rows, const std::vector<Tag> &columns) const;

    // The place `rows` rows further on (back when negative), or the end (beginning) if there are fewer.
    Moved Move(const Place &from, std::int64_t rows) const;
    Place PlaceAt(std::uint64_t offset) const
    {
        return Move(Place::Beginning(), static_cast<std::int64_t>(offset)).place;
    }

    // The first row after the place (the last one before it) that also satisfies `filter`.
    std::optional<Row> Find(const Place &from, Direction direction, const Filter &filter,
                            const std::vector<Tag> &columns = {}) const;

    // Whether the row beside the place is still there, just where it was.
    bool Holds(const Place &place) const;

  private:
    friend class Watch;
    std::vector<Row> RowsFrom(Connection &connection, const Place &from, Direction direction, std::size_t rows) const;
    void Complete(Connection &connection, std::vector<Row> &rows, const std::vector<Tag> &columns,
                  std::uint64_t longest) const;

    Site m_site;
    Container m_container;
    Filter m_filter;
    std::vector<SortKey> m_sort;
};

} // namespace localmapi::storage
