// Saving into a watched folder and waiting for its sink; the other process is this program once more, told through
// pipes.
#include "Watching.h"
#include <chrono>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

void Require(HRESULT hr)
{
    if (FAILED(hr))
        throw std::runtime_error("a MAPI call of the benchmark failed");
}

IMAPIFolder *FolderOf(IMsgStore *store, ULONG size, LPENTRYID id)
{
    ULONG type = 0;
    LPUNKNOWN object = nullptr;
    Require(store->OpenEntry(size, id, &IID_IMAPIFolder, MAPI_BEST_ACCESS, &type, &object));
    return static_cast<IMAPIFolder *>(static_cast<void *>(object));
}

} // namespace

std::int64_t Nanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Inbox::Inbox(OrlMailbox mailbox)
{
    auto *store = reinterpret_cast<IMsgStore *>(mailbox);
    ULONG size = 0;
    LPENTRYID id = nullptr;
    LPSPropValue outbox = nullptr;
    Require(store->GetReceiveFolder(nullptr, 0, &size, &id, nullptr));
    m_folder = FolderOf(store, size, id);
    MAPIFreeBuffer(id);
    Require(HrGetOneProp(store, PR_IPM_OUTBOX_ENTRYID, &outbox));
    m_outbox = FolderOf(store, outbox->Value.bin.cb, reinterpret_cast<LPENTRYID>(outbox->Value.bin.lpb));
    MAPIFreeBuffer(outbox);
}

Inbox::~Inbox()
{
    m_folder->Release();
    m_outbox->Release();
}

IMAPITable *Inbox::Table()
{
    IMAPITable *table = nullptr;
    Require(m_folder->GetContentsTable(0, &table));
    return table;
}

IMAPITable *Inbox::OutboxTable()
{
    IMAPITable *table = nullptr;
    Require(m_outbox->GetContentsTable(0, &table));
    return table;
}

std::pair<std::int64_t, std::int64_t> Inbox::Save()
{
    IMessage *message = nullptr;
    Require(m_folder->CreateMessage(nullptr, 0, &message));
    char subject[] = "to be noticed";
    SPropValue value{};
    value.ulPropTag = PR_SUBJECT_A;
    value.Value.lpszA = subject;
    Require(message->SetProps(1, &value, nullptr));
    const std::int64_t called = Nanoseconds();
    Require(message->SaveChanges(0));
    const std::int64_t returned = Nanoseconds();
    message->Release();
    return {called, returned};
}

STDMETHODIMP ClockSink::QueryInterface(REFIID, void **object)
{
    *object = nullptr;
    return MAPI_E_INTERFACE_NOT_SUPPORTED;
}

STDMETHODIMP_(ULONG) ClockSink::OnNotify(ULONG, LPNOTIFICATION)
{
    const std::int64_t now = Nanoseconds();
    std::lock_guard hold(m_lock);
    ++m_calls;
    m_when = now;
    m_called.notify_all();
    return 0;
}

std::int64_t ClockSink::Await(std::uint64_t calls)
{
    std::unique_lock hold(m_lock);
    return m_called.wait_for(hold, std::chrono::minutes(1), [&] { return m_calls > calls; }) ? m_when : 0;
}

std::uint64_t ClockSink::Calls()
{
    std::lock_guard hold(m_lock);
    return m_calls;
}

Advised::Advised(Inbox &inbox, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        m_tables.emplace_back(i ? inbox.OutboxTable() : inbox.Table(), 0);
        Require(m_tables[i].first->Advise(fnevTableModified, i ? &m_others : &sink, &m_tables[i].second));
    }
}

Advised::~Advised()
{
    for (auto &[table, connection] : m_tables) {
        table->Unadvise(connection);
        table->Release();
    }
}

OtherProcess::OtherProcess(const std::string &site, const std::string &option)
{
    int in[2] = {}, out[2] = {};
    if (pipe(in) != 0 || pipe(out) != 0)
        throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    for (const int end : {in[0], in[1], out[0], out[1]})
        posix_spawn_file_actions_addclose(&actions, end);
    std::string program = "/proc/self/exe", word = option, path = site;
    char *const words[] = {program.data(), word.data(), path.data(), nullptr};
    const int started = posix_spawn(&m_id, program.c_str(), &actions, nullptr, words, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    m_to = fdopen(in[1], "w");
    m_from = fdopen(out[0], "r");
    if (started != 0)
        throw std::runtime_error("the second process can't be started");
}

OtherProcess::~OtherProcess()
{
    std::fclose(m_to);
    std::fclose(m_from);
    waitpid(m_id, nullptr, 0);
}

std::pair<std::int64_t, std::int64_t> OtherProcess::Save()
{
    long long called = 0, returned = 0;
    std::fputs("save\n", m_to);
    std::fflush(m_to);
    if (std::fscanf(m_from, "%lld %lld", &called, &returned) != 2)
        throw std::runtime_error("the second process does not answer");
    return {called, returned};
}

int SaveWhenTold(const std::string &site)
{
    const HostSession host(site);
    Inbox inbox(host.GetMailbox());
    return AnswerSaves([&] { return inbox.Save(); });
}

int AnswerSaves(const std::function<std::pair<std::int64_t, std::int64_t>()> &save)
{
    char line[16];
    while (std::fgets(line, sizeof line, stdin)) {
        const auto [called, returned] = save();
        std::printf("%lld %lld\n", static_cast<long long>(called), static_cast<long long>(returned));
        std::fflush(stdout);
    }
    return 0;
}

} // namespace bench
