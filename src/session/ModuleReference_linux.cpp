// Here the library is linked to stay in its process once it was loaded.
#include "session/ModuleReference.h"

void *HoldModule()
{
    return nullptr;
}

void LeaveModule(void *)
{
}

// Waits, so that a process that ends then destroys nothing that the thread's last steps use.
void LeaveThread(HANDLE hThread)
{
    WaitForSingleObject(hThread, INFINITE);
    CloseHandle(hThread);
}
