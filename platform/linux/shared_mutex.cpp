#include "shared_mutex.h"
#include "last_error.h"
#include "shared_names.h"
#include <climits>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace platform
{
namespace
{
constexpr char kGlobal[] = "Global\\";

// What was locked is nobody else's lock once the file has no name any more.
bool HasName(int file)
{
    struct stat status;
    return fstat(file, &status) == 0 && status.st_nlink > 0;
}
} // namespace

bool SharedMutex::Open() const
{
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
    // Not made with others' rights and opened to them afterwards.
    m_file.Reset(open(m_path.c_str(), kFlags | O_CREAT | O_EXCL, 0600));
    if (m_file) {
        struct stat model;
        if (stat(m_model.c_str(), &model) == 0 &&
            (fchown(m_file.get(), static_cast<uid_t>(-1), model.st_gid) == 0 || model.st_gid == getegid()))
            fchmod(m_file.get(), model.st_mode & 0666);
        return true;
    }
    if (errno == EEXIST)
        m_file.Reset(open(m_path.c_str(), kFlags));
    return m_file || Fail<bool>(static_cast<DWORD>(ErrorOfErrno(errno)));
}

bool SharedMutex::LockFile() const
{
    m_locked = m_file && flock(m_file.get(), LOCK_EX | LOCK_NB) == 0;
    if (m_locked && !HasName(m_file.get()))
        m_locked = Open() && flock(m_file.get(), LOCK_EX | LOCK_NB) == 0;
    return m_locked;
}

void SharedMutex::Released()
{
    if (m_locked)
        flock(m_file.get(), LOCK_UN);
    m_locked = false;
}

std::shared_ptr<SharedMutex> SharedMutexOf(const std::string &name)
{
    char model[PATH_MAX];
    if (!name.starts_with(kGlobal) || !PlatformSharedNamesFile || PlatformSharedNamesFile(model, sizeof model) == 0)
        return nullptr;
    return std::make_shared<SharedMutex>(model + ("-" + name.substr(sizeof kGlobal - 1)), model);
}
} // namespace platform
