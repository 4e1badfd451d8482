// COM's own interface identifiers, which the SDK's libuuid holds on Windows.
#include <windows.h>

#include <initguid.h>

DEFINE_OLEGUID(IID_IUnknown, 0x00000000, 0, 0);
DEFINE_OLEGUID(IID_IStream, 0x0000000C, 0, 0);
DEFINE_OLEGUID(IID_IStorage, 0x0000000B, 0, 0);
DEFINE_GUID(IID_ISequentialStream, 0x0C733A30, 0x2A1C, 0x11CE, 0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D);
