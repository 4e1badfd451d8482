#include "Environment.h"

#include <windows.h>

namespace localmapi::test
{

namespace
{

std::wstring Wide(const std::string &text)
{
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

} // namespace

void SetVariable(const char *name, const std::string &value)
{
    SetEnvironmentVariableW(Wide(name).c_str(), value.empty() ? nullptr : Wide(value).c_str());
}

std::string Variable(const char *name)
{
    wchar_t value[2048] = {};
    const DWORD size = GetEnvironmentVariableW(Wide(name).c_str(), value, 2048);
    if (size == 0 || size >= 2048)
        return {};
    char text[3 * 2048] = {};
    WideCharToMultiByte(CP_UTF8, 0, value, -1, text, sizeof text, nullptr, nullptr);
    return text;
}

} // namespace localmapi::test
