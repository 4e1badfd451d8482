// Sinks that remember what they were told, and a table whose sink is one, for the tests of notifications.
#pragma once
#include "../messages/Mailbox.h"
#include "../storage/Process.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace localmapi::test
{

inline constexpr ULONG kLabel = PR_SUBJECT_A;

// One event, copied while it could be.
struct Event {
    ULONG type = 0;
    ULONG event = 0;
    HRESULT result = S_OK;
    ULONG indexTag = 0;
    ULONG priorTag = 0;
    EntryIdBytes index;
    EntryIdBytes prior;
    bool hasRow = false;
    std::vector<ULONG> columns;
    std::string label; // of the row, where the column is among them
};

class Sink : public ComObject<IMAPIAdviseSink>
{
  public:
    explicit Sink(std::function<void(Sink &)> during = {}) : m_during(std::move(during)) {}

    STDMETHODIMP_(ULONG) OnNotify(ULONG count, LPNOTIFICATION notifications) override;

    // Waits until so many events have come; false after a generous time.
    bool Await(std::size_t events);
    // Takes so many events out, waiting for them; those that don't come are empty.
    std::vector<Event> Take(std::size_t events);
    std::size_t Calls();
    std::size_t Events();
    std::thread::id Thread();
    ULONG References()
    {
        AddRef();
        return Release();
    }

  private:
    const std::function<void(Sink &)> m_during;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Event> m_events;
    std::size_t m_taken = 0;
    std::size_t m_calls = 0;
    std::thread::id m_thread;
};

// A flag to wait for, with a generous bound.
class Signal
{
  public:
    void Set()
    {
        std::lock_guard hold(m_lock);
        m_set = true;
        m_changed.notify_all();
    }
    bool Await()
    {
        std::unique_lock hold(m_lock);
        return m_changed.wait_for(hold, std::chrono::seconds(60), [&] { return m_set; });
    }
    bool IsSet()
    {
        std::lock_guard hold(m_lock);
        return m_set;
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_set = false;
};

class Notified : public testing::Test
{
  protected:
    Notified();
    ~Notified() override;

    // The Inbox with the columns label and instance key, oldest first.
    ComPtr<IMAPITable> Inbox(ULONG flags = 0);
    static ULONG Advise(const ComPtr<IMAPITable> &table, const ComPtr<Sink> &sink);
    // The next events of a sink in words: "added b after a", "modified a at the top", "deleted a", "changed".
    std::string Told(const ComPtr<Sink> &sink, std::size_t events = 1);
    // A message in the Inbox that is known by its label from now on.
    EntryIdBytes Add(const char *label, Props more = {});
    EntryIdBytes AddTo(IMAPIFolder *folder, const char *label, Props more = {});
    void Set(const EntryIdBytes &message, const Props &props);
    void MarkRead(const EntryIdBytes &message, bool read = true);
    void Move(const EntryIdBytes &message, IMAPIFolder *from, IMAPIFolder *to);

    // The label of a row's message; "?" for none that was added here.
    std::string LabelOf(const EntryIdBytes &instanceKey);

    // Holds the notifier's thread in a sink of its own, so that what happens meanwhile is told at once.
    class Held;

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;

  private:
    // A sink may add messages too, on the notifier's thread.
    std::mutex m_labelling;
    std::map<EntryIdBytes, std::string> m_labels; // by instance key
    std::uint64_t m_submitTime = 0x01DB000000000000ULL;
};

class Notified::Held
{
  public:
    explicit Held(Notified &test);
    ~Held();
    void Open();

  private:
    Signal m_entered;
    Signal m_open;
    ComPtr<IMAPITable> m_table;
    ComPtr<Sink> m_sink;
    ULONG m_connection = 0;
};

} // namespace localmapi::test
