// The registrations of all tables, and the calling of their sinks, for which the double's lock is let go.
#include "support/Notifications.h"
#include "support/Com.h"
#include "support/Print.h"
#include <condition_variable>
#include <map>
#include <utility>

namespace mapi_double
{

namespace
{

struct Registration {
    const void *table = nullptr;
    std::string tableName;
    ULONG events = 0;
    IMAPIAdviseSink *sink = nullptr;      // with a reference
    std::vector<std::thread::id> callers; // threads that are inside OnNotify
};

// Everything here is guarded by the double's lock, which is not held over a call of a sink.
struct State {
    std::map<ULONG, Registration> registrations;
    std::vector<IMAPIAdviseSink *> kept;
    ULONG last = 0;
    bool unadviseWaits = false;
    bool keepsSinks = false;
    std::condition_variable_any left;
};

State &TheState()
{
    static auto *state = new State;
    return *state;
}

HRESULT CallSink(IMAPIAdviseSink *sink, const std::vector<ULONG> &eventTypes)
{
    std::vector<NOTIFICATION> batch(eventTypes.size());
    for (size_t i = 0; i < batch.size(); ++i) {
        batch[i].ulEventType = eventTypes[i];
        batch[i].info.tab.ulTableEvent = TABLE_CHANGED;
    }
    return static_cast<HRESULT>(sink->OnNotify(static_cast<ULONG>(batch.size()), batch.data()));
}

std::vector<HRESULT> NotifyAll(const std::string &table, const std::vector<ULONG> &eventTypes)
{
    State &state = TheState();
    std::vector<ULONG> connections;
    {
        const std::lock_guard lock(Mutex());
        for (const auto &[connection, registration] : state.registrations)
            if (registration.tableName == table)
                connections.push_back(connection);
    }
    std::vector<HRESULT> results;
    for (const ULONG connection : connections) {
        IMAPIAdviseSink *sink = nullptr;
        {
            const std::lock_guard lock(Mutex());
            const auto found = state.registrations.find(connection);
            if (found == state.registrations.end())
                continue;
            sink = found->second.sink;
            sink->AddRef();
            found->second.callers.push_back(std::this_thread::get_id());
        }
        results.push_back(CallSink(sink, eventTypes));
        {
            const std::lock_guard lock(Mutex());
            if (const auto found = state.registrations.find(connection); found != state.registrations.end())
                std::erase(found->second.callers, std::this_thread::get_id());
        }
        state.left.notify_all();
        sink->Release();
    }
    return results;
}

} // namespace

std::vector<std::string> Registrations()
{
    const std::lock_guard lock(Mutex());
    std::vector<std::string> result;
    for (const auto &[connection, registration] : TheState().registrations)
        result.push_back(registration.tableName + " " + Hex(registration.events));
    return result;
}

std::vector<HRESULT> NotifyHere(const std::string &table, std::initializer_list<ULONG> eventTypes)
{
    return NotifyAll(table, eventTypes);
}

std::vector<HRESULT> Notify(const std::string &table, std::initializer_list<ULONG> eventTypes)
{
    std::vector<HRESULT> results;
    std::thread([&] { results = NotifyAll(table, eventTypes); }).join();
    return results;
}

std::thread NotifyMeanwhile(const std::string &table)
{
    return std::thread([table] { NotifyAll(table, {fnevTableModified}); });
}

void LetUnadviseWait()
{
    const std::lock_guard lock(Mutex());
    TheState().unadviseWaits = true;
}

void KeepSinksAfterUnadvise()
{
    const std::lock_guard lock(Mutex());
    TheState().keepsSinks = true;
}

std::vector<HRESULT> NotifyKeptSinks()
{
    std::vector<IMAPIAdviseSink *> kept;
    {
        const std::lock_guard lock(Mutex());
        kept = std::exchange(TheState().kept, {});
    }
    std::vector<HRESULT> results;
    std::thread([&] {
        for (IMAPIAdviseSink *sink : kept) {
            results.push_back(CallSink(sink, {fnevTableModified}));
            sink->Release();
        }
    }).join();
    return results;
}

ULONG EnterRegistration(const void *table, const std::string &tableName, ULONG events, IMAPIAdviseSink *sink)
{
    const std::lock_guard lock(Mutex());
    State &state = TheState();
    sink->AddRef();
    Registration &entered = state.registrations[++state.last];
    entered.table = table;
    entered.tableName = tableName;
    entered.events = events;
    entered.sink = sink;
    return state.last;
}

bool EndRegistration(const void *table, ULONG connection)
{
    State &state = TheState();
    IMAPIAdviseSink *sink = nullptr;
    {
        std::unique_lock lock(Mutex());
        const auto found = state.registrations.find(connection);
        if (found == state.registrations.end() || found->second.table != table)
            return false;
        const auto onlyHere = [&] {
            for (const std::thread::id caller : found->second.callers)
                if (caller != std::this_thread::get_id())
                    return false;
            return true;
        };
        if (state.unadviseWaits)
            state.left.wait(lock, onlyHere);
        sink = found->second.sink;
        state.registrations.erase(found);
        if (state.keepsSinks) {
            state.kept.push_back(sink);
            sink = nullptr;
        }
    }
    if (sink)
        sink->Release();
    return true;
}

void ForgetRegistrations()
{
    const std::lock_guard lock(Mutex());
    State &state = TheState();
    state.registrations.clear();
    state.kept.clear();
    state.unadviseWaits = false;
    state.keepsSinks = false;
}

} // namespace mapi_double
