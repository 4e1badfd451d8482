// The one thread of this process that calls sinks. It runs while somebody is advised: waits for the signal, asks the
// tables that the entries concern for their notices, and calls the sinks. For any thread, but see each function.
#pragma once
#include "localmapi/provider/notify/Advises.h"
#include "localmapi/storage/ChangeSignal.h"
#include "localmapi/storage/EntryReader.h"
#include "platform/lifetime/Lasting.h"

#include <deque>
#include <map>
#include <thread>
#include <unordered_map>

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
    Notifier() { NotifierLock(); } // which so outlives it
    ~Notifier()
    {
        // One that has ended after its last sink did, and that nobody waited for.
        if (m_thread.joinable())
            m_thread.detach();
    }
    // Its thread may outlive what the program destroys at its end.
    static Notifier &Get() { return lifetime::Lasting<Notifier>(); }

    ULONG Advise(const std::shared_ptr<Advises> &advises, IMAPIAdviseSink *sink, std::int64_t from)
        EXCLUDES(NotifierLock());
    bool Unadvise(Advises &advises, ULONG number) EXCLUDES(NotifierLock());
    void End(Advises &advises) noexcept EXCLUDES(NotifierLock());
    bool Any(const Advises &advises) EXCLUDES(NotifierLock())
    {
        const locks::Hold hold(NotifierLock());
        return !advises.m_sinks.empty();
    }
    void SetDue(Advises &advises) noexcept EXCLUDES(NotifierLock());
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
    // The tables of one site. What a look costs depends on what happened, not on how many there are.
    struct SiteState {
        explicit SiteState(storage::Site which) : site(std::move(which)) {}
        void Add(const AdvisesPtr &advises);
        void Remove(Advises &advises);
        void Ask(Advises &advises);
        void AskConcerned(const storage::EntrySummary &summary);
        void ForAll(const auto &action)
        {
            for (auto &[folder, tables] : contents)
                for (const AdvisesPtr &advises : tables)
                    action(*advises);
            for (const AdvisesPtr &advises : others)
                action(*advises);
        }

        storage::Site site;
        std::optional<storage::EntryReader> reader;
        std::int64_t upTo = -1;     // the last entry that was read
        std::int64_t quietUpTo = 0; // up to there every table that is not behind has been told
        std::unordered_map<storage::ObjectId, std::vector<AdvisesPtr>>
            contents; // by the folder whose messages they show
        std::vector<AdvisesPtr> others;
        std::size_t count = 0;
        std::vector<AdvisesPtr> due;
        std::uint64_t look = 0;
        std::vector<std::pair<Advises *, std::int64_t>> asked; // in this look, and what is known of each
    };
    using Sites = std::map<storage::Database *, SiteState>;
    using Pending = std::deque<AdvisesPtr>; // what the thread has taken of the list and not seen to yet

    void Start() REQUIRES(m_startStop);
    void Enter(const AdvisesPtr &advises, const SinkPtr &advised) REQUIRES(NotifierLock());
    void List(Advises &advises) noexcept REQUIRES(NotifierLock());
    void TakeListed(Pending &pending) REQUIRES(NotifierLock());
    void Finish(const SinkPtr &advised) noexcept REQUIRES(NotifierLock());
    void Drop(Advises &advises) REQUIRES(NotifierLock());
    void StopIfNobodyListens() noexcept;
    void Run(const std::shared_ptr<storage::ChangeSignal> &signal) noexcept;
    bool GoesOn(Sites &sites, Pending &pending);
    bool Arrange(Sites &sites, Pending &pending);
    static void See(Sites &sites, const AdvisesPtr &advises, bool serve, bool due);
    void Look(SiteState &site);
    static void Leave(Sites &sites) noexcept;
    void Deliver(Advises &advises, std::vector<TableNotice> notices) noexcept;
    void Call(const SinkPtr &advised, std::vector<TableNotice> &notices) noexcept;

    // Held while the thread is started or waited for; before NotifierLock(), and never on the notifier's own thread.
    locks::Mutex m_startStop;
    std::thread m_thread GUARDED_BY(m_startStop);

    locks::Condition m_returned;
    std::unordered_map<Advises *, AdvisesPtr> m_tables GUARDED_BY(NotifierLock()); // those with sinks
    // Those whose sinks came or went, or that are due, since the thread saw to them. There is room for every table.
    std::vector<AdvisesPtr> m_listed GUARDED_BY(NotifierLock());
    // Its sink is being called or released.
    const Advises::AdvisedSink *m_running GUARDED_BY(NotifierLock()) = nullptr;
    std::shared_ptr<storage::ChangeSignal> m_signal GUARDED_BY(NotifierLock());
    bool m_alive GUARDED_BY(NotifierLock()) = false;
    bool m_stop GUARDED_BY(NotifierLock()) = false;
    ULONG m_next GUARDED_BY(NotifierLock()) = 1;
};

} // namespace localmapi
