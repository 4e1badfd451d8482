// Watching a mailbox: making its sink, and ending sinks.
#include "common/mapi/CountedOperation.h"
#include "notify/AdviseSink.h"
#include "notify/SinkRegistry.h"
#include "notify/VoiceMailTables.h"
#include "session/CMAPIImpl.h"
#include "session/SessionDependent.h"
#include <new>

namespace
{

void EndSink(CAdviseSink *pSink)
{
    Contained({"CAdviseSink::Unadvise", __LINE__}, [&] { pSink->Unadvise(); });
}

// The reference that the host and the session have together. Whoever lets it go ends the sink.
using AdvisedSink = Owner<CAdviseSink, EndSink>;

// The sinks of a session end with it. Those that other threads are just ending are theirs. A callback that has ended
// its own sink, or whose sink was ended by a provider that does not wait for it, may still be working on the session.
class SessionSinks final : public SessionDependent
{
  public:
    void EndFor(const CMAPIImpl &session) override
    {
        while (CAdviseSink *pSink = SinkRegistry::RemoveFirstOf(&session))
            EndSink(pSink);
        SinkRegistry::AwaitNotifications(&session);
    }
};

// Before the first sink is a session's.
void EndSinksWithTheirSessions()
{
    static constinit SessionSinks sinks;
    [[maybe_unused]] static const bool registered = (RegisterDependent(sinks), true);
}

// A mailbox that is logged off again unless it is kept.
class OpenedMailbox
{
  public:
    explicit OpenedMailbox(CMAPIImpl &session) : m_session(session) {}
    ~OpenedMailbox()
    {
        if (m_pMailboxMDB)
            Contained({"CMAPIImpl::Advise", __LINE__}, [&] { m_session.Logoff(m_pMailboxMDB); });
    }
    OpenedMailbox(const OpenedMailbox &) = delete;
    OpenedMailbox &operator=(const OpenedMailbox &) = delete;

    HRESULT Open(const tstring &szMailbox) { return m_session.Logon(szMailbox, &m_pMailboxMDB); }
    IMsgStore *get() const { return m_pMailboxMDB; }
    IMsgStore *Keep() { return std::exchange(m_pMailboxMDB, nullptr); }

  private:
    CMAPIImpl &m_session;
    IMsgStore *m_pMailboxMDB = nullptr;
};

// What is to be watched, and who is told.
struct Watch {
    const tstring &szMailbox;
    MailboxCountCallback pfnCallback;
    ULONG_PTR ulContext;
};

// Null where there is no memory for one.
CAdviseSink *CreateSink(const Watch &watch, IMsgStore *pMailboxMDB, const VoiceMailTables &tables)
{
    try {
        return new CAdviseSink(watch.szMailbox, pMailboxMDB, tables.read.get(), tables.unread.get(),
                               tables.unreadPriority.get(), watch.pfnCallback, watch.ulContext);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

} // namespace

HRESULT CMAPIImpl::Advise(const tstring &szMailbox, CAdviseSink **ppSink, MailboxCountCallback pfnCallback,
                          ULONG_PTR ulContext, IMsgStore **ppMailboxMDB)
{
    const Watch watch = {szMailbox, pfnCallback, ulContext};
    CountedOperation op(OpenObjects(), "CMAPIImpl::Advise", "szMailbox: \"%s\"", watch.szMailbox.c_str());
    op.ShowCounter(kAtEntry, kAtExitCapital);

    OpenedMailbox mailbox(*this);
    HRESULT hr = mailbox.Open(watch.szMailbox);
    if (FAILED(hr))
        return hr;
    *ppMailboxMDB = nullptr;

    VoiceMailTables tables;
    hr = OpenVoiceMailTables(op, mailbox.get(), tables);
    if (FAILED(hr) || !tables.Complete()) {
        op.Error("Failed to create message tables for %s", watch.szMailbox.c_str());
        if (SUCCEEDED(hr)) {
            *ppSink = nullptr;
            *ppMailboxMDB = mailbox.Keep();
        }
        return hr;
    }

    AdvisedSink sink(CreateSink(watch, mailbox.get(), tables));
    if (!sink) {
        op.Error("Failed to create advise sink for %s", watch.szMailbox.c_str());
        return E_OUTOFMEMORY;
    }
    IMsgStore *const pMailboxMDB = mailbox.Keep();
    ScopedCount countedMailbox = ScopedCount::Adopt(OpenObjects());
    sink->Advise();
    EndSinksWithTheirSessions();
    SinkRegistry::Enter(sink.get(), this);
    countedMailbox.Keep();
    *ppSink = sink.release();
    *ppMailboxMDB = pMailboxMDB;
    return S_OK;
}

HRESULT CMAPIImpl::Unadvise(CAdviseSink *pSink, ULONG *pulCount)
{
    AdvisedSink sink(pSink && SinkRegistry::Remove(pSink) ? pSink : nullptr);
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::Unadvise", "pSink: %p, mailbox: \"%ls\", ulCount: %lu",
                              static_cast<void *>(pSink), sink ? sink->Mailbox() : OLESTR("NULL"), *pulCount);
    if (sink)
        *pulCount = sink.release()->Unadvise();
    return S_OK;
}
