// A stream of the file, opened for reading.
#pragma once
#include "localmapi/storage/Site.h"
#include "localmapi/storage/Stream.h"
#include <memory>

namespace localmapi::storage
{

// All of it is read once and compared with its checksums: NotFound, Corrupt, CorruptData. It holds one chunk, and the
// site. What is read later is compared again, and NotFound once it was replaced or deleted.
std::unique_ptr<Stream> OpenStored(const Site &site, std::int64_t stream);

} // namespace localmapi::storage
