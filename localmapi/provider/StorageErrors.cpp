#include "StorageErrors.h"

namespace localmapi
{

Failure FailureOfStorage(const std::exception &exception)
{
    return Failure(MAPI_E_CALL_FAILED, exception.what());
}

} // namespace localmapi
