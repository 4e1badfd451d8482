// One JSON file, replaced whole by a rename and never written in place.
#include "settings_file.h"
#include "descriptor.h"
#include "platform/locks/Mutex.h"
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform
{
namespace
{
std::string HomeFolder()
{
    if (const char *home = std::getenv("HOME"); home && *home)
        return home;
    passwd entry, *found = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found)
        return found->pw_dir;
    return "/";
}

std::string SettingsPath()
{
    std::string path;
    if (const char *named = std::getenv("ORLMAPI_SETTINGS"); named && *named) {
        path = named;
    } else {
        const char *config = std::getenv("XDG_CONFIG_HOME");
        path = (config && *config == '/' ? std::string(config) : HomeFolder() + "/.config") + "/orlmapi/settings.json";
    }
    // A link stays a link: what it names is replaced.
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

// What tells one state of the file from another.
struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec written{};

    bool operator==(const Stamp &other) const
    {
        return device == other.device && inode == other.inode && size == other.size &&
               written.tv_sec == other.written.tv_sec && written.tv_nsec == other.written.tv_nsec;
    }
};

struct Cache {
    locks::Mutex lock;
    std::string path GUARDED_BY(lock);
    Stamp stamp GUARDED_BY(lock);
    Settings settings GUARDED_BY(lock) = Settings::object();
};
Cache &TheCache()
{
    static Cache &cache = *new Cache;
    return cache;
}

bool ReadWhole(int file, std::string &text)
{
    char block[16384];
    for (ssize_t count; (count = read(file, block, sizeof block)) != 0;) {
        if (count > 0)
            text.append(block, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

bool IsWellFormed(const Settings &settings)
{
    if (!settings.is_object())
        return false;
    for (const auto &key : settings)
        if (!key.is_object())
            return false;
    return true;
}

LSTATUS Load(Cache &cache, const std::string &path) REQUIRES(cache.lock)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        if (errno != ENOENT && errno != ENOTDIR)
            return ErrorOfErrno(errno);
        cache.path = path;
        cache.stamp = {};
        cache.settings = Settings::object();
        return ERROR_SUCCESS;
    }
    struct stat status;
    if (fstat(file.get(), &status) != 0)
        return ErrorOfErrno(errno);
    const Stamp stamp{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
    if (cache.path == path && cache.stamp == stamp)
        return ERROR_SUCCESS;
    std::string text;
    if (!ReadWhole(file.get(), text))
        return ErrorOfErrno(errno);
    Settings read = Settings::parse(text, nullptr, false);
    if (!IsWellFormed(read))
        return ERROR_BADDB;
    cache.path = path;
    cache.stamp = stamp;
    cache.settings = std::move(read);
    return ERROR_SUCCESS;
}

void MakeFolderOf(const std::string &path)
{
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700); // one that is there already is no harm
}

LSTATUS Write(const std::string &path, const Settings &settings)
{
    const std::string text = settings.dump(4, ' ', false, Settings::error_handler_t::replace) + "\n";
    std::string temporary = path + ".XXXXXX";
    const Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));
    if (!file)
        return ErrorOfErrno(errno);
    struct stat status;
    const mode_t mode = stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0600;
    std::size_t written = 0;
    bool done = fchmod(file.get(), mode) == 0;
    while (done && written < text.size()) {
        const ssize_t count = write(file.get(), text.data() + written, text.size() - written);
        if (count >= 0)
            written += static_cast<std::size_t>(count);
        else
            done = errno == EINTR;
    }
    done = done && fsync(file.get()) == 0 && rename(temporary.c_str(), path.c_str()) == 0;
    if (done)
        return ERROR_SUCCESS;
    const int error = errno;
    unlink(temporary.c_str());
    return ErrorOfErrno(error);
}

char Lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}
} // namespace

LSTATUS ReadSettings(Settings &settings)
{
    Cache &cache = TheCache();
    const locks::Hold held(cache.lock);
    const LSTATUS result = Load(cache, SettingsPath());
    if (result == ERROR_SUCCESS)
        settings = cache.settings;
    return result;
}

LSTATUS ChangeSettings(const std::function<LSTATUS(Settings &)> &change)
{
    Cache &cache = TheCache();
    const locks::Hold held(cache.lock);
    const std::string path = SettingsPath();
    // A change that is none needs no right to write.
    LSTATUS result = Load(cache, path);
    if (result != ERROR_SUCCESS)
        return result;
    Settings changed = cache.settings;
    result = change(changed);
    if (result != ERROR_SUCCESS || changed == cache.settings)
        return result;

    MakeFolderOf(path);
    const Descriptor lockFile(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lockFile)
        return ErrorOfErrno(errno);
    while (flock(lockFile.get(), LOCK_EX) != 0)
        if (errno != EINTR)
            return ErrorOfErrno(errno);
    // Another process may have written since.
    result = Load(cache, path);
    if (result != ERROR_SUCCESS)
        return result;
    changed = cache.settings;
    result = change(changed);
    if (result != ERROR_SUCCESS || changed == cache.settings)
        return result;
    return Write(path, changed);
}

bool SameName(const std::string &left, const std::string &right)
{
    if (left.size() != right.size())
        return false;
    for (std::size_t i = 0; i < left.size(); ++i)
        if (Lower(left[i]) != Lower(right[i]))
            return false;
    return true;
}

Settings::iterator FindName(Settings &object, const std::string &name)
{
    for (auto member = object.begin(); member != object.end(); ++member)
        if (SameName(member.key(), name))
            return member;
    return object.end();
}
} // namespace platform
