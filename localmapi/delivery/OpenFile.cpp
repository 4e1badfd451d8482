#include "localmapi/delivery/OpenFile.h"
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace localmapi::delivery
{

std::ifstream OpenFile(const std::filesystem::path &path)
{
    std::error_code none;
    const std::filesystem::file_status status = std::filesystem::status(path, none);
    if (std::filesystem::is_directory(status))
        throw std::system_error(std::make_error_code(std::errc::is_a_directory), "opening it");
    // To open a pipe is to wait for its other end, and some devices never end.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw std::runtime_error("this is no ordinary file");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::system_error(errno ? errno : EIO, std::generic_category(), "opening it");
    return file;
}

} // namespace localmapi::delivery
