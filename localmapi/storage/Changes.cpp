#include "localmapi/storage/Changes.h"
#include "localmapi/storage/ChangeLedger.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/ViewWalk.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

using Event = ChangeEntry::Event;

// More than this is told as Several.
constexpr std::size_t kMostRowChanges = 32;
constexpr std::size_t kMostEntries = 2000;
constexpr std::size_t kMostMembers = 20000;

bool isMessages(const Container &container)
{
    return container.kind == Container::Kind::Contents || container.kind == Container::Kind::Associated;
}

bool concernsContainer(const ChangeEntry &entry, const Container &container)
{
    switch (container.kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return entry.kind == ObjectKind::Message && entry.container == container.of;
    case Container::Kind::Folders:
        return entry.kind == ObjectKind::Folder && entry.container == container.of;
    case Container::Kind::FoldersDeep:
        return entry.kind == ObjectKind::Folder;
    case Container::Kind::Directory:
        return entry.kind == ObjectKind::User || entry.kind == ObjectKind::Contact;
    default:
        return false;
    }
}

} // namespace

bool News::concerns(const Container &container) const
{
    if (lost)
        return true;
    switch (container.kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return contents.count(container.of) != 0;
    case Container::Kind::Folders:
        return hierarchy.count(container.of) != 0;
    case Container::Kind::FoldersDeep:
        return folders;
    case Container::Kind::Directory:
        return directory;
    default:
        return false;
    }
}

ChangeLog::ChangeLog(Site site) : m_site(std::move(site))
{
    Reader reader(m_site.database());
    m_position = lastEntry(*reader);
}

News ChangeLog::next()
{
    Reader reader(m_site.database());
    News news;
    news.upTo = lastEntry(*reader);
    if (news.upTo == m_position)
        return news;
    news.lost = !holdsEntriesAfter(*reader, m_position);
    if (!news.lost) {
        Statement rows =
            reader->prepare("SELECT DISTINCT kind, container FROM change_entry WHERE number > ? ORDER BY kind");
        rows.bind(m_position);
        while (rows.step())
            switch (static_cast<ObjectKind>(rows.integer(0))) {
            case ObjectKind::Message:
                news.contents.insert(rows.integer(1));
                break;
            case ObjectKind::Folder:
                news.folders = true;
                news.hierarchy.insert(rows.integer(1));
                break;
            default:
                news.directory = true;
                break;
            }
    }
    m_position = news.upTo;
    return news;
}

// One look at a view and at the log, as of one moment.
class Watch::Step
{
  public:
    explicit Step(Watch &watch)
        : m_watch(watch), m_reader(watch.m_site.database()),
          m_walk(watch.m_site.database(), *m_reader, watch.m_container, watch.m_filter, watch.m_sort),
          m_last(lastEntry(*m_reader))
    {
    }

    // Learns anew what the view shows.
    void begin()
    {
        std::set<ObjectId> members;
        if (m_watch.m_needsMembers)
            m_walk.walk(Place::beginning(), Direction::Forward, kMostMembers + 1,
                        [&](Row &&row) { members.insert(row.id); });
        m_watch.m_knowsMembers = m_watch.m_needsMembers && members.size() <= kMostMembers;
        m_watch.m_members = m_watch.m_knowsMembers ? std::move(members) : std::set<ObjectId>();
        m_watch.m_position = m_last;
    }

    std::vector<RowChange> changes(const std::vector<Tag> &columns, std::int64_t from)
    {
        if (from == m_last)
            return {};
        if (!holdsEntriesAfter(*m_reader, from))
            return together(RowChange::Kind::Lost);
        std::vector<ChangeEntry> entries = entriesAfter(*m_reader, from, kMostEntries + 1);
        if (entries.size() > kMostEntries)
            return together(RowChange::Kind::Several);
        for (const ChangeEntry &entry : entries)
            if (!take(entry))
                return together(RowChange::Kind::Several);
        std::vector<RowChange> changes = tell();
        if (changes.size() > kMostRowChanges)
            return together(RowChange::Kind::Several);
        complete(changes, columns);
        commit(changes);
        return changes;
    }

  private:
    struct Touched {
        bool shownBefore = false;
        bool shownBetween = false; // or may have been: the client may have read it then
        bool isNew = false;
        std::int64_t entry = 0;
    };

    // False when it has to be told together with everything else.
    bool take(const ChangeEntry &entry)
    {
        if (!concernsContainer(entry, m_watch.m_container))
            return true;
        bool messages = isMessages(m_watch.m_container);
        if (entry.event == Event::Several)
            return messages && entry.before && !mayShow(*entry.before);
        if (m_watch.m_needsMembers && !m_watch.m_knowsMembers)
            return false;
        auto [found, isFirst] = m_touched.try_emplace(entry.object);
        Touched &touched = found->second;
        touched.entry = entry.number;
        bool shown = m_watch.m_needsMembers || !messages || (entry.before && mayShow(*entry.before));
        if (!isFirst) {
            // Folders do not move from tree to tree: one that is in none now was in this one only if it is new.
            bool deep = m_watch.m_container.kind == Container::Kind::FoldersDeep;
            touched.shownBetween = touched.shownBetween || (shown && (!deep || touched.isNew));
            return true;
        }
        touched.isNew = entry.event == Event::Added;
        touched.shownBefore =
            m_watch.m_needsMembers ? m_watch.m_members.count(entry.object) != 0 : !touched.isNew && shown;
        return true;
    }

    // Whether messages of a facet can be in the view; without need of members: whether they are.
    bool mayShow(const FacetKey &key) const
    {
        bool associated = (key.flags & kFlagAssociated) != 0;
        return associated == (m_watch.m_container.kind == Container::Kind::Associated) &&
               !residueFor(m_watch.m_filter, key.bag()).never;
    }

    std::vector<RowChange> tell()
    {
        std::vector<RowChange> gone, there;
        for (const auto &[object, touched] : m_touched) {
            std::optional<Row> row = m_walk.row(object);
            if (row)
                there.push_back({touched.shownBefore ? RowChange::Kind::Modified : RowChange::Kind::Added,
                                 touched.entry,
                                 *std::move(row),
                                 {}});
            else if (touched.shownBefore || touched.shownBetween)
                gone.push_back({RowChange::Kind::Removed, touched.entry, Row{object, {}, {}}, {}});
            if (gone.size() + there.size() > kMostRowChanges)
                break;
        }
        std::sort(gone.begin(), gone.end(),
                  [](const RowChange &left, const RowChange &right) { return left.entry < right.entry; });
        std::sort(there.begin(), there.end(),
                  [&](const RowChange &left, const RowChange &right) { return m_walk.precedes(left.row, right.row); });
        std::move(there.begin(), there.end(), std::back_inserter(gone));
        return gone;
    }

    void complete(std::vector<RowChange> &changes, const std::vector<Tag> &columns)
    {
        RowReader values(*m_reader, rowKind(m_watch.m_container.kind), columns, Objects::kLongest);
        for (RowChange &change : changes) {
            if (change.kind == RowChange::Kind::Removed)
                continue;
            completeRow(change.row, values, columns);
            m_walk.walk(change.row.before(), Direction::Backward, 1, [&](Row &&row) { change.prior = row.id; });
        }
    }

    void commit(const std::vector<RowChange> &changes)
    {
        if (m_watch.m_knowsMembers)
            for (const RowChange &change : changes) {
                if (change.kind == RowChange::Kind::Removed)
                    m_watch.m_members.erase(change.row.id);
                else
                    m_watch.m_members.insert(change.row.id);
            }
        m_watch.m_position = m_last;
    }

    std::vector<RowChange> together(RowChange::Kind kind)
    {
        begin();
        std::vector<RowChange> changes(1);
        changes.front().kind = kind;
        changes.front().entry = m_last;
        return changes;
    }

    Watch &m_watch;
    Reader m_reader;
    Walk m_walk;
    std::int64_t m_last;
    std::map<ObjectId, Touched> m_touched;
};

Watch::Watch(const View &view)
    : m_site(view.m_site), m_container(view.m_container), m_filter(view.m_filter), m_sort(view.m_sort)
{
    if (isMessages(m_container))
        m_needsMembers = !isDecidedByFacets(m_filter);
    else
        m_needsMembers = m_container.kind == Container::Kind::FoldersDeep || m_filter.node != Filter::Node::And ||
                         !m_filter.children.empty();
    Step(*this).begin();
}

std::int64_t Watch::newest() const
{
    Reader reader(m_site.database());
    return lastEntry(*reader);
}

std::vector<RowChange> Watch::next(const std::vector<Tag> &columns, std::int64_t quietUpTo)
{
    return Step(*this).changes(columns, std::max(m_position, quietUpTo));
}

} // namespace localmapi::storage
