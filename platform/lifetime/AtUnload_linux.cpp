#include "platform/lifetime/Lasting.h"

void lifetime::AtUnload(void (*)(void *), void *)
{
}
