#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/stream/FileBytes.h"

#include <algorithm>
#include <string>
#include <windows.h>

namespace localmapi
{

namespace
{

constexpr std::size_t kMost = 0x40000000;

class FileBytes final : public storage::Stream
{
  public:
    explicit FileBytes(HANDLE file) : m_file(file) {}
    FileBytes(const FileBytes &) = delete;
    FileBytes &operator=(const FileBytes &) = delete;
    ~FileBytes() override { CloseHandle(m_file); }

    std::uint64_t size() const override
    {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(m_file, &size))
            throw Failure(STG_E_READFAULT, "The size of the file can not be read.", GetLastError());
        return static_cast<std::uint64_t>(size.QuadPart);
    }
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override
    {
        std::size_t done = 0;
        while (done < length) {
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(offset + done);
            place.OffsetHigh = static_cast<DWORD>((offset + done) >> 32);
            DWORD read = 0;
            if (!ReadFile(m_file, static_cast<char *>(into) + done, static_cast<DWORD>(std::min(length - done, kMost)),
                          &read, &place)) {
                const DWORD error = GetLastError();
                if (error == ERROR_HANDLE_EOF)
                    break;
                throw Failure(STG_E_READFAULT, "The file can not be read.", error);
            }
            if (read == 0)
                break;
            done += read;
        }
        return done;
    }

  private:
    const HANDLE m_file;
};

} // namespace

std::shared_ptr<const storage::Stream> OpenFileBytes(const char *name)
{
    // The host may still have its file open for writing.
    const HANDLE handle = CreateFileA(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
                             error == ERROR_INVALID_NAME || error == ERROR_BAD_PATHNAME ||
                             error == ERROR_FILENAME_EXCED_RANGE || error == ERROR_INVALID_DRIVE;
        throw Failure(missing ? MAPI_E_NOT_FOUND : MAPI_E_NO_ACCESS,
                      std::string(missing ? "There is no file " : "There is no access to the file ") + name + ".",
                      error);
    }
    auto file = std::make_shared<FileBytes>(handle);
    if (GetFileType(handle) != FILE_TYPE_DISK)
        throw Failure(MAPI_E_NO_ACCESS, std::string(name) + " is no ordinary file.");
    return file;
}

} // namespace localmapi
