// A watch: follows one view, and makes notices for it of the entries that were written since it last looked. A notice:
// one thing that happened to the view.
#pragma once
#include "localmapi/storage/View.h"
#include <set>

namespace localmapi::storage
{

struct Notice {
    enum class Kind {
        Added,
        Modified, // in its values, or in its place
        Removed,  // also what came and went in between, since the table may have been read then
        Several,  // more than is told one by one, or what can't be told apart; places stay good
        Lost      // the changes are not known any more: nothing that was read before can be relied on
    };
    Kind kind = Kind::Several;
    std::int64_t entry = 0;        // the number of the last entry that it comes from
    Row row;                       // Added and Modified: as it is now; Removed: its id
    std::optional<ObjectId> prior; // the row before it, where there is one
};

// Follows one view from the moment it is made. One thread at a time.
class Watch
{
  public:
    explicit Watch(const View &view);

    const Site &GetSite() const { return m_site; }
    const Container &GetContainer() const { return m_container; }
    std::int64_t Position() const { return m_position; } // the last entry that it has seen
    std::int64_t Newest() const;                         // the last entry that there is

    // The difference between what the view showed at the last call (or when the watch was made) and what it shows now,
    // in an order in which a copy of the table can be kept: rows that are gone, then the others as they follow each
    // other. `quietUpTo`: entries up to there are known to concern other containers. When it throws it has missed
    // nothing.
    std::vector<Notice> Next(const std::vector<Tag> &columns, std::int64_t quietUpTo = 0);

  private:
    class NoticeMaker;

    Site m_site;
    Container m_container;
    Filter m_filter;
    std::vector<SortKey> m_sort;
    std::int64_t m_position = 0;
    // Which rows the view shows, where the entries alone can't tell what it showed: the filter asks for more than the
    // facets know, or rows come and go with their parents. Not kept for a view of very many rows.
    bool m_needsMembers = false;
    bool m_knowsMembers = false;
    std::set<ObjectId> m_members;
};

} // namespace localmapi::storage
