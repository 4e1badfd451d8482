// Copying notifications into events, telling them in words by their messages' labels, and holding the notifier's
// thread.
#include "Notified.h"

namespace localmapi::test
{

namespace
{

EntryIdBytes BytesIn(const SPropValue &value)
{
    if (value.ulPropTag != PR_INSTANCE_KEY)
        return {};
    return {value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb};
}

Event Copied(const NOTIFICATION &notification)
{
    const TABLE_NOTIFICATION &table = notification.info.tab;
    Event event;
    event.type = notification.ulEventType;
    event.event = table.ulTableEvent;
    event.result = table.hResult;
    event.indexTag = table.propIndex.ulPropTag;
    event.priorTag = table.propPrior.ulPropTag;
    event.index = BytesIn(table.propIndex);
    event.prior = BytesIn(table.propPrior);
    event.hasRow = table.row.lpProps != nullptr;
    for (ULONG i = 0; i < table.row.cValues; ++i) {
        const SPropValue &value = table.row.lpProps[i];
        event.columns.push_back(value.ulPropTag);
        if (value.ulPropTag == kLabel)
            event.label = value.Value.lpszA;
    }
    return event;
}

constexpr std::chrono::seconds kPatience{60};

} // namespace

STDMETHODIMP_(ULONG) Sink::OnNotify(ULONG count, LPNOTIFICATION notifications)
{
    {
        std::lock_guard hold(m_lock);
        ++m_calls;
        m_thread = std::this_thread::get_id();
        for (ULONG i = 0; i < count; ++i)
            m_events.push_back(Copied(notifications[i]));
        m_changed.notify_all();
    }
    if (m_during)
        m_during(*this);
    return 0;
}

bool Sink::Await(std::size_t events)
{
    std::unique_lock hold(m_lock);
    return m_changed.wait_for(hold, kPatience, [&] { return m_events.size() >= m_taken + events; });
}

std::vector<Event> Sink::Take(std::size_t events)
{
    EXPECT_TRUE(Await(events)) << "fewer events came";
    std::lock_guard hold(m_lock);
    std::vector<Event> taken(events);
    for (std::size_t i = 0; i < events && m_taken + i < m_events.size(); ++i)
        taken[i] = m_events[m_taken + i];
    m_taken += events;
    return taken;
}

std::size_t Sink::Calls()
{
    std::lock_guard hold(m_lock);
    return m_calls;
}

std::size_t Sink::Events()
{
    std::lock_guard hold(m_lock);
    return m_events.size();
}

std::thread::id Sink::Thread()
{
    std::lock_guard hold(m_lock);
    return m_thread;
}

Notified::Notified()
{
    EXPECT_EQ(MAPIInitialize(nullptr), S_OK);
}

Notified::~Notified()
{
    MAPIUninitialize();
}

ComPtr<IMAPITable> Notified::Inbox(ULONG flags)
{
    auto table = m_mailbox.Contents(flags);
    EXPECT_CODE(table->SetColumns(Tags{kLabel, PR_INSTANCE_KEY}, 0), S_OK);
    return table;
}

ULONG Notified::Advise(const ComPtr<IMAPITable> &table, const ComPtr<Sink> &sink)
{
    ULONG connection = 0;
    EXPECT_CODE(table->Advise(fnevTableModified, sink.get(), &connection), S_OK);
    EXPECT_NE(connection, 0u);
    return connection;
}

std::string Notified::Told(const ComPtr<Sink> &sink, std::size_t events)
{
    static const std::map<ULONG, std::string> names = {{TABLE_CHANGED, "changed"},       {TABLE_ERROR, "error"},
                                                       {TABLE_ROW_ADDED, "added"},       {TABLE_ROW_DELETED, "deleted"},
                                                       {TABLE_ROW_MODIFIED, "modified"}, {TABLE_RELOAD, "reload"}};
    std::string told;
    for (const Event &event : sink->Take(events)) {
        EXPECT_EQ(event.type, fnevTableModified);
        told += told.empty() ? "" : ", ";
        told += names.count(event.event) ? names.at(event.event) : std::to_string(event.event);
        if (event.indexTag == PR_INSTANCE_KEY)
            told += " " + LabelOf(event.index);
        if (event.event == TABLE_ROW_ADDED || event.event == TABLE_ROW_MODIFIED)
            told += event.priorTag == PR_INSTANCE_KEY ? " after " + LabelOf(event.prior) : " at the top";
    }
    return told;
}

std::string Notified::LabelOf(const EntryIdBytes &instanceKey)
{
    std::lock_guard hold(m_labelling);
    const auto known = m_labels.find(instanceKey);
    return known == m_labels.end() ? "?" : known->second;
}

EntryIdBytes Notified::Add(const char *label, Props more)
{
    return AddTo(m_mailbox.Inbox(), label, std::move(more));
}

EntryIdBytes Notified::AddTo(IMAPIFolder *folder, const char *label, Props more)
{
    std::uint64_t submitTime = 0;
    {
        std::lock_guard hold(m_labelling);
        submitTime = m_submitTime += 10000000;
    }
    ComPtr<IMessage> message;
    EXPECT_CODE(folder->CreateMessage(nullptr, 0, message.put()), S_OK);
    more.insert(more.begin(), {Narrow(kLabel, label), Time(PR_CLIENT_SUBMIT_TIME, submitTime)});
    EXPECT_CODE(SetProps(message.get(), more), S_OK);
    EntryIdBytes id = m_mailbox.Save(message);
    const EntryIdBytes instanceKey = BytesOf(message.get(), PR_INSTANCE_KEY);
    std::lock_guard hold(m_labelling);
    m_labels[instanceKey] = label;
    return id;
}

void Notified::Set(const EntryIdBytes &message, const Props &props)
{
    auto opened = m_mailbox.Open(message);
    EXPECT_CODE(SetProps(opened.get(), props), S_OK);
    EXPECT_CODE(opened->SaveChanges(0), S_OK);
}

void Notified::MarkRead(const EntryIdBytes &message, bool read)
{
    const std::vector<EntryIdBytes> ids{message};
    EXPECT_CODE(m_mailbox.Inbox()->SetReadFlags(EntryList(ids), 0, nullptr, read ? 0 : CLEAR_READ_FLAG), S_OK);
}

void Notified::Move(const EntryIdBytes &message, IMAPIFolder *from, IMAPIFolder *to)
{
    const std::vector<EntryIdBytes> ids{message};
    EXPECT_CODE(from->CopyMessages(EntryList(ids), nullptr, to, 0, nullptr, MESSAGE_MOVE), S_OK);
}

Notified::Held::Held(Notified &test)
{
    auto folder = test.m_mailbox.Folder(PR_IPM_SENTMAIL_ENTRYID);
    EXPECT_CODE(folder->GetContentsTable(0, m_table.put()), S_OK);
    m_sink = MakeObject<Sink>([this](Sink &) {
        m_entered.Set();
        EXPECT_TRUE(m_open.Await());
    });
    m_connection = Advise(m_table, m_sink);
    test.AddTo(folder.get(), "hold");
    EXPECT_TRUE(m_entered.Await());
}

Notified::Held::~Held()
{
    Open();
    EXPECT_CODE(m_table->Unadvise(m_connection), S_OK);
}

void Notified::Held::Open()
{
    m_open.Set();
}

} // namespace localmapi::test
