// Folders, and what is done to lists of messages in them.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

constexpr int kMostFolders = 14;
// From here on more is deleted than made.
constexpr std::size_t kManyMessages = 60;
const std::vector<std::string> kFolderNames = {"One", "two", "TWO", "Three", "caf\xC3\xA9", "CAF\xC3\x89"};

bool InFolder(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    if (operation.session < 0)
        return false;
    operation.target = SomeFolder(world, random, operation.session);
    return operation.target != 0;
}

Folder &FolderNamed(World &world, const Operation &operation, Name name)
{
    SessionOf(world, operation);
    return Named(world.model.folders, name);
}

// --- folders ---

bool GenerateCreateFolder(World &world, Random &random, Operation &operation)
{
    operation.text = random.Of(kFolderNames);
    operation.flags = random.OneIn(3) ? ULONG{OPEN_IF_EXISTS} : 0;
    return world.model.folders.size() < kMostFolders && InFolder(world, random, operation);
}

void PerformCreateFolder(World &world, const Operation &operation)
{
    const Folder parent = FolderNamed(world, operation, operation.target);
    const Folder *existing = nullptr;
    for (const Name name : world.model.Subfolders(operation.target))
        if (Folded(world.model.folders.at(name).text, true, false) == Folded(operation.text, true, false))
            existing = &world.model.folders.at(name);
    std::u16string text = Utf16(operation.text);
    ComPtr<IMAPIFolder> made;
    const HRESULT hr = world.FolderOf(operation.session, operation.target)
                           ->CreateFolder(FOLDER_GENERIC, reinterpret_cast<LPTSTR>(text.data()), nullptr, nullptr,
                                          MAPI_UNICODE | operation.flags, made.put());
    const bool opens = existing && (operation.flags & OPEN_IF_EXISTS);
    Expect(hr, existing && !opens ? MAPI_E_COLLISION : S_OK, "CreateFolder");
    if (hr != S_OK)
        return;
    const Bytes id = BytesOf(made.get(), PR_ENTRYID);
    if (opens)
        return Expect(id == world.folderIds.at(existing->name), "CreateFolder opened another folder");
    for (const auto &[name, known] : world.folderIds)
        Expect(known != id, "the entry ID of a folder is given a second time");
    world.folderIds[operation.Own()] = id;
    world.model.folders[operation.Own()] = {operation.Own(), operation.target, parent.mailbox, operation.text, false};
    world.sessions[operation.session].folders[operation.Own()] = made;
}

bool GenerateDeleteFolder(World &world, Random &random, Operation &operation)
{
    static const ULONG flags[] = {DEL_MESSAGES | DEL_FOLDERS, DEL_MESSAGES | DEL_FOLDERS, DEL_MESSAGES, DEL_FOLDERS, 0};
    operation.flags = flags[random.Below(5)];
    return InFolder(world, random, operation) && !world.model.folders.at(operation.target).special;
}

void PerformDeleteFolder(World &world, const Operation &operation)
{
    const Folder folder = FolderNamed(world, operation, operation.target);
    HRESULT wanted = S_OK;
    if (!world.model.In(folder.name).empty() && !(operation.flags & DEL_MESSAGES))
        wanted = MAPI_E_HAS_MESSAGES;
    else if (!world.model.Subfolders(folder.name).empty() && !(operation.flags & DEL_FOLDERS))
        wanted = MAPI_E_HAS_FOLDERS;
    Bytes id = world.folderIds.at(folder.name);
    Expect(world.FolderOf(operation.session, folder.parent)
               ->DeleteFolder(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), 0, nullptr,
                              operation.flags),
           wanted, "DeleteFolder");
    if (wanted == S_OK)
        world.model.RemoveFolder(folder.name);
}

void PerformEmptyFolder(World &world, const Operation &operation)
{
    const Folder folder = FolderNamed(world, operation, operation.target);
    Expect(world.FolderOf(operation.session, folder.name)->EmptyFolder(0, nullptr, 0), S_OK, "EmptyFolder");
    for (const Name below : world.model.Subfolders(folder.name))
        world.model.RemoveFolder(below);
    for (const Message *message : world.model.In(folder.name))
        world.model.RemoveMessage(message->name);
}

bool GenerateEmptyFolder(World &world, Random &random, Operation &operation)
{
    return InFolder(world, random, operation);
}

void PerformHierarchy(World &world, const Operation &operation)
{
    FolderNamed(world, operation, operation.target);
    ComPtr<IMAPITable> table;
    Expect(world.FolderOf(operation.session, operation.target)->GetHierarchyTable(MAPI_UNICODE, table.put()), S_OK,
           "GetHierarchyTable");
    static const std::vector<ULONG> columns = {PR_ENTRYID, PR_DISPLAY_NAME_W, PR_CONTENT_COUNT, PR_CONTENT_UNREAD,
                                               PR_SUBFOLDERS};
    Expect(table->SetColumns(Tags(columns), 0), S_OK, "SetColumns");
    RowSet rows;
    Expect(table->QueryRows(1000, 0, rows.put()), S_OK, "QueryRows");
    std::vector<const Folder *> wanted;
    for (const Name name : world.model.Subfolders(operation.target))
        wanted.push_back(&world.model.folders.at(name));
    std::sort(wanted.begin(), wanted.end(), [](const Folder *left, const Folder *right) {
        const Value a = left->text, b = right->text;
        return Compare(&a, &b) < 0;
    });
    Expect(rows.size() == wanted.size(),
           "there are " + std::to_string(rows.size()) + " subfolders, not " + std::to_string(wanted.size()));
    for (ULONG i = 0; i < rows.size(); ++i) {
        std::int32_t unread = 0;
        const auto messages = world.model.In(wanted[i]->name);
        for (const Message *message : messages)
            unread += (message->content.Flags() & kRead) == 0;
        const Value values[] = {world.folderIds.at(wanted[i]->name), wanted[i]->text,
                                static_cast<std::int32_t>(messages.size()), unread,
                                !world.model.Subfolders(wanted[i]->name).empty()};
        for (std::size_t column = 0; column < columns.size(); ++column) {
            const auto difference = Difference(rows[i].lpProps[column], columns[column], &values[column]);
            Expect(difference.empty(), "subfolder " + std::to_string(i) + ": " + difference);
        }
    }
}

// --- lists of messages ---

bool GenerateList(World &world, Random &random, Operation &operation)
{
    if (!InFolder(world, random, operation))
        return false;
    const auto here = world.model.In(operation.target);
    if (here.empty() && !random.OneIn(10))
        return false;
    std::set<Name> list;
    for (int count = random.Between(1, 4); count > 0 && !here.empty(); --count)
        list.insert(random.Of(here)->name);
    if (random.OneIn(8) && !world.model.messages.empty())
        list.insert(std::next(world.model.messages.begin(), random.Below(static_cast<int>(world.model.messages.size())))
                        ->first);
    operation.list.assign(list.begin(), list.end());
    return true;
}

struct Selected {
    std::deque<Bytes> ids;
    std::vector<SBinary> entries;
    ENTRYLIST list{};
    std::vector<Name> here; // those that are in the folder
    HRESULT wanted = S_OK;
};

Selected Select(World &world, const Operation &operation)
{
    FolderNamed(world, operation, operation.target);
    Selected selected;
    for (const Name name : operation.list) {
        const Message *message = world.model.FindMessage(name);
        if (!message)
            continue;
        Bytes &id = selected.ids.emplace_back(message->entryId);
        SBinary entry{};
        entry.cb = static_cast<ULONG>(id.size());
        entry.lpb = id.data();
        selected.entries.push_back(entry);
        if (message->folder == operation.target)
            selected.here.push_back(name);
        else
            selected.wanted = MAPI_W_PARTIAL_COMPLETION;
    }
    selected.list.cValues = static_cast<ULONG>(selected.entries.size());
    selected.list.lpbin = selected.entries.data();
    return selected;
}

bool GenerateTransfer(World &world, Random &random, Operation &operation)
{
    if (!GenerateList(world, random, operation))
        return false;
    operation.other = SomeFolder(world, random, operation.session);
    operation.flags = random.OneIn(2) || world.model.messages.size() > kManyMessages ? ULONG{MESSAGE_MOVE} : 0;
    return operation.other != 0;
}

void PerformTransfer(World &world, const Operation &operation)
{
    Selected selected = Select(world, operation);
    FolderNamed(world, operation, operation.other);
    Expect(world.FolderOf(operation.session, operation.target)
               ->CopyMessages(&selected.list, &IID_IMAPIFolder, world.FolderOf(operation.session, operation.other), 0,
                              nullptr, operation.flags),
           selected.wanted, "CopyMessages");
    int which = 0;
    for (const Name name : selected.here) {
        if (operation.flags & MESSAGE_MOVE)
            world.model.MoveMessage(name, operation.Own(which++), operation.other);
        else
            world.model.AddMessage(operation.Own(which++), operation.other, world.model.FindMessage(name)->content);
    }
    world.Bind(operation.other, operation.session);
}

bool GenerateRemove(World &world, Random &random, Operation &operation)
{
    return GenerateList(world, random, operation) && (world.model.messages.size() > kManyMessages || random.OneIn(3));
}

void PerformRemove(World &world, const Operation &operation)
{
    Selected selected = Select(world, operation);
    Expect(world.FolderOf(operation.session, operation.target)->DeleteMessages(&selected.list, 0, nullptr, 0),
           selected.wanted, "DeleteMessages");
    for (const Name name : selected.here)
        world.model.RemoveMessage(name);
}

bool GenerateReadFlags(World &world, Random &random, Operation &operation)
{
    operation.flags = random.OneIn(2) ? ULONG{CLEAR_READ_FLAG} : 0;
    operation.yes = random.OneIn(5); // all messages
    return GenerateList(world, random, operation);
}

void PerformReadFlags(World &world, const Operation &operation)
{
    Selected selected = Select(world, operation);
    if (operation.yes) {
        selected.wanted = S_OK;
        selected.here.clear();
        for (const Message *message : world.model.In(operation.target))
            selected.here.push_back(message->name);
    }
    Expect(world.FolderOf(operation.session, operation.target)
               ->SetReadFlags(operation.yes ? nullptr : &selected.list, 0, nullptr, operation.flags),
           selected.wanted, "SetReadFlags");
    for (const Name name : selected.here) {
        Message &message = *world.model.FindMessage(name);
        const std::int32_t flags = message.content.Flags();
        const std::int32_t marked = operation.flags ? flags & ~kRead : flags | kRead;
        if (marked == flags)
            continue;
        message.content.properties[PR_MESSAGE_FLAGS] = marked;
        world.model.Touch(message);
    }
}

bool GenerateStatus(World &world, Random &random, Operation &operation)
{
    operation.flags = static_cast<ULONG>(random.Below(8));
    operation.number = random.Below(8);
    operation.yes = random.OneIn(2); // only reads
    return GenerateList(world, random, operation) && !operation.list.empty();
}

void PerformStatus(World &world, const Operation &operation)
{
    FolderNamed(world, operation, operation.target);
    Message &message = Named(world.model.messages, operation.list.front());
    const auto *stored = FindAs<std::int32_t>(message.content.properties, PR_MSG_STATUS);
    const std::int32_t before = stored ? *stored : 0;
    Bytes id = message.entryId;
    IMAPIFolder *folder = world.FolderOf(operation.session, operation.target);
    const int mailbox = world.model.folders.at(message.folder).mailbox;
    if (mailbox != world.model.folders.at(operation.target).mailbox)
        throw PassedOver();
    const HRESULT wanted = message.folder == operation.target ? S_OK : MAPI_E_NOT_FOUND;
    ULONG status = 0;
    if (operation.yes)
        Expect(
            folder->GetMessageStatus(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), 0, &status),
            wanted, "GetMessageStatus");
    else
        Expect(folder->SetMessageStatus(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()),
                                        operation.flags, static_cast<ULONG>(operation.number), &status),
               wanted, "SetMessageStatus");
    if (wanted != S_OK)
        return;
    Expect(status == static_cast<ULONG>(before),
           "the status was " + std::to_string(status) + ", not " + std::to_string(before));
    if (operation.yes)
        return;
    message.content.properties[PR_MSG_STATUS] =
        std::int32_t{(before & ~operation.number) | (static_cast<std::int32_t>(operation.flags) & operation.number)};
    world.model.Touch(message);
}

} // namespace

const std::vector<OperationKind> &FolderOperations()
{
    static const std::vector<OperationKind> kinds = {{"create folder", 12, GenerateCreateFolder, PerformCreateFolder},
                                                     {"delete folder", 8, GenerateDeleteFolder, PerformDeleteFolder},
                                                     {"empty folder", 2, GenerateEmptyFolder, PerformEmptyFolder},
                                                     {"read hierarchy", 15, InFolder, PerformHierarchy},
                                                     {"transfer", 40, GenerateTransfer, PerformTransfer},
                                                     {"delete messages", 60, GenerateRemove, PerformRemove},
                                                     {"set read flags", 35, GenerateReadFlags, PerformReadFlags},
                                                     {"message status", 20, GenerateStatus, PerformStatus}};
    return kinds;
}

} // namespace mapitest
