#include "localmapi/tool/Tool.h"

namespace localmapi::tool
{

void RegisterMailClient(const Common &)
{
    throw Failure("there is nothing to register here: programs use the libmapi32.so.1 beside them");
}

void UnregisterMailClient(const Common &common)
{
    RegisterMailClient(common);
}

} // namespace localmapi::tool
