#include "Environment.h"

#include "Text.h"

#include <windows.h>

namespace localmapi::test
{

void SetVariable(const char *name, const std::string &value)
{
    SetEnvironmentVariableW(WideFromUtf8(name).c_str(), value.empty() ? nullptr : WideFromUtf8(value).c_str());
}

std::string Variable(const char *name)
{
    wchar_t value[2048] = {};
    const DWORD size = GetEnvironmentVariableW(WideFromUtf8(name).c_str(), value, 2048);
    return size < 2048 ? Utf8FromWide({value, size}) : std::string();
}

} // namespace localmapi::test
