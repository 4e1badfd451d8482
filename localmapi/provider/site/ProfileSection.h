// IProfSect: a section of a profile. Changes take effect at once.
#pragma once
#include "localmapi/provider/site/Profile.h"

#include <mapix.h>

namespace localmapi
{

// The section that `uid` names (null: the global one) for IMAPISession, IMsgServiceAdmin and their like. A section that
// is not there is MAPI_E_NOT_FOUND, with MAPI_MODIFY a new one. Throws Failure.
HRESULT OpenSection(const std::shared_ptr<Profile> &profile, const MAPIUID *uid, LPCIID iid, ULONG flags,
                    IProfSect **section);

} // namespace localmapi
