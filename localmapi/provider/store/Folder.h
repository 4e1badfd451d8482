// Folders of a store.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/store/StoreContext.h"
#include "localmapi/provider/table/ViewTable.h"

namespace localmapi
{

// A folder with one reference. Throws.
Ref<IMAPIFolder> MakeFolder(const StorePtr &store, const storage::ObjectInfo &info, bool writable);

// What rows of the tables of folders and of their contents have beyond what is stored.
TableSchema ContentsSchema(const StoreContext &store, storage::ObjectId folder, bool unicode);
TableSchema HierarchySchema(const StoreContext &store, bool unicode, bool deep);

// PR_INSTANCE_KEY of a folder or message.
storage::Bytes InstanceKeyOf(storage::ObjectId id);

// What the flags of IMessage::SetReadFlag and IMAPIFolder::SetReadFlags change in PR_MESSAGE_FLAGS. Throws Failure.
struct FlagChange {
    std::int32_t set = 0;
    std::int32_t clear = 0;
};
FlagChange ReadFlagChange(ULONG flags);

} // namespace localmapi
