#include "Environment.h"

#include <cstdlib>

namespace localmapi::test
{

void SetVariable(const char *name, const std::string &value)
{
    if (value.empty())
        unsetenv(name);
    else
        setenv(name, value.c_str(), 1);
}

std::string Variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

} // namespace localmapi::test
