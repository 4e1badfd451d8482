// IMsgServiceAdmin over one profile.
#pragma once
#include "localmapi/provider/site/Profile.h"

#include <mapix.h>

namespace localmapi
{

// With one reference. May throw.
IMsgServiceAdmin *MakeServiceAdmin(std::shared_ptr<Profile> profile);

} // namespace localmapi
