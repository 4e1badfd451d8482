// What a failure of the storage, or of the language's library, means to a MAPI client.
#pragma once
#include "localmapi/provider/base/ErrorText.h"

namespace localmapi
{

Failure FailureOfStorage(const std::exception &exception);

} // namespace localmapi
