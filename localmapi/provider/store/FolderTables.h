// What rows of the tables of folders and of their contents have beyond what is stored.
#pragma once
#include "localmapi/provider/store/StoreContext.h"
#include "localmapi/provider/table/TableSchema.h"

namespace localmapi
{

TableSchema ContentsSchema(const StoreContext &store, storage::ObjectId folder, bool unicode);
TableSchema HierarchySchema(const StoreContext &store, bool unicode, bool deep);

// PR_INSTANCE_KEY of a folder or message.
storage::Bytes InstanceKeyOf(storage::ObjectId id);

} // namespace localmapi
