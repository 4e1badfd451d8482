// A file of an older version is brought to this one while others may work with it, and a copy of what it was is kept.
#pragma once
#include "localmapi/storage/Site.h"
#include "localmapi/storage/Sqlite.h"

namespace localmapi::storage
{

// The file is as it was.
class NoRoomForCopy : public Error
{
  public:
    explicit NoRoomForCopy(const std::string &text) : Error(Fault::Full, text) {}
};

// Nothing where the file is of this version. NoRoomForCopy where there is no room for the copy. Each step is a
// transaction; what follows it is the caller's.
std::optional<Site::Former> Upgrade(Connection &connection, const std::string &path, const OpenOptions &options,
                                    const std::function<void()> &afterStep);

} // namespace localmapi::storage
