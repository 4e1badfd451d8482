// The entry of our DLLs: the C runtime's; before it, what a DLL can't do without, so that it is not loaded where there
// is none of it; and after it, when the host unloads the DLL, the end of what the runtime keeps beyond its own: it
// frees neither its slot for threads' values nor the memory that it sets aside for exceptions.
#include "runtime.h"
#include <windows.h>

namespace __gnu_cxx
{
void __freeres() noexcept; // the standard library's: declared in no installed header
}

extern "C" {
BOOL WINAPI DllMainCRTStartup(HINSTANCE, DWORD, LPVOID);
BOOL WINAPI ModuleEntry(HINSTANCE, DWORD, LPVOID);
}

// The stack's guard gets its value while this runs.
__attribute__((no_stack_protector)) BOOL WINAPI ModuleEntry(HINSTANCE module, DWORD reason, LPVOID processEnds)
{
    if (reason == DLL_PROCESS_ATTACH && !windows::BeginThreadValues())
        return FALSE;
    const BOOL done = DllMainCRTStartup(module, reason, processEnds);
    if (reason == DLL_PROCESS_DETACH && !processEnds) {
        windows::RunAtUnload();
        windows::EndThreadValues();
        __gnu_cxx::__freeres();
    }
    return done;
}
