// Modes. SQLite gives what it makes beside a file the file's own mode, and a folder's group is handed down by its
// setgid bit.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace localmapi::storage
{

namespace
{

[[noreturn]] void Fail(const std::string &path, const char *what, int error)
{
    const Fault fault = error == EEXIST        ? Fault::Collision
                        : IsNoRoom(error)      ? Fault::Full
                        : IsDeviceError(error) ? Fault::Disk
                                               : Fault::NoAccess;
    throw Error(fault, "'" + path + "' " + what + ": " + std::strerror(error) + ".");
}

} // namespace

void MakePrivateFile(const std::string &path)
{
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0)
        Fail(path, "can't be made", errno);
    fchmod(file, 0600); // an umask may have taken more away
    close(file);
}

bool MakePrivateFolders(const std::string &folder)
{
    bool made = false;
    std::filesystem::path path;
    for (const std::filesystem::path &part : PathOf(folder)) {
        path /= part;
        made = mkdir(path.c_str(), 0700) == 0;
        if (!made && errno != EEXIST && !std::filesystem::is_directory(path))
            Fail(path.string(), "can't be made", errno);
        if (made)
            chmod(path.c_str(), 0700);
    }
    return made;
}

Group::Group(const std::string &name) : m_name(name)
{
    std::vector<char> buffer(1 << 16);
    group entry, *found = nullptr;
    while (getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(2 * buffer.size());
    if (!found)
        throw Error(Fault::NotFound, "There is no group " + name + ".");
    m_id = std::to_string(entry.gr_gid);
}

void Group::Admit(const std::string &path) const
{
    struct stat status;
    const auto gid = static_cast<gid_t>(std::stoul(m_id));
    if (chown(path.c_str(), static_cast<uid_t>(-1), gid) != 0 || stat(path.c_str(), &status) != 0 ||
        chmod(path.c_str(), S_ISDIR(status.st_mode) ? 02770 : 0660) != 0)
        Fail(path, ("can't be given to the group " + m_name).c_str(), errno);
}

bool Group::MayWriteIn(const std::string &folder) const
{
    struct stat status;
    if (stat(folder.c_str(), &status) != 0)
        return false;
    constexpr mode_t kGroup = S_IWGRP | S_IXGRP, kEverybody = S_IWOTH | S_IXOTH;
    const bool isTheirs = std::to_string(status.st_gid) == m_id && (status.st_mode & kGroup) == kGroup;
    return isTheirs || (status.st_mode & kEverybody) == kEverybody;
}

bool MayEverybodyRead(const std::string &path) noexcept
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0;
}

// An administrator may write to what its owner may not.
bool MayWrite(const std::string &path) noexcept
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IWUSR) != 0 &&
           faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

// SQLite gives a file's group to what it makes beside it for the administrator alone.
void ShareRights(const std::string &path)
{
    struct stat site, beside;
    for (const char *suffix : {"-wal", "-shm"})
        if (const std::string name = path + suffix; stat(path.c_str(), &site) == 0 &&
                                                    lstat(name.c_str(), &beside) == 0 && S_ISREG(beside.st_mode) &&
                                                    beside.st_uid == geteuid() && beside.st_gid != site.st_gid)
            (void)!chown(name.c_str(), static_cast<uid_t>(-1), site.st_gid);
}

} // namespace localmapi::storage
