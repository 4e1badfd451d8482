// The small world that the double answers from by default: a profile, a default store, a directory with a global
// address list, and a mailbox for each Exchange user in it. Tests change it freely before the calls they look at.
#pragma once
#include "support/FakeTable.h"
#include "support/Props.h"
#include <map>
#include <memory>

namespace mapi_double
{

struct AttachData : PropsData {
    using PropsData::PropsData;
    ULONG number = 0;
};

struct MessageData : PropsData {
    using PropsData::PropsData;
    IUnknown *Open() override;
    ULONG ObjectType() const override { return MAPI_MESSAGE; }
    std::vector<std::shared_ptr<AttachData>> attachments;
    std::vector<Row> recipients;
    bool submitted = false;
    std::shared_ptr<TableData> attachmentTable; // in place of the one made from `attachments`
};

struct FolderData : PropsData {
    using PropsData::PropsData;
    IUnknown *Open() override;
    ULONG ObjectType() const override { return MAPI_FOLDER; }
    std::vector<std::shared_ptr<MessageData>> messages;
    std::shared_ptr<TableData> contents; // in place of the one made from `messages`
    // In place of both: GetContentsTable gives one after the other, and begins anew after the last.
    std::vector<std::shared_ptr<TableData>> contentsInTurn;
    size_t turn = 0;
};

struct StoreData : PropsData {
    using PropsData::PropsData;
    ULONG ObjectType() const override { return MAPI_STORE; }
    std::shared_ptr<FolderData> inbox;
    std::shared_ptr<FolderData> deletedItems;
    std::shared_ptr<FolderData> outbox;
    std::shared_ptr<FolderData> sentItems;
    std::string distinguishedName; // of the mailbox's user
};

struct UserData : PropsData {
    using PropsData::PropsData;
    IUnknown *Open() override;
    ULONG ObjectType() const override { return MAPI_MAILUSER; }
};

struct ContainerData : PropsData {
    using PropsData::PropsData;
    IUnknown *Open() override;
    ULONG ObjectType() const override { return MAPI_ABCONT; }
    std::shared_ptr<TableData> hierarchy;
    std::shared_ptr<TableData> contents;
};

struct World {
    World();

    std::shared_ptr<TableData> profiles;      // IProfAdmin::GetProfileTable
    std::shared_ptr<TableData> services;      // IMsgServiceAdmin::GetMsgServiceTable
    std::shared_ptr<TableData> stores;        // IMAPISession::GetMsgStoresTable
    std::shared_ptr<PropsData> globalSection; // the profile's global section
    std::shared_ptr<StoreData> defaultStore;
    std::shared_ptr<ContainerData> rootContainer;
    std::shared_ptr<ContainerData> globalAddressList;
    std::vector<std::shared_ptr<UserData>> users;
    std::map<std::string, std::shared_ptr<StoreData>> mailboxes; // by alias
    std::map<std::string, std::shared_ptr<PropsData>> entries;   // everything that has an entry ID, by it
    std::vector<std::shared_ptr<MessageData>> created;           // by CreateMessage, each named "new"
    bool initialised = false;                                    // MAPIInitialize came and MAPIUninitialize did not

    void Enter(const std::shared_ptr<PropsData> &data, const std::string &name);
    UserData &AddUser(const std::string &alias, const std::string &displayName, const std::string &addressType = "EX",
                      const std::string &emailAddress = "");
    // Outbox and Sent Items of a store, and the properties that name them.
    void AddOutgoingFolders(StoreData &store);
    // An Exchange user with a mailbox: an Inbox, Deleted Items, Outbox and Sent Items.
    StoreData &AddMailbox(const std::string &alias, const std::string &displayName);
    // A message in a mailbox's Inbox; PR_ENTRYID and PR_PARENT_ENTRYID are set here.
    MessageData &AddMessage(const std::string &alias, const std::string &name, Row props);
    AttachData &AddAttachment(MessageData &message, Row props, std::string content);
    // Users whose alias or display name begins with `name`, whatever the case of its ASCII letters.
    std::vector<std::shared_ptr<UserData>> Resolve(const std::string &name) const;
};
World &TheWorld();

std::string DistinguishedNameOf(const std::string &alias);

IMAPISession *NewSession();
IMsgServiceAdmin *NewServiceAdmin(const std::string &profile);
IProfAdmin *NewProfAdmin();
IMsgStore *NewStore(std::shared_ptr<StoreData> data);
IAddrBook *NewAddressBook();
IMessage *NewMessage(std::shared_ptr<MessageData> data);
IAttach *NewAttach(std::shared_ptr<AttachData> data);

// The whole of every OpenEntry: of an object of the world by its entry ID, `root` for an empty one.
HRESULT OpenEntryOf(Call &call, ULONG count, const ENTRYID *id, const std::shared_ptr<PropsData> &root, ULONG *type,
                    IUnknown **object);

} // namespace mapi_double
