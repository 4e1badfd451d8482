// A site that this account may read and not write. SQLite would make a log and an index for it beside the file, in this
// account's name and with the file's mode, and leave them there: then who may write to the site could not any more. Any
// thread.
#pragma once
#include "localmapi/storage/Sqlite.h"
#include <memory>

namespace localmapi::storage
{

// For reading, so that nothing is made beside a file that this account may not write to. Where nobody has such a site
// open it is read as it lies there: see Connection::IsOfMoment. NoAccess where the site has a log, without its index,
// that only who may write to it can play back.
std::unique_ptr<Connection> OpenForReading(const std::string &path, int busyTimeoutMs);

} // namespace localmapi::storage
