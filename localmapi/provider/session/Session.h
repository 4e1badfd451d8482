// IMAPISession and the logon that makes it.
#pragma once
#include "localmapi/provider/site/SessionContext.h"

#include <mapix.h>

namespace localmapi
{

// MAPILogonEx and MAPIAdminProfiles behind the exported names.
HRESULT Logon(const TCHAR *profile, ULONG flags, IMAPISession **session) noexcept;
HRESULT AdminProfiles(ULONG flags, IProfAdmin **admin) noexcept;

// The session of a logon that succeeded, with one reference. May throw.
IMAPISession *MakeSession(const Session &session);

} // namespace localmapi
