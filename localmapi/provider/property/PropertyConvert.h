// Between a client's SPropValue and the storage's values. Text is stored once; a client reads and writes it under the
// narrow and the wide tag alike, and the type in the tag that is asked for decides the width of what it gets.
#pragma once
#include "localmapi/storage/Value.h"

#include <mapiutil.h>
#include <mapix.h>

#include <optional>
#include <vector>

namespace localmapi
{

// Single or multi-valued, without the instance flag; PT_UNSPECIFIED, PT_NULL, PT_ERROR and PT_OBJECT are not values.
bool IsValueType(ULONG type);
bool IsTextTag(ULONG tag);
// The tag under which the storage has it: narrow text becomes wide, MV_INSTANCE goes.
storage::Tag StorageTag(ULONG tag);
// The tag under which a client finds a stored property: text narrow unless `wide`.
ULONG ClientTag(storage::Tag tag, bool wide);

// A client's value. PT_NULL gives no value, PT_ERROR its code. Throws Failure: MAPI_E_INVALID_PARAMETER for a null
// pointer where bytes are announced, MAPI_E_INVALID_TYPE for a number that is no type.
storage::Value ValueFromProp(const SPropValue &prop);
// The same over the properties of an array; PT_NULL and PT_ERROR entries are left out.
storage::PropertyBag BagFromProps(ULONG count, const SPropValue *props);

// Writes a value under `tag`, whose type must be the value's or, for text, of either width; what needs memory becomes
// a child of `root`. No value, or one of another type, gives PT_ERROR with MAPI_E_NOT_FOUND; a value that is only to be
// had as a stream PT_ERROR with MAPI_E_NOT_ENOUGH_MEMORY. Returns whether it was written.
bool FillProp(SPropValue &target, ULONG tag, const storage::Value &value, void *root);
void FillError(SPropValue &target, ULONG tag, SCODE code);

// IMAPIProp::GetProps over a bag: MAPI_W_ERRORS_RETURNED when a property asked for is not there. Throws Failure.
HRESULT GiveProps(const storage::PropertyBag &bag, const SPropTagArray *tags, ULONG flags, ULONG *count,
                  SPropValue **values);
// IMAPIProp::GetPropList over a bag. Throws Failure.
HRESULT GivePropList(const storage::PropertyBag &bag, ULONG flags, SPropTagArray **tags);

// Times as they are stored: 100 ns since 1601.
std::int64_t TimeFromFileTime(const FILETIME &time);
FILETIME FileTimeFromTime(std::int64_t time);

} // namespace localmapi
