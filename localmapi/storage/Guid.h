// New GUIDs, of sites and of what profiles name.
#pragma once
#include "localmapi/storage/Value.h"

namespace localmapi::storage
{

// A random one (version 4), as laid out in memory. Any thread.
Guid NewGuid();

} // namespace localmapi::storage
