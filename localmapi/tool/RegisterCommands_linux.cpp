#include "localmapi/tool/Tool.h"

namespace localmapi::tool
{

void registerMailClient(const Common &)
{
    throw Failure("there is nothing to register here: programs use the libmapi32.so.1 beside them");
}

void unregisterMailClient(const Common &common)
{
    registerMailClient(common);
}

} // namespace localmapi::tool
