// Logging on, and the profiles to log on with.
#pragma once
#include <mapix.h>

namespace localmapi
{

// MAPILogonEx and MAPIAdminProfiles behind the exported names.
HRESULT Logon(const TCHAR *profile, ULONG flags, IMAPISession **session) noexcept;
HRESULT AdminProfiles(ULONG flags, IProfAdmin **admin) noexcept;

} // namespace localmapi
