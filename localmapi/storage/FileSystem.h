// What a site asks of the system about its file: which file a path names, to notice that it names another one, and that
// a new file appears under its name whole or not at all.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace localmapi::storage
{

struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t file = 0;
    bool operator==(const FileIdentity &) const = default;

    // Nothing where there is no file. On Windows all files are one: the system refuses to delete, rename or replace one
    // that SQLite has open, and the folder that it lies in.
    static std::optional<FileIdentity> At(const std::string &path) noexcept;
};

// Gives a file that is complete its name in the same folder, for good. Collision where there is one of that name.
void PutInPlace(const std::string &from, const std::string &to);

// Whether what the system says of a call that failed is that there is no room: a full disk, a quota, a limit.
bool IsNoRoom(int systemError) noexcept;
// Whether it is that the device failed.
bool IsDeviceError(int systemError) noexcept;

// Makes a file that the disk has all its bytes for, with the rights of another one, or makes the one that is there that
// long. False where there is no room for it, or it can't be made.
bool AllocateFile(const std::string &path, const std::string &like, std::uint64_t size);
// Gives back what an ordinary file has beyond so many bytes. False where there is nothing to give back.
bool ShrinkFile(const std::string &path, std::uint64_t size);
std::optional<std::uint64_t> FileSize(const std::string &path); // nothing where there is none
// What this user may still write beside a file that is there; nothing where the system does not tell.
std::optional<std::uint64_t> RoomBeside(const std::string &path);

} // namespace localmapi::storage
