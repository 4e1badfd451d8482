// Profiles belong to the MAPI subsystem's own file: whoever shares that shares the name.
#include "common/base/SystemCalls.h"
#include "session/ProfileTurn.h"

HANDLE OpenProfileMutex()
{
    return SystemCalls().CreateMutexA(nullptr, FALSE, "Global\\OrlMapi32.MAPIImpl");
}
