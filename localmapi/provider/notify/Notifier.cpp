// Who is advised: beginning and end of each connection, and of the thread.
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/notify/NotifierThread.h"

#include <algorithm>
#include <limits>

namespace localmapi
{

ULONG Notifier::Advise(const FeedPtr &feed, IMAPIAdviseSink *sink, std::int64_t from)
{
    std::unique_lock starting(m_startStop, std::defer_lock);
    if (!IsThisThread())
        starting.lock();
    std::unique_lock hold(m_lock);
    const auto connection = std::make_shared<Feed::Connection>(m_next, sink, from);
    feed->m_connections.reserve(feed->m_connections.size() + 1);
    if (feed->m_connections.empty()) {
        m_feeds.push_back(feed);
        feed->m_quietUpTo = 0;
    }
    feed->m_connections.push_back(connection);
    feed->m_due = m_anyDue = true;
    ++m_generation;
    m_next = m_next == std::numeric_limits<ULONG>::max() ? 1 : m_next + 1;
    if (!IsThisThread() && !m_alive) {
        try {
            hold.unlock();
            Start();
            hold.lock();
        } catch (...) {
            hold.lock();
            std::erase(feed->m_connections, connection);
            Drop(*feed);
            throw;
        }
    }
    if (m_signal)
        m_signal->wake();
    return connection->number;
}

// Under m_startStop; the thread that ran before has come to its end.
void Notifier::Start()
{
    if (m_thread.joinable())
        m_thread.join();
    auto signal = std::make_shared<storage::ChangeSignal>();
    {
        std::lock_guard hold(m_lock);
        m_signal = signal;
        m_alive = true;
        m_stop = false;
    }
    try {
        m_thread = std::thread([this, signal] { Run(signal); });
    } catch (...) {
        std::lock_guard hold(m_lock);
        m_alive = false;
        throw;
    }
}

// Takes a feed without connections out of those that are served.
void Notifier::Drop(Feed &feed)
{
    if (!feed.m_connections.empty())
        return;
    std::erase_if(m_feeds, [&](const FeedPtr &known) { return known.get() == &feed; });
    ++m_generation;
    if (m_signal)
        m_signal->wake(); // it may be holding the last connection to a site
}

// Ends a connection that is in no list any more.
void Notifier::Finish(std::unique_lock<std::mutex> &hold, const ConnectionPtr &connection) noexcept
{
    connection->ended = true;
    if (m_running == connection.get()) {
        if (IsThisThread()) {
            connection->endedByItself = true;
            return;
        }
        m_returned.wait(hold, [&] { return m_running != connection.get(); });
    }
    Ref<IMAPIAdviseSink> sink = std::move(connection->sink);
    hold.unlock();
    sink.reset();
    hold.lock();
}

bool Notifier::Unadvise(Feed &feed, ULONG number)
{
    {
        std::unique_lock hold(m_lock);
        const auto found = std::find_if(feed.m_connections.begin(), feed.m_connections.end(),
                                        [&](const ConnectionPtr &known) { return known->number == number; });
        if (found == feed.m_connections.end())
            return false;
        const ConnectionPtr connection = *found;
        feed.m_connections.erase(found);
        Drop(feed);
        Finish(hold, connection);
    }
    StopIfNobodyListens();
    return true;
}

void Notifier::End(Feed &feed) noexcept
{
    {
        std::unique_lock hold(m_lock);
        while (!feed.m_connections.empty()) {
            const ConnectionPtr connection = feed.m_connections.back();
            feed.m_connections.pop_back();
            Drop(feed);
            Finish(hold, connection);
        }
    }
    StopIfNobodyListens();
}

void Notifier::StopIfNobodyListens() noexcept
{
    if (IsThisThread())
        return; // it ends when the sink has returned
    std::lock_guard stopping(m_startStop);
    {
        std::lock_guard hold(m_lock);
        // While a sink is still on its way out of its own end, the thread is left to itself.
        if (!m_feeds.empty() || m_running || !m_thread.joinable())
            return;
        m_signal->wake();
    }
    m_thread.join();
}

void Notifier::Stop() noexcept
{
    if (IsThisThread())
        return;
    std::lock_guard stopping(m_startStop);
    {
        std::lock_guard hold(m_lock);
        if (!m_thread.joinable())
            return;
        m_stop = true;
        m_signal->wake();
    }
    m_thread.join();
}

void Notifier::Resume() noexcept
{
    if (IsThisThread())
        return; // it was not stopped
    std::lock_guard starting(m_startStop);
    {
        std::lock_guard hold(m_lock);
        if (m_alive || m_feeds.empty())
            return;
    }
    try {
        Start();
    } catch (...) {
        // No thread is to be had. The next Advise tries again.
    }
}

// --- feeds ---

Feed::Feed(Source source, storage::Site site, storage::Container container)
    : m_source(std::move(source)), m_site(std::move(site)), m_container(container)
{
}

Feed::~Feed() = default;

bool Feed::Any() const
{
    return Notifier::Get().Any(*this);
}

ULONG Feed::Advise(IMAPIAdviseSink *sink, std::int64_t from)
{
    return Notifier::Get().Advise(shared_from_this(), sink, from);
}

bool Feed::Unadvise(ULONG number)
{
    return Notifier::Get().Unadvise(*this, number);
}

void Feed::End() noexcept
{
    Notifier::Get().End(*this);
}

void Feed::Close() noexcept
{
    End();
    std::lock_guard hold(m_collecting);
    m_source = nullptr;
}

std::vector<Notice> Feed::Collect(std::int64_t quietUpTo) noexcept
{
    std::vector<Notice> notices;
    try {
        std::lock_guard hold(m_collecting);
        if (m_source)
            notices = m_source(quietUpTo);
        m_failed = false;
    } catch (...) {
        // Told once; then tried again until it works.
        Notifier::Get().SetDue(*this);
        notices.clear();
        HRESULT code = MAPI_E_NOT_ENOUGH_MEMORY;
        try {
            code = CurrentFailure().code();
            if (!m_failed) {
                notices.emplace_back();
                notices.back().entry = std::numeric_limits<std::int64_t>::max();
                notices.back().event = TABLE_ERROR;
                notices.back().result = code;
            }
            m_failed = true;
        } catch (...) {
            notices.clear();
        }
    }
    return notices;
}

void AdviseScope::Add(const std::shared_ptr<Feed> &feed)
{
    std::lock_guard hold(m_lock);
    std::erase_if(m_feeds, [](const std::weak_ptr<Feed> &known) { return known.expired(); });
    m_feeds.push_back(feed);
}

void AdviseScope::End()
{
    std::vector<std::weak_ptr<Feed>> feeds;
    {
        std::lock_guard hold(m_lock);
        feeds = m_feeds;
    }
    for (const std::weak_ptr<Feed> &known : feeds)
        if (const auto feed = known.lock())
            feed->End();
}

void StopNotifier() noexcept
{
    Notifier::Get().Stop();
}

void ResumeNotifier() noexcept
{
    Notifier::Get().Resume();
}

} // namespace localmapi
