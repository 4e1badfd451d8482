// All rows of a table at once, as HrQueryAllRows gives them.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

HRESULT QueryAllRows(IMAPITable *table, SPropTagArray *columns, SRestriction *restriction, SSortOrderSet *sort,
                     LONG maximum, SRowSet **rows) noexcept;

} // namespace localmapi
