// From the names that clients use for servers and mailboxes to the directory's entries. Every function throws Failure.
#pragma once
#include "localmapi/storage/Directory.h"

#include <string>
#include <string_view>
#include <vector>

namespace localmapi
{

// The server's distinguished name: "/o=<Org>/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=<server>".
std::string ServerDn(const storage::SiteInfo &info);

// MAPI_E_NETWORK_ERROR unless `name` is this site's server: its name, "" for any, or a distinguished name
// "[...]/cn=Configuration/cn=Servers/cn=<server>[/cn=Microsoft Private MDB]".
void RequireServer(const storage::Site &site, std::string_view name);

// The mailbox that IExchangeManageStore::CreateStoreEntryID names by a server's and a mailbox's distinguished name:
// MAPI_E_NETWORK_ERROR for another server, MAPI_E_NOT_FOUND for a mailbox that is not in the directory.
storage::User ResolveMailboxDn(const storage::Site &site, std::string_view serverDn, std::string_view mailboxDn);

// The user whom a person means by `name`: alias, address, distinguished name or display name, else what the start of
// words finds. MAPI_E_NOT_FOUND, or MAPI_E_AMBIGUOUS_RECIP when it fits several.
storage::User ResolveUserName(const storage::Site &site, std::string_view name);

} // namespace localmapi
