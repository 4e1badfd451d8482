// IMAPISession.
#pragma once
#include "localmapi/provider/site/SessionContext.h"

#include <mapix.h>

namespace localmapi
{

// The session of a logon that succeeded, with one reference. May throw.
IMAPISession *MakeSession(const Session &session);

} // namespace localmapi
