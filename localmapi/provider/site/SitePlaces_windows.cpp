#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/SiteFile.h"

#include <filesystem>
#include <windows.h>

namespace localmapi::places
{

namespace
{

std::optional<std::string> Variable(const wchar_t *name)
{
    const DWORD size = GetEnvironmentVariableW(name, nullptr, 0);
    if (size <= 1)
        return std::nullopt;
    WideText value(size, L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), size));
    if (value.empty())
        return std::nullopt;
    return Utf8FromWide(value);
}

std::optional<std::string> Setting(HKEY root)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, L"SOFTWARE\\BRANE\\LocalMapi", 0, KEY_READ, &key) != ERROR_SUCCESS)
        return std::nullopt;
    DWORD type = 0, size = 0;
    WideText text;
    LSTATUS status = RegQueryValueExW(key, L"File", nullptr, &type, nullptr, &size);
    if (status == ERROR_SUCCESS && type == REG_SZ) {
        text.resize(size / sizeof(wchar_t) + 1);
        status = RegQueryValueExW(key, L"File", nullptr, &type, reinterpret_cast<BYTE *>(text.data()), &size);
    }
    RegCloseKey(key);
    text = text.c_str();
    if (status != ERROR_SUCCESS || type != REG_SZ || text.empty())
        return std::nullopt;
    return Utf8FromWide(text);
}

} // namespace

std::optional<std::string> FromEnvironment()
{
    return Variable(L"LOCALMAPI_FILE");
}

std::optional<std::string> WantedBehaviour()
{
    return Variable(L"LOCALMAPI_BEHAVIOUR");
}

std::optional<std::string> FromSettings()
{
    if (auto path = Setting(HKEY_CURRENT_USER))
        return path;
    return Setting(HKEY_LOCAL_MACHINE);
}

std::string Default()
{
    auto folder = Variable(L"LOCALAPPDATA");
    if (!folder)
        folder = Variable(L"USERPROFILE");
    return folder.value_or("") + "\\localmapi\\site.db";
}

} // namespace localmapi::places
