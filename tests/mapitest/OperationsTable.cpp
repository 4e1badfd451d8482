// Contents tables: restricted, sorted, read, moved through, searched, with bookmarks.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

constexpr std::size_t kMostTables = 6;

bool OfTable(World &world, Random &random, Operation &operation)
{
    operation.target = SomeTable(world, random);
    return operation.target != 0;
}

bool GenerateOpenTable(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    if (operation.session < 0 || world.tables.size() >= kMostTables)
        return false;
    operation.target = SomeFolder(world, random, operation.session);
    return operation.target != 0;
}

void PerformOpenTable(World &world, const Operation &operation)
{
    SessionOf(world, operation);
    Named(world.model.folders, operation.target);
    OpenTable open;
    open.session = operation.session;
    open.model.folder = operation.target;
    Expect(world.FolderOf(operation.session, operation.target)->GetContentsTable(MAPI_UNICODE, open.object.put()), S_OK,
           "GetContentsTable");
    Expect(open.object->SetColumns(Tags(Columns()), 0), S_OK, "SetColumns");
    world.tables[operation.Own()] = std::move(open);
}

void PerformCloseTable(World &world, const Operation &operation)
{
    Named(world.tables, operation.target);
    world.Close(world.tables.find(operation.target));
}

// --- filter and order ---

void Rearranged(World &world, OpenTable &open)
{
    open.model.Rearrange();
    for (const auto &[name, bookmark] : open.bookmarks)
        Expect(open.object->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK,
               "SeekRow from a bookmark of the former rows");
    open.bookmarks.clear();
    if (!open.sink)
        return;
    const bool loose = open.copy.loose;
    auto changes = std::move(open.copy.changes);
    for (TableCopy::Changes &some : changes)
        some.former = some.rows;
    auto hidden = std::move(open.copy.hidden);
    world.FillCopy(open);
    open.copy.hidden = std::move(hidden);
    open.copy.loose = loose;
    open.copy.changes = std::move(changes);
}

bool GenerateRestrict(World &world, Random &random, Operation &operation)
{
    if (!random.OneIn(4))
        operation.condition = RandomCondition(random);
    return OfTable(world, random, operation);
}

void PerformRestrict(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    if (open.sink)
        world.AwaitNotices(open);
    std::optional<Restriction> restriction;
    if (operation.condition)
        restriction.emplace(*operation.condition);
    Expect(open.object->Restrict(restriction ? restriction->get() : nullptr, 0), S_OK, "Restrict");
    open.model.filter = operation.condition;
    Rearranged(world, open);
}

bool GenerateSort(World &world, Random &random, Operation &operation)
{
    std::set<ULONG> tags;
    for (int count = random.Below(4); count > 0; --count) {
        const ULONG tag = random.Of(ComparableTags());
        if (tags.insert(tag).second)
            operation.sort.push_back({tag, random.OneIn(2)});
    }
    return OfTable(world, random, operation);
}

void PerformSort(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    if (open.sink)
        world.AwaitNotices(open);
    std::vector<ULONG> words = {static_cast<ULONG>(operation.sort.size()), 0, 0};
    for (const SortKey &key : operation.sort)
        words.insert(words.end(), {key.tag, key.descending ? ULONG{TABLE_SORT_DESCEND} : ULONG{TABLE_SORT_ASCEND}});
    Expect(open.object->SortTable(reinterpret_cast<SSortOrderSet *>(words.data()), 0), S_OK, "SortTable");
    open.model.sort = operation.sort;
    Rearranged(world, open);
}

// --- reading ---

bool GenerateRows(World &world, Random &random, Operation &operation)
{
    operation.number = random.OneIn(4) ? 1000 : random.Between(1, 12);
    if (random.OneIn(4))
        operation.number = -operation.number;
    operation.flags = random.OneIn(5) ? ULONG{TBL_NOADVANCE} : 0;
    return OfTable(world, random, operation);
}

void PerformRows(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    RowSet rows;
    Expect(open.object->QueryRows(operation.number, operation.flags, rows.put()), S_OK, "QueryRows");
    TableModel &table = open.model;
    const auto shown = table.Shown(world.model);
    const std::size_t at = table.Before(shown, table.cursor);
    const auto count = static_cast<std::size_t>(std::abs(operation.number));
    const std::size_t first = operation.number > 0 ? at : at - std::min(at, count);
    const std::size_t last = operation.number > 0 ? std::min(shown.size(), at + count) : at;
    Expect(rows.size() == last - first,
           "QueryRows gave " + std::to_string(rows.size()) + " rows, not " + std::to_string(last - first));
    for (ULONG i = 0; i < rows.size(); ++i)
        world.Compare(rows[i].lpProps, rows[i].cValues, *shown[first + i], "row " + std::to_string(first + i));
    if (last == first)
        return;
    if (!(operation.flags & TBL_NOADVANCE))
        table.cursor = table.Beside(*shown[last - 1], Place::Where::After);
    else if (operation.number < 0)
        table.cursor = table.Beside(*shown[first], Place::Where::Before);
}

void PerformCount(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    ULONG count = 0;
    Expect(open.object->GetRowCount(0, &count), S_OK, "GetRowCount");
    const std::size_t wanted = open.model.Shown(world.model).size();
    Expect(count == wanted, "GetRowCount says " + std::to_string(count) + ", not " + std::to_string(wanted));
}

void PerformPosition(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    ULONG row = 0, numerator = 0, denominator = 0;
    Expect(open.object->QueryPosition(&row, &numerator, &denominator), S_OK, "QueryPosition");
    const auto shown = open.model.Shown(world.model);
    const std::size_t at = open.model.Before(shown, open.model.cursor);
    Expect(row == at && numerator == at && denominator == std::max<std::size_t>(1, shown.size()),
           "QueryPosition says " + std::to_string(row) + " and " + std::to_string(numerator) + "/" +
               std::to_string(denominator) + ", not " + std::to_string(at) + " of " + std::to_string(shown.size()));
}

// --- moving ---

// A bookmark of the table, or one of those that every table has.
void ChooseOrigin(World &world, Random &random, Operation &operation)
{
    const auto &bookmarks = world.tables.at(operation.target).bookmarks;
    operation.flags = static_cast<ULONG>(random.Below(3)); // BOOKMARK_BEGINNING, _CURRENT, _END
    if (!bookmarks.empty() && random.OneIn(2))
        operation.other = std::next(bookmarks.begin(), random.Below(static_cast<int>(bookmarks.size())))->first;
}

struct Origin {
    BOOKMARK bookmark;
    Place place;
    HRESULT moved; // what is said of a bookmark whose row went
};

Origin OriginOf(OpenTable &open, const Operation &operation, const TableModel::Rows &shown)
{
    if (operation.other) {
        const Place &place = Named(open.model.bookmarks, operation.other);
        const bool gone = place.where == Place::Where::Before && !open.model.Holds(shown, place);
        return {open.bookmarks.at(operation.other), place, gone ? MAPI_W_POSITION_CHANGED : S_OK};
    }
    if (operation.flags == BOOKMARK_CURRENT)
        return {BOOKMARK_CURRENT, open.model.cursor, S_OK};
    return {operation.flags,
            Place{operation.flags == BOOKMARK_END ? Place::Where::End : Place::Where::Beginning, {}, 0}, S_OK};
}

bool GenerateSeek(World &world, Random &random, Operation &operation)
{
    if (!OfTable(world, random, operation))
        return false;
    ChooseOrigin(world, random, operation);
    operation.number = random.OneIn(5) ? 0 : random.Between(-12, 12);
    return true;
}

void PerformSeek(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    const auto shown = open.model.Shown(world.model);
    const Origin origin = OriginOf(open, operation, shown);
    LONG sought = 77;
    Expect(open.object->SeekRow(origin.bookmark, operation.number, &sought), origin.moved, "SeekRow");
    const auto [place, moved] = open.model.Move(shown, origin.place, operation.number);
    Expect(sought == moved, "SeekRow went " + std::to_string(sought) + " rows, not " + std::to_string(moved));
    open.model.cursor = place;
}

bool GenerateApprox(World &world, Random &random, Operation &operation)
{
    operation.number = random.Below(6);
    operation.size = random.Between(1, 5);
    return OfTable(world, random, operation);
}

void PerformApprox(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    Expect(open.object->SeekRowApprox(static_cast<ULONG>(operation.number), static_cast<ULONG>(operation.size)), S_OK,
           "SeekRowApprox");
    const auto shown = open.model.Shown(world.model);
    if (operation.number == 0)
        open.model.cursor = {};
    else if (operation.number >= operation.size)
        open.model.cursor = {Place::Where::End, {}, 0};
    else
        open.model.cursor =
            open.model.Move(shown, {}, static_cast<LONG>(shown.size()) * operation.number / operation.size).first;
}

bool GenerateFind(World &world, Random &random, Operation &operation)
{
    if (!OfTable(world, random, operation))
        return false;
    ChooseOrigin(world, random, operation);
    operation.condition = RandomCondition(random, 1);
    operation.yes = random.OneIn(3); // backward
    return true;
}

void PerformFind(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    const auto shown = open.model.Shown(world.model);
    const Origin origin = OriginOf(open, operation, shown);
    const std::size_t at = open.model.Before(shown, origin.place);
    const Message *found = nullptr;
    if (operation.yes) {
        for (std::size_t i = at; i > 0 && !found; --i)
            found = (*operation.condition)(shown[i - 1]->content) ? shown[i - 1] : nullptr;
    } else {
        for (std::size_t i = at; i < shown.size() && !found; ++i)
            found = (*operation.condition)(shown[i]->content) ? shown[i] : nullptr;
    }
    Restriction restriction(*operation.condition);
    Expect(open.object->FindRow(restriction.get(), origin.bookmark, operation.yes ? ULONG{DIR_BACKWARD} : 0),
           found ? origin.moved : MAPI_E_NOT_FOUND, "FindRow");
    if (found)
        open.model.cursor = open.model.Beside(*found, Place::Where::Before);
}

// --- bookmarks ---

void PerformBookmark(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    BOOKMARK bookmark = 0;
    Expect(open.object->CreateBookmark(&bookmark), S_OK, "CreateBookmark");
    Expect(bookmark > BOOKMARK_END, "CreateBookmark gave one that every table has");
    for (const auto &[name, known] : open.bookmarks)
        Expect(known != bookmark, "CreateBookmark gave one that is there");
    const auto shown = open.model.Shown(world.model);
    const std::size_t at = open.model.Before(shown, open.model.cursor);
    open.bookmarks[operation.Own()] = bookmark;
    open.model.bookmarks[operation.Own()] =
        at < shown.size() ? open.model.Beside(*shown[at], Place::Where::Before) : open.model.cursor;
}

bool GenerateFree(World &world, Random &random, Operation &operation)
{
    if (!OfTable(world, random, operation))
        return false;
    ChooseOrigin(world, random, operation);
    return operation.other != 0;
}

void PerformFree(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    const BOOKMARK bookmark = Named(open.bookmarks, operation.other);
    Expect(open.object->FreeBookmark(bookmark), S_OK, "FreeBookmark");
    Expect(open.object->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK, "SeekRow from a bookmark that is gone");
    open.bookmarks.erase(operation.other);
    open.model.bookmarks.erase(operation.other);
}

} // namespace

const std::vector<OperationKind> &TableOperations()
{
    static const std::vector<OperationKind> kinds = {{"open table", 30, GenerateOpenTable, PerformOpenTable},
                                                     {"close table", 12, OfTable, PerformCloseTable},
                                                     {"restrict", 40, GenerateRestrict, PerformRestrict},
                                                     {"sort", 25, GenerateSort, PerformSort},
                                                     {"query rows", 120, GenerateRows, PerformRows},
                                                     {"count", 40, OfTable, PerformCount},
                                                     {"position", 40, OfTable, PerformPosition},
                                                     {"seek", 70, GenerateSeek, PerformSeek},
                                                     {"seek approximately", 15, GenerateApprox, PerformApprox},
                                                     {"find", 70, GenerateFind, PerformFind},
                                                     {"create bookmark", 40, OfTable, PerformBookmark},
                                                     {"free bookmark", 12, GenerateFree, PerformFree}};
    return kinds;
}

} // namespace mapitest
