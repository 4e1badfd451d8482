// Looks a folder through without a lock, and then takes what it found in pieces, each message looked at once more.
#include "localmapi/storage/Purge.h"
#include "localmapi/storage/Messages.h"
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/Text.h"
#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace localmapi::storage
{

namespace
{

constexpr std::size_t kMostAPiece = 2000;
// Other programs' waiting writers look every 100 ms: the lock is free for as long as that between two pieces.
constexpr std::chrono::milliseconds kLongestPiece{200}, kBetweenPieces{100};

constexpr std::int32_t kFlagUnsent = 0x08;
constexpr const char *kKeptClasses[] = {"ipm.appointment", "ipm.contact",    "ipm.distlist",
                                        "ipm.task",        "ipm.stickynote", "ipm.activity"};

struct PurgedFolder {
    ObjectId id = 0;
    ObjectId top = 0; // the branch that it was found in: Deleted Items, or the mailbox's root
    bool isDeletedItems = false;
};

bool IsOfClass(const std::string &messageClass, const std::string &parent)
{
    return messageClass.starts_with(parent) &&
           (messageClass.size() == parent.size() || messageClass[parent.size()] == '.');
}

bool IsKept(const FacetKey &key, bool isDeletedItems)
{
    if (key.flags & kFlagAssociated)
        return true;
    if (isDeletedItems)
        return false;
    const std::string messageClass = key.messageClass ? FoldCase(*key.messageClass) : std::string();
    return (key.flags & kFlagUnsent) || std::any_of(std::begin(kKeptClasses), std::end(kKeptClasses),
                                                    [&](const char *kept) { return IsOfClass(messageClass, kept); });
}

std::int64_t TimeOf(std::int64_t delivered, std::int64_t submitted, std::int64_t created)
{
    return delivered != kNoTime ? delivered : submitted != kNoTime ? submitted : created;
}

// The folders of a branch, without that of `but` and what lies in it.
void AddBranch(Connection &connection, ObjectId top, const std::vector<ObjectId> &but, bool isDeletedItems,
               std::vector<PurgedFolder> &folders)
{
    Statement children = connection.Prepare("SELECT id FROM object WHERE parent = ? AND kind = 2 ORDER BY id DESC");
    std::vector<ObjectId> open{top};
    while (!open.empty()) {
        const ObjectId folder = open.back();
        open.pop_back();
        if (std::find(but.begin(), but.end(), folder) != but.end())
            continue;
        folders.push_back({folder, top, isDeletedItems});
        children.Bind(folder);
        while (children.Step())
            open.push_back(children.Integer(0));
        children.Rewind();
    }
}

std::vector<PurgedFolder> FoldersOf(const Site &site, const PurgeScope &scope)
{
    Reader reader(site.GetDatabase());
    Statement rows =
        reader->Prepare("SELECT root, deleted_items, calendar FROM mailbox WHERE ?1 IS NULL OR id = ?1 ORDER BY id");
    rows.Bind(scope.mailbox);
    std::vector<PurgedFolder> folders;
    while (rows.Step()) {
        const ObjectId root = rows.Integer(0), deleted = rows.Integer(1), calendar = rows.Integer(2);
        AddBranch(*reader, deleted, {calendar}, true, folders);
        if (!scope.deletedOnly)
            AddBranch(*reader, root, {deleted, calendar}, false, folders);
    }
    return folders;
}

struct Found {
    std::vector<ObjectId> messages;
    std::uint64_t bytes = 0;
};

Found OldIn(const Site &site, const PurgedFolder &folder, std::int64_t before)
{
    Reader reader(site.GetDatabase());
    Found found;
    Statement rows = reader->Prepare("SELECT id, size, delivered, submitted, created, IFNULL(arrived, created) "
                                     "FROM object WHERE facet = ? AND delivered < ?");
    for (const Facet &facet : FacetsOf(*reader, folder.id)) {
        if (IsKept(facet.key, folder.isDeletedItems))
            continue;
        rows.Bind(facet.id, before);
        while (rows.Step()) {
            const bool isOld = TimeOf(rows.Integer(2), rows.Integer(3), rows.Integer(4)) < before;
            const bool cameLately = folder.isDeletedItems && rows.Integer(5) >= before;
            if (!isOld || cameLately)
                continue;
            found.messages.push_back(rows.Integer(0));
            found.bytes += static_cast<std::uint64_t>(rows.Integer(1));
        }
        rows.Rewind();
    }
    return found;
}

// Whether the folder still lies in the branch that it was found in.
bool IsThere(Connection &connection, const PurgedFolder &folder)
{
    Statement find =
        connection.Prepare("WITH RECURSIVE up (id) AS (SELECT ?1 UNION ALL SELECT o.parent FROM up "
                           "JOIN object o ON o.id = up.id WHERE o.kind = 2) SELECT 1 FROM up WHERE id = ?2");
    return find.Bind(folder.id, folder.top).Step();
}

struct Candidate {
    ObjectId message = 0;
    const PurgedFolder *folder = nullptr;
};

// One transaction, from the first of the candidates on: until all are done, or it is large or long enough. How many
// were looked at.
class Piece
{
  public:
    Piece(const Site &site, std::int64_t before)
        : m_writer(site.GetDatabase(), Share::WithNobody, References::Checked, Room::IsMade), m_before(before)
    {
    }

    std::size_t Remove(const std::vector<Candidate> &candidates, std::size_t most, Purged &done)
    {
        const auto begun = std::chrono::steady_clock::now();
        Purged removed;
        std::size_t at = 0;
        for (; at < std::min(most, candidates.size()); ++at) {
            if (std::chrono::steady_clock::now() - begun > kLongestPiece)
                break;
            const std::optional<ObjectRow> row = FindMessage(m_writer, candidates[at].message);
            if (!row || !IsStillOld(*row, *candidates[at].folder))
                continue;
            RemoveMessage(m_writer, *row);
            ++removed.messages;
            removed.bytes += static_cast<std::uint64_t>(row->size);
        }
        if (removed.messages)
            m_writer.Commit();
        done.messages += removed.messages;
        done.bytes += removed.bytes;
        return at;
    }

  private:
    // A message that was moved has another number.
    bool IsStillOld(const ObjectRow &row, const PurgedFolder &folder)
    {
        if (&folder != m_folder) {
            m_folder = &folder;
            m_isThere = IsThere(*m_writer, folder);
        }
        return m_isThere && row.info.parent == folder.id && !IsKept(row.key, folder.isDeletedItems) &&
               TimeOf(row.delivered, row.submitted, row.created) < m_before;
    }

    Writer m_writer;
    const std::int64_t m_before;
    const PurgedFolder *m_folder = nullptr;
    bool m_isThere = false;
};

// As large a piece as there is room to write.
std::size_t RemovePiece(const Site &site, std::int64_t before, const std::vector<Candidate> &candidates, Purged &done)
{
    for (std::size_t most = kMostAPiece;; most = std::max<std::size_t>(1, most / 8))
        try {
            return EvenOnAFullDisk(site.GetDatabase(),
                                   [&] { return Piece(site, before).Remove(candidates, most, done); });
        } catch (const Error &error) {
            if (error.GetFault() != Fault::Full || most == 1)
                throw;
        }
}

} // namespace

Purged CountToPurge(const Site &site, const PurgeScope &scope)
{
    Purged there;
    for (const PurgedFolder &folder : FoldersOf(site, scope)) {
        const Found found = OldIn(site, folder, scope.before);
        there.messages += found.messages.size();
        there.bytes += found.bytes;
    }
    return there;
}

Purged Purge(const Site &site, const PurgeScope &scope, const std::function<bool(const Purged &)> &goOn)
{
    const std::vector<PurgedFolder> folders = FoldersOf(site, scope);
    Purged all;
    std::vector<Candidate> open;
    bool isFirst = true, stopped = false;
    // As many as fill a piece, or what there is.
    const auto remove = [&](std::size_t least) {
        while (!stopped && open.size() >= least) {
            if (!std::exchange(isFirst, false))
                std::this_thread::sleep_for(kBetweenPieces);
            const std::size_t looked = RemovePiece(site, scope.before, open, all);
            open.erase(open.begin(), open.begin() + static_cast<std::ptrdiff_t>(looked));
            stopped = goOn && !goOn(all);
        }
    };
    for (auto folder = folders.begin(); folder != folders.end() && !stopped; ++folder) {
        for (const ObjectId message : OldIn(site, *folder, scope.before).messages)
            open.push_back({message, &*folder});
        remove(kMostAPiece);
    }
    remove(1);
    return all;
}

} // namespace localmapi::storage
