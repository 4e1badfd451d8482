// Named properties: IMAPIProp::GetIDsFromNames and GetNamesFromIDs over the site's numbering. The names of the property
// set PS_MAPI are the numbers below 0x8000 themselves. Functions throw Failure or storage::Error.
#pragma once
#include "localmapi/storage/Site.h"

#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

// Tags of no type for the names, PT_ERROR and MAPI_W_ERRORS_RETURNED for those that there are not; every named property
// where no names are given. With MAPI_CREATE unknown ones are made, if `mayCreate`; else MAPI_E_NO_ACCESS.
HRESULT GiveIdsOfNames(const storage::Site &site, bool mayCreate, ULONG count, MAPINAMEID **names, ULONG flags,
                       SPropTagArray **tags);
// Names for tags, null and MAPI_W_ERRORS_RETURNED for those that have none. Where no tags are given: those of every
// named property of the set (null: of all sets), and their tags.
HRESULT GiveNamesOfIds(const storage::Site &site, SPropTagArray **tags, const GUID *set, ULONG flags, ULONG *count,
                       MAPINAMEID ***names);

} // namespace localmapi
