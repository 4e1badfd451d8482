// How those who look at views learn of changes, their own process's and others'. A ChangeLog tells in which containers
// something happened; a Watch, what happened to the rows of one view; a ChangeSignal, that it is time to look.
#pragma once
#include "localmapi/storage/View.h"
#include <chrono>
#include <set>

namespace localmapi::storage
{

// What has happened in a site since the last look. One thread at a time.
struct News {
    std::int64_t upTo = 0; // the number of the last entry that was looked at
    bool lost = false;     // changes that are not known any more may concern everybody
    bool folders = false;  // some folder, of any mailbox
    bool directory = false;
    std::set<ObjectId> contents;  // folders in whose messages something changed
    std::set<ObjectId> hierarchy; // folders of whose direct subfolders one changed
    bool empty() const { return !lost && !folders && !directory && contents.empty(); }
    bool concerns(const Container &container) const;
};

class ChangeLog
{
  public:
    explicit ChangeLog(Site site); // from now on
    News next();

  private:
    Site m_site;
    std::int64_t m_position = 0;
};

// One thing that happened to a view.
struct RowChange {
    enum class Kind {
        Added,
        Modified, // in its values, or in its place
        Removed,  // also what came and went in between, since the table may have been read then
        Several,  // more than is told one by one, or what can't be told apart; places stay good
        Lost      // the changes are not known any more: nothing that was read before can be relied on
    };
    Kind kind = Kind::Several;
    std::int64_t entry = 0;        // the log's number of the last change it comes from
    Row row;                       // Added and Modified: as it is now; Removed: its id
    std::optional<ObjectId> prior; // the row before it, where there is one
};

// Follows one view from the moment it is made. One thread at a time.
class Watch
{
  public:
    explicit Watch(const View &view);

    const Site &site() const { return m_site; }
    const Container &container() const { return m_container; }
    std::int64_t position() const { return m_position; } // the last entry of the log that it has seen
    std::int64_t newest() const;                         // the last entry that there is

    // The difference between what the view showed at the last call (or when the watch was made) and what it shows now,
    // in an order in which a copy of the table can be kept: rows that are gone, then the others as they follow each
    // other. `quietUpTo`: entries up to there are known to concern other containers. When it throws it has missed
    // nothing.
    std::vector<RowChange> next(const std::vector<Tag> &columns, std::int64_t quietUpTo = 0);

  private:
    class Step;

    Site m_site;
    Container m_container;
    Filter m_filter;
    std::vector<SortKey> m_sort;
    std::int64_t m_position = 0;
    // Which rows the view shows, where the log alone can't tell what it showed: the filter asks for more than the
    // facets know, or rows come and go with their parents. Not kept for a view of very many rows.
    bool m_needsMembers = false;
    bool m_knowsMembers = false;
    std::set<ObjectId> m_members;
};

// Tells that somebody may have changed one of several sites. One thread waits; any thread may wake it.
class ChangeSignal
{
  public:
    ChangeSignal();
    ~ChangeSignal();
    ChangeSignal(const ChangeSignal &) = delete;
    ChangeSignal &operator=(const ChangeSignal &) = delete;

    // Listens for changes of exactly these files from now on. False where the system does not tell of every one of
    // them: then it looks at their times every few milliseconds.
    bool listen(const std::set<std::string> &paths);
    // Returns when a site may have changed, when somebody called wake(), or after that time.
    void wait(std::chrono::milliseconds longest);
    void wake() noexcept;

    // Tells everybody who listens, in every process, that a site has changed. Who was not reached finds the change when
    // looking for it.
    static void announce(const std::string &path) noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace localmapi::storage
