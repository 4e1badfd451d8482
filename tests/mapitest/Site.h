// The site of a run, and logging on to it through MAPI's entry points.
#pragma once
#include "Values.h"
#include "platform/com/ComPtr.h"
#include <mapix.h>
#include <string>

namespace mapitest
{

// A copy of a site with Alice, Bob and a service account, and a profile for each. The template is made once a process.
std::string CopyOfTemplate(const std::string &folder);
// Alice's (0), Bob's (1) and the service account's distinguished name.
std::string AddressOfUser(int user);
void RemoveSite(const std::string &path);
// From now on this process finds the site there.
void UseSite(const std::string &path);

// Sessions are numbered as the users: Alice, Bob, the service account.
ComPtr<IMAPISession> LogOnAs(int user);
ComPtr<IMsgStore> OpenStoreOf(IMAPISession *session, int user, int mailbox);
Bytes ReceiveFolderOf(IMsgStore *store);
// Whether the file's own check has nothing to say; else what it says.
std::string CheckOf(const std::string &path);

} // namespace mapitest
