#include "common/mapi/Operation.h"

std::string Operation::LineFormat(const char *szText)
{
    return std::string("%s[%d]: ") + szText;
}
