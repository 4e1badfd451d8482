// Message stores: a user's mailbox as IMsgStore, opened for the user that is logged on.
#pragma once
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/storage/Directory.h"

#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

struct StoreLogon {
    storage::Site site;
    // The mailbox (storage::User::mailbox), and the user of the directory who works in it.
    storage::ObjectId mailbox = 0;
    storage::ObjectId user = 0;
    // The flags of OpenMsgStore. MAPI_BEST_ACCESS: as much as the user may; MDB_WRITE: read and write; neither: read
    // only. MDB_ONLINE, MDB_NO_DIALOG, MDB_TEMPORARY, MDB_NO_MAIL and MAPI_DEFERRED_ERRORS change nothing here; others
    // are MAPI_E_UNKNOWN_FLAGS.
    ULONG flags = 0;
    // The store is the default one of the profile (PR_DEFAULT_STORE).
    bool isDefault = false;
    // The session's.
    BehaviourPtr behaviour = {};
};

// A store with one reference. Throws nothing; MAPI_E_NO_ACCESS when the user has no right to the mailbox,
// MAPI_E_NOT_FOUND when there is no such mailbox, MAPI_E_INTERFACE_NOT_SUPPORTED for another interface than a store's.
HRESULT CreateStore(const StoreLogon &logon, LPCIID lpInterface, IMsgStore **store);

} // namespace localmapi
