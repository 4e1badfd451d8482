#include "common/Files.h"
#include "common/Text.h"
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace tool
{

namespace
{

std::filesystem::path PathOf(const std::string &utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::ifstream Open(const std::string &file)
{
    const std::filesystem::path path = PathOf(file);
    std::error_code none;
    if (std::filesystem::is_directory(path, none))
        throw std::runtime_error(file + ": " + std::make_error_code(std::errc::is_a_directory).message());
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw std::runtime_error(file + ": " + std::generic_category().message(errno ? errno : EIO));
    return stream;
}

} // namespace

std::string FileName(const std::string &file)
{
    const std::u8string name = PathOf(file).filename().u8string();
    return {name.begin(), name.end()};
}

void CheckReadable(const std::string &file)
{
    Open(file);
}

std::string ReadText(const std::string &file)
{
    std::ifstream stream = Open(file);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (stream.bad())
        throw std::runtime_error(file + ": " + std::generic_category().message(EIO));
    // As some editors begin it.
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (text.starts_with(kMark))
        text.erase(0, kMark.size());
    if (!IsUtf8(text) || text.find('\0') != std::string::npos)
        throw std::runtime_error(file + ": this is not text in UTF-8");
    return text;
}

} // namespace tool
