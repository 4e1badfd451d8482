// Writers of a process take turns. Those that meet share one transaction, and so one sync: who is done while another
// one waits hands the open transaction on, and the last one commits it for all. None of them is done before that. A
// queue belongs to a site's file; any thread may wait in it, and a turn belongs to the thread that takes it.
#pragma once
#include "localmapi/storage/Sqlite.h"
#include "platform/locks/Mutex.h"
#include <chrono>
#include <memory>

namespace localmapi::storage
{

class Database;

// Whether a writer may share its transaction. One that may take long, or need much room, does not: nobody else is to
// wait for its work, or to fail with it.
enum class Share { WithOthers, WithNobody };

// Whether SQLite follows references: refuses those to nothing, and deletes what belongs to a deleted row. Who deletes
// all that belongs together does without. Only with Share::WithNobody.
enum class References { Checked, Unchecked };

// What the numbers of a site have come to.
struct Numbers {
    std::int64_t nextId = 0;
    ChangeNumber change = 0;
};

class WriteQueue
{
  public:
    WriteQueue() = default;
    WriteQueue(const WriteQueue &) = delete;
    WriteQueue &operator=(const WriteQueue &) = delete;
    std::size_t Length(); // how many wait

  private:
    friend class WriteTurn;
    struct Group;
    struct Waiter {
        Share share = Share::WithOthers;
        bool called = false;
        std::shared_ptr<Group> group; // the one that it is called into; null: one of its own
        bool pause = false;           // before that one
        Waiter *next = nullptr;
        locks::Condition changed;
    };

    std::shared_ptr<Group> Enter(Share share);
    void CallNext(const std::shared_ptr<Group> &group) REQUIRES(m_lock);
    bool IsPauseDue() REQUIRES(m_lock);

    locks::Mutex m_lock;
    bool m_taken GUARDED_BY(m_lock) = false;
    std::chrono::steady_clock::time_point m_began GUARDED_BY(m_lock); // writing that has had no pause since
    std::chrono::steady_clock::time_point m_ended GUARDED_BY(m_lock); // the last turn
    Waiter *m_first GUARDED_BY(m_lock) = nullptr;                     // in the order in which they came
    Waiter *m_last GUARDED_BY(m_lock) = nullptr;
};

class WriteTurn
{
  public:
    // Waits for it.
    WriteTurn(Database &database, WriteQueue &queue, Share share);
    // What was not committed did not happen; what others of the group did is not touched by that.
    ~WriteTurn();
    WriteTurn(const WriteTurn &) = delete;
    WriteTurn &operator=(const WriteTurn &) = delete;

    // Joins the group's transaction, or begins one.
    void Begin(References references, Where where);
    Connection &GetConnection() const;
    Numbers GetNumbers() const;   // as the writer before left them
    std::uint64_t Growth() const; // of the file by the group's transaction until now, bytes
    // Returns when all of the group is on the disk. The work is not to be touched any more: another writer may have
    // the connection. Where the caller still holds statements, the group ends with it.
    void Commit(const Numbers &numbers, bool announce);

  private:
    using Group = WriteQueue::Group;
    void Leave() noexcept;
    bool HandOn() noexcept;
    void Conclude() noexcept;
    void CommitAll();
    void End() noexcept;
    void Tell() noexcept;

    Database &m_database;
    WriteQueue &m_queue;
    Share m_share;
    std::shared_ptr<Group> m_group;
    std::unique_ptr<Connection> m_kept; // after the end of the group, since the caller holds statements of it
    bool m_saved = false;               // there is a savepoint before this writer's work
    References m_references = References::Checked;
    bool m_holds = true; // the turn
};

} // namespace localmapi::storage
