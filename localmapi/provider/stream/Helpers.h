// The utility functions that the system's mapi32.dll has beside the entry points.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

HRESULT QueryAllRows(IMAPITable *table, SPropTagArray *columns, SRestriction *restriction, SSortOrderSet *sort,
                     LONG maximum, SRowSet **rows) noexcept;
HRESULT GetOneProp(IMAPIProp *object, ULONG tag, SPropValue **value) noexcept;
// A file as a stream to be read. `prefix` and what writes, makes or deletes files are MAPI_E_NO_SUPPORT.
HRESULT OpenFileStream(ULONG flags, const TCHAR *name, const TCHAR *prefix, IStream **stream) noexcept;
SPropValue *FindProp(SPropValue *values, ULONG count, ULONG tag) noexcept;

} // namespace localmapi
