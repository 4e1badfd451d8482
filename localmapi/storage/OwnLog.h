// Whether the write-ahead log that lies beside a file was written to that file. SQLite plays back whatever lies there,
// and the log of another file, or of an older or newer copy of this one, destroys it.
#pragma once
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

// Before anything is read through the connection. ForeignLog, with the remedy, where the log is another file's. Let
// pass is what can't be told: a log whose commits do not touch the site's row, and one from before commits were marked
// beside a file from before that.
void RequireOwnLog(const Connection &connection);

} // namespace localmapi::storage
