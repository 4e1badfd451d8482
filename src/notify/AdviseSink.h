// What MAPI notifies of changes to a mailbox's voice mail, and what counts it anew and tells the host's callback.
//
// Owns its tables and the mailbox, which it logs off with its last reference. OnNotify runs on MAPI's own threads, also
// at once on several and while the sink is being ended on another one; no lock is held while it counts and calls, so a
// callback may end the very sink that calls it. The callback is only ever cleared, never set again.
#pragma once
#include "OrlMapi32.h"
#include "common/base/Owners.h"
#include "common/text/tstring.h"
#include <atomic>

class Operation;

class CAdviseSink : public IMAPIAdviseSink
{
  public:
    // Has one reference. Takes over the caller's reference to the store, and takes its own to the tables, each of which
    // may be null. The store stays the caller's where construction fails.
    CAdviseSink(const tstring &szMailbox, IMsgStore *pMailboxMDB, IMAPITable *pReadItems, IMAPITable *pUnreadItems,
                IMAPITable *pUnreadPriorityItems, MailboxCountCallback pfnCallback, ULONG_PTR ulContext);
    CAdviseSink(const CAdviseSink &) = delete;
    CAdviseSink &operator=(const CAdviseSink &) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, LPVOID *ppvObj) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    // The result is an HRESULT: that of the last counting, S_OK after a callback that wants more, E_FAIL where nothing
    // was counted.
    STDMETHODIMP_(ULONG) OnNotify(ULONG cNotif, LPNOTIFICATION lpNotifications) override;

    // Registers on the three tables and tells the callback the first counts.
    HRESULT Advise();
    // Ends the registrations and gives back one reference; the result is what Release gave. No call of the callback
    // begins any more.
    ULONG Unadvise();

    const WCHAR *Mailbox() const { return m_strMailbox.c_str(); }

  protected:
    virtual ~CAdviseSink();

  private:
    struct Counts {
        ULONG ulRead = 0;
        ULONG ulUnread = 0;
        ULONG ulUnreadPriority = 0;
    };
    bool HasTables() const { return m_lpReadItems && m_lpUnreadItems && m_lpUnreadPriorityItems; }
    HRESULT Register(const Operation &op);
    HRESULT Count(const Operation &op, Counts &counts) const;
    void Recount(const Operation &op, HRESULT &hr);
    BOOL Tell(MailboxCountCallback pfnCallback, const char *szOperation, const Counts &counts) const;

    std::atomic<LONG> m_lRefs{1};
    ULONG m_ulReadConnection = 0;
    ULONG m_ulUnreadConnection = 0;
    ULONG m_ulUnreadPriorityConnection = 0;
    const ULONG_PTR m_ulContext;
    wtext m_strMailbox;
    IMsgStore *m_lpMailboxMDB = nullptr;
    ComPtr<IMAPITable> m_lpReadItems;
    ComPtr<IMAPITable> m_lpUnreadItems;
    ComPtr<IMAPITable> m_lpUnreadPriorityItems;
    std::atomic<MailboxCountCallback> m_pfnCallback;
};
