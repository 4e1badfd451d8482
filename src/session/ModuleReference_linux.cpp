// Here the library is linked to stay in its process once it was loaded.
#include "session/ModuleReference.h"

void *HoldModule()
{
    return nullptr;
}

void LeaveModule(void *)
{
}

void LeaveModuleLater(void *)
{
}
