// Files by their handles: new names, room that is set aside.
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
    const Fault fault = IsNoRoom(code.value())        ? Fault::Full
                        : IsDeviceError(code.value()) ? Fault::Disk
                                                      : Fault::NoAccess;
    throw Error(fault, "'" + to + "' can't be made: " + code.message() + ".");
}

bool IsNoRoom(int systemError) noexcept
{
    constexpr int kQuotaExceeded = 1295; // ERROR_DISK_QUOTA_EXCEEDED
    return systemError == ERROR_DISK_FULL || systemError == ERROR_HANDLE_DISK_FULL || systemError == kQuotaExceeded;
}

bool IsDeviceError(int systemError) noexcept
{
    return systemError == ERROR_IO_DEVICE || systemError == ERROR_CRC || systemError == ERROR_WRITE_FAULT ||
           systemError == ERROR_READ_FAULT || systemError == ERROR_SEEK || systemError == ERROR_SECTOR_NOT_FOUND;
}

namespace
{

// Nobody else changes it meanwhile who opens it so.
class OpenedFile
{
  public:
    OpenedFile(const std::string &path, DWORD how)
        : m_handle(CreateFileW(PathOf(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, how,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr))
    {
        OVERLAPPED beyond{}; // any file's end
        beyond.OffsetHigh = 0x7FFFFFFF;
        if (IsOpen())
            LockFileEx(m_handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &beyond);
    }
    ~OpenedFile()
    {
        if (IsOpen())
            CloseHandle(m_handle);
    }
    OpenedFile(const OpenedFile &) = delete;
    OpenedFile &operator=(const OpenedFile &) = delete;
    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    std::uint64_t Size() const
    {
        LARGE_INTEGER size{};
        return GetFileSizeEx(m_handle, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    }
    // A file that is no sparse one has all its bytes on the disk.
    bool Resize(std::uint64_t size) const
    {
        LARGE_INTEGER end;
        end.QuadPart = static_cast<LONGLONG>(size);
        return SetFilePointerEx(m_handle, end, nullptr, FILE_BEGIN) && SetEndOfFile(m_handle);
    }

  private:
    HANDLE m_handle;
};

} // namespace

bool AllocateFile(const std::string &path, const std::string &, std::uint64_t size)
{
    {
        const OpenedFile made(path, CREATE_NEW);
        if (made.IsOpen() && made.Resize(size))
            return true;
        if (made.IsOpen() && made.Size() > 0) // somebody else's by now
            return false;
        if (!made.IsOpen()) {
            const OpenedFile file(path, OPEN_EXISTING);
            return file.IsOpen() && (file.Size() >= size || file.Resize(size));
        }
    }
    DeleteFileW(PathOf(path).c_str());
    return false;
}

bool ShrinkFile(const std::string &path, std::uint64_t size)
{
    const OpenedFile file(path, OPEN_EXISTING);
    return file.IsOpen() && file.Size() > size && file.Resize(size);
}

std::optional<std::uint64_t> FileSize(const std::string &path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(PathOf(path).c_str(), GetFileExInfoStandard, &data) ||
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return {};
    return std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

std::optional<std::uint64_t> RoomBeside(const std::string &path)
{
    ULARGE_INTEGER room{};
    const std::filesystem::path folder = PathOf(path).parent_path();
    if (!GetDiskFreeSpaceExW(folder.empty() ? L"." : folder.c_str(), &room, nullptr, nullptr))
        return {};
    return room.QuadPart;
}

} // namespace localmapi::storage
