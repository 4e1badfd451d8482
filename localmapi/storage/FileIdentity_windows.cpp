#include "localmapi/storage/FileIdentity.h"

namespace localmapi::storage
{

std::optional<FileIdentity> FileIdentity::At(const std::string &) noexcept
{
    return FileIdentity{};
}

} // namespace localmapi::storage
