// Whether the write-ahead log that lies beside a file was written to that file. SQLite plays back whatever lies there,
// and the log of another file, or of an older or newer copy of this one, destroys it.
#pragma once
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

// Before anything is read through the connection. ForeignLog, with the remedy, where the log is another file's. A log
// without a commit of this program, and a file from before commits were marked, are let pass.
void RequireOwnLog(const Connection &connection);

} // namespace localmapi::storage
