#include "localmapi/delivery/Recording.h"
#include "localmapi/delivery/OpenFile.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace localmapi::delivery
{

namespace
{

std::uint32_t Little(const unsigned char *bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// Seconds of a WAVE file: the data chunk's bytes by the format chunk's bytes a second. A data chunk that claims more
// than the file holds (a recorder that was cut off leaves 0 or 0xFFFFFFFF) counts what is there.
std::optional<std::int32_t> WaveSeconds(std::istream &file, std::uint64_t fileSize)
{
    std::uint32_t bytesASecond = 0;
    std::uint64_t at = 12;
    std::array<unsigned char, 24> bytes{};
    while (at + 8 <= fileSize) {
        file.seekg(static_cast<std::streamoff>(at));
        if (!file.read(reinterpret_cast<char *>(bytes.data()), 8))
            return std::nullopt;
        const std::uint32_t size = Little(&bytes[4]);
        const std::uint64_t rest = fileSize - at - 8;
        if (std::memcmp(bytes.data(), "fmt ", 4) == 0) {
            if (size < 16 || !file.read(reinterpret_cast<char *>(bytes.data()), 16))
                return std::nullopt;
            bytesASecond = Little(&bytes[8]);
        } else if (std::memcmp(bytes.data(), "data", 4) == 0) {
            if (bytesASecond == 0)
                return std::nullopt;
            const std::uint64_t length = std::min<std::uint64_t>(size == 0 ? rest : size, rest);
            const std::uint64_t seconds = (length + bytesASecond - 1) / bytesASecond;
            return static_cast<std::int32_t>(std::min<std::uint64_t>(seconds, 0x7FFFFFFF));
        }
        at += 8 + static_cast<std::uint64_t>(size) + (size & 1);
    }
    return std::nullopt;
}

// The first 16 bytes of every Windows Media file.
constexpr std::array<unsigned char, 16> kAsfHeader = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11,
                                                      0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C};

} // namespace

std::optional<Recording> ExamineRecording(std::istream &file, std::uint64_t size)
{
    std::array<unsigned char, 16> head{};
    file.read(reinterpret_cast<char *>(head.data()), head.size());
    const auto got = static_cast<std::size_t>(file.gcount());
    if (file.bad())
        throw std::system_error(errno ? errno : EIO, std::generic_category(), "reading it");
    file.clear();
    if (got >= 12 && std::memcmp(head.data(), "RIFF", 4) == 0 && std::memcmp(&head[8], "WAVE", 4) == 0)
        return Recording{"audio/wav", WaveSeconds(file, size)};
    if (got == head.size() && head == kAsfHeader)
        return Recording{"audio/x-ms-wma", std::nullopt};
    return std::nullopt;
}

std::optional<Recording> ExamineRecording(const std::filesystem::path &path)
{
    std::ifstream file = OpenFile(path);
    return ExamineRecording(file, std::filesystem::file_size(path));
}

} // namespace localmapi::delivery
