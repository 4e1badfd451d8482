// Files by their descriptors: which one a path names, new names, room that is set aside.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Path.h"
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
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
        const Fault fault = IsNoRoom(error) ? Fault::Full : IsDeviceError(error) ? Fault::Disk : Fault::NoAccess;
        throw Error(fault, "'" + to + "' can't be made: " + std::strerror(error) + ".");
    }
    SyncFolderOf(to);
}

bool IsNoRoom(int systemError) noexcept
{
    return systemError == ENOSPC || systemError == EDQUOT || systemError == EFBIG;
}

bool IsDeviceError(int systemError) noexcept
{
    return systemError == EIO;
}

namespace
{

// An ordinary file with one name, which nobody else changes meanwhile who opens it so; nobody makes this process write
// elsewhere by a link.
class OwnFile
{
  public:
    OwnFile(const std::string &path, int flags)
        : m_descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600))
    {
        if (m_descriptor >= 0)
            while (flock(m_descriptor, LOCK_EX) != 0 && errno == EINTR) {
            }
        if (m_descriptor >= 0 &&
            (fstat(m_descriptor, &m_status) != 0 || !S_ISREG(m_status.st_mode) || m_status.st_nlink != 1)) {
            close(m_descriptor);
            m_descriptor = -1;
        }
    }
    ~OwnFile()
    {
        if (m_descriptor >= 0)
            close(m_descriptor);
    }
    OwnFile(const OwnFile &) = delete;
    OwnFile &operator=(const OwnFile &) = delete;
    bool IsOpen() const { return m_descriptor >= 0; }
    int Descriptor() const { return m_descriptor; }
    std::uint64_t Size() const { return static_cast<std::uint64_t>(m_status.st_size); }
    void ShareAs(const struct stat &like) const
    {
        const mode_t mode = like.st_mode & 0666;
        if (like.st_gid == m_status.st_gid || fchown(m_descriptor, static_cast<uid_t>(-1), like.st_gid) == 0)
            fchmod(m_descriptor, mode);
    }

  private:
    int m_descriptor;
    struct stat m_status {
    };
};

} // namespace

bool AllocateFile(const std::string &path, const std::string &like, std::uint64_t size)
{
    struct stat model;
    rlimit longest;
    // Beyond its limit a process gets a signal.
    if (stat(like.c_str(), &model) != 0 || getrlimit(RLIMIT_FSIZE, &longest) != 0 || longest.rlim_cur < size)
        return false;
    std::optional<OwnFile> opened(std::in_place, path, O_RDWR | O_CREAT | O_EXCL);
    const bool isNew = opened->IsOpen();
    if (!isNew)
        opened.emplace(path, O_RDWR);
    const OwnFile &file = *opened;
    if (!file.IsOpen())
        return false;
    file.ShareAs(model);
    if (posix_fallocate(file.Descriptor(), 0, static_cast<off_t>(size)) == 0)
        return true;
    // What it had stays set aside; what was taken beyond it on the way is given back.
    if (isNew && file.Size() == 0)
        unlink(path.c_str());
    if (ftruncate(file.Descriptor(), static_cast<off_t>(file.Size())) != 0) {
        // Then it stays longer, which is no harm.
    }
    return false;
}

bool ShrinkFile(const std::string &path, std::uint64_t size)
{
    const OwnFile file(path, O_RDWR);
    return file.IsOpen() && file.Size() > size && ftruncate(file.Descriptor(), static_cast<off_t>(size)) == 0;
}

std::optional<std::uint64_t> FileSize(const std::string &path)
{
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    return static_cast<std::uint64_t>(status.st_size);
}

std::optional<std::uint64_t> RoomBeside(const std::string &path)
{
    struct statvfs room;
    if (statvfs(path.c_str(), &room) != 0 || room.f_blocks == 0)
        return {};
    return static_cast<std::uint64_t>(geteuid() == 0 ? room.f_bfree : room.f_bavail) * room.f_frsize;
}

} // namespace localmapi::storage
