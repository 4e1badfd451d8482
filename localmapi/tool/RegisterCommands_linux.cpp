#include "Tool.h"

namespace localmapi::tool
{

void registerMailClient()
{
    throw Failure("there is nothing to register here: programs use the libmapi32.so.1 beside them");
}

void unregisterMailClient()
{
    registerMailClient();
}

} // namespace localmapi::tool
