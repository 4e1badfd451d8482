#include "session/ProfileTurn.h"
#include "common/base/SystemCalls.h"
#include <mapix.h>

namespace
{

// Never a success.
HRESULT LastError()
{
    const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
    return FAILED(hr) ? hr : E_FAIL;
}

} // namespace

ProfileTurn::~ProfileTurn()
{
    if (m_bTaken)
        SystemCalls().ReleaseMutex(m_hMutex);
    if (m_hMutex)
        SystemCalls().CloseHandle(m_hMutex);
}

HRESULT ProfileTurn::Take(const Operation &op)
{
    m_hMutex = OpenProfileMutex();
    if (!m_hMutex)
        return op.Failed("MAPILogonEx", "trying to open the lock of connects without a profile.", LastError());
    switch (SystemCalls().WaitForSingleObject(m_hMutex, kProfileTurnTimeout)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED: // what its last owner left is deleted first
        m_bTaken = true;
        return S_OK;
    case WAIT_TIMEOUT:
        return op.Failed("MAPILogonEx", "waiting for other connects without a profile to end.", MAPI_E_TIMEOUT);
    default:
        return op.Failed("MAPILogonEx", "trying to wait for other connects without a profile.", LastError());
    }
}
