#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/stream/FileBytes.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace localmapi
{

namespace
{

// What read() may be asked for at once.
constexpr std::size_t kMost = 0x40000000;

class FileBytes final : public storage::Stream
{
  public:
    explicit FileBytes(int descriptor) : m_descriptor(descriptor) {}
    FileBytes(const FileBytes &) = delete;
    FileBytes &operator=(const FileBytes &) = delete;
    ~FileBytes() override { close(m_descriptor); }

    std::uint64_t size() const override
    {
        struct stat status = {};
        if (fstat(m_descriptor, &status) != 0)
            throw Failure(STG_E_READFAULT, "The size of the file can not be read.");
        return static_cast<std::uint64_t>(status.st_size);
    }
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override
    {
        if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
            return 0;
        std::size_t done = 0;
        while (done < length) {
            const ssize_t read = pread(m_descriptor, static_cast<char *>(into) + done, std::min(length - done, kMost),
                                       static_cast<off_t>(offset + done));
            if (read == 0)
                break;
            if (read > 0)
                done += static_cast<std::size_t>(read);
            else if (errno != EINTR)
                throw Failure(STG_E_READFAULT, "The file can not be read.", static_cast<ULONG>(errno));
        }
        return done;
    }

  private:
    const int m_descriptor;
};

} // namespace

std::shared_ptr<const storage::Stream> OpenFileBytes(const char *name)
{
    // Without waiting for the other end, should it be a pipe.
    const int descriptor = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
        const auto error = static_cast<ULONG>(errno);
        throw Failure(missing ? MAPI_E_NOT_FOUND : MAPI_E_NO_ACCESS,
                      std::string(missing ? "There is no file " : "There is no access to the file ") + name + ".",
                      error);
    }
    auto file = std::make_shared<FileBytes>(descriptor);
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(MAPI_E_NO_ACCESS, std::string(name) + " is no ordinary file.");
    return file;
}

} // namespace localmapi
