// What a test changes around itself.
#pragma once
#include <filesystem>

// Sets a variable that the library's MAPI reads, in the process's environment.
void SetVariable(const char *name, const std::filesystem::path &value);
// A new, empty folder of this process's own.
std::filesystem::path NewFolder();
// UTF-8 on every system.
std::string Utf8Path(const std::filesystem::path &path);
