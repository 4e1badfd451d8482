// From here on DEFINE_GUID defines, as with the SDK's header of this name.
#pragma once
#include <windows.h>
#define INITGUID
#undef DEFINE_GUID
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)                                                   \
    extern "C" const GUID name;                                                                                        \
    extern "C" const GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
