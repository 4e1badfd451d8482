// Message stores: a user's mailbox as IMsgStore, opened for the user that is logged on.
#pragma once
#include <mapix.h>

#include <cstdint>
#include <memory>

namespace localmapi
{

namespace storage
{
class Site;
}

struct StoreLogon {
    std::shared_ptr<storage::Site> site;
    // Whose mailbox it is, and who works in it: identifiers of the directory's users.
    std::int64_t owner = 0;
    std::int64_t user = 0;
    // The flags of OpenMsgStore. MAPI_BEST_ACCESS: as much as the user may; MDB_WRITE: read and write or
    // MAPI_E_NO_ACCESS; neither: read only. MDB_ONLINE, MDB_NO_DIALOG, MDB_TEMPORARY and MDB_NO_MAIL change nothing
    // here; the session answers MAPI_E_UNKNOWN_FLAGS for others before it comes here.
    ULONG flags = 0;
    // The store is the default one of the profile (PR_DEFAULT_STORE).
    bool isDefault = false;
};

// A store with one reference. MAPI_E_NO_ACCESS when the user has no right to the mailbox, MAPI_E_NOT_FOUND when
// there is no such mailbox.
HRESULT CreateStore(const StoreLogon &logon, IMsgStore **store);

} // namespace localmapi
