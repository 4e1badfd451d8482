// The one thread of this process that calls sinks. It runs while somebody is advised: waits for the signal, asks the
// tables that the entries concern for their notices, and calls the sinks. For any thread, but see each function.
#pragma once
#include "localmapi/provider/notify/Advises.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/EntryReader.h"

#include <map>
#include <thread>

namespace localmapi
{

struct Advises::AdvisedSink {
    AdvisedSink(IMAPIAdviseSink *called, std::int64_t after) : sink(Share<IMAPIAdviseSink>(called)), from(after) {}

    ULONG number = 0; // given once, when it is entered
    // Used without a lock by the notifier's thread while this is `m_running`; whoever ends the advise takes it
    // afterwards.
    ComPtr<IMAPIAdviseSink> sink;
    std::int64_t from; // on the notifier's thread only
    bool ended GUARDED_BY(NotifierLock()) = false;
    // The notifier's thread lets go of the sink when it has returned.
    bool endedByItself GUARDED_BY(NotifierLock()) = false;
};

class Notifier
{
  public:
    // Never destroyed: its thread may outlive what the program destroys at its end.
    static Notifier &Get()
    {
        static auto *const notifier = new Notifier;
        return *notifier;
    }

    ULONG Advise(const std::shared_ptr<Advises> &advises, IMAPIAdviseSink *sink, std::int64_t from)
        EXCLUDES(NotifierLock());
    bool Unadvise(Advises &advises, ULONG number) EXCLUDES(NotifierLock());
    void End(Advises &advises) noexcept EXCLUDES(NotifierLock());
    bool Any(const Advises &advises) EXCLUDES(NotifierLock())
    {
        const locks::Hold hold(NotifierLock());
        return !advises.m_sinks.empty();
    }
    void SetDue(Advises &advises) EXCLUDES(NotifierLock())
    {
        const locks::Hold hold(NotifierLock());
        advises.m_due = m_anyDue = true;
    }
    bool IsStopping() EXCLUDES(NotifierLock())
    {
        const locks::Hold hold(NotifierLock());
        return m_stop;
    }
    // Ends the thread, on the last MAPIUninitialize: no sink is called until somebody is advised anew. On the thread
    // itself it does nothing.
    void Stop() noexcept EXCLUDES(NotifierLock());
    // Starts it again where somebody is advised.
    void Resume() noexcept EXCLUDES(NotifierLock());

    static bool IsThisThread() noexcept;

  private:
    using SinkPtr = std::shared_ptr<Advises::AdvisedSink>;
    using AdvisesPtr = std::shared_ptr<Advises>;
    struct SiteState {
        storage::Site site;
        std::optional<storage::EntryReader> reader;
        std::int64_t upTo = -1; // the last entry that was read
        std::vector<AdvisesPtr> tables;
        std::vector<std::pair<Advises *, std::int64_t>> due; // of the last look
    };
    using Sites = std::map<storage::Database *, SiteState>;

    void Start() REQUIRES(m_startStop);
    void Enter(const AdvisesPtr &advises, const SinkPtr &advised) REQUIRES(NotifierLock());
    void Finish(const SinkPtr &advised) noexcept REQUIRES(NotifierLock());
    void Drop(Advises &advises) REQUIRES(NotifierLock());
    void StopIfNobodyListens() noexcept;
    void Run(const std::shared_ptr<storage::ChangeSignal> &signal) noexcept;
    void Arrange(Sites &sites, const std::vector<AdvisesPtr> &tables);
    void Look(SiteState &site, bool anyDue);
    void Deliver(Advises &advises, std::vector<TableNotice> notices) noexcept;
    void Call(const SinkPtr &advised, std::vector<TableNotice> &notices) noexcept;

    // Held while the thread is started or waited for; before NotifierLock(), and never on the notifier's own thread.
    locks::Mutex m_startStop;
    std::thread m_thread GUARDED_BY(m_startStop);

    locks::Condition m_returned;
    std::vector<AdvisesPtr> m_tables GUARDED_BY(NotifierLock()); // those with sinks
    std::uint64_t m_generation GUARDED_BY(NotifierLock()) = 0;
    bool m_anyDue GUARDED_BY(NotifierLock()) = false; // some table is
    // Its sink is being called or released.
    const Advises::AdvisedSink *m_running GUARDED_BY(NotifierLock()) = nullptr;
    std::shared_ptr<storage::ChangeSignal> m_signal GUARDED_BY(NotifierLock());
    bool m_alive GUARDED_BY(NotifierLock()) = false;
    bool m_stop GUARDED_BY(NotifierLock()) = false;
    ULONG m_next GUARDED_BY(NotifierLock()) = 1;
};

} // namespace localmapi
