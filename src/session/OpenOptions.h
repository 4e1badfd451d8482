// The process-wide options for the opening of stores and entries. No export changes them: OrlInitialise does, for a
// program that the library's objects are linked into. Any thread, at any time.
#pragma once
#include <windows.h>

namespace OpenOptions
{
bool UseOnlineStore();     // ask for the server's store before the local copy; true at start
bool UseNoCache();         // open entries with MAPI_NO_CACHE; true at start
ULONG StoreEntryIDFlags(); // given to CreateStoreEntryID; at start OPENSTORE_HOME_LOGON | OPENSTORE_TAKE_OWNERSHIP
} // namespace OpenOptions

// Sets the options (store flags of 0 mean the ones at start) and counts as a session for the MAPI thread, until
// OrlUninitialise.
void OrlInitialise(bool fService, bool bUseMDBOnline, bool bUseNoCache, ULONG ulOpenStoreFlags);
void OrlUninitialise();
