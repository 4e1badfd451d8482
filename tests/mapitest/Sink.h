// A sink that keeps what it is told, and a copy of a table that is kept by that alone.
#pragma once
#include "TableModel.h"
#include "localmapi/provider/base/ComObject.h"
#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace mapitest
{

// One event as it came.
struct Event {
    ULONG event = 0;
    Bytes index;
    Bytes prior;
    std::vector<std::string> row; // the columns as text
};

// Told on localmapi's thread, read on the run's.
class Sink final : public localmapi::ComObject<IMAPIAdviseSink>
{
  public:
    STDMETHODIMP_(ULONG) OnNotify(ULONG count, LPNOTIFICATION notifications) override;
    // What came since the last time; waits for something unless the time is up.
    std::vector<Event> Take(std::chrono::steady_clock::time_point until);
    // From now on nothing may come.
    void Close();
    bool WasToldAfterClose();

  private:
    std::mutex m_lock;
    std::condition_variable m_came;
    std::vector<Event> m_events;
    bool m_closed = false;
    bool m_late = false;
};

// The rows as the notices tell them, and what they have to tell yet. What is wrong with a notice is thrown as text.
struct TableCopy {
    struct Row {
        Bytes key;
        std::vector<std::string> columns;
    };
    std::vector<Row> rows;
    std::set<Name> shown;       // messages, as the model has them
    std::map<Name, Bytes> keys; // of those that were ever shown
    std::set<Bytes> owed;       // rows of which something must be told
    std::set<Bytes> hidden;     // rows that changed unseen
    // Rows of which something may be told, of the newest changes first; with each that was told all go one back.
    struct Changes {
        std::set<Bytes> rows;
        std::set<Bytes> former; // of these, as the table showed them before its filter or order changed
    };
    std::array<Changes, 3> changes;
    bool reread = false; // the table said that it changed
    bool loose = false;  // and was read then, maybe later than what is still to be told

    void Take(const Event &event);
    bool MayBeToldOf(const Bytes &key) const;
    bool MayBeFormer(const Bytes &key) const;
    std::string Text() const;
};

} // namespace mapitest
