#include "localmapi/provider/store/ReadFlags.h"
#include "localmapi/provider/base/ErrorText.h"

namespace localmapi
{

FlagChange ReadFlagChange(ULONG flags)
{
    constexpr ULONG kPending = CLEAR_RN_PENDING | CLEAR_NRN_PENDING;
    RequireFlags(flags, SUPPRESS_RECEIPT | CLEAR_READ_FLAG | GENERATE_RECEIPT_ONLY | kPending | MAPI_DEFERRED_ERRORS |
                            MESSAGE_DIALOG);
    Require(!(flags & CLEAR_READ_FLAG) || !(flags & (SUPPRESS_RECEIPT | GENERATE_RECEIPT_ONLY)),
            "read flags that exclude each other");
    Require((flags & (SUPPRESS_RECEIPT | GENERATE_RECEIPT_ONLY)) != (SUPPRESS_RECEIPT | GENERATE_RECEIPT_ONLY),
            "read flags that exclude each other");
    FlagChange change;
    if (flags & CLEAR_RN_PENDING)
        change.clear |= MSGFLAG_RN_PENDING;
    if (flags & CLEAR_NRN_PENDING)
        change.clear |= MSGFLAG_NRN_PENDING;
    if (flags & CLEAR_READ_FLAG)
        change.clear |= MSGFLAG_READ;
    else if (!(flags & (GENERATE_RECEIPT_ONLY | kPending)))
        change.set |= MSGFLAG_READ;
    return change;
}

} // namespace localmapi
