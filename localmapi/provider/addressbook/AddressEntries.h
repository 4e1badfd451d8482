// What the address book's entries look like to a client: properties of containers, users, contacts and one-off
// recipients. Functions throw Failure or storage::Error.
#pragma once
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/site/SessionContext.h"
#include "localmapi/provider/table/TableSchema.h"

namespace localmapi
{

storage::PropertyBag RootContainerProperties(const SiteUid &site);
storage::PropertyBag GlobalListProperties(const SiteUid &site);
// MAPI_E_NOT_FOUND when the directory has no such entry (any more).
storage::PropertyBag DirectoryProperties(const storage::Site &site, storage::ObjectId id);
storage::PropertyBag OneOffProperties(const EntryId &oneOff);
// Those of a mail user, contact or one-off recipient that an entry ID names; other kinds are MAPI_E_INVALID_ENTRYID.
storage::PropertyBag RecipientProperties(const SessionContext &session, ULONG size, const ENTRYID *entry);

// The table over the directory, as the global address list shows it.
TableSchema DirectorySchema(const SiteUid &site, bool unicode);

} // namespace localmapi
