#include "localmapi/delivery/OpenFile.h"
#include <cerrno>
#include <system_error>

namespace localmapi::delivery
{

std::ifstream OpenFile(const std::filesystem::path &path)
{
    std::error_code none;
    if (std::filesystem::is_directory(path, none))
        throw std::system_error(std::make_error_code(std::errc::is_a_directory), "opening it");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::system_error(errno ? errno : EIO, std::generic_category(), "opening it");
    return file;
}

} // namespace localmapi::delivery
