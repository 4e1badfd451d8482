// IExchangeManageStore: entry identifiers of other mailboxes.
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/store/Store.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/provider/table/MemorySource.h"

namespace localmapi
{

namespace
{

constexpr ULONG kOpenStorePublic = 0x00000002;
constexpr ULONG kOpenStoreFlags = 0x0000FFFF | MAPI_UNICODE;

std::string NameFromClient(const char *name, ULONG flags)
{
    return Utf8FromClient(reinterpret_cast<const TCHAR *>(name), flags);
}

} // namespace

STDMETHODIMP Store::CreateStoreEntryID(LPSTR lpszMsgStoreDN, LPSTR lpszMailboxDN, ULONG ulFlags, ULONG *lpcbEntryID,
                                       LPENTRYID *lppEntryID)
{
    return Run("IExchangeManageStore::CreateStoreEntryID", [&]() -> HRESULT {
        Require(lpcbEntryID && lppEntryID, "where the entry identifier goes");
        *lpcbEntryID = 0;
        *lppEntryID = nullptr;
        RequireFlags(ulFlags, kOpenStoreFlags);
        Require(lpszMsgStoreDN != nullptr, "the server's distinguished name");
        if (!lpszMailboxDN || (ulFlags & kOpenStorePublic))
            NoSupport("public stores");
        const storage::User owner = ResolveMailboxDn(m_store->site, NameFromClient(lpszMsgStoreDN, ulFlags),
                                                     NameFromClient(lpszMailboxDN, ulFlags));
        EntryIdForClient(MakeStoreEntryId(m_store->uid, owner.mailbox, ulFlags & ~MAPI_UNICODE), lpcbEntryID,
                         lppEntryID);
        return S_OK;
    });
}

STDMETHODIMP Store::EntryIDFromSourceKey(ULONG, BYTE *, ULONG, BYTE *, ULONG *, LPENTRYID *)
{
    return Unsupported("IExchangeManageStore::EntryIDFromSourceKey");
}

STDMETHODIMP Store::GetRights(ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG *)
{
    return Unsupported("IExchangeManageStore::GetRights");
}

STDMETHODIMP Store::GetMailboxTable(LPSTR lpszServerName, LPMAPITABLE *lppTable, ULONG ulFlags)
{
    return Run("IExchangeManageStore::GetMailboxTable", [&]() -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE);
        RequireServer(m_store->site, NameFromClient(lpszServerName, ulFlags));
        std::vector<storage::PropertyBag> rows;
        for (const storage::User &user : m_store->directory.Users())
            rows.push_back({{PR_DISPLAY_NAME_W, user.name},
                            {PR_EMAIL_ADDRESS_W, user.dn},
                            {PR_ENTRYID, MakeStoreEntryId(m_store->uid, user.mailbox, 0)}});
        TableSchema schema;
        schema.behaviour = m_store->behaviour;
        schema.columns = {PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, PR_ENTRYID, PR_INSTANCE_KEY};
        schema.unicode = (ulFlags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(schema), lppTable);
    });
}

STDMETHODIMP Store::GetPublicFolderTable(LPSTR, LPMAPITABLE *, ULONG)
{
    return Unsupported("IExchangeManageStore::GetPublicFolderTable");
}

} // namespace localmapi
