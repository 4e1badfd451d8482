// A call that may end by a jump out of it: of a thread's stack between here and there nothing is destroyed or looked
// at.
#pragma once
#include <csetjmp>

// Calls call(context). False where that ended by std::longjmp to `way`. C++ exceptions pass through.
bool CallWithEscape(std::jmp_buf &way, void (*call)(void *), void *context);
