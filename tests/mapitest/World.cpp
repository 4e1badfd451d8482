// Sessions and objects of a run, and the comparison of rows and notices with the model.
#include "World.h"
#include "Site.h"
#include <algorithm>
#include <cstring>

namespace mapitest
{

void Expect(bool holds, const std::string &what)
{
    if (!holds)
        throw Deviation(what);
}

void Expect(HRESULT got, HRESULT wanted, const std::string &call)
{
    if (got != wanted)
        throw Deviation(call + " gave " + NameOf(got) + ", not " + NameOf(wanted));
}

const std::vector<ULONG> &Columns()
{
    static const std::vector<ULONG> columns = {PR_INSTANCE_KEY,
                                               PR_ENTRYID,
                                               PR_PARENT_ENTRYID,
                                               PR_SUBJECT_W,
                                               PR_NORMALIZED_SUBJECT_W,
                                               PR_MESSAGE_FLAGS,
                                               PR_IMPORTANCE,
                                               PR_SENSITIVITY,
                                               PR_MESSAGE_CLASS_W,
                                               PR_HASATTACH,
                                               PR_CLIENT_SUBMIT_TIME,
                                               PR_MESSAGE_DELIVERY_TIME,
                                               PR_DISPLAY_TO_W,
                                               PR_MSG_STATUS,
                                               kNumber,
                                               kText,
                                               kBytes,
                                               kFlag,
                                               kOtherNumber,
                                               kNumbers};
    return columns;
}

const std::vector<ULONG> &ReadTags()
{
    static const std::vector<ULONG> tags = {PR_SUBJECT_W,
                                            PR_NORMALIZED_SUBJECT_W,
                                            PR_MESSAGE_FLAGS,
                                            PR_IMPORTANCE,
                                            PR_SENSITIVITY,
                                            PR_MESSAGE_CLASS_W,
                                            PR_HASATTACH,
                                            PR_CLIENT_SUBMIT_TIME,
                                            PR_MESSAGE_DELIVERY_TIME,
                                            PR_DISPLAY_TO_W,
                                            PR_DISPLAY_CC_W,
                                            PR_DISPLAY_BCC_W,
                                            PR_MSG_STATUS,
                                            kNumber,
                                            kText,
                                            kBytes,
                                            kFlag,
                                            kOtherNumber,
                                            kNumbers,
                                            PR_BODY_W};
    return tags;
}

Bytes BytesIn(const SPropValue &value)
{
    if (PROP_TYPE(value.ulPropTag) != PT_BINARY)
        return {};
    return {value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb};
}

Bytes BytesOf(IMAPIProp *object, ULONG tag)
{
    ULONG count = 0;
    Block<SPropValue> values;
    Expect(object->GetProps(Tags({tag}), 0, &count, values.put()), S_OK, "GetProps of " + NameOf(tag));
    return BytesIn(values[0]);
}

std::string Difference(const SPropValue &got, ULONG tag, const Value *wanted)
{
    const bool error = PROP_TYPE(got.ulPropTag) == PT_ERROR;
    if (PROP_ID(got.ulPropTag) != PROP_ID(tag) || (!error && got.ulPropTag != tag))
        return NameOf(tag) + " came as " + std::to_string(got.ulPropTag);
    const HRESULT code = !wanted           ? HRESULT{MAPI_E_NOT_FOUND}
                         : IsLong(*wanted) ? HRESULT{MAPI_E_NOT_ENOUGH_MEMORY}
                                           : S_OK;
    if (error != (code != S_OK) || (error && got.Value.err != code))
        return NameOf(tag) + " is " + (error ? NameOf(HRESULT{got.Value.err}) : TextOf(ValueOf(got))) + ", not " +
               (wanted ? TextOf(*wanted) : "absent");
    if (!error && ValueOf(got) != *wanted)
        return NameOf(tag) + " is " + TextOf(ValueOf(got)) + ", not " + TextOf(*wanted);
    return {};
}

// --- sessions ---

World::World(const std::string &folder, std::chrono::seconds patience)
    : m_path(CopyOfTemplate(folder)), m_patience(patience)
{
    for (int user = 0; user < kMailboxes; ++user)
        m_addresses[user] = AddressOfUser(user);
    UseSite(m_path);
    Expect(MAPIInitialize(nullptr), S_OK, "MAPIInitialize");
    for (int mailbox = 0; mailbox < kMailboxes; ++mailbox)
        for (const Special which : {Special::Inbox, Special::Outbox, Special::Sent, Special::Deleted}) {
            const Name name = SpecialFolder(mailbox, which);
            model.folders[name] = {name, 0, mailbox, {}, true};
        }
    for (int session = 0; session < kSessions; ++session)
        LogOn(session);
}

World::~World()
{
    for (int session = 0; session < kSessions; ++session)
        LogOff(session, 0);
    MAPIUninitialize();
    RemoveSite(m_path);
}

void World::LogOn(int session)
{
    Session &one = sessions[session];
    one.session = LogOnAs(session);
    for (int mailbox = 0; mailbox < kMailboxes; ++mailbox)
        if (MayUse(session, mailbox))
            one.stores[mailbox] = OpenStoreOf(one.session.get(), session, mailbox);
    if (!folderIds.empty() && session != kService)
        return;
    for (int mailbox = 0; mailbox < kMailboxes; ++mailbox) {
        if (!one.stores[mailbox])
            continue;
        IMsgStore *store = one.stores[mailbox].get();
        folderIds[SpecialFolder(mailbox, Special::Inbox)] = ReceiveFolderOf(store);
        folderIds[SpecialFolder(mailbox, Special::Outbox)] = BytesOf(store, PR_IPM_OUTBOX_ENTRYID);
        folderIds[SpecialFolder(mailbox, Special::Sent)] = BytesOf(store, PR_IPM_SENTMAIL_ENTRYID);
        folderIds[SpecialFolder(mailbox, Special::Deleted)] = BytesOf(store, PR_IPM_WASTEBASKET_ENTRYID);
    }
}

void World::LogOff(int session, int manner)
{
    Session &one = sessions[session];
    if (!one.IsOn())
        return;
    if (manner == 1) {
        Expect(one.session->Logoff(0, 0, 0), S_OK, "IMAPISession::Logoff");
    } else if (manner == 2) {
        for (auto &store : one.stores) {
            ULONG flags = LOGOFF_NO_WAIT;
            if (store)
                Expect(store->StoreLogoff(&flags), S_OK, "StoreLogoff");
        }
    }
    std::erase_if(drafts, [&](const auto &draft) { return draft.second.session == session; });
    for (auto table = tables.begin(); table != tables.end();)
        table = table->second.session == session ? Close(table) : std::next(table);
    one.folders.clear();
    for (auto &store : one.stores)
        store.reset();
    if (manner != 1)
        Expect(one.session->Logoff(0, 0, 0), S_OK, "IMAPISession::Logoff");
    one.session.reset();
}

IMAPIFolder *World::FolderOf(int session, Name folder)
{
    Session &one = sessions[session];
    const auto known = one.folders.find(folder);
    if (known != one.folders.end())
        return known->second.get();
    Bytes id = folderIds.at(folder);
    ULONG type = 0;
    ComPtr<IMAPIFolder> object;
    IMsgStore *store = one.stores[model.folders.at(folder).mailbox].get();
    Expect(store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), &IID_IMAPIFolder,
                            MAPI_BEST_ACCESS, &type, reinterpret_cast<IUnknown **>(object.put())),
           S_OK, "OpenEntry of a folder");
    Expect(type == MAPI_FOLDER, "a folder is of type " + std::to_string(type));
    return (one.folders[folder] = object).get();
}

ComPtr<IMessage> World::OpenMessage(int session, const Message &message, ULONG flags, HRESULT expected)
{
    Bytes id = message.entryId;
    ULONG type = 0;
    ComPtr<IMessage> object;
    IMsgStore *store = sessions[session].stores[model.folders.at(message.folder).mailbox].get();
    Expect(store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), &IID_IMessage, flags,
                            &type, reinterpret_cast<IUnknown **>(object.put())),
           expected, "OpenEntry of a message");
    return object;
}

const Bytes *World::SomeForgotten(LONG which) const
{
    if (m_seen.empty())
        return nullptr;
    const Bytes &id = *std::next(m_seen.begin(), which % static_cast<LONG>(m_seen.size()));
    const auto has = [&](const auto &message) { return message.second.entryId == id; };
    return std::any_of(model.messages.begin(), model.messages.end(), has) ? nullptr : &id;
}

void World::KeepClosed(const ComPtr<Sink> &sink)
{
    constexpr std::size_t kKept = 8;
    sink->Close();
    m_closed.push_back(sink);
    if (m_closed.size() > kKept)
        m_closed.erase(m_closed.begin());
}

std::map<Name, OpenTable>::iterator World::Close(std::map<Name, OpenTable>::iterator table)
{
    const ComPtr<Sink> sink = table->second.sink;
    const auto next = tables.erase(table);
    if (sink)
        KeepClosed(sink);
    return next;
}

void World::LookAtClosed()
{
    for (const auto &sink : m_closed)
        Expect(!sink->WasToldAfterClose(), "a sink was told after its advise had ended");
}

// --- rows ---

void World::Compare(const SPropValue *values, ULONG count, const Message &message, const std::string &where)
{
    Expect(count == Columns().size(), where + ": a row has " + std::to_string(count) + " columns");
    for (ULONG i = 0; i < count; ++i) {
        const ULONG tag = Columns()[i];
        std::optional<Value> own;
        if (tag == PR_INSTANCE_KEY)
            own = message.instanceKey;
        else if (tag == PR_ENTRYID)
            own = message.entryId;
        else if (tag == PR_PARENT_ENTRYID)
            own = folderIds.at(message.folder);
        const std::string difference = Difference(values[i], tag, own ? &*own : Find(message.content.properties, tag));
        Expect(difference.empty(), where + ": " + difference);
    }
}

void World::Learn(Message &message, const Bytes &entryId, const Bytes &instanceKey)
{
    Expect(!entryId.empty() && !instanceKey.empty(), "a message without an entry ID");
    Expect(m_seen.insert(entryId).second, "the entry ID " + TextOf(entryId) + " is given a second time");
    message.entryId = entryId;
    message.instanceKey = instanceKey;
}

void World::Bind(Name folder, int session)
{
    ComPtr<IMAPITable> table;
    Expect(FolderOf(session, folder)->GetContentsTable(MAPI_UNICODE, table.put()), S_OK, "GetContentsTable");
    Expect(table->SetColumns(Tags(Columns()), 0), S_OK, "SetColumns");
    RowSet rows;
    Expect(table->QueryRows(10000, 0, rows.put()), S_OK, "QueryRows");
    std::map<Bytes, const SRow *> unknown, all; // by instance key, which grows with age
    for (ULONG i = 0; i < rows.size(); ++i) {
        const Bytes key = BytesIn(rows[i].lpProps[0]);
        all[key] = &rows[i];
        if (!m_seen.count(BytesIn(rows[i].lpProps[1])))
            unknown[key] = &rows[i];
    }
    auto next = unknown.begin();
    for (Message *message : model.In(folder)) {
        if (message->entryId.empty()) {
            Expect(next != unknown.end(), "a message is missing in its folder");
            const SRow &row = *next++->second;
            Learn(*message, BytesIn(row.lpProps[1]), BytesIn(row.lpProps[0]));
        }
        if (std::exchange(message->timesUnknown, false)) {
            const auto row = all.find(message->instanceKey);
            Expect(row != all.end(), "a message is missing in its folder");
            const SPropValue &submitted = row->second->lpProps[10];
            Expect(submitted.ulPropTag == PR_CLIENT_SUBMIT_TIME, "a sent message has no submit time");
            message->content.properties[PR_CLIENT_SUBMIT_TIME] = ValueOf(submitted);
            message->content.properties[PR_MESSAGE_DELIVERY_TIME] = ValueOf(submitted);
        }
    }
    Expect(next == unknown.end(), "a message that nobody made is in its folder");
    TableModel shown;
    shown.folder = folder;
    const auto wanted = shown.Shown(model);
    Expect(rows.size() == wanted.size(),
           "the folder shows " + std::to_string(rows.size()) + " messages, not " + std::to_string(wanted.size()));
    for (ULONG i = 0; i < rows.size(); ++i)
        Compare(rows[i].lpProps, rows[i].cValues, *wanted[i], "row " + std::to_string(i) + " of the folder");
}

} // namespace mapitest
