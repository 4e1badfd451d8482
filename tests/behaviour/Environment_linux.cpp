#include "behaviour/Environment.h"
#include <cstdlib>
#include <string>

void SetVariable(const char *name, const std::filesystem::path &value)
{
    setenv(name, value.c_str(), 1);
}

std::filesystem::path NewFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "behaviour-XXXXXX").string();
    return mkdtemp(pattern.data());
}

std::string Utf8Path(const std::filesystem::path &path)
{
    return path.string();
}
