// What is done to many messages at once: in pieces, each of them one commit that is done before others have waited
// long.
#include "localmapi/storage/Messages.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

// So many messages are one commit.
constexpr std::size_t kAtOnce = 2000;
// For more than so many, nobody else is to wait within a group.
constexpr std::size_t kMany = 100;

// Finds messages as FindMessage() does, and remembers what many of them have in common.
class Finder
{
  public:
    explicit Finder(Writer &writer) : m_writer(writer) {}
    std::optional<ObjectRow> Find(ObjectId id)
    {
        std::optional<ObjectRow> row = FindObject(*m_writer, id, &m_facets);
        if (!row || row->info.kind != ObjectKind::Message || !IsFolder(row->info.parent))
            return {};
        return row;
    }

  private:
    bool IsFolder(ObjectId id)
    {
        auto [known, isNew] = m_folders.try_emplace(id, false);
        if (isNew) {
            const std::optional<ObjectRow> row = FindObject(*m_writer, id);
            known->second = row && row->info.kind == ObjectKind::Folder;
        }
        return known->second;
    }

    Writer &m_writer;
    std::map<std::int64_t, FacetKey> m_facets;
    std::map<ObjectId, bool> m_folders;
};

// Does `work` with the messages of a list, piece by piece, and gathers the answers; those of a piece that fails, and of
// the ones behind it, say that nothing was done. Throws where that is the first one.
template <class Answer, class Work>
std::vector<Answer> InPieces(const Site &site, const std::vector<ObjectId> &messages, Room room, References references,
                             Work work)
{
    const auto doPiece = [&](const std::vector<ObjectId> &piece) {
        Writer writer(site.GetDatabase(), piece.size() > kMany ? Share::WithNobody : Share::WithOthers,
                      piece.size() > kMany ? references : References::Checked, room);
        std::vector<Answer> found = work(writer, piece);
        if (!piece.empty())
            writer.Commit();
        return found;
    };
    std::vector<Answer> answers(messages.size());
    std::size_t done = 0;
    do {
        const std::size_t count = std::min(kAtOnce, messages.size() - done);
        const std::vector<ObjectId> piece(messages.begin() + static_cast<std::ptrdiff_t>(done),
                                          messages.begin() + static_cast<std::ptrdiff_t>(done + count));
        try {
            const std::vector<Answer> found = room == Room::IsMade
                                                  ? EvenOnAFullDisk(site.GetDatabase(), [&] { return doPiece(piece); })
                                                  : doPiece(piece);
            std::copy(found.begin(), found.end(), answers.begin() + static_cast<std::ptrdiff_t>(done));
        } catch (const std::exception &) {
            if (done == 0)
                throw;
            break;
        }
        done += count;
    } while (done < messages.size());
    return answers;
}

// One thing for each message that is there.
template <class Answer, class Work>
std::vector<Answer> ForEach(Writer &writer, const std::vector<ObjectId> &messages, Work work)
{
    Finder finder(writer);
    std::vector<Answer> answers;
    answers.reserve(messages.size());
    for (ObjectId id : messages) {
        const std::optional<ObjectRow> row = finder.Find(id);
        answers.push_back(row ? Answer(work(*row)) : Answer());
    }
    return answers;
}

// Deletes messages with all that is in them, table by table. The writer does not check references: to follow them from
// each row to the rows that belong to it takes several times as long.
void DeleteWhole(Writer &writer, const std::vector<ObjectId> &messages)
{
    std::string ids = "[";
    for (const ObjectId id : messages)
        ids += (ids.size() > 1 ? "," : "") + std::to_string(id);
    ids += "]";
    const std::string gone = "WITH RECURSIVE gone (id) AS (SELECT value FROM json_each(?1) UNION SELECT o.id FROM gone "
                             "JOIN object o ON o.parent = gone.id) ";
    for (const char *remove :
         {"DELETE FROM chunk WHERE stream IN (SELECT s.id FROM gone JOIN stream s ON s.object = gone.id)",
          "DELETE FROM stream WHERE object IN gone", "DELETE FROM facet WHERE container IN gone",
          "DELETE FROM property WHERE object IN gone", "DELETE FROM object WHERE id IN gone"})
        writer->Prepare(gone + remove).Bind(ids).Run();
}

// Messages of a folder that are of one facet.
struct FacetPart {
    Facet facet;
    std::vector<ObjectId> messages;
    std::int64_t bytes = 0;

    Tally GetTally() const { return {static_cast<std::int64_t>(messages.size()), bytes}; }
};

// A piece of this size is deleted in a fraction of a second.
constexpr std::int64_t kBytesAtOnce = 100 << 20;

// The next messages of a folder, in the order in which they lie in the file, that are of the facets in `parts`: a
// piece. `last` is the last one that was looked at. Whether there may be more behind it.
bool FindNext(Writer &writer, ObjectId folder, ObjectId &last, std::map<std::int64_t, FacetPart> &parts)
{
    Statement rows = writer->Prepare("SELECT id, facet, size FROM object WHERE parent = ? AND kind = 3 AND number = 0 "
                                     "AND id > ? ORDER BY id");
    rows.Bind(folder, last);
    std::size_t count = 0;
    std::int64_t bytes = 0;
    while (count < kAtOnce && bytes < kBytesAtOnce) {
        if (!rows.Step())
            return false;
        last = rows.Integer(0);
        const auto part = parts.find(rows.Integer(1));
        if (part == parts.end())
            continue;
        part->second.messages.push_back(last);
        part->second.bytes += rows.Integer(2);
        bytes += rows.Integer(2);
        ++count;
    }
    return true;
}

// Does `work` with the messages of a folder whose facets `select` names, piece by piece. False where a piece fails;
// throws where that is the first one.
template <class Select, class Work>
bool WithFacets(const Site &site, ObjectId folder, References references, Select select, Work work)
{
    ObjectId last = 0;
    // Whether there may be more.
    const auto doPiece = [&] {
        ObjectId reached = last;
        Writer writer(site.GetDatabase(), Share::WithNobody, references, Room::IsMade);
        RequireFolder(writer, folder);
        std::map<std::int64_t, FacetPart> parts;
        for (const Facet &facet : FacetsOf(*writer, folder))
            if (select(facet.key))
                parts[facet.id].facet = facet;
        const bool goesOn = FindNext(writer, folder, reached, parts);
        std::erase_if(parts, [](const auto &part) { return part.second.messages.empty(); });
        if (parts.empty())
            return false;
        work(writer, parts);
        writer.Commit();
        last = reached;
        return goesOn;
    };
    for (bool isFirst = true, goesOn = true; goesOn; isFirst = false) {
        try {
            goesOn = EvenOnAFullDisk(site.GetDatabase(), doPiece);
        } catch (const std::exception &) {
            if (isFirst)
                throw;
            return false;
        }
    }
    return true;
}

bool IsAssociated(const FacetKey &key)
{
    return (key.flags & kFlagAssociated) != 0;
}

template <class Select> bool RemoveFacets(const Site &site, ObjectId folder, Select select)
{
    return WithFacets(site, folder, References::Unchecked, select,
                      [&](Writer &writer, const std::map<std::int64_t, FacetPart> &parts) {
                          std::vector<ObjectId> all;
                          for (const auto &[id, part] : parts) {
                              all.insert(all.end(), part.messages.begin(), part.messages.end());
                              writer.Facets().Leave(id, part.GetTally());
                              writer.Entries().FacetChanged(folder, part.facet.key, {});
                          }
                          DeleteWhole(writer, all);
                      });
}

} // namespace

std::vector<ObjectId> Objects::CopyMessages(const std::vector<ObjectId> &messages, ObjectId folder)
{
    return InPieces<ObjectId>(
        m_site, messages, Room::IsNeeded, References::Checked, [&](Writer &writer, const auto &piece) {
            RequireFolder(writer, folder);
            return ForEach<ObjectId>(writer, piece,
                                     [&](const ObjectRow &row) { return CopyObject(writer, row, folder); });
        });
}

std::vector<ObjectId> Objects::MoveMessages(const std::vector<ObjectId> &messages, ObjectId folder)
{
    return InPieces<ObjectId>(
        m_site, messages, Room::IsMade, References::Checked, [&](Writer &writer, const auto &piece) {
            RequireFolder(writer, folder);
            return ForEach<ObjectId>(writer, piece,
                                     [&](const ObjectRow &row) { return MoveMessage(writer, row, folder); });
        });
}

std::vector<bool> Objects::RemoveMessages(const std::vector<ObjectId> &messages)
{
    return InPieces<bool>(m_site, messages, Room::IsMade, References::Unchecked,
                          [&](Writer &writer, const auto &piece) {
                              if (piece.size() <= kMany)
                                  return ForEach<bool>(writer, piece, [&](const ObjectRow &row) {
                                      RemoveMessage(writer, row);
                                      return true;
                                  });
                              std::set<ObjectId> gone; // a message may be named twice
                              std::vector<bool> answers = ForEach<bool>(writer, piece, [&](const ObjectRow &row) {
                                  if (!gone.insert(row.info.id).second)
                                      return false;
                                  writer.Facets().Leave(row.facet, {1, row.size});
                                  writer.Entries().MessageRemoved(row.info.id, row.info.parent, row.key);
                                  return true;
                              });
                              DeleteWhole(writer, {gone.begin(), gone.end()});
                              return answers;
                          });
}

std::vector<bool> Objects::ChangeFlags(const std::vector<ObjectId> &messages, std::int32_t set, std::int32_t clear,
                                       ChangeNumber *known)
{
    bool follows = false;
    ChangeNumber written = 0;
    const auto change = [&](Writer &writer, const auto &piece) {
        follows = false;
        written = writer.Change();
        return ForEach<bool>(writer, piece, [&](const ObjectRow &row) {
            FacetKey key = row.key;
            key.flags = ((key.flags | set) & ~clear & ~kFlagHasAttachments) | (key.flags & kFlagHasAttachments);
            if (key == row.key)
                return true;
            const Tally tally{1, row.size};
            writer.Facets().Leave(row.facet, tally);
            writer->Prepare("UPDATE object SET facet = ?, modified = ?, change = ? WHERE id = ?")
                .Bind(writer.Facets().Enter(*writer, row.info.parent, key, tally), writer.Now(), writer.Change(),
                      row.info.id)
                .Run();
            writer.Entries().MessageChanged(row.info.id, row.info.parent, row.key, key);
            follows = follows || (known && *known == row.info.change);
            return true;
        });
    };
    std::vector<bool> there = InPieces<bool>(m_site, messages, Room::IsMade, References::Checked, change);
    if (follows)
        *known = written;
    return there;
}

bool Objects::RemoveAllMessages(ObjectId folder)
{
    return RemoveFacets(m_site, folder, [](const FacetKey &key) { return !IsAssociated(key); });
}

bool Objects::SetAllRead(ObjectId folder, bool read)
{
    return WithFacets(
        m_site, folder, References::Checked,
        [&](const FacetKey &key) { return !IsAssociated(key) && ((key.flags & kFlagRead) != 0) != read; },
        [&](Writer &writer, const std::map<std::int64_t, FacetPart> &parts) {
            Statement update = writer->Prepare("UPDATE object SET facet = ?, modified = ?, change = ? WHERE id = ?");
            for (const auto &[id, part] : parts) {
                FacetKey key = part.facet.key;
                key.flags ^= kFlagRead;
                const std::int64_t to = writer.Facets().Enter(*writer, folder, key, part.GetTally());
                writer.Facets().Leave(id, part.GetTally());
                for (const ObjectId message : part.messages)
                    update.Bind(to, writer.Now(), writer.Change(), message).Run();
                writer.Entries().FacetChanged(folder, part.facet.key, key);
            }
        });
}

void EmptyLargeBranch(const Site &site, ObjectId folder)
{
    std::vector<ObjectId> folders;
    std::int64_t messages = 0;
    {
        Reader reader(site.GetDatabase());
        Statement rows = reader->Prepare(
            "WITH RECURSIVE branch (id) AS (SELECT ? UNION ALL SELECT o.id FROM object o JOIN branch "
            "ON o.parent = branch.id WHERE o.kind = 2) "
            "SELECT id, (SELECT IFNULL(sum(count), 0) FROM facet WHERE container = branch.id) FROM branch");
        rows.Bind(folder);
        while (rows.Step()) {
            folders.push_back(rows.Integer(0));
            messages += rows.Integer(1);
        }
    }
    if (static_cast<std::size_t>(messages) > kAtOnce)
        for (const ObjectId one : folders)
            RemoveFacets(site, one, [](const FacetKey &) { return true; });
}

} // namespace localmapi::storage
