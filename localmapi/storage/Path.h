// Paths are UTF-8 texts on every system.
#pragma once
#include <filesystem>
#include <string>

namespace localmapi::storage
{

inline std::filesystem::path PathOf(const std::string &utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

inline std::string Utf8Of(const std::filesystem::path &path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace localmapi::storage
