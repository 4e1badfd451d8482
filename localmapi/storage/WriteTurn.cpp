// The turn goes from thread to thread with the group's transaction. Each member but the first works behind a savepoint,
// so that one that fails takes nothing of the others along.
#include "localmapi/storage/WriteTurn.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Schema.h"
#include <thread>
#include <utility>

namespace localmapi::storage
{

namespace
{

// A group ends with the member after which it has so many, or has lasted so long: those who are done wait for the
// others, and so do other processes.
constexpr int kMostInGroup = 64;
constexpr std::chrono::milliseconds kLongestGroup{100};
// Where this process writes for so long without a pause, it makes one: others that wait look again every other
// millisecond.
constexpr std::chrono::milliseconds kPause{4};

} // namespace

struct WriteQueue::Group {
    // Of the thread that has the turn.
    std::unique_ptr<Connection> connection;
    std::optional<Transaction> transaction;
    std::chrono::steady_clock::time_point begun;
    Numbers numbers;        // with the work of its members
    std::int64_t pages = 0; // of the file, before it
    int members = 0;        // whose work is in it
    bool pause = false;
    bool announce = false;

    // How it ended. Written once, under the queue's lock.
    bool ended = false;
    bool outOfMemory = false;
    std::optional<Fault> fault;
    std::string text;
    locks::Condition told;

    // Of the exception that is being handled.
    void Failed() noexcept
    {
        try {
            throw;
        } catch (const std::bad_alloc &) {
            outOfMemory = true;
        } catch (const Error &error) {
            fault = error.GetFault();
            Say(error);
        } catch (const std::exception &error) {
            fault = Fault::Failed;
            Say(error);
        }
    }
    void Say(const std::exception &error) noexcept
    {
        try {
            text = error.what();
        } catch (const std::bad_alloc &) {
            outOfMemory = true;
        }
    }
    void RequireSuccess() const
    {
        if (outOfMemory)
            throw std::bad_alloc();
        if (fault)
            throw Error(*fault, text);
    }
};

std::shared_ptr<WriteQueue::Group> WriteQueue::Enter(Share share)
{
    auto own = std::make_shared<Group>();
    Waiter self;
    self.share = share;
    const locks::Hold hold(m_lock);
    if (!m_taken) {
        own->pause = IsPauseDue();
        m_taken = true;
        return own;
    }
    (m_last ? m_last->next : m_first) = &self;
    m_last = &self;
    while (!self.called)
        self.changed.Wait(m_lock);
    own->pause = self.pause;
    return self.group ? std::move(self.group) : std::move(own);
}

std::size_t WriteQueue::Length()
{
    const locks::Hold hold(m_lock);
    std::size_t length = 0;
    for (const Waiter *waiter = m_first; waiter; waiter = waiter->next)
        ++length;
    return length;
}

// Whether other processes have to be let in before this one goes on.
bool WriteQueue::IsPauseDue()
{
    const auto now = std::chrono::steady_clock::now();
    const bool due = now - m_began > kLongestGroup;
    const bool hasPaused = !m_taken && now - m_ended > kPause;
    if (due || hasPaused)
        m_began = now;
    return due && !hasPaused;
}

void WriteQueue::CallNext(const std::shared_ptr<Group> &group)
{
    Waiter *next = m_first;
    if (!next) {
        m_taken = false;
        m_ended = std::chrono::steady_clock::now();
        return;
    }
    m_first = next->next;
    if (!m_first)
        m_last = nullptr;
    next->group = group;
    next->pause = !group && IsPauseDue();
    next->called = true;
    next->changed.NotifyOne(); // it can't go before the lock is given back
}

WriteTurn::WriteTurn(Database &database, WriteQueue &queue, Share share)
    : m_database(database), m_queue(queue), m_share(share), m_group(queue.Enter(share))
{
}

WriteTurn::~WriteTurn()
{
    if (m_holds)
        Leave();
    if (m_kept)
        m_database.GiveBack(std::move(m_kept));
}

void WriteTurn::Begin(References references, Where where)
{
    m_database.RequireWritable();
    Group &group = *m_group;
    if (group.members) {
        group.connection->Prepare("SAVEPOINT member").Run();
        m_saved = true;
        return;
    }
    if (group.pause)
        std::this_thread::sleep_for(kPause);
    group.connection = m_database.Take();
    if (references == References::Unchecked)
        group.connection->CheckReferences(false);
    m_references = references;
    group.transaction.emplace(*group.connection, Transaction::Kind::Write, where);
    m_database.RequireInPlace(); // its log was opened by name, too
    m_database.RequireKnownVersion(*group.connection);
    group.begun = std::chrono::steady_clock::now();
    Statement site = group.connection->Prepare("SELECT next_id, change FROM site");
    if (!site.Step())
        throw Error(Fault::Corrupt, "'" + m_database.Path() + "' (damaged): it does not say what site it is.");
    group.numbers = {site.Integer(0), site.Integer(1)};
    group.pages = group.connection->Integer("PRAGMA page_count");
}

Connection &WriteTurn::GetConnection() const
{
    return *m_group->connection;
}

Numbers WriteTurn::GetNumbers() const
{
    return m_group->numbers;
}

std::uint64_t WriteTurn::Growth() const
{
    Connection &connection = *m_group->connection;
    const std::int64_t grown = connection.Integer("PRAGMA page_count") - m_group->pages;
    return grown > 0 ? static_cast<std::uint64_t>(grown * connection.Integer("PRAGMA page_size")) : 0;
}

void WriteTurn::Commit(const Numbers &numbers, bool announce)
{
    Group &group = *m_group;
    if (m_saved)
        group.connection->Prepare("RELEASE member").Run();
    m_saved = false;
    group.numbers = numbers;
    group.announce = group.announce || announce;
    ++group.members;
    if (HandOn()) {
        const locks::Hold hold(m_queue.m_lock);
        while (!group.ended)
            group.told.Wait(m_queue.m_lock);
    } else {
        Conclude();
    }
    group.RequireSuccess();
}

// This writer failed. The others' work goes on without it, unless the failure ended the transaction.
void WriteTurn::Leave() noexcept
{
    Group &group = *m_group;
    if (group.members == 0) {
        End();
        Tell();
        return;
    }
    try {
        group.connection->RequireTransaction();
        if (m_saved) {
            group.connection->Prepare("ROLLBACK TO member").Run();
            group.connection->Prepare("RELEASE member").Run();
        }
    } catch (...) {
        group.Failed();
        End();
        Tell();
        return;
    }
    if (!HandOn())
        Conclude();
}

// Whether another writer goes on with the transaction.
bool WriteTurn::HandOn() noexcept
{
    Group &group = *m_group;
    if (m_share == Share::WithNobody || group.members >= kMostInGroup || group.connection->HasBorrowedStatements() ||
        std::chrono::steady_clock::now() - group.begun > kLongestGroup)
        return false;
    const locks::Hold hold(m_queue.m_lock);
    if (!m_queue.m_first || m_queue.m_first->share == Share::WithNobody)
        return false;
    m_holds = false;
    m_queue.CallNext(m_group);
    return true;
}

void WriteTurn::Conclude() noexcept
{
    try {
        CommitAll();
    } catch (...) {
        m_group->Failed();
    }
    End();
    Tell();
}

// Of the group's transaction, committed or not.
void WriteTurn::End() noexcept
{
    m_group->transaction.reset();
    if (m_group->connection && m_group->connection->TakeFullDisk()) // for it, or for one of its members
        m_database.AfterFullDisk(*m_group->connection);
}

void WriteTurn::CommitAll()
{
    Group &group = *m_group;
    MarkCommit(*group.connection, group.numbers.nextId, group.numbers.change);
    group.transaction->Commit();
    m_database.RequireInPlace();
    if (group.announce)
        ChangeSignal::Announce(m_database.Path());
    m_database.AfterCommit(*group.connection);
}

// The group has ended.
void WriteTurn::Tell() noexcept
{
    if (std::unique_ptr<Connection> connection = std::move(m_group->connection)) {
        if (m_references == References::Unchecked)
            connection->CheckReferences(true);
        if (connection->HasBorrowedStatements())
            m_kept = std::move(connection);
        else
            m_database.GiveBack(std::move(connection)); // the next writer finds its pages in its memory
    }
    const locks::Hold hold(m_queue.m_lock);
    m_holds = false;
    m_queue.CallNext(nullptr);
    m_group->ended = true;
    m_group->told.NotifyAll();
}

} // namespace localmapi::storage
