// Keeps the library in the process while there are sessions, whatever its host does with the reference of its own: a
// running call, a callback and the MAPI thread need the code that they run in. The MAPI thread has the reference, from
// its start to its end.
#pragma once
#include <windows.h>

void *HoldModule();

// The thread's last call, which may not return: lets the library go when the threads that were inside a call on the
// last session have had the time to leave.
void LeaveModule(void *pModule);

// Lets go of a thread that has said that it ends: nothing of it is left when the library is unloaded.
void LeaveThread(HANDLE hThread);
