#include "localmapi/storage/Error.h"

namespace localmapi::storage
{

const char *FaultName(Fault fault)
{
    switch (fault) {
    case Fault::NotFound:
        return "not found";
    case Fault::Collision:
        return "already there";
    case Fault::Changed:
        return "changed by somebody else";
    case Fault::Replaced:
        return "replaced";
    case Fault::NoAccess:
        return "no access";
    case Fault::Busy:
        return "busy";
    case Fault::Full:
        return "disk full";
    case Fault::OverQuota:
        return "mailbox full";
    case Fault::Disk:
        return "disk error";
    case Fault::Corrupt:
        return "damaged";
    case Fault::CorruptData:
        return "CorruptData";
    case Fault::ForeignLog:
        return "another file's log";
    case Fault::NotASite:
        return "not a site";
    case Fault::TooNew:
        return "too new";
    case Fault::TooBig:
        return "too big";
    case Fault::TooComplex:
        return "too complex";
    case Fault::Invalid:
        return "invalid";
    case Fault::Failed:
        return "failed";
    }
    return "unknown";
}

} // namespace localmapi::storage
