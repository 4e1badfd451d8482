#include "localmapi/provider/base/StorageErrors.h"
#include "ExchangeMapi.h"
#include "localmapi/storage/Error.h"

namespace localmapi
{

namespace
{

HRESULT CodeOf(storage::Fault fault)
{
    using storage::Fault;
    switch (fault) {
    case Fault::NotFound:
        return MAPI_E_NOT_FOUND;
    case Fault::Collision:
        return MAPI_E_COLLISION;
    case Fault::Changed:
    case Fault::Replaced:
        return MAPI_E_OBJECT_CHANGED;
    case Fault::NoAccess:
        return MAPI_E_NO_ACCESS;
    case Fault::Busy:
        return MAPI_E_BUSY;
    case Fault::Full:
        return MAPI_E_NOT_ENOUGH_DISK;
    case Fault::OverQuota:
        return MAPI_E_STORE_FULL;
    case Fault::Disk:
        return MAPI_E_DISK_ERROR;
    case Fault::Corrupt:
    case Fault::ForeignLog:
        return MAPI_E_CORRUPT_STORE;
    case Fault::CorruptData:
    case Fault::NotASite:
        return MAPI_E_CORRUPT_DATA;
    case Fault::TooNew:
        return MAPI_E_VERSION;
    case Fault::TooBig:
        return MAPI_E_TOO_BIG;
    case Fault::Invalid:
        return MAPI_E_INVALID_PARAMETER;
    case Fault::TooComplex:
        return MAPI_E_TOO_COMPLEX;
    case Fault::Failed:
        return MAPI_E_DISK_ERROR;
    }
    return MAPI_E_CALL_FAILED;
}

} // namespace

Failure FailureOfStorage(const std::exception &exception)
{
    if (const auto *error = dynamic_cast<const storage::Error *>(&exception))
        return Failure(CodeOf(error->GetFault()), error->what(), static_cast<ULONG>(error->GetFault()));
    return Failure(MAPI_E_CALL_FAILED, exception.what());
}

} // namespace localmapi
