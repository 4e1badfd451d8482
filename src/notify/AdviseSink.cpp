// The sink itself: its registrations on three tables, its counts, and the callback that is told of them.
#include "notify/AdviseSink.h"
#include "ExchangeMapi.h"
#include "common/mapi/Operation.h"
#include "notify/SinkRegistry.h"

namespace
{

HRESULT RegisterOn(const Operation &op, IMAPITable *pTable, CAdviseSink *pSink, ULONG &ulConnection,
                   const char *szSentence)
{
    const HRESULT hr = pTable->Advise(fnevTableModified, pSink, &ulConnection);
    if (FAILED(hr)) {
        ulConnection = 0;
        return op.Failed("Advise", szSentence, pTable, hr);
    }
    return hr;
}

// Reported as Advise, like the registration, as the contract has it.
HRESULT CountRows(const Operation &op, IMAPITable *pTable, ULONG &ulCount, const char *szSentence)
{
    const HRESULT hr = pTable->GetRowCount(0, &ulCount);
    return FAILED(hr) ? op.Failed("Advise", szSentence, pTable, hr) : hr;
}

// Reads a property of the store and throws it away, as the contract has it.
HRESULT ExerciseStore(IMsgStore *pMailboxMDB)
{
    MapiBuffer<SPropValue> value;
    const HRESULT hr = HrGetOneProp(pMailboxMDB, PR_SPLUS_FREE_BUSY_ENTRYID, value.put());
    return hr == MAPI_E_NOT_FOUND ? S_OK : hr;
}

} // namespace

CAdviseSink::CAdviseSink(const tstring &szMailbox, IMsgStore *pMailboxMDB, IMAPITable *pReadItems,
                         IMAPITable *pUnreadItems, IMAPITable *pUnreadPriorityItems, MailboxCountCallback pfnCallback,
                         ULONG_PTR ulContext)
    : m_ulContext(ulContext), m_pfnCallback(pfnCallback)
{
    // Without quotes, as the contract has it.
    const CDebugTraceFn trace(kTraceCall, "CAdviseSink::CAdviseSink", "%p: %s", static_cast<void *>(this),
                              szMailbox.c_str());
    szMailbox.ToWide(m_strMailbox, 65001);
    m_lpReadItems = Share(pReadItems);
    m_lpUnreadItems = Share(pUnreadItems);
    m_lpUnreadPriorityItems = Share(pUnreadPriorityItems);
    m_lpMailboxMDB = pMailboxMDB;
    SinkRegistry::Add(this);
}

// Traced under the constructor's name, as the contract has it.
CAdviseSink::~CAdviseSink()
{
    SinkRegistry::Remove(this);
    Contained({"CAdviseSink::CAdviseSink", __LINE__}, [&] {
        const Operation op("CAdviseSink::CAdviseSink", "%p: \"%ls\"", static_cast<void *>(this), Mailbox());
        m_lpReadItems.reset();
        m_lpUnreadItems.reset();
        m_lpUnreadPriorityItems.reset();
        const ComPtr<IMsgStore> mailbox(std::exchange(m_lpMailboxMDB, nullptr));
        if (mailbox)
            mailbox->StoreLogoff(nullptr);
    });
}

STDMETHODIMP CAdviseSink::QueryInterface(REFIID riid, LPVOID *ppvObj)
{
    if (riid == IID_IMAPIAdviseSink || riid == IID_IUnknown) {
        AddRef();
        *ppvObj = static_cast<IMAPIAdviseSink *>(this);
        return S_OK;
    }
    *ppvObj = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CAdviseSink::AddRef()
{
    return static_cast<ULONG>(++m_lRefs);
}

STDMETHODIMP_(ULONG) CAdviseSink::Release()
{
    const LONG lLeft = --m_lRefs;
    if (lLeft == 0)
        delete this;
    return static_cast<ULONG>(lLeft);
}

HRESULT CAdviseSink::Register(const Operation &op)
{
    HRESULT hr = RegisterOn(op, m_lpReadItems.get(), this, m_ulReadConnection,
                            "trying to register to receive notification of specified events affecting the read items "
                            "table.");
    if (FAILED(hr))
        return hr;
    hr = RegisterOn(op, m_lpUnreadItems.get(), this, m_ulUnreadConnection,
                    "trying to register to receive notification of specified events affecting the unread items table.");
    if (FAILED(hr))
        return hr;
    return RegisterOn(op, m_lpUnreadPriorityItems.get(), this, m_ulUnreadPriorityConnection,
                      "trying to register to receive notification of specified events affecting the unread priority "
                      "items table.");
}

HRESULT CAdviseSink::Count(const Operation &op, Counts &counts) const
{
    HRESULT hr = CountRows(op, m_lpReadItems.get(), counts.ulRead,
                           "trying to determine the total number of rows in the read items table.");
    if (FAILED(hr))
        return hr;
    hr = CountRows(op, m_lpUnreadItems.get(), counts.ulUnread,
                   "trying to determine the total number of rows in the unread items table.");
    if (FAILED(hr))
        return hr;
    return CountRows(op, m_lpUnreadPriorityItems.get(), counts.ulUnreadPriority,
                     "trying to determine the total number of rows in the unread priority items table.");
}

BOOL CAdviseSink::Tell(MailboxCountCallback pfnCallback, const char *szOperation, const Counts &counts) const
{
    // A name without class and line number, as the contract has it.
    DebugOutputA(kTraceCounts, "%s - Telling \"%ls\" it has %lu unread (%lu with priority) and %lu read messages",
                 szOperation, Mailbox(), counts.ulUnread, counts.ulUnreadPriority, counts.ulRead);
    return pfnCallback(Mailbox(), counts.ulUnread, counts.ulUnreadPriority, counts.ulRead, m_ulContext);
}

HRESULT CAdviseSink::Advise()
{
    const Operation op("CAdviseSink::Advise", "%p: \"%ls\"", static_cast<void *>(this), Mailbox());
    if (!HasTables())
        return E_INVALIDARG;
    HRESULT hr = Register(op);
    if (SUCCEEDED(hr) && m_lpMailboxMDB)
        hr = ExerciseStore(m_lpMailboxMDB);

    // The counts are told whatever came of the registration.
    // The answer to the first ones is not looked at, as the contract has it.
    if (const MailboxCountCallback pfnCallback = m_pfnCallback) {
        Counts counts;
        if (SUCCEEDED(Count(op, counts)))
            Tell(pfnCallback, "Advise", counts);
    }
    return hr;
}

// Counts anew and tells the callback, unless that was cleared meanwhile. The result is set step by step: it stands also
// where the callback throws.
void CAdviseSink::Recount(const Operation &op, HRESULT &hr)
{
    Counts counts;
    hr = Count(op, counts);
    const MailboxCountCallback pfnCallback = m_pfnCallback;
    if (FAILED(hr) || !pfnCallback)
        return;
    if (Tell(pfnCallback, "OnNotify", counts))
        hr = S_OK;
    else
        m_pfnCallback = nullptr;
}

// The reference keeps the sink alive where the callback ends it.
STDMETHODIMP_(ULONG) CAdviseSink::OnNotify(ULONG cNotif, LPNOTIFICATION lpNotifications)
{
    HRESULT hr = E_FAIL;
    const SinkRegistry::Notification notification(this);
    Contained({"CAdviseSink::OnNotify", __LINE__}, [&] {
        const Operation op("CAdviseSink::OnNotify", "%p: \"%ls\"", static_cast<void *>(this), Mailbox());
        const ComPtr<CAdviseSink> self = Share(this);
        // A batch is as many counts and calls, as the contract has it. A cleared callback ends the walk: nothing that
        // is left would reach anybody.
        for (ULONG i = 0; i < cNotif && m_pfnCallback; ++i)
            if (lpNotifications[i].ulEventType == fnevTableModified && HasTables())
                Recount(op, hr);
    });
    return static_cast<ULONG>(hr);
}

ULONG CAdviseSink::Unadvise()
{
    const Operation op("CAdviseSink::Unadvise");
    SinkRegistry::Remove(this);
    m_pfnCallback = nullptr;
    const auto end = [&](const ComPtr<IMAPITable> &table, ULONG &ulConnection) {
        if (const ULONG ulEnded = std::exchange(ulConnection, 0); ulEnded != 0 && table)
            op.Stage([&] { return table->Unadvise(ulEnded); });
    };
    end(m_lpReadItems, m_ulReadConnection);
    end(m_lpUnreadItems, m_ulUnreadConnection);
    end(m_lpUnreadPriorityItems, m_ulUnreadPriorityConnection);
    return Release();
}
