// What a recording's file tells about itself.
#pragma once
#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>

namespace localmapi::delivery
{

struct Recording {
    std::string mimeTag;                 // "audio/wav" or "audio/x-ms-wma"
    std::optional<std::int32_t> seconds; // rounded up; nothing where the file does not tell
};

// Told by the content, not by the name. Nothing where the file is neither WAVE nor Windows Media audio. Throws
// std::system_error where it cannot be read.
std::optional<Recording> ExamineRecording(const std::filesystem::path &file);
// The same for a file of so many bytes that is open.
std::optional<Recording> ExamineRecording(std::istream &file, std::uint64_t size);

} // namespace localmapi::delivery
