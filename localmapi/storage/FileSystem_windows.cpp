#include "localmapi/storage/Error.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Path.h"
#include <system_error>
#include <windows.h>

namespace localmapi::storage
{

std::optional<FileIdentity> FileIdentity::At(const std::string &) noexcept
{
    return FileIdentity{};
}

void PutInPlace(const std::string &from, const std::string &to)
{
    if (MoveFileExW(PathOf(from).c_str(), PathOf(to).c_str(), MOVEFILE_WRITE_THROUGH))
        return;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS)
        throw Error(Fault::Collision, "'" + to + "' is there already.");
    const std::error_code code(static_cast<int>(error), std::system_category());
    throw Error(error == ERROR_DISK_FULL ? Fault::Full : Fault::NoAccess,
                "'" + to + "' can't be made: " + code.message() + ".");
}

} // namespace localmapi::storage
