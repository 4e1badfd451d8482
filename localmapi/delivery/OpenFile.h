// Opening what is to be delivered.
#pragma once
#include <filesystem>
#include <fstream>

namespace localmapi::delivery
{

// For reading, as bytes. Throws std::system_error with the reason where it cannot be opened, or is a folder, and
// std::runtime_error for what is no ordinary file.
std::ifstream OpenFile(const std::filesystem::path &path);

} // namespace localmapi::delivery
