// A session's construction, destruction and references, and the state that its threads share.
#include "common/mapi/Operation.h"
#include "session/CMAPIImpl.h"
#include "session/SessionReferences.h"

CMAPIImpl::CMAPIImpl(bool fService) : m_references(std::make_shared<SessionReferences>())
{
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::CMAPIImpl", "Service: <%s>", fService ? "true" : "false");
    Initialise(fService);
}

// What a host left connected is logged off while MAPI is still there. Tables and bookmarks that it did not give back
// are recorded, not owned, and stay as they are.
CMAPIImpl::~CMAPIImpl()
{
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::~CMAPIImpl");
    Contained({"CMAPIImpl::~CMAPIImpl", __LINE__}, [&] { LogOff(); });
    Uninitialise();
}

void CMAPIImpl::AddRef()
{
    m_references->Add();
}

void CMAPIImpl::Release()
{
    if (m_references->Remove())
        delete this;
}

bool CMAPIImpl::IsConnected() const
{
    const std::lock_guard lock(m_stateLock);
    return m_lpSession && m_lpMDB;
}

ComPtr<IMAPISession> CMAPIImpl::MapiSession() const
{
    const std::lock_guard lock(m_stateLock);
    return Share(m_lpSession.get());
}

ComPtr<IMsgStore> CMAPIImpl::DefaultStore() const
{
    const std::lock_guard lock(m_stateLock);
    return Share(m_lpMDB.get());
}

tstring CMAPIImpl::Text(const tstring &member) const
{
    const std::lock_guard lock(m_stateLock);
    return member;
}

void CMAPIImpl::SetText(tstring &member, const tstring &text)
{
    const std::lock_guard lock(m_stateLock);
    member = text;
}

HRESULT CMAPIImpl::NotConnected() const
{
    const std::lock_guard lock(m_stateLock);
    return FAILED(m_hrLast) ? m_hrLast : E_FAIL;
}
