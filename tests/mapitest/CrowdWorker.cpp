// A thread of a crowd: it knows the messages that it made or read of, others' too, and those may be gone.
#include "CrowdWorker.h"
#include "Site.h"
#include "World.h"
#include <algorithm>
#include <thread>

namespace mapitest
{

namespace
{

constexpr std::size_t kManyRows = 25;

std::int64_t NumberIn(const Bytes &instanceKey)
{
    std::int64_t number = 0;
    for (const BYTE byte : instanceKey)
        number = number << 8 | byte;
    return number;
}

class Worker
{
  public:
    Worker(std::string log, std::uint64_t seed, int thread)
        : m_log(std::move(log)), m_random(seed), m_thread(thread), m_session(LogOnAs(kService)),
          m_alice(OpenStoreOf(m_session.get(), kService, 0)), m_bob(OpenStoreOf(m_session.get(), kService, 1))
    {
        OpenFolder(SharedFolder::Inbox, m_alice, ReceiveFolderOf(m_alice.get()));
        OpenFolder(SharedFolder::Sent, m_alice, BytesOf(m_alice.get(), PR_IPM_SENTMAIL_ENTRYID));
        OpenFolder(SharedFolder::BobsInbox, m_bob, ReceiveFolderOf(m_bob.get()));
    }
    ~Worker()
    {
        m_open.reset();
        m_session->Logoff(0, 0, 0);
    }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    void Work(int steps)
    {
        for (m_number = 0; m_number < steps; ++m_number) {
            Step step = Chosen();
            m_log.Begin(step);
            Do(step);
            m_log.End(step);
            Remember(step);
        }
    }
    Step Read(int folder)
    {
        Step step;
        step.thread = m_thread;
        step.kind = Step::Kind::Rows;
        step.folder = folder;
        m_log.Begin(step);
        Do(step);
        m_log.End(step);
        return step;
    }

  private:
    void OpenFolder(SharedFolder which, const ComPtr<IMsgStore> &store, Bytes id)
    {
        ULONG type = 0;
        Expect(store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), &IID_IMAPIFolder,
                                MAPI_BEST_ACCESS, &type,
                                reinterpret_cast<IUnknown **>(m_folders[static_cast<int>(which)].put())),
               S_OK, "OpenEntry of a folder");
    }
    IMAPIFolder &Folder(int which) { return *m_folders[which].get(); }

    // --- choosing ---

    std::vector<std::int64_t> SomeIds(int folder, int most)
    {
        std::vector<std::int64_t> here, some;
        for (const auto &[id, known] : m_known)
            if (known.folder == folder)
                here.push_back(id);
        for (int count = m_random.Between(1, most); count > 0 && !here.empty(); --count) {
            const std::int64_t id = m_random.Of(here);
            if (std::find(some.begin(), some.end(), id) == some.end())
                some.push_back(id);
        }
        return some;
    }

    Step Chosen()
    {
        using Kind = Step::Kind;
        static const std::vector<Kind> kinds = {Kind::Create, Kind::Create, Kind::Rows,   Kind::Rows, Kind::Rows,
                                                Kind::Count,  Kind::Open,   Kind::Open,   Kind::Get,  Kind::Get,
                                                Kind::Save,   Kind::Save,   Kind::Mark,   Kind::Mark, Kind::MarkList,
                                                Kind::Delete, Kind::Delete, Kind::Copy,   Kind::Move, Kind::Move,
                                                Kind::Status, Kind::Status, Kind::Status, Kind::Send, Kind::AllRead};
        for (;;) {
            Step step;
            step.thread = m_thread;
            step.number = m_number;
            step.kind = m_random.Of(kinds);
            step.folder = m_random.Below(kSharedFolders);
            step.to = m_random.Below(kSharedFolders);
            step.read = m_random.OneIn(2);
            const bool many = m_known.size() > kManyRows;
            switch (step.kind) {
            case Kind::Create:
            case Kind::Send:
                if (many)
                    continue;
                step.label = "m" + std::to_string(m_thread) + "." + std::to_string(m_number);
                step.value = m_random.Between(1, 9);
                return step;
            case Kind::Rows:
            case Kind::Count:
                return step;
            case Kind::AllRead:
                if (!m_random.OneIn(3))
                    continue;
                return step;
            case Kind::Get:
            case Kind::Save:
            case Kind::Mark:
                if (!m_open)
                    continue;
                step.value = m_random.Between(10, 99);
                return step;
            case Kind::Copy:
                if (many)
                    continue;
                break;
            default:
                break;
            }
            const bool one = step.kind == Kind::Open || step.kind == Kind::Status;
            step.ids = SomeIds(step.folder, one ? 1 : step.kind == Kind::Delete && many ? 10 : 3);
            if (step.kind == Kind::Status) {
                step.mask = 1 << m_random.Below(3);
                step.value = m_random.OneIn(3) ? 0 : 7;
            }
            if (!step.ids.empty())
                return step;
        }
    }

    void Remember(const Step &step)
    {
        using Kind = Step::Kind;
        if (step.kind == Kind::Create && step.id)
            m_known[step.id] = {step.folder, m_made};
        else if (step.kind == Kind::Rows)
            std::erase_if(m_known, [&](const auto &known) {
                const auto same = [&](const SeenRow &row) { return row.id == known.first; };
                return known.second.folder == step.folder && std::none_of(step.rows.begin(), step.rows.end(), same);
            });
        else if ((step.kind == Kind::Delete || step.kind == Kind::Move) && !m_random.OneIn(8))
            for (const std::int64_t id : step.ids)
                m_known.erase(id);
    }

    // --- doing ---

    void Do(Step &step)
    {
        using Kind = Step::Kind;
        switch (step.kind) {
        case Kind::Create:
        case Kind::Send:
            return Make(step);
        case Kind::Rows:
            return Rows(step);
        case Kind::Count:
            return Count(step);
        case Kind::Open:
            return Open(step);
        case Kind::Get:
            return Get(step);
        case Kind::Save: {
            PropList list({{kNumber, step.value}});
            Expect(m_open->SetProps(list.size(), list.data(), nullptr), S_OK, "SetProps");
            step.result = m_open->SaveChanges(KEEP_OPEN_READWRITE);
            if (step.result != S_OK)
                m_open.reset(); // what it holds can not be saved any more
            return;
        }
        case Kind::Mark:
            step.result = m_open->SetReadFlag(step.read ? 0 : CLEAR_READ_FLAG);
            return;
        case Kind::AllRead:
            step.result = Folder(step.folder).SetReadFlags(nullptr, 0, nullptr, step.read ? 0 : CLEAR_READ_FLAG);
            return;
        case Kind::Status: {
            Bytes &id = m_known.at(step.ids.front()).entryId;
            ULONG old = 0;
            step.result = Folder(step.folder)
                              .SetMessageStatus(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()),
                                                static_cast<ULONG>(step.value), static_cast<ULONG>(step.mask), &old);
            step.old = static_cast<std::int32_t>(old);
            return;
        }
        default:
            return List(step);
        }
    }

    void Make(Step &step)
    {
        const bool send = step.kind == Step::Kind::Send;
        ComPtr<IMessage> message;
        Expect(
            Folder(send ? static_cast<int>(SharedFolder::Sent) : step.folder).CreateMessage(nullptr, 0, message.put()),
            S_OK, "CreateMessage");
        PropList list({{PR_SUBJECT_W, step.label}, {kNumber, step.value}});
        Expect(message->SetProps(list.size(), list.data(), nullptr), S_OK, "SetProps");
        if (send) {
            PropList recipient({{PR_DISPLAY_NAME_W, std::string("Bob")}, {PR_RECIPIENT_TYPE, std::int32_t{MAPI_TO}}});
            recipient.Add(PR_ADDRTYPE_W, std::string("EX"));
            recipient.Add(PR_EMAIL_ADDRESS_W, AddressOfUser(1));
            SizedADRLIST(1, addresses) = {1, {{0, recipient.size(), recipient.data()}}};
            Expect(message->ModifyRecipients(0, reinterpret_cast<ADRLIST *>(&addresses)), S_OK, "ModifyRecipients");
            step.result = message->SubmitMessage(0);
            return;
        }
        step.result = message->SaveChanges(KEEP_OPEN_READWRITE);
        if (step.result != S_OK)
            return;
        ULONG count = 0;
        Block<SPropValue> values;
        const HRESULT hr = message->GetProps(Tags({PR_INSTANCE_KEY, PR_ENTRYID}), 0, &count, values.put());
        Expect(hr == S_OK || hr == MAPI_E_OBJECT_DELETED, "GetProps gave " + NameOf(hr));
        step.id = hr == S_OK ? NumberIn(BytesIn(values[0])) : 0;
        m_made = hr == S_OK ? BytesIn(values[1]) : Bytes();
    }

    ComPtr<IMAPITable> Table(int folder)
    {
        ComPtr<IMAPITable> table;
        Expect(Folder(folder).GetContentsTable(MAPI_UNICODE, table.put()), S_OK, "GetContentsTable");
        return table;
    }

    void Rows(Step &step)
    {
        const auto table = Table(step.folder);
        Expect(table->SetColumns(
                   Tags({PR_INSTANCE_KEY, PR_ENTRYID, PR_SUBJECT_W, PR_MESSAGE_FLAGS, PR_MSG_STATUS, kNumber}), 0),
               S_OK, "SetColumns");
        RowSet rows;
        step.result = table->QueryRows(2000, 0, rows.put());
        for (ULONG i = 0; i < rows.size(); ++i) {
            const SPropValue *columns = rows[i].lpProps;
            Expect(PROP_TYPE(columns[2].ulPropTag) == PT_UNICODE, "a row without a subject");
            SeenRow row{NumberIn(BytesIn(columns[0])), std::get<std::string>(ValueOf(columns[2])), columns[3].Value.l,
                        PROP_TYPE(columns[4].ulPropTag) == PT_LONG ? columns[4].Value.l : 0, columns[5].Value.l};
            m_known[row.id] = {step.folder, BytesIn(columns[1])};
            step.rows.push_back(std::move(row));
        }
    }

    void Count(Step &step)
    {
        const auto table = Table(step.folder);
        SRestriction unread{};
        unread.rt = RES_BITMASK;
        unread.res.resBitMask = {BMR_EQZ, PR_MESSAGE_FLAGS, MSGFLAG_READ};
        if (step.read)
            Expect(table->Restrict(&unread, 0), S_OK, "Restrict");
        ULONG count = 0;
        step.result = table->GetRowCount(0, &count);
        step.old = static_cast<std::int32_t>(count);
    }

    void Open(Step &step)
    {
        Bytes &id = m_known.at(step.ids.front()).entryId;
        IMsgStore *store = step.folder == static_cast<int>(SharedFolder::BobsInbox) ? m_bob.get() : m_alice.get();
        ULONG type = 0;
        m_open.reset();
        step.result = store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()),
                                       &IID_IMessage, MAPI_MODIFY, &type, reinterpret_cast<IUnknown **>(m_open.put()));
    }

    void Get(Step &step)
    {
        ULONG count = 0;
        Block<SPropValue> values;
        step.result = m_open->GetProps(Tags({PR_SUBJECT_W, PR_MESSAGE_FLAGS, kNumber}), 0, &count, values.put());
        if (step.result == S_OK)
            step.rows.push_back(
                {0, std::get<std::string>(ValueOf(values[0])), values[1].Value.l, 0, values[2].Value.l});
    }

    void List(Step &step)
    {
        std::vector<SBinary> entries;
        for (const std::int64_t id : step.ids) {
            Bytes &entry = m_known.at(id).entryId;
            SBinary binary{};
            binary.cb = static_cast<ULONG>(entry.size());
            binary.lpb = entry.data();
            entries.push_back(binary);
        }
        ENTRYLIST list{static_cast<ULONG>(entries.size()), entries.data()};
        IMAPIFolder &folder = Folder(step.folder);
        if (step.kind == Step::Kind::MarkList)
            step.result = folder.SetReadFlags(&list, 0, nullptr, step.read ? 0 : CLEAR_READ_FLAG);
        else if (step.kind == Step::Kind::Delete)
            step.result = folder.DeleteMessages(&list, 0, nullptr, 0);
        else
            step.result = folder.CopyMessages(&list, &IID_IMAPIFolder, &Folder(step.to), 0, nullptr,
                                              step.kind == Step::Kind::Move ? MESSAGE_MOVE : 0);
    }

    struct Known {
        int folder = 0;
        Bytes entryId;
    };

    StepLog m_log;
    Random m_random;
    const int m_thread;
    int m_number = 0;
    ComPtr<IMAPISession> m_session;
    ComPtr<IMsgStore> m_alice;
    ComPtr<IMsgStore> m_bob;
    ComPtr<IMAPIFolder> m_folders[kSharedFolders];
    ComPtr<IMessage> m_open;
    std::map<std::int64_t, Known> m_known;
    Bytes m_made;
};

class Initialized
{
  public:
    Initialized() { Expect(MAPIInitialize(nullptr), S_OK, "MAPIInitialize"); }
    ~Initialized() { MAPIUninitialize(); }
    Initialized(const Initialized &) = delete;
    Initialized &operator=(const Initialized &) = delete;
};

} // namespace

std::string LogOf(const std::string &log, int thread)
{
    return log + "." + std::to_string(thread);
}

void Work(const Crew &crew)
{
    UseSite(crew.site);
    const Initialized initialized;
    std::vector<std::thread> threads;
    std::vector<std::string> wrong(static_cast<std::size_t>(crew.threads));
    for (int i = 0; i < crew.threads; ++i)
        threads.emplace_back([&, i] {
            try {
                const int thread = crew.firstThread + i;
                Worker(LogOf(crew.log, thread), crew.seed * 1000 + static_cast<std::uint64_t>(thread), thread)
                    .Work(crew.steps);
            } catch (const std::exception &error) {
                wrong[static_cast<std::size_t>(i)] = error.what();
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    for (const std::string &one : wrong)
        Expect(one.empty(), one);
}

std::vector<Step> ReadAtTheEnd(const std::string &site, int thread)
{
    UseSite(site);
    const Initialized initialized;
    Worker reader(LogOf(site, thread), 0, thread);
    std::vector<Step> steps;
    for (int folder = 0; folder < kSharedFolders; ++folder)
        steps.push_back(reader.Read(folder));
    return steps;
}

} // namespace mapitest
