// Notices are the difference between two looks: entries tell which rows may differ, the view what they are now. Where
// the entries can not tell what a row was before, the watch remembers which rows were shown.
#include "localmapi/storage/Watch.h"
#include "localmapi/storage/ChangeEntry.h"
#include "localmapi/storage/Changes.h"
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
constexpr std::size_t kMostNotices = 32;
constexpr std::size_t kMostEntries = 2000;
constexpr std::size_t kMostMembers = 20000;

bool IsMessages(const Container &container)
{
    return container.kind == Container::Kind::Contents || container.kind == Container::Kind::Associated;
}

bool ConcernsContainer(const ChangeEntry &entry, const Container &container)
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

// Looks at a view and at the entries as of one moment.
class Watch::NoticeMaker
{
  public:
    explicit NoticeMaker(Watch &watch)
        : m_watch(watch), m_reader(watch.m_site.GetDatabase()),
          m_walk(watch.m_site.GetDatabase(), *m_reader, watch.m_container, watch.m_filter, watch.m_sort),
          m_last(LastEntry(*m_reader))
    {
    }

    // Learns anew what the view shows.
    void begin()
    {
        std::set<ObjectId> members;
        if (m_watch.m_needsMembers)
            m_walk.Visit(Place::Beginning(), Direction::Forward, kMostMembers + 1,
                         [&](Row &&row) { members.insert(row.id); });
        m_watch.m_knowsMembers = m_watch.m_needsMembers && members.size() <= kMostMembers;
        m_watch.m_members = m_watch.m_knowsMembers ? std::move(members) : std::set<ObjectId>();
        m_watch.m_position = m_last;
    }

    std::vector<Notice> NoticesSince(const std::vector<Tag> &columns, std::int64_t from)
    {
        if (from == m_last)
            return {};
        if (!HoldsEntriesAfter(*m_reader, from))
            return Together(Notice::Kind::Lost);
        std::vector<ChangeEntry> entries = EntriesAfter(*m_reader, from, kMostEntries + 1);
        if (entries.size() > kMostEntries)
            return Together(Notice::Kind::Several);
        for (const ChangeEntry &entry : entries)
            if (!Take(entry))
                return Together(Notice::Kind::Several);
        std::vector<Notice> notices = Tell();
        if (notices.size() > kMostNotices)
            return Together(Notice::Kind::Several);
        Complete(notices, columns);
        Commit(notices);
        return notices;
    }

  private:
    struct Touched {
        bool shownBefore = false;
        bool shownBetween = false; // or may have been: the client may have read it then
        bool isNew = false;
        std::int64_t entry = 0;
    };

    // False when it has to be told together with everything else.
    bool Take(const ChangeEntry &entry)
    {
        if (!ConcernsContainer(entry, m_watch.m_container))
            return true;
        bool messages = IsMessages(m_watch.m_container);
        if (entry.event == Event::Several)
            return messages && entry.before && !MayShow(*entry.before);
        if (m_watch.m_needsMembers && !m_watch.m_knowsMembers)
            return false;
        auto [found, isFirst] = m_touched.try_emplace(entry.object);
        Touched &touched = found->second;
        // What a transaction does to an object in between is seen by nobody.
        const bool together = touched.entry / kEntriesPerChange == entry.number / kEntriesPerChange;
        touched.entry = entry.number;
        bool shown = m_watch.m_needsMembers || !messages || (entry.before && MayShow(*entry.before));
        if (!isFirst) {
            // Folders do not move from tree to tree: one that is in none now was in this one only if it is new.
            bool deep = m_watch.m_container.kind == Container::Kind::FoldersDeep;
            touched.shownBetween = touched.shownBetween || (shown && !together && (!deep || touched.isNew));
            return true;
        }
        touched.isNew = entry.event == Event::Added;
        touched.shownBefore =
            m_watch.m_needsMembers ? m_watch.m_members.count(entry.object) != 0 : !touched.isNew && shown;
        return true;
    }

    // Whether messages of a facet can be in the view; without need of members: whether they are.
    bool MayShow(const FacetKey &key) const
    {
        bool associated = (key.flags & kFlagAssociated) != 0;
        return associated == (m_watch.m_container.kind == Container::Kind::Associated) &&
               !ResidueFor(m_watch.m_filter, key.Bag()).never;
    }

    std::vector<Notice> Tell()
    {
        std::vector<Notice> gone, there;
        for (const auto &[object, touched] : m_touched) {
            std::optional<Row> row = m_walk.FindRow(object);
            if (row)
                there.push_back({touched.shownBefore ? Notice::Kind::Modified : Notice::Kind::Added,
                                 touched.entry,
                                 *std::move(row),
                                 {}});
            else if (touched.shownBefore || touched.shownBetween)
                gone.push_back({Notice::Kind::Removed, touched.entry, Row{object, {}, {}}, {}});
            if (gone.size() + there.size() > kMostNotices)
                break;
        }
        std::sort(gone.begin(), gone.end(),
                  [](const Notice &left, const Notice &right) { return left.entry < right.entry; });
        std::sort(there.begin(), there.end(),
                  [&](const Notice &left, const Notice &right) { return m_walk.Precedes(left.row, right.row); });
        std::move(there.begin(), there.end(), std::back_inserter(gone));
        return gone;
    }

    void Complete(std::vector<Notice> &notices, const std::vector<Tag> &columns)
    {
        RowReader values(*m_reader, RowKind(m_watch.m_container.kind), columns, Objects::kLongest);
        for (Notice &notice : notices) {
            if (notice.kind == Notice::Kind::Removed)
                continue;
            CompleteRow(notice.row, values, columns);
            m_walk.Visit(notice.row.Before(), Direction::Backward, 1, [&](Row &&row) { notice.prior = row.id; });
        }
    }

    void Commit(const std::vector<Notice> &notices)
    {
        if (m_watch.m_knowsMembers)
            for (const Notice &notice : notices) {
                if (notice.kind == Notice::Kind::Removed)
                    m_watch.m_members.erase(notice.row.id);
                else
                    m_watch.m_members.insert(notice.row.id);
            }
        m_watch.m_position = m_last;
    }

    std::vector<Notice> Together(Notice::Kind kind)
    {
        begin();
        std::vector<Notice> notices(1);
        notices.front().kind = kind;
        notices.front().entry = m_last;
        return notices;
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
    if (IsMessages(m_container))
        m_needsMembers = !IsDecidedByFacets(m_filter);
    else
        m_needsMembers = m_container.kind == Container::Kind::FoldersDeep || m_filter.node != Filter::Node::And ||
                         !m_filter.children.empty();
    NoticeMaker(*this).begin();
}

std::int64_t Watch::Newest() const
{
    Reader reader(m_site.GetDatabase());
    return LastEntry(*reader);
}

std::vector<Notice> Watch::Next(const std::vector<Tag> &columns, std::int64_t quietUpTo)
{
    return NoticeMaker(*this).NoticesSince(columns, std::max(m_position, quietUpTo));
}

} // namespace localmapi::storage
