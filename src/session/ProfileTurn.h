// Connects without a profile name share the profile "MAPIImpl", and each deletes it: from making it to deleting it
// there is one at a time, in this process and in all that have the same profiles.
#pragma once
#include "common/mapi/Operation.h"
#include <windows.h>

// How long a connect waits for the others, in milliseconds.
constexpr DWORD kProfileTurnTimeout = 60000;

// The turn is this thread's from Take until the guard's end. Not to be waited for under a lock.
class ProfileTurn
{
  public:
    ProfileTurn() = default;
    ~ProfileTurn();
    ProfileTurn(const ProfileTurn &) = delete;
    ProfileTurn &operator=(const ProfileTurn &) = delete;

    // Failures are reported as of MAPILogonEx: MAPI_E_TIMEOUT after kProfileTurnTimeout, the system's own error where
    // the mutex can't be had.
    HRESULT Take(const Operation &op);

  private:
    HANDLE m_hMutex = nullptr;
    bool m_bTaken = false;
};

// The mutex of those who have the same profiles, for each system in a file of its own. Null, with the last error, where
// it can't be had.
HANDLE OpenProfileMutex();
