// Opening what is to be delivered.
#pragma once
#include <filesystem>
#include <fstream>

namespace localmapi::delivery
{

// For reading, as bytes. Throws std::system_error with the reason where it cannot be opened, or is a folder.
std::ifstream OpenFile(const std::filesystem::path &path);

} // namespace localmapi::delivery
