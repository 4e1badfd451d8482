// Sums over the facets of a mailbox's folders, and the limit that a write transaction is held to as it ends.
#include "localmapi/storage/Sizes.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Properties.h"
#include "platform/lifetime/Lasting.h"

namespace localmapi::storage
{

namespace
{

// The folders of the mailboxes that `which` begins with, at whatever depth: (id, mailbox).
std::string Folders(const std::string &which)
{
    return "WITH RECURSIVE folder (id, mailbox) AS (" + which +
           " UNION ALL SELECT o.id, folder.mailbox FROM folder JOIN object o "
           "ON o.parent = folder.id AND o.kind = 2) ";
}

const std::string &g_allFolders = lifetime::LastingFrom([] { return Folders("SELECT id, id FROM mailbox"); });
const std::string &g_foldersOfOne =
    lifetime::LastingFrom([] { return Folders("SELECT id, id FROM mailbox WHERE id = ?"); });

// Hidden messages count as bytes alone.
constexpr char kSelectSizes[] = "SELECT m.id, IFNULL(sum(iif(f.flags & 64, 0, f.count)), 0), IFNULL(sum(f.bytes), 0), "
                                "m.quota FROM folder JOIN mailbox m ON m.id = folder.mailbox "
                                "LEFT JOIN facet f ON f.container = folder.id GROUP BY m.id";

MailboxSize SizeFrom(const Statement &row)
{
    return {row.Integer(0), row.Integer(1), row.Integer(2),
            row.IsNull(3) ? std::nullopt : std::optional(row.Integer(3))};
}

// Nothing for what is no folder.
std::optional<ObjectId> MailboxOfFolder(Connection &connection, ObjectId folder)
{
    Statement find = connection.Prepare("SELECT 1 FROM object WHERE id = ? AND kind = 2");
    find.Bind(folder);
    return find.Step() ? MailboxOfObject(connection, folder) : std::nullopt;
}

std::string OwnerOf(Connection &connection, ObjectId mailbox)
{
    Statement find = connection.Prepare("SELECT p.name FROM mailbox m JOIN person p ON p.id = m.owner WHERE m.id = ?");
    find.Bind(mailbox);
    return find.Step() ? find.Text(0) : std::string();
}

} // namespace

std::vector<MailboxSize> MailboxSizes(const Site &site)
{
    Reader reader(site.GetDatabase());
    Statement rows = reader->Prepare(g_allFolders + kSelectSizes);
    std::vector<MailboxSize> sizes;
    while (rows.Step())
        sizes.push_back(SizeFrom(rows));
    return sizes;
}

MailboxSize SizeOfMailbox(const Site &site, ObjectId mailbox)
{
    Reader reader(site.GetDatabase());
    Statement row = reader->Prepare(g_foldersOfOne + kSelectSizes);
    row.Bind(mailbox);
    if (!row.Step())
        throw Error(Fault::NotFound, "There is no such mailbox.");
    return SizeFrom(row);
}

FileSizes SizesOfFile(const Site &site)
{
    Reader reader(site.GetDatabase());
    const std::int64_t page = reader->Integer("PRAGMA page_size");
    const auto bytes = [](std::optional<std::uint64_t> size) { return static_cast<std::int64_t>(size.value_or(0)); };
    std::error_code none;
    const auto file = std::filesystem::file_size(PathOf(site.Path()), none);
    return {none ? 0 : static_cast<std::int64_t>(file), bytes(reader->LogSize()),
            page * reader->Integer("PRAGMA freelist_count"), bytes(site.GetDatabase().GetReserve().Size()),
            reader->Integer("PRAGMA user_version")};
}

void SetQuota(const Site &site, ObjectId mailbox, std::optional<std::int64_t> bytes)
{
    if (bytes && *bytes < 0)
        throw Error(Fault::Invalid, "A mailbox can't hold less than nothing.");
    Writer writer(site.GetDatabase());
    writer->Prepare("UPDATE mailbox SET quota = ? WHERE id = ?").Bind(bytes, mailbox).Run();
    if (writer->ChangedRows() == 0)
        throw Error(Fault::NotFound, "There is no such mailbox.");
    writer.Commit();
}

std::int64_t BytesIn(Connection &connection, ObjectId mailbox)
{
    Statement sum = connection.Prepare(g_foldersOfOne + "SELECT IFNULL(sum(f.bytes), 0) FROM folder "
                                                        "JOIN facet f ON f.container = folder.id");
    sum.Bind(mailbox);
    return sum.Step() ? sum.Integer(0) : 0;
}

std::optional<std::int64_t> QuotaOf(Connection &connection, ObjectId mailbox)
{
    Statement find = connection.Prepare("SELECT quota FROM mailbox WHERE id = ? AND quota IS NOT NULL");
    find.Bind(mailbox);
    return find.Step() ? std::optional(find.Integer(0)) : std::nullopt;
}

void RequireRoom(Connection &connection, const std::map<ObjectId, std::int64_t> &growth)
{
    if (growth.empty() || connection.Integer("SELECT 1 FROM mailbox WHERE quota IS NOT NULL LIMIT 1") == 0)
        return;
    std::map<ObjectId, std::int64_t> grown;
    for (const auto &[container, bytes] : growth)
        if (const auto mailbox = MailboxOfFolder(connection, container))
            grown[*mailbox] += bytes;
    std::vector<ObjectId> full;
    std::string names;
    for (const auto &[mailbox, bytes] : grown) {
        const std::optional<std::int64_t> quota = bytes > 0 ? QuotaOf(connection, mailbox) : std::nullopt;
        if (!quota || BytesIn(connection, mailbox) <= *quota)
            continue;
        full.push_back(mailbox);
        names +=
            (names.empty() ? "" : ", ") + OwnerOf(connection, mailbox) + " (" + std::to_string(*quota / 1024) + " KB)";
    }
    if (!full.empty())
        throw MailboxesFull("There is no room in the mailbox of " + names + ".", full);
}

} // namespace localmapi::storage
