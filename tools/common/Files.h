// Files that are named in UTF-8. What goes wrong is a std::runtime_error: the file's name and the reason.
#pragma once
#include <string>

namespace tool
{

// The last part of a path.
std::string FileName(const std::string &file);
// Whether it can be opened for reading, and is no folder, pipe or device.
void CheckReadable(const std::string &file);
// The whole file, which must be text in UTF-8 without zeros; a byte order mark is left out.
std::string ReadText(const std::string &file);

} // namespace tool
