#include "localmapi/storage/FileIdentity.h"
#include <sys/stat.h>

namespace localmapi::storage
{

std::optional<FileIdentity> FileIdentity::At(const std::string &path) noexcept
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

} // namespace localmapi::storage
