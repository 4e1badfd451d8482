#include "common/base/Escape.h"

bool CallWithEscape(std::jmp_buf &way, void (*call)(void *), void *context)
{
    if (setjmp(way) != 0)
        return false;
    call(context);
    return true;
}
