// What a DLL of ours gives back when its host unloads it: all that the compiler's runtime took when it was loaded and
// since.
#pragma once

namespace windows
{

// Ends what is to last until then (platform/lifetime/Lasting.h).
void RunAtUnload();

// Gives back the process's slot for threads' values, with the values of all threads. Called last: after this no thread
// has a value, and none can be set. Not at the end of the process, where other threads were stopped wherever they were.
void EndThreadValues();

} // namespace windows
