// IProfAdmin over the profiles of a site.
#pragma once
#include "localmapi/storage/Site.h"

#include <mapix.h>

#include <memory>

namespace localmapi
{

// With one reference. May throw.
IProfAdmin *MakeProfileAdmin(std::shared_ptr<storage::Site> site);

} // namespace localmapi
