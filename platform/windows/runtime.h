// What a DLL of ours takes when its host loads it, and gives back when it is unloaded: all that the compiler's runtime
// took then and since.
#pragma once

namespace windows
{

// Ends what is to last until then (platform/lifetime/Lasting.h).
void RunAtUnload();

// Takes the process's slot for threads' values; false where it has none left. Without this the first value takes it,
// and the compiler's runtime ends the process where it can't.
bool BeginThreadValues();

// Gives back the process's slot for threads' values, with the values of all threads. Called last: after this no thread
// has a value, and none can be set. Not at the end of the process, where other threads were stopped wherever they were.
void EndThreadValues();

} // namespace windows
