#include "localmapi/provider/site/SiteFile.h"

#include <cstdlib>
#include <filesystem>
#include <windows.h>

namespace localmapi::places
{

namespace
{

std::optional<std::string> Variable(const char *name)
{
    const char *value = std::getenv(name);
    if (!value || !*value)
        return std::nullopt;
    return value;
}

// Texts of the settings file are UTF-8.
std::optional<std::string> Setting(HKEY root)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, "SOFTWARE\\BRANE\\LocalMapi", 0, KEY_READ, &key) != ERROR_SUCCESS)
        return std::nullopt;
    DWORD type = 0, size = 0;
    std::string text;
    LSTATUS status = RegQueryValueExA(key, "File", nullptr, &type, nullptr, &size);
    if (status == ERROR_SUCCESS && type == REG_SZ) {
        text.resize(size);
        status = RegQueryValueExA(key, "File", nullptr, &type, reinterpret_cast<BYTE *>(text.data()), &size);
    }
    RegCloseKey(key);
    text = text.c_str();
    if (status != ERROR_SUCCESS || type != REG_SZ || text.empty())
        return std::nullopt;
    return text;
}

} // namespace

std::optional<std::string> FromEnvironment()
{
    return Variable("LOCALMAPI_FILE");
}

std::optional<std::string> WantedBehaviour()
{
    return Variable("LOCALMAPI_BEHAVIOUR");
}

std::optional<std::string> FromSettings()
{
    if (auto path = Setting(HKEY_CURRENT_USER))
        return path;
    return Setting(HKEY_LOCAL_MACHINE);
}

std::string Default()
{
    const auto data = Variable("XDG_DATA_HOME");
    if (data && data->front() == '/')
        return *data + "/localmapi/site.db";
    return Variable("HOME").value_or("") + "/.local/share/localmapi/site.db";
}

} // namespace localmapi::places
