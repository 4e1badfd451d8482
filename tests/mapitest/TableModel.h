// What a contents table ought to show: its rows in order, where its cursor and bookmarks stand.
#pragma once
#include "Model.h"

namespace mapitest
{

struct SortKey {
    ULONG tag = 0;
    bool descending = false;
};

// Between two rows: the beginning, the end, or beside a row as it was, which need not be there any more.
struct Place {
    enum class Where { Beginning, Before, After, End };
    Where where = Where::Beginning;
    std::vector<std::optional<Value>> keys;
    std::uint64_t sequence = 0;
};

struct TableModel {
    Name folder = 0;
    std::optional<Condition> filter;
    std::vector<SortKey> sort;
    Place cursor;
    std::map<Name, Place> bookmarks;

    using Rows = std::vector<const Message *>;
    Rows Shown(const Model &model) const;
    bool Shows(const Message &message) const
    {
        return message.folder == folder && (!filter || (*filter)(message.content));
    }
    Place Beside(const Message &message, Place::Where where) const;
    // How many of the rows come before the place.
    std::size_t Before(const Rows &rows, const Place &place) const;
    // Whether the row beside the place is still just there.
    bool Holds(const Rows &rows, const Place &place) const;
    // So many rows on or back; how many there were.
    std::pair<Place, LONG> Move(const Rows &rows, const Place &from, LONG distance) const;
    void Rearrange()
    {
        bookmarks.clear();
        cursor = {};
    }

  private:
    std::vector<SortKey> Keys() const;
    int Order(const Message &message, const Place &place) const;
};

} // namespace mapitest
