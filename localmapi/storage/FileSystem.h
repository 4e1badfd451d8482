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

} // namespace localmapi::storage
