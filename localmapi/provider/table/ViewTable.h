// Tables over the storage: a table is a query, not a copy.
#pragma once
#include "localmapi/provider/table/TableSchema.h"

#include <mapiutil.h>
#include <mapix.h>
#include <memory>

namespace localmapi
{

class AdviseScope;

// A new table with one reference. It shows the container as it is at the moment of each call. Its advises end with the
// scope, if there is one.
HRESULT CreateViewTable(const storage::Site &site, storage::Container container, TableSchema schema, IMAPITable **table,
                        std::shared_ptr<AdviseScope> scope = {});

} // namespace localmapi
