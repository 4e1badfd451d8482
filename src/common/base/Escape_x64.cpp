#include "common/base/Escape.h"

// Here a jump would unwind what it passes, by tables that a call through a bad pointer is not in, and run destructors
// of what a fault has cut short. Without a frame to unwind to it sets the registers only.
bool CallWithEscape(std::jmp_buf &way, void (*call)(void *), void *context)
{
    if (_setjmp(way, nullptr) != 0)
        return false;
    call(context);
    return true;
}
