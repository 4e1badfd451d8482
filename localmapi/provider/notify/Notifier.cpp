// Who is advised: beginning and end of each advise, and of the thread.
#include "localmapi/provider/notify/Notifier.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace localmapi
{

locks::Mutex &NotifierLock()
{
    return lifetime::Lasting<locks::Mutex, Notifier>();
}

void Notifier::List(Advises &advises) noexcept
{
    if (!std::exchange(advises.m_listed, true))
        m_listed.push_back(advises.weak_from_this().lock());
}

void Notifier::TakeListed(Pending &pending)
{
    pending.insert(pending.end(), m_listed.begin(), m_listed.end());
    for (const AdvisesPtr &advises : m_listed)
        advises->m_listed = false;
    m_listed.clear();
}

void Notifier::SetDue(Advises &advises) noexcept
{
    const locks::Hold hold(NotifierLock());
    if (advises.m_sinks.empty())
        return;
    advises.m_due = true;
    List(advises);
}

void Notifier::Enter(const AdvisesPtr &advises, const SinkPtr &advised)
{
    advises->m_sinks.reserve(advises->m_sinks.size() + 1);
    if (const std::size_t room = m_listed.size() + m_tables.size() + 1; m_listed.capacity() < room)
        m_listed.reserve(2 * room);
    if (advises->m_sinks.empty()) {
        m_tables.emplace(advises.get(), advises);
        advises->m_begun = true;
    }
    advises->m_sinks.push_back(advised);
    advises->m_due = true;
    List(*advises);
    advised->number = m_next;
    m_next = m_next == std::numeric_limits<ULONG>::max() ? 1 : m_next + 1;
    if (m_signal)
        m_signal->Wake();
}

ULONG Notifier::Advise(const AdvisesPtr &advises, IMAPIAdviseSink *sink, std::int64_t from)
{
    // The client's methods, also those that count references, are called under no lock.
    const auto advised = std::make_shared<Advises::AdvisedSink>(sink, from);
    if (IsThisThread()) {
        const locks::Hold hold(NotifierLock());
        Enter(advises, advised);
        return advised->number;
    }
    const locks::Hold starting(m_startStop);
    {
        const locks::Hold hold(NotifierLock());
        Enter(advises, advised);
        if (m_alive)
            return advised->number;
    }
    try {
        Start();
    } catch (...) {
        const locks::Hold hold(NotifierLock());
        std::erase(advises->m_sinks, advised);
        Drop(*advises);
        throw;
    }
    return advised->number;
}

// The thread that ran before has come to its end.
void Notifier::Start()
{
    if (m_thread.joinable())
        m_thread.join();
    auto signal = std::make_shared<storage::ChangeSignal>();
    {
        const locks::Hold hold(NotifierLock());
        m_signal = signal;
        m_alive = true;
        m_stop = false;
    }
    try {
        m_thread = std::thread([this, signal] { Run(signal); });
    } catch (...) {
        const locks::Hold hold(NotifierLock());
        m_alive = false;
        throw;
    }
}

// Takes a table without sinks out of those that are served.
void Notifier::Drop(Advises &advises)
{
    if (!advises.m_sinks.empty())
        return;
    List(advises);
    m_tables.erase(&advises);
    if (m_signal)
        m_signal->Wake(); // it may be holding the last one to a site
}

// Ends an advise that is in no list any more.
void Notifier::Finish(const SinkPtr &advised) noexcept
{
    advised->ended = true;
    if (m_running == advised.get()) {
        if (IsThisThread()) {
            advised->endedByItself = true;
            return;
        }
        while (m_running == advised.get())
            m_returned.Wait(NotifierLock());
    }
    ComPtr<IMAPIAdviseSink> sink = std::move(advised->sink);
    const locks::Released released(NotifierLock());
    sink.reset();
}

bool Notifier::Unadvise(Advises &advises, ULONG number)
{
    {
        const locks::Hold hold(NotifierLock());
        const auto found = std::find_if(advises.m_sinks.begin(), advises.m_sinks.end(),
                                        [&](const SinkPtr &known) { return known->number == number; });
        if (found == advises.m_sinks.end())
            return false;
        const SinkPtr advised = *found;
        advises.m_sinks.erase(found);
        Drop(advises);
        Finish(advised);
    }
    StopIfNobodyListens();
    return true;
}

void Notifier::End(Advises &advises) noexcept
{
    {
        const locks::Hold hold(NotifierLock());
        while (!advises.m_sinks.empty()) {
            const SinkPtr advised = advises.m_sinks.back();
            advises.m_sinks.pop_back();
            Drop(advises);
            Finish(advised);
        }
    }
    StopIfNobodyListens();
}

void Notifier::StopIfNobodyListens() noexcept
{
    if (IsThisThread())
        return; // it ends when the sink has returned
    const locks::Hold stopping(m_startStop);
    {
        const locks::Hold hold(NotifierLock());
        // While a sink is still on its way out of its own end, the thread is left to itself.
        if (!m_tables.empty() || m_running || !m_thread.joinable())
            return;
        m_signal->Wake();
    }
    m_thread.join();
}

void Notifier::Stop() noexcept
{
    if (IsThisThread())
        return;
    const locks::Hold stopping(m_startStop);
    {
        const locks::Hold hold(NotifierLock());
        if (!m_thread.joinable())
            return;
        m_stop = true;
        m_signal->Wake();
    }
    m_thread.join();
}

void Notifier::Resume() noexcept
{
    if (IsThisThread())
        return; // it was not stopped
    const locks::Hold starting(m_startStop);
    {
        const locks::Hold hold(NotifierLock());
        if (m_alive || m_tables.empty())
            return;
    }
    try {
        Start();
    } catch (...) {
        // No thread is to be had. The next Advise tries again.
    }
}

} // namespace localmapi
