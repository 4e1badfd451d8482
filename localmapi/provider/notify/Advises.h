// An advise: a client's sink with a table, from Advise to Unadvise. Sinks are called on the notifier's thread
// (Notifier.h), one after the other, with no lock of ours held: a sink may call whatever it likes, end its own advise
// or another's, and release its table. A sink is not called any more once its Unadvise has returned. What a sink throws
// is dropped. While a sink runs the others wait for it.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/storage/View.h"

#include "platform/locks/Mutex.h"
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace localmapi
{

// A notice as every sink of the table gets it.
struct TableNotice {
    std::int64_t entry = 0; // the number of the last entry that it comes from: who was advised later doesn't get it
    ULONG event = TABLE_CHANGED;
    HRESULT result = S_OK;
    std::optional<storage::Bytes> index; // instance keys of the row and of the one before it
    std::optional<storage::Bytes> prior;
    Block<SPropValue> row;
    ULONG columns = 0;
};

// Guards who is advised, in all tables, and what the notifier knows of it. Nothing that may wait, and no client, is
// called while it is held.
locks::Mutex &NotifierLock();

// The advises of one table. For any thread.
class Advises : public std::enable_shared_from_this<Advises>
{
  public:
    // What has happened to the table since the last time. Called on the notifier's thread; may throw Failure or what
    // the storage throws, is then called again later, and tells what it missed. `quietUpTo`: entries up to there are
    // known to concern other tables.
    using Source = std::function<std::vector<TableNotice>(std::int64_t quietUpTo)>;

    Advises(Source source, storage::Site site, storage::Container container);
    ~Advises();

    bool Any() const;
    // The advise's number, never 0. Entries with a later number than `from` are told.
    ULONG Advise(IMAPIAdviseSink *sink, std::int64_t from);
    // Waits for the sink where it is being called by another thread than this one, then releases it. False when there
    // is no such advise.
    bool Unadvise(ULONG number);
    // Ends every advise so.
    void End() noexcept;
    // The same, and the source is never asked again, nor is it still being asked.
    void Close() noexcept;

  private:
    friend class Notifier;
    struct AdvisedSink;

    std::vector<TableNotice> Collect(std::int64_t quietUpTo) noexcept;

    locks::Mutex m_collecting;
    Source m_source GUARDED_BY(m_collecting); // empty when closed
    const storage::Site m_site;
    const storage::Container m_container;
    std::vector<std::shared_ptr<AdvisedSink>> m_sinks GUARDED_BY(NotifierLock());
    bool m_due GUARDED_BY(NotifierLock()) = false;    // is to be asked whether or not something happened
    bool m_begun GUARDED_BY(NotifierLock()) = false;  // has its first sink since the thread saw it last
    bool m_listed GUARDED_BY(NotifierLock()) = false; // among those that the thread is to see to

    // On the notifier's thread only.
    bool m_failed = false;
    bool m_served = false;         // is among the tables of its site
    bool m_behind = true;          // has not been told what its site's other tables were
    std::int64_t m_quietUpTo = 0;  // then: entries up to there are known to concern other tables
    std::uint64_t m_lastAsked = 0; // in which look
};

// The advises of all tables of one store.
class AdviseScope
{
  public:
    void Add(const std::shared_ptr<Advises> &advises);
    void End();

  private:
    locks::Mutex m_lock;
    std::vector<std::weak_ptr<Advises>> m_tables GUARDED_BY(m_lock);
};

} // namespace localmapi
