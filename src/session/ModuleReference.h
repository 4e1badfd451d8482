// Keeps the library in the process while there are sessions, whatever its host does with the reference of its own: a
// running call, a callback and the MAPI thread need the code that they run in. The sessions have the reference
// together; with the last of them the MAPI thread takes it, so that it is given back by a thread that has nothing else
// to do.
#pragma once
#include <windows.h>

void *HoldModule();

// The thread's last call, which may not return: lets the library go when the threads that were inside a call on the
// last session have had the time to leave. Nothing is let go of without a reference.
void LeaveModule(void *pModule);

// The same by a thread of its own, for a reference that no MAPI thread took. Where there is no thread to be had, the
// library stays.
void LeaveModuleLater(void *pModule);
