#include "locale_names.h"
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace platform
{
const char *LocaleName(const char *categoryVariable)
{
    for (const char *variable : {"LC_ALL", categoryVariable, "LANG"}) {
        const char *value = std::getenv(variable);
        if (value && *value)
            return value;
    }
    return "C";
}

bool IsNeutralLocale(const char *name)
{
    const std::size_t length = std::strcspn(name, ".@");
    return (length == 1 && name[0] == 'C') || (length == 5 && std::strncmp(name, "POSIX", 5) == 0);
}
} // namespace platform
