// A file of the host's as a stream to be read, for OpenStreamOnFile.
#pragma once
#include "localmapi/storage/Stream.h"

#include <memory>

namespace localmapi
{

// Opens a file for reading; the name is narrow text, as the host has it. Its bytes are read where they lie, in the
// pieces that are asked for; any thread may read. Throws Failure: MAPI_E_NOT_FOUND for a file that is not there,
// MAPI_E_NO_ACCESS for one that can't be read, a folder and whatever else is no ordinary file.
std::shared_ptr<const storage::Stream> OpenFileBytes(const char *name);

} // namespace localmapi
