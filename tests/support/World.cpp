// What is in the world at first, and how mailboxes, messages and attachments are added to it.
#include "support/World.h"
#include <algorithm>

namespace mapi_double
{

World &TheWorld()
{
    static auto *world = new World;
    return *world;
}

std::string DistinguishedNameOf(const std::string &alias)
{
    return "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=" + alias;
}

namespace
{

bool BeginsWith(const std::string &text, const std::string &start)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), [&](char a, char b) { return lower(a) == lower(b); });
}

// The row of each user that an ambiguous name resolution leaves; all rows for another restriction or none.
std::vector<Row> ResolvedRows(const std::vector<Row> &rows, const SRestriction *restriction)
{
    if (!restriction || restriction->rt != RES_PROPERTY || restriction->res.resProperty.ulPropTag != PR_ANR_A)
        return rows;
    std::vector<Row> result;
    for (const auto &user : TheWorld().Resolve(restriction->res.resProperty.lpProp->Value.lpszA))
        for (const Row &row : rows)
            if (const Value *id = Find(row, PR_ENTRYID); id && id->bytes == user->entryId)
                result.push_back(row);
    return result;
}

} // namespace

World::World()
    : profiles(std::make_shared<TableData>("profiles")), services(std::make_shared<TableData>("services")),
      stores(std::make_shared<TableData>("stores")), globalSection(std::make_shared<PropsData>("global")),
      defaultStore(std::make_shared<StoreData>("default")), rootContainer(std::make_shared<ContainerData>("root")),
      globalAddressList(std::make_shared<ContainerData>("GAL"))
{
    profiles->rows = {{Text(PR_DISPLAY_NAME_A, "Voicemail")}};
    services->rows = {{Text(PR_SERVICE_NAME_A, "MSEMS"), Binary(PR_SERVICE_UID, "0123456789abcdef")}};
    globalSection->props = {Text(PR_PROFILE_HOME_SERVER, "NORVIK1"), Text(PR_PROFILE_NAME_A, "Voicemail"),
                            Text(PR_PROFILE_UNRESOLVED_NAME, "vm")};

    Enter(defaultStore, "store:default");
    AddOutgoingFolders(*defaultStore);
    stores->rows = {{Binary(PR_ENTRYID, defaultStore->entryId), Bool(PR_DEFAULT_STORE, true)}};

    Enter(rootContainer, "ab:root");
    Enter(globalAddressList, "ab:gal");
    rootContainer->hierarchy = std::make_shared<TableData>("hierarchy");
    rootContainer->hierarchy->rows = {{Binary(PR_ENTRYID, globalAddressList->entryId), Long(PR_DISPLAY_TYPE, 0x20000)}};
    globalAddressList->contents = std::make_shared<TableData>("GAL");
    globalAddressList->contents->select = ResolvedRows;

    AddMailbox("alice", "Alice Archer");
    AddMailbox("bob", "Bob Baker");
    MessageData &message = AddMessage(
        "alice", "m1",
        {Text(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"), Long(PR_IMPORTANCE, 1), Long(PR_SENSITIVITY, 0),
         Text(PR_SENDER_NAME_A, "Carol"), Text(PR_CREATOR_NAME_A, "Carol C."),
         Time(PR_CLIENT_SUBMIT_TIME, 0x01D9A1B2C3D4E5F6), Long(PR_MESSAGE_FLAGS, 0x10), Long(PR_MESSAGE_SIZE, 2048),
         Text(PR_COMMENT_A, "comment"), Text(PR_SENDER_EMAIL_ADDRESS_A, "carol@norvik.example"),
         Long(PR_UM_DURATION, 7), Text(PR_UM_TELEPHONE_NUMBER_A, "+15550100"), Text(PR_UM_SENDER_NAME_A, "Carol"),
         Long(PR_UM_OFFSET, 3), Long(PR_UM_MESSAGE_RECEIVED, 4), Text(PR_SUBJECT_A, "Voice mail"),
         Text(PR_BODY_A, "A voice message")});
    AddAttachment(message,
                  {Long(PR_ATTACH_SIZE, 100), Text(PR_ATTACH_FILENAME_A, "voice.wav"),
                   Text(PR_ATTACH_MIME_TAG_A, "audio/wav"), Long(PR_ATTACH_METHOD, 1)},
                  "RIFF");
}

void World::Enter(const std::shared_ptr<PropsData> &data, const std::string &name)
{
    data->entryId = EntryIdOf(name);
    Set(data->props, Binary(PR_ENTRYID, data->entryId));
    entries[data->entryId] = data;
}

UserData &World::AddUser(const std::string &alias, const std::string &displayName, const std::string &addressType,
                         const std::string &emailAddress)
{
    auto user = std::make_shared<UserData>(alias);
    Enter(user, "user:" + alias);
    user->props.push_back(Text(PR_DISPLAY_NAME_A, displayName));
    user->props.push_back(Text(PR_ACCOUNT_A, alias));
    user->props.push_back(Text(PR_ADDRTYPE_A, addressType));
    user->props.push_back(Text(PR_EMAIL_ADDRESS_A, emailAddress.empty() ? DistinguishedNameOf(alias) : emailAddress));
    globalAddressList->contents->rows.push_back(user->props);
    users.push_back(user);
    return *user;
}

StoreData &World::AddMailbox(const std::string &alias, const std::string &displayName)
{
    AddUser(alias, displayName);
    auto store = std::make_shared<StoreData>(alias);
    store->distinguishedName = DistinguishedNameOf(alias);
    Enter(store, "store:" + alias);
    store->inbox = std::make_shared<FolderData>(alias + "/Inbox");
    Enter(store->inbox, "folder:" + alias + "/Inbox");
    store->deletedItems = std::make_shared<FolderData>(alias + "/Deleted Items");
    Enter(store->deletedItems, "folder:" + alias + "/Deleted Items");
    Set(store->props, Binary(PR_IPM_WASTEBASKET_ENTRYID, store->deletedItems->entryId));
    AddOutgoingFolders(*store);
    mailboxes[alias] = store;
    return *store;
}

void World::AddOutgoingFolders(StoreData &store)
{
    store.outbox = std::make_shared<FolderData>(store.name + "/Outbox");
    Enter(store.outbox, "folder:" + store.name + "/Outbox");
    Set(store.props, Binary(PR_IPM_OUTBOX_ENTRYID, store.outbox->entryId));
    store.sentItems = std::make_shared<FolderData>(store.name + "/Sent Items");
    Enter(store.sentItems, "folder:" + store.name + "/Sent Items");
    Set(store.props, Binary(PR_IPM_SENTMAIL_ENTRYID, store.sentItems->entryId));
}

MessageData &World::AddMessage(const std::string &alias, const std::string &name, Row props)
{
    auto message = std::make_shared<MessageData>(name);
    message->props = std::move(props);
    Enter(message, "message:" + name);
    FolderData &inbox = *mailboxes.at(alias)->inbox;
    Set(message->props, Binary(PR_PARENT_ENTRYID, inbox.entryId));
    inbox.messages.push_back(message);
    return *message;
}

AttachData &World::AddAttachment(MessageData &message, Row props, std::string content)
{
    const size_t number = message.attachments.size();
    auto attachment = std::make_shared<AttachData>(message.name + "#" + std::to_string(number));
    attachment->number = static_cast<ULONG>(number);
    attachment->props = std::move(props);
    Set(attachment->props, Long(PR_ATTACH_NUM, static_cast<LONGLONG>(number)));
    attachment->streams[PR_ATTACH_DATA_BIN] = std::make_shared<StreamData>(std::move(content));
    message.attachments.push_back(attachment);
    return *attachment;
}

std::vector<std::shared_ptr<UserData>> World::Resolve(const std::string &name) const
{
    std::vector<std::shared_ptr<UserData>> result;
    for (const auto &user : users)
        if (BeginsWith(user->name, name) || BeginsWith(Find(user->props, PR_DISPLAY_NAME_A)->bytes, name))
            result.push_back(user);
    return result;
}

HRESULT OpenEntryOf(Call &call, ULONG count, const ENTRYID *id, const std::shared_ptr<PropsData> &root, ULONG *type,
                    IUnknown **object)
{
    if (!call.Proceed())
        return call.Return(E_FAIL);
    if (!object)
        return call.Return(E_INVALIDARG);
    if (call.GivesNull()) {
        *object = nullptr;
        return call.Return(S_OK);
    }
    std::shared_ptr<PropsData> found = root;
    if (count != 0) {
        const auto entry = TheWorld().entries.find(Bytes(id, count));
        found = entry == TheWorld().entries.end() ? nullptr : entry->second;
    }
    IUnknown *opened = found ? found->Open() : nullptr;
    if (!opened)
        return call.Return(MAPI_E_NOT_FOUND);
    if (type)
        *type = found->ObjectType();
    *object = opened;
    return call.Return(S_OK);
}

} // namespace mapi_double
