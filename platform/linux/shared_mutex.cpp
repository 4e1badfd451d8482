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

// What was locked is nobody else's lock once the name is another file's, or none's.
bool HasName(int file, const std::string &path)
{
    struct stat locked, named;
    return fstat(file, &locked) == 0 && stat(path.c_str(), &named) == 0 && locked.st_dev == named.st_dev &&
           locked.st_ino == named.st_ino;
}

// Whoever may use the model may use the file, whoever has made it.
void ShareLike(const std::string &path, int file)
{
    struct stat model;
    if (stat(path.c_str(), &model) != 0)
        return;
    const uid_t anybody = static_cast<uid_t>(-1);
    if (fchown(file, model.st_uid, model.st_gid) == 0 || fchown(file, anybody, model.st_gid) == 0 ||
        model.st_gid == getegid())
        fchmod(file, model.st_mode & 0666);
}
} // namespace

bool SharedMutex::Open() const
{
    constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    // Not made with others' rights and opened to them afterwards.
    m_file.Reset(open(m_path.c_str(), kFlags | O_RDWR | O_CREAT | O_EXCL, 0600));
    if (m_file) {
        ShareLike(m_model, m_file.get());
        return true;
    }
    // To lock it, reading is enough.
    if (errno == EEXIST)
        m_file.Reset(open(m_path.c_str(), kFlags | O_RDONLY));
    return m_file || Fail<bool>(static_cast<DWORD>(ErrorOfErrno(errno)));
}

bool SharedMutex::LockFile() const
{
    const auto lock = [&] { return flock(m_file.get(), LOCK_EX | LOCK_NB) == 0; };
    m_locked = (m_file || Open()) && lock();
    if (m_locked && !HasName(m_file.get(), m_path))
        m_locked = Open() && lock();
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
