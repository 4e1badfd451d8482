#include "localmapi/storage/Error.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Path.h"
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace localmapi::storage
{

std::optional<FileIdentity> FileIdentity::At(const std::string &path) noexcept
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

namespace
{

bool RenameToNew(const char *from, const char *to)
{
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    // Not every file system knows how to.
    return (errno == EINVAL || errno == ENOSYS) && link(from, to) == 0 && unlink(from) == 0;
}

void SyncFolderOf(const std::string &path)
{
    const std::string folder = std::filesystem::path(PathOf(path)).parent_path().string();
    const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    close(descriptor);
}

} // namespace

void PutInPlace(const std::string &from, const std::string &to)
{
    if (!RenameToNew(from.c_str(), to.c_str())) {
        const int error = errno;
        if (error == EEXIST)
            throw Error(Fault::Collision, "'" + to + "' is there already.");
        const Fault fault = error == ENOSPC || error == EDQUOT ? Fault::Full
                            : error == EIO                     ? Fault::Failed
                                                               : Fault::NoAccess;
        throw Error(fault, "'" + to + "' can't be made: " + std::strerror(error) + ".");
    }
    SyncFolderOf(to);
}

} // namespace localmapi::storage
