#include "behaviour/Environment.h"
#include <string>
#include <windows.h>

void SetVariable(const char *name, const std::filesystem::path &value)
{
    SetEnvironmentVariableA(name, value.string().c_str());
    _putenv_s(name, value.string().c_str());
}

std::filesystem::path NewFolder()
{
    static int made = 0;
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() /
        ("behaviour-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(made++));
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder;
}

std::string Utf8Path(const std::filesystem::path &path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}
