// A session's construction, destruction and references.
#include "common/mapi/Contained.h"
#include "common/trace/debug.h"
#include "session/CMAPIImpl.h"
#include "session/EndLogon.h"
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
    Contained({"CMAPIImpl::~CMAPIImpl", __LINE__}, [&] { EndLogon(*this); });
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
