// The address book of a session: IAddrBook, its containers and its recipients, over the site's directory.
#pragma once
#include "localmapi/provider/site/SessionContext.h"

#include <mapix.h>

namespace localmapi
{

// With one reference. May throw.
IAddrBook *MakeAddressBook(const Session &session);

// Opens what an entry ID of the address book names (no bytes: the root container). Throws Failure.
HRESULT OpenAddressEntry(const Session &session, ULONG size, const ENTRYID *entry, LPCIID iid, ULONG flags, ULONG *type,
                         IUnknown **object);

// CompareEntryIDs, the session's and the address book's: whether two entry IDs of this site, of whatever kind, name one
// object. Throws Failure.
HRESULT CompareEntries(const Session &session, ULONG leftSize, const ENTRYID *left, ULONG rightSize,
                       const ENTRYID *right, ULONG flags, ULONG *same);

// MAPI_E_END_OF_SESSION once the session is logged off. Throws Failure.
void RequireLoggedOn(const Session &session);

} // namespace localmapi
